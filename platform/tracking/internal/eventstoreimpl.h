#pragma once

#include "tracking/eventstore.h"
#include "tracking/internal/droppedcountfile.h"
#include "tracking/internal/pendingevents.h"
#include "tracking/sqlite.h"

#include <QString>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

// The store's state, shared by its sources: the facade and the file's opening and recovery
// (eventstore.cpp), the writer thread (eventstorewriter.cpp), retention (eventstoreretention.cpp),
// the dropped count (internal/droppedcountfile.cpp) and the readers (eventstorequeries.cpp).
namespace Vantel::Tracking {

// The SQLite helpers every source of the store speaks in.
using Sqlite::columnText;
using Sqlite::Database;
using Sqlite::exec;
using Sqlite::fail;
using Sqlite::queryInt;
using Sqlite::Statement;

class EventStore::Impl {
public:
    Impl(QString path, const Limits &limits);
    ~Impl();

    void consume(const TrackedEvent &event);
    void flush();
    void setEnabled(bool enabled);
    Sqlite::Database openForReading() const;

    const QString path;
    const Limits limits;
    std::atomic<bool> enabled { true };
    std::atomic<qint64> dropped { 0 };
    // Why the store could not be opened; empty while it works.
    std::string problem;

    // Throws when there is no store to speak of.
    void checkAvailable() const
    {
        if (!problem.empty())
            throw std::runtime_error("usage events are not being kept: " + problem);
    }

private:
    // Everything below the mutex is shared with the writer.
    void run();
    void open();
    void close();
    void prepareStatements();
    void writeBatch(const PendingEvents &events, std::size_t begin, std::size_t end);
    void insertBatch(const PendingEvents &events, std::size_t begin, std::size_t end);
    void rollback();
    void setMeta(const char *key, qint64 value);
    qint64 prune(qint64 rows);
    qint64 pruneToSize(qint64 rows, qint64 liveBytes);
    bool makeRoom(qint64 bytes);
    bool renumberIfExhausted(qint64 count);
    void persistDropped();
    void recover(const Sqlite::Error &error);
    void applyEnabled(bool enabled);

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_settled;
    PendingEvents m_queue;
    std::vector<std::function<void()>> m_tasks;
    quint64 m_accepted = 0;
    quint64 m_settledEvents = 0;
    quint64 m_tasksPosted = 0;
    quint64 m_tasksDone = 0;
    int m_flushWaiters = 0;
    bool m_stopping = false;
    bool m_overflowReported = false;

    // Writer thread only, once it runs.
    Sqlite::Database m_db;
    Sqlite::Statement m_begin, m_commit, m_insert, m_insertMany, m_pruneOldest, m_pruneAge,
        m_setMeta, m_liveBytes;
    qint64 m_rows = 0;
    qint64 m_persistedDropped = 0;
    DroppedCountFile m_droppedFile;
    bool m_failing = false;
    std::thread m_thread;
};

} // namespace Vantel::Tracking
