#include "downloader/resourcedownloader.h"

#include "downloader/resourcemanager.h"

namespace Downloader {

ResourceDownloader::ResourceDownloader(ResourceManager &manager, QObject *parent)
    : QObject(parent)
    , m_manager(&manager)
{
}

ResourceDownloader::ResourceDownloader(QObject *parent)
    : ResourceDownloader(ResourceManager::instance(), parent)
{
}

ResourceDownloader::~ResourceDownloader()
{
    if (m_manager)
        m_manager->cancelAll(this, false);
}

void ResourceDownloader::download(const DownloadParams &params, int priority, int order)
{
    if (!m_manager) {
        DownloadReport report;
        report.error = QStringLiteral("the download service has shut down");
        deliver(params, report);
        return;
    }
    m_manager->enqueue(this, params, priority, order);
}

void ResourceDownloader::cancel()
{
    if (m_manager)
        m_manager->cancelAll(this, true);
}

void ResourceDownloader::deliver(const DownloadParams &params, const DownloadReport &report)
{
    QPointer<ResourceDownloader> alive(this);
    emit reported(params, report);
    if (alive)
        emit finished(params, report.code);
}

} // namespace Downloader
