#pragma once

#include "downloader/downloadparams.h"
#include "downloader_export.h"

#include <QObject>
#include <QPointer>

// A caller's handle on the downloads it asked for. The body of each streams to a temporary file
// beside the destination, which replaces the destination only when complete; a failed, cut,
// stalled or cancelled download leaves the destination as it was. Every download ends with one
// `finished` on the main thread. Destroying the downloader drops its downloads without a report.
namespace Downloader {

class ResourceManager;

class DOWNLOADER_EXPORT ResourceDownloader : public QObject {
    Q_OBJECT
public:
    explicit ResourceDownloader(ResourceManager &manager, QObject *parent = nullptr);
    explicit ResourceDownloader(QObject *parent = nullptr); // on ResourceManager::instance()
    ~ResourceDownloader() override;

    // Queued on the manager; see ResourceManager for how priority and order rank it.
    void download(const DownloadParams &params, int priority = 0, int order = 0);
    // Every download of this downloader still queued or running ends with Cancel.
    void cancel();

signals:
    // Sent first, with the details, for callers that show more than the code.
    void reported(const Downloader::DownloadParams &params,
                  const Downloader::DownloadReport &report);
    void finished(const Downloader::DownloadParams &params, Downloader::ResultCode code);
    // Body bytes written so far, and the whole size when the source said (else -1).
    void progress(const Downloader::DownloadParams &params, qint64 received, qint64 total);

private:
    friend class ResourceManager;
    void deliver(const DownloadParams &params, const DownloadReport &report);

    QPointer<ResourceManager> m_manager;
};

} // namespace Downloader
