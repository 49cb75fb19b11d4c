#pragma once

#include "downloader/downloadparams.h"
#include "downloader_export.h"

#include <QObject>

#include <memory>

class QNetworkAccessManager;

// Runs the downloads of every ResourceDownloader of the process: one network access manager, a
// queue ordered by the priority and order each caller passes, and a bounded number of transfers
// at once so a burst of requests cannot open a connection each. Main thread only; transfers
// report on it.
namespace Downloader {

class Clock;
class ResourceDownloader;
class Transfer;

class DOWNLOADER_EXPORT ResourceManager : public QObject {
    Q_OBJECT
public:
    // The process's manager, made on first use as a child of the application object.
    static ResourceManager &instance();

    explicit ResourceManager(QObject *parent = nullptr);
    ~ResourceManager() override;

    void setMaxConcurrent(int count);
    int maxConcurrent() const;
    int activeCount() const;
    int queuedCount() const;

    QNetworkAccessManager &network();
    // The clock of the transfers that start from now on; the system's unless a test sets one.
    // It must outlive them.
    void setClock(Clock &clock);

signals:
    // Every download of the process as it ends, whoever asked for it, for a caller that reports
    // on all of them.
    void transferFinished(const Downloader::DownloadParams &params,
                          const Downloader::DownloadReport &report);

private:
    friend class ResourceDownloader;
    // Higher priority first; within one priority, lower order first, then first come.
    void enqueue(ResourceDownloader *owner, const DownloadParams &params, int priority, int order);
    // Drops the owner's queued and running downloads; each reports Cancel when `report` is set.
    void cancelAll(ResourceDownloader *owner, bool report);
    void pump();
    void finish(Transfer *transfer, const DownloadReport &report);

    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace Downloader
