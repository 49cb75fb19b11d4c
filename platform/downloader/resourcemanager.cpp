#include "downloader/resourcemanager.h"

#include "downloader/clock.h"
#include "downloader/resourcedownloader.h"
#include "downloader/transfer.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QPointer>

#include <glog/logging.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Downloader {

namespace {

void registerTypes()
{
    static const bool once = [] {
        qRegisterMetaType<DownloadParams>();
        qRegisterMetaType<ResultCode>();
        qRegisterMetaType<DownloadReport>();
        return true;
    }();
    (void)once;
}

} // namespace

struct ResourceManager::Impl {
    struct Queued;
    static bool ranksBefore(const Queued &a, const Queued &b);

    struct Queued {
        QPointer<ResourceDownloader> owner;
        DownloadParams params;
        int priority = 0;
        int order = 0;
        std::uint64_t sequence = 0;
    };
    struct Running {
        QPointer<ResourceDownloader> owner;
        bool report = true;
        Transfer *transfer = nullptr;
    };

    QNetworkAccessManager network;
    Clock *clock = &Clock::system();
    std::vector<Queued> queue;
    std::vector<Running> running;
    int maxConcurrent = 4;
    std::uint64_t nextSequence = 0;
};

bool ResourceManager::Impl::ranksBefore(const Queued &a, const Queued &b)
{
    if (a.priority != b.priority)
        return a.priority > b.priority;
    if (a.order != b.order)
        return a.order < b.order;
    return a.sequence < b.sequence;
}

ResourceManager &ResourceManager::instance()
{
    static QPointer<ResourceManager> manager;
    if (!manager)
        manager = new ResourceManager(QCoreApplication::instance());
    return *manager;
}

ResourceManager::ResourceManager(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Impl>())
{
    registerTypes();
    // Proxies and caches are the system's business; this manager asks the server itself.
    d->network.setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
}

ResourceManager::~ResourceManager()
{
    // Transfers are children of the manager; they go without reports.
    for (Impl::Running &running : d->running)
        running.report = false;
    for (Impl::Running &running : d->running)
        delete running.transfer;
    d->running.clear();
}

void ResourceManager::setMaxConcurrent(int count)
{
    d->maxConcurrent = std::max(1, count);
    pump();
}

int ResourceManager::maxConcurrent() const
{
    return d->maxConcurrent;
}

int ResourceManager::activeCount() const
{
    return static_cast<int>(d->running.size());
}

int ResourceManager::queuedCount() const
{
    return static_cast<int>(d->queue.size());
}

QNetworkAccessManager &ResourceManager::network()
{
    return d->network;
}

void ResourceManager::setClock(Clock &clock)
{
    d->clock = &clock;
}

void ResourceManager::enqueue(ResourceDownloader *owner,
                              const DownloadParams &params,
                              int priority,
                              int order)
{
    d->queue.push_back({ owner, params, priority, order, d->nextSequence++ });
    // Started from the event loop, so a caller's `finished` never fires inside its own call.
    QMetaObject::invokeMethod(this, &ResourceManager::pump, Qt::QueuedConnection);
}

void ResourceManager::pump()
{
    while (static_cast<int>(d->running.size()) < d->maxConcurrent && !d->queue.empty()) {
        const auto next = std::min_element(d->queue.begin(), d->queue.end(), &Impl::ranksBefore);
        Impl::Queued item = std::move(*next);
        d->queue.erase(next);
        if (!item.owner)
            continue;
        auto *transfer = new Transfer(d->network, *d->clock, item.params, this);
        d->running.push_back({ item.owner, true, transfer });
        connect(transfer, &Transfer::done, this,
                [this, transfer](const DownloadReport &report) { finish(transfer, report); });
        connect(transfer, &Transfer::progress, item.owner,
                [owner = item.owner.data(), transfer](qint64 received, qint64 total) {
                    emit owner->progress(transfer->params(), received, total);
                });
        transfer->start();
    }
}

void ResourceManager::finish(Transfer *transfer, const DownloadReport &report)
{
    const auto it = std::find_if(d->running.begin(), d->running.end(),
                                 [transfer](const auto &r) { return r.transfer == transfer; });
    if (it == d->running.end())
        return;
    const Impl::Running running = *it;
    d->running.erase(it);
    const DownloadParams params = transfer->params();
    transfer->deleteLater();
    if (report.code == Failed)
        LOG(WARNING) << "Download of " << params.url.toDisplayString().toStdString() << " to "
                     << params.destination.toStdString()
                     << " failed: " << report.error.toStdString();
    emit transferFinished(params, report);
    if (running.report && running.owner)
        running.owner->deliver(params, report);
    pump();
}

void ResourceManager::cancelAll(ResourceDownloader *owner, bool report)
{
    std::vector<Impl::Queued> dropped;
    for (auto it = d->queue.begin(); it != d->queue.end();) {
        if (it->owner == owner) {
            dropped.push_back(std::move(*it));
            it = d->queue.erase(it);
        } else {
            ++it;
        }
    }
    std::vector<Transfer *> cancelled;
    for (Impl::Running &running : d->running) {
        if (running.owner == owner) {
            running.report = report;
            cancelled.push_back(running.transfer);
        }
    }
    for (Transfer *transfer : cancelled)
        transfer->cancel();
    if (!report)
        return;
    std::sort(dropped.begin(), dropped.end(), &Impl::ranksBefore);
    QPointer<ResourceDownloader> alive(owner);
    for (const Impl::Queued &item : dropped) {
        if (!alive)
            break;
        DownloadReport cancelledReport;
        cancelledReport.code = Cancel;
        cancelledReport.error = QStringLiteral("cancelled");
        owner->deliver(item.params, cancelledReport);
    }
}

} // namespace Downloader
