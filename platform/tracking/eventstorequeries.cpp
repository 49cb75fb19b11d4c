#include "tracking/internal/eventstoreimpl.h"
#include "tracking/internal/storeschema.h"

#include <QFileInfo>

#include <glog/logging.h>
#include <sqlite3.h>

// Reading the stored events: each reader opens its own connection, so it never waits on the
// writer's.
namespace Vantel::Tracking {

using StoreSchema::BusyTimeoutMs;

Database EventStore::Impl::openForReading() const
{
    // Read-write without create, so a reader can attach to the log, never make a file.
    Database db = Sqlite::open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, BusyTimeoutMs);
    exec(db.get(), "PRAGMA query_only = 1");
    return db;
}

std::vector<StoredEvent> EventStore::events(qint64 afterId, int limit) const
{
    std::vector<StoredEvent> result;
    d->checkAvailable();
    try {
        if (!QFileInfo::exists(d->path))
            return result;
        const Database db = d->openForReading();
        Statement select(db.get(),
                         "SELECT id, name, params, time, session FROM events "
                         "WHERE id > ? ORDER BY id LIMIT ?");
        select.bind(1, afterId);
        select.bind(2, static_cast<qint64>(limit < 0 ? -1 : limit));
        while (select.step()) {
            sqlite3_stmt *row = select.get();
            StoredEvent event;
            event.id = sqlite3_column_int64(row, 0);
            event.name = columnText(row, 1);
            const auto *params = static_cast<const char *>(sqlite3_column_blob(row, 2));
            if (!paramsFromJson(QByteArray(params, sqlite3_column_bytes(row, 2)), event.params)) {
                LOG(WARNING) << "usage event store " << d->path.toStdString() << ": event "
                             << event.id << " has unreadable parameters";
            }
            event.timeMs = sqlite3_column_int64(row, 3);
            event.session = columnText(row, 4);
            result.push_back(std::move(event));
        }
    } catch (const std::exception &e) {
        throw std::runtime_error("cannot read the usage event store " + d->path.toStdString() + ": "
                                 + e.what());
    }
    return result;
}

qint64 EventStore::count() const
{
    d->checkAvailable();
    try {
        if (!QFileInfo::exists(d->path))
            return 0;
        const Database db = d->openForReading();
        return queryInt(db.get(), "SELECT count(*) FROM events");
    } catch (const std::exception &e) {
        throw std::runtime_error("cannot read the usage event store " + d->path.toStdString() + ": "
                                 + e.what());
    }
}

} // namespace Vantel::Tracking
