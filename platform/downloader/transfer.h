#pragma once

#include "downloader_export.h"

#include "downloader/clock.h"
#include "downloader/downloadparams.h"
#include "downloader/inflater.h"
#include "downloader/localfile.h"
#include "downloader/transferpolicy.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <memory>

class QNetworkAccessManager;
class QNetworkReply;

// One download from start to its single report: redirects, retries, the stall and deadline
// timers, decompression, the continuation of a cut-off body, and the body's way into a PartFile.
// Internal to the manager.
namespace Downloader {

class DOWNLOADER_EXPORT Transfer : public QObject {
    Q_OBJECT
public:
    Transfer(QNetworkAccessManager &network,
             Clock &clock,
             DownloadParams params,
             QObject *parent = nullptr);
    ~Transfer() override;

    const DownloadParams &params() const { return m_params; }
    void start();
    // Ends the transfer now with Cancel; the destination is untouched.
    void cancel();

signals:
    void done(const Downloader::DownloadReport &report);
    // Body bytes written so far, and the whole body's size when known (else -1).
    void progress(qint64 received, qint64 total);

private:
    void startHttp();
    void onMetaData();
    void onReadyRead();
    void onFinished();
    void dropReply();
    bool acceptBody(int status);
    bool take(const char *data, std::int64_t size);
    void startOver(const QString &why);
    void armDeadline(std::int64_t bytes);
    std::optional<Validators> resumePointInPlace();
    void checkpoint();

    void startFile();
    void copyFileChunk();

    std::optional<Validators> validatorsInPlace() const;
    void complete(const Validators &validators);
    void succeedUnchanged();
    void finish(DownloadReport report);
    void fail(const QString &error, ResultCode code = Failed);
    // For a body that must not be continued either (too large, refused, damaged).
    void failDiscarding(const QString &error);
    void failLocally(const QString &error, DownloadReport::Local local, ResultCode code = Failed);

    QNetworkAccessManager &m_network;
    Clock &m_clock;
    DownloadParams m_params;
    QUrl m_current;
    QPointer<QNetworkReply> m_reply;
    PartFile m_part;
    ClockTimer m_stall;
    ClockTimer m_deadline;
    ClockTimer m_retry;
    std::int64_t m_startedMs = 0;
    std::int64_t m_deadlineMs = 0;
    int m_redirects = 0;
    int m_retries = 0;
    int m_status = 0;
    std::int64_t m_expected = -1; // body bytes on the wire the response announced
    std::int64_t m_wire = 0; // body bytes of this response as they came
    std::int64_t m_total = -1; // the whole file's size, for progress
    std::unique_ptr<Inflater> m_inflater;
    // What the partial body in place was fetched under, and how much of it is kept.
    std::optional<Validators> m_resumePoint;
    std::int64_t m_resumeFrom = 0;
    bool m_startedOver = false;
    bool m_partialInUse = false;
    quint32 m_crc = 0;
    std::int64_t m_checkpointed = 0;
    Validators m_bodyValidators;
    bool m_askedConditionally = false;
    bool m_bodyAccepted = false;
    bool m_done = false;
    int m_sourceFd = -1;
    Validators m_sourceValidators;
};

} // namespace Downloader
