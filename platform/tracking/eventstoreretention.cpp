#include "tracking/internal/eventstoreimpl.h"
#include "tracking/internal/storeschema.h"

#include <glog/logging.h>
#include <sqlite3.h>

#include <algorithm>
#include <limits>

// What the store keeps: the oldest events go first when the count, the size or the age is over
// its limit, or when a full disk leaves no room for a batch.
namespace Vantel::Tracking {

using StoreSchema::nowMs;

// Returns the rows left. Oldest first: by id for the count and size caps, by time for age.
qint64 EventStore::Impl::prune(qint64 rows)
{
    if (rows > limits.maxEvents) {
        m_pruneOldest.bind(1, rows - limits.maxEvents);
        m_pruneOldest.run();
        rows -= sqlite3_changes(m_db.get());
    }
    m_pruneAge.bind(1, nowMs() - static_cast<qint64>(limits.maxAge.count()));
    m_pruneAge.run();
    rows -= sqlite3_changes(m_db.get());
    // Freed pages stay in the file for the next batches, which keeps it at its ceiling at most.
    return pruneToSize(rows, limits.maxBytes);
}

qint64 EventStore::Impl::pruneToSize(qint64 rows, qint64 liveBytes)
{
    // Space only comes free as whole pages empty, so cut in slices and look again rather than
    // guess how many rows make a byte count.
    while (rows > 0 && m_liveBytes.single() > liveBytes) {
        m_pruneOldest.bind(1, std::max<qint64>(rows / 20, 1));
        m_pruneOldest.run();
        const int removed = sqlite3_changes(m_db.get());
        if (removed == 0)
            break;
        rows -= removed;
    }
    return rows;
}

// Deletes the oldest events until `bytes` more fit below the cap and below what the file holds
// now (a full disk lets it grow no further). True when it freed anything.
bool EventStore::Impl::makeRoom(qint64 bytes)
{
    if (!m_db || m_rows == 0)
        return false;
    try {
        m_begin.run();
        const qint64 target = std::min(m_liveBytes.single(), limits.maxBytes) - bytes;
        const qint64 removed = m_rows - pruneToSize(m_rows, target);
        const qint64 total = dropped.load() + removed;
        setMeta("dropped", total);
        m_commit.run();
        m_rows -= removed;
        dropped += removed;
        m_persistedDropped = total;
        return removed > 0;
    } catch (const Sqlite::Error &) {
        rollback();
        return false;
    }
}

// SQLite says "full" when the id counter has no room for `count` more ids; deleting events
// would not help. The ids are moved down to start at 1 again, in order, so nothing is lost.
// True when that was the trouble.
bool EventStore::Impl::renumberIfExhausted(qint64 count)
{
    if (!m_db)
        return false;
    constexpr qint64 Largest = std::numeric_limits<qint64>::max();
    try {
        m_begin.run();
        const qint64 counter = queryInt(
            m_db.get(),
            "SELECT coalesce((SELECT seq FROM sqlite_sequence WHERE name = 'events'), 0)");
        if (counter < Largest - count) {
            m_commit.run();
            return false;
        }
        const qint64 newest = queryInt(m_db.get(), "SELECT coalesce(max(id), 0) FROM events");
        if (newest > Largest / 2) {
            // Ids are one unbroken run of at most maxEvents, here far above the rows there are:
            // moving them down by the oldest one's distance from 1 cannot collide.
            const qint64 shift = queryInt(m_db.get(), "SELECT min(id) - 1 FROM events");
            const std::string by = std::to_string(shift);
            exec(m_db.get(), ("UPDATE events SET id = id - " + by).c_str());
            // The upload's read position moves with the ids it points at.
            if (queryInt(m_db.get(), "SELECT count(*) FROM sqlite_schema WHERE name = 'upload'")) {
                exec(m_db.get(),
                     ("UPDATE upload SET value = max(value - " + by + ", 0) WHERE key = 'cursor'")
                         .c_str());
            }
        }
        exec(m_db.get(),
             "UPDATE sqlite_sequence SET seq = (SELECT coalesce(max(id), 0) FROM events) "
             "WHERE name = 'events'");
        m_commit.run();
    } catch (const Sqlite::Error &) {
        rollback();
        return false;
    }
    LOG(WARNING) << "usage event store " << path.toStdString()
                 << ": event ids ran out; the stored events were numbered again from 1";
    return true;
}

} // namespace Vantel::Tracking
