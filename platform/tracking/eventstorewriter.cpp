#include "tracking/internal/eventstoreimpl.h"
#include "tracking/internal/storeschema.h"
#include "tracking/jsontext.h"

#include <glog/logging.h>
#include <pthread.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <utility>

// The writer thread: events handed over by the senders, written in batches, and the tasks that
// must run where the database is (enabling, disabling).
namespace Vantel::Tracking {

using StoreSchema::RowOverhead;
using StoreSchema::RowsPerInsert;

namespace {

void setThreadName()
{
    pthread_setname_np(pthread_self(), "eventstore");
}

} // namespace

void EventStore::Impl::consume(const TrackedEvent &event)
{
    // Encoded before the lock is taken, into this thread's own buffer, so the writer is held up
    // by a copy of bytes only.
    thread_local std::string params;
    params.clear();
    appendJsonObject(params, event.params);

    bool wakeWriter = false;
    bool overflow = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_queue.size() >= static_cast<std::size_t>(MaxPending)) {
            overflow = !std::exchange(m_overflowReported, true);
            dropped.fetch_add(1, std::memory_order_relaxed);
        } else {
            m_queue.append(event, params);
            ++m_accepted;
            // The writer needs a nudge to start its interval and to cut a full batch; in between
            // it is not disturbed.
            wakeWriter
                = m_queue.size() == 1 || m_queue.size() == static_cast<std::size_t>(BatchSize);
        }
    }
    if (wakeWriter)
        m_wake.notify_one();
    if (overflow) {
        LOG(WARNING) << "usage event store " << path.toStdString() << ": the writer is "
                     << MaxPending << " events behind; dropping new events until it catches up";
    }
}

void EventStore::Impl::flush()
{
    if (!m_thread.joinable())
        return;
    std::unique_lock<std::mutex> lock(m_mutex);
    const quint64 events = m_accepted;
    const quint64 tasks = m_tasksPosted;
    ++m_flushWaiters;
    m_wake.notify_one();
    m_settled.wait(lock, [&] { return m_settledEvents >= events && m_tasksDone >= tasks; });
    --m_flushWaiters;
}

void EventStore::Impl::setEnabled(bool on)
{
    checkAvailable();
    std::string error;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        enabled = on;
        if (!on) {
            // Nothing the user switched off may still reach the disk.
            m_settledEvents += m_queue.size();
            m_queue.clear();
        }
        m_tasks.emplace_back([this, on, &error] {
            try {
                applyEnabled(on);
            } catch (const std::exception &e) {
                error = e.what();
            }
        });
        ++m_tasksPosted;
    }
    flush();
    if (!error.empty()) {
        throw std::runtime_error("cannot switch the usage event store " + path.toStdString()
                                 + (on ? " on: " : " off: ") + error);
    }
}

void EventStore::Impl::applyEnabled(bool on)
{
    if (!m_db)
        throw std::runtime_error("the database is not open");
    m_begin.run();
    try {
        if (!on) {
            exec(m_db.get(), "DELETE FROM events");
            setMeta("dropped", 0);
        }
        setMeta("enabled", on ? 1 : 0);
        m_commit.run();
    } catch (...) {
        rollback();
        throw;
    }
    if (!on) {
        m_droppedFile.write(0);
        m_rows = 0;
        m_persistedDropped = 0;
        dropped = 0;
        // Deleted rows linger in free pages and in the log until both are rewritten.
        exec(m_db.get(), "VACUUM");
        const int rc = sqlite3_wal_checkpoint_v2(m_db.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE,
                                                 nullptr, nullptr);
        if (rc != SQLITE_OK)
            fail(m_db.get(), rc, "checkpoint");
    }
}

void EventStore::Impl::run()
{
    setThreadName();
    PendingEvents batch;
    std::vector<std::function<void()>> tasks;
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [&] { return m_stopping || !m_queue.empty() || !m_tasks.empty(); });
        // Gather for one interval unless someone is waiting or the batch is already full.
        const auto deadline = std::chrono::steady_clock::now() + FlushInterval;
        m_wake.wait_until(lock, deadline, [&] {
            return m_stopping || m_flushWaiters > 0 || !m_tasks.empty()
                || m_queue.size() >= static_cast<std::size_t>(BatchSize);
        });
        batch.swap(m_queue);
        tasks.swap(m_tasks);
        m_overflowReported = false;
        lock.unlock();

        for (std::size_t begin = 0; begin < batch.size(); begin += BatchSize)
            writeBatch(batch, begin, std::min(batch.size(), begin + BatchSize));
        const std::size_t written = batch.size();
        // Kept with its capacity: the next swap hands it back to the queue.
        batch.clear();
        for (auto &task : tasks)
            task();
        const std::size_t ran = tasks.size();
        tasks.clear();

        lock.lock();
        m_settledEvents += written;
        m_tasksDone += ran;
        m_settled.notify_all();
        if (m_stopping && m_queue.empty() && m_tasks.empty())
            break;
    }
}

void EventStore::Impl::writeBatch(const PendingEvents &events, std::size_t begin, std::size_t end)
{
    const qint64 count = static_cast<qint64>(end - begin);
    qint64 bytes = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const PendingEvents::Row &row = events.rows[i];
        bytes += static_cast<qint64>(row.nameSize) + row.paramsSize + row.sessionSize + RowOverhead;
    }
    for (int attempt = 0;; ++attempt) {
        try {
            if (!m_db)
                throw Sqlite::Error(SQLITE_CANTOPEN, "the database is not open");
            insertBatch(events, begin, end);
            m_failing = false;
            return;
        } catch (const Sqlite::Error &e) {
            rollback();
            // A full file, or disk, that still holds old events has room once they go.
            if (attempt == 0 && e.isFull() && (renumberIfExhausted(count) || makeRoom(bytes)))
                continue;
            dropped += count;
            // Once per spell of failures: a full disk would otherwise say so every batch.
            if (!std::exchange(m_failing, true)) {
                LOG(WARNING) << "usage event store " << path.toStdString() << ": dropped " << count
                             << " events: " << e.what()
                             << "; later losses are counted, not repeated here";
            }
            if (e.isDamage() || !m_db)
                recover(e);
            persistDropped();
            return;
        }
    }
}

void EventStore::Impl::insertBatch(const PendingEvents &events, std::size_t begin, std::size_t end)
{
    m_begin.run();
    std::size_t i = begin;
    const auto bindRow = [&](Statement &statement, int row) {
        const PendingEvents::Row &event = events.rows[i];
        const std::string_view name = event.name(events.text);
        const std::string_view params = event.params(events.text);
        const std::string_view session = event.session(events.text);
        statement.bind(row * 4 + 1, name.data(), name.size());
        statement.bind(row * 4 + 2, params.data(), params.size());
        statement.bind(row * 4 + 3, static_cast<qint64>(event.timeMs));
        statement.bind(row * 4 + 4, session.data(), session.size());
        ++i;
    };
    while (end - i >= static_cast<std::size_t>(RowsPerInsert)) {
        for (int row = 0; row < RowsPerInsert; ++row)
            bindRow(m_insertMany, row);
        m_insertMany.run();
    }
    while (i < end) {
        bindRow(m_insert, 0);
        m_insert.run();
    }
    const qint64 rows = m_rows + static_cast<qint64>(end - begin);
    const qint64 pruned = rows - prune(rows);
    const qint64 total = dropped.load() + pruned;
    if (total != m_persistedDropped)
        setMeta("dropped", total);
    m_commit.run();
    m_rows = rows - pruned;
    dropped += pruned;
    m_persistedDropped = total;
}

void EventStore::Impl::rollback()
{
    if (m_db && !sqlite3_get_autocommit(m_db.get()))
        sqlite3_exec(m_db.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void EventStore::Impl::setMeta(const char *key, qint64 value)
{
    m_setMeta.bind(1, value);
    m_setMeta.bind(2, key, std::strlen(key));
    m_setMeta.run();
}

} // namespace Vantel::Tracking
