#include "media/fileanalysis.h"

#include "media/mediamessages.h"

#include "pubsub/subscriber.h"

#include <QCoreApplication>
#include <QEvent>
#include <QRunnable>
#include <QThread>

namespace Media {

namespace {
const QEvent::Type resultsEvent = static_cast<QEvent::Type>(QEvent::registerEventType());

class MediaIdentity final : public PubSub::Object { };
} // namespace

const PubSub::Object *globalObject()
{
    static const MediaIdentity identity;
    return &identity;
}

FileAnalysis::FileAnalysis(QObject *parent)
    : QObject(parent)
{
    // Probing is reading and parsing; more threads than cores only make them wait for each other.
    m_pool.setMaxThreadCount(std::max(1, QThread::idealThreadCount()));
    m_pool.setExpiryTimeout(5000);
}

FileAnalysis::~FileAnalysis()
{
    for (auto &[id, job] : m_jobs)
        job.cancelled->store(true);
    m_pool.clear();
    m_pool.waitForDone();
}

void FileAnalysis::open(const FilePtr &file)
{
    if (!file)
        return;
    cancel(file.get());
    const std::uint64_t id = m_nextJob++;
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    m_jobs.emplace(id, Job { file, cancelled });
    m_jobOfFile[file.get()] = id;

    ProbeLimits limits;
    limits.timeout = m_timeout;
    // The worker gets a copy of the path and its own flag, never the shared File: that one is
    // only touched here, on the main thread.
    m_pool.start(QRunnable::create([this, id, path = file->path, limits, cancelled]() mutable {
        limits.cancelled = cancelled.get();
        File result = probe(path, limits);
        std::lock_guard<std::mutex> lock(m_resultsMutex);
        m_results.push_back(Result { id, std::move(result) });
        if (!m_deliveryPosted) {
            m_deliveryPosted = true;
            QCoreApplication::postEvent(this, new QEvent(resultsEvent));
        }
    }));
}

void FileAnalysis::cancel(const File *file)
{
    const auto it = m_jobOfFile.find(file);
    if (it == m_jobOfFile.end())
        return;
    const auto job = m_jobs.find(it->second);
    if (job != m_jobs.end()) {
        job->second.cancelled->store(true);
        m_jobs.erase(job);
    }
    m_jobOfFile.erase(it);
}

void FileAnalysis::customEvent(QEvent *event)
{
    if (event->type() != resultsEvent)
        return QObject::customEvent(event);
    deliver();
}

void FileAnalysis::deliver()
{
    std::vector<Result> results;
    {
        std::lock_guard<std::mutex> lock(m_resultsMutex);
        results.swap(m_results);
        m_deliveryPosted = false;
    }
    for (Result &result : results) {
        const auto it = m_jobs.find(result.job);
        if (it == m_jobs.end())
            continue; // cancelled, or superseded by a newer request for the same file
        const FilePtr file = std::move(it->second.file);
        m_jobs.erase(it);
        m_jobOfFile.erase(file.get());
        // The request's path stays: it is how the caller named the file.
        result.file.path = file->path;
        *file = std::move(result.file);
        // A subscriber may cancel or start other analyses while this runs; the loop only holds
        // its own copy of the results.
        if (file->isFailed())
            PubSub::publish(FileOpenFailedNotification(file));
        else
            PubSub::publish(FileOpenedNotification(file));
    }
}

} // namespace Media
