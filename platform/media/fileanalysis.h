#pragma once

#include "media_export.h"

#include "media/mediaprobe.h"
#include "mediamodel/mediafile.h"

#include <QObject>
#include <QThreadPool>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace Media {

// Analyses media files in the background and reports each on the main thread. Probes run on a
// pool of at most as many threads as the machine has cores; each result is written into its
// shared File on the thread this object lives in, then announced with FileOpenedNotification or
// FileOpenFailedNotification. Results arrive in completion order, not request order.
class MEDIA_EXPORT FileAnalysis final : public QObject {
    Q_OBJECT
public:
    explicit FileAnalysis(QObject *parent = nullptr);
    // Abandons running probes and waits for their threads, so no result outlives the object.
    ~FileAnalysis() override;

    // Starts analysing `file` (again, if it was analysed before). Main thread.
    void open(const FilePtr &file);
    // Stops the analysis of `file`; it is not reported. Main thread.
    void cancel(const File *file);
    // Probes still running or waiting for a thread.
    std::size_t pendingCount() const noexcept { return m_jobs.size(); }

    void setTimeout(std::chrono::milliseconds timeout) { m_timeout = timeout; }
    std::chrono::milliseconds timeout() const noexcept { return m_timeout; }
    int threadCount() const { return m_pool.maxThreadCount(); }

protected:
    void customEvent(QEvent *event) override;

private:
    struct Job {
        FilePtr file;
        std::shared_ptr<std::atomic<bool>> cancelled;
    };
    struct Result {
        std::uint64_t job;
        File file;
    };

    void deliver();

    QThreadPool m_pool;
    std::chrono::milliseconds m_timeout { ProbeLimits {}.timeout };
    std::uint64_t m_nextJob = 1;
    std::unordered_map<std::uint64_t, Job> m_jobs;
    std::unordered_map<const File *, std::uint64_t> m_jobOfFile;

    // Filled by the workers; one posted event carries whatever has gathered by the time the
    // main thread gets to it.
    std::mutex m_resultsMutex;
    std::vector<Result> m_results;
    bool m_deliveryPosted = false;
};

} // namespace Media
