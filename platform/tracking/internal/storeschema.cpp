#include "tracking/internal/storeschema.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <glog/logging.h>

namespace Vantel::Tracking::StoreSchema {

using Sqlite::columnText;
using Sqlite::Database;
using Sqlite::exec;
using Sqlite::queryInt;
using Sqlite::Statement;

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

void prepareSchema(sqlite3 *db)
{
    // The first read of the header: a file that is not SQLite at all fails here.
    const qint64 objects = queryInt(db, "SELECT count(*) FROM sqlite_schema");
    if (objects != 0) {
        const qint64 applicationId = queryInt(db, "PRAGMA application_id");
        const qint64 version = queryInt(db, "PRAGMA user_version");
        if (applicationId != ApplicationId)
            throw ForeignDatabase("the file is another program's database");
        if (version != SchemaVersion)
            throw ForeignDatabase("unknown schema version " + std::to_string(version));
    } else {
        // Takes effect only before the first table. Half the log writes of 4 KiB pages, for
        // rows of a few hundred bytes.
        exec(db, "PRAGMA page_size = 8192");
    }

    Statement mode(db, "PRAGMA journal_mode = WAL");
    const std::string journal = mode.step() ? columnText(mode.get(), 0) : std::string();
    mode.reset();
    if (journal != "wal")
        throw Sqlite::Error(SQLITE_IOERR,
                            "cannot switch the database to WAL (got \"" + journal + "\")");

    // Two editors starting on a fresh folder both find it empty. Looking again and creating in
    // one write transaction makes the second wait for the first and then find its tables.
    if (objects == 0) {
        exec(db, "BEGIN IMMEDIATE");
        try {
            if (queryInt(db, "SELECT count(*) FROM sqlite_schema") == 0)
                exec(db, CreateSchema, "creating the tables");
            exec(db, "COMMIT");
        } catch (...) {
            sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
            throw;
        }
    }

    // Proves the tables are the ones this code reads and writes. (A file cut short is found
    // earlier: SQLite compares the page count in the header with the file's length.)
    qint64 settings = 0;
    try {
        Statement(db, "SELECT id, name, params, time, session FROM events LIMIT 0").run();
        settings = Statement(db, "SELECT count(*) FROM meta WHERE key IN ('enabled', 'dropped')")
                       .single();
    } catch (const Sqlite::Error &e) {
        if (e.isDamage())
            throw;
        throw ForeignDatabase(std::string("its tables differ: ") + e.what());
    }
    if (settings != 2)
        throw ForeignDatabase("its settings are missing");
}

Database openForWriting(const QString &path)
{
    Database db = Sqlite::open(
        path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, BusyTimeoutMs);
    if (sqlite3_db_readonly(db.get(), "main") == 1)
        throw Sqlite::Error(SQLITE_READONLY, "the file " + path.toStdString() + " is read-only");
    prepareSchema(db.get());
    // A kill loses nothing committed; only a power cut can take the last commits, and for usage
    // events that is not worth an fsync per batch.
    exec(db.get(), "PRAGMA synchronous = NORMAL");
    exec(db.get(), "PRAGMA journal_size_limit = 4194304");
    return db;
}

void moveAside(const QString &path, const std::string &reason)
{
    const QString stamp
        = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss-zzz"));
    QString target = path + QStringLiteral(".corrupt-") + stamp;
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = path + QStringLiteral(".corrupt-") + stamp + QLatin1Char('-') + QString::number(n);
    if (!QFile::rename(path, target) && !QFile::remove(path)) {
        throw std::runtime_error("cannot move the damaged usage event store " + path.toStdString()
                                 + " aside");
    }
    // A log left beside a new file would be replayed into it.
    const QString wal = path + QStringLiteral("-wal");
    if (QFileInfo::exists(wal) && !QFile::rename(wal, target + QStringLiteral("-wal")))
        QFile::remove(wal);
    QFile::remove(path + QStringLiteral("-shm"));
    LOG(WARNING) << "usage event store " << path.toStdString() << " is unusable (" << reason
                 << "); moved it to " << target.toStdString() << " and started a new one";
}

} // namespace Vantel::Tracking::StoreSchema
