#pragma once

#include "downloader_export.h"

#include "downloader/downloadparams.h"
#include "downloader/localfile.h"
#include "downloader/transferpolicy.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

class QNetworkAccessManager;
class QNetworkReply;

// One download from start to its single report: redirects, retries, the stall and deadline
// timers, and the body's way into a PartFile. Internal to the manager.
namespace Downloader {

class DOWNLOADER_EXPORT Transfer : public QObject {
    Q_OBJECT
public:
    Transfer(QNetworkAccessManager &network, DownloadParams params, QObject *parent = nullptr);
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

    void startFile();
    void copyFileChunk();

    std::optional<Validators> validatorsInPlace() const;
    void complete(const Validators &validators);
    void succeedUnchanged();
    void finish(DownloadReport report);
    void fail(const QString &error, ResultCode code = Failed);
    void failLocally(const QString &error, DownloadReport::Local local, ResultCode code = Failed);

    QNetworkAccessManager &m_network;
    DownloadParams m_params;
    QUrl m_current;
    QPointer<QNetworkReply> m_reply;
    PartFile m_part;
    QTimer m_stall;
    QTimer m_deadline;
    QTimer m_retry;
    int m_redirects = 0;
    int m_retries = 0;
    int m_status = 0;
    std::int64_t m_expected = -1;
    bool m_askedConditionally = false;
    bool m_bodyAccepted = false;
    bool m_done = false;
    int m_sourceFd = -1;
    Validators m_sourceValidators;
};

} // namespace Downloader
