#include "tracking/eventstore.h"

#include "tracking/internal/eventstoreimpl.h"
#include "tracking/internal/storeschema.h"
#include "tracking/jsontext.h"

#include "util/settingspaths.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <glog/logging.h>

#include <algorithm>

namespace Vantel::Tracking {

using StoreSchema::ForeignDatabase;
using StoreSchema::moveAside;
using StoreSchema::openForWriting;
using StoreSchema::RowsPerInsert;

QByteArray paramsToJson(const std::map<std::string, std::string> &params)
{
    std::string text;
    appendJsonObject(text, params);
    return QByteArray(text.data(), static_cast<int>(text.size()));
}

bool paramsFromJson(const QByteArray &json, std::map<std::string, std::string> &params)
{
    params.clear();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return false;
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (it.value().isString())
            params[it.key().toStdString()] = it.value().toString().toStdString();
    }
    return true;
}

EventStore::Impl::Impl(QString path_, const Limits &limits_)
    : path(QFileInfo(path_).absoluteFilePath())
    , limits(limits_)
{
    // Usage statistics are optional: a store that cannot be opened costs the user nothing but
    // the statistics, and is said once.
    try {
        const QString folder = QFileInfo(path).absolutePath();
        if (!QDir().mkpath(folder)) {
            throw std::runtime_error("cannot create the folder " + folder.toStdString()
                                     + " for the usage event store");
        }
        open();
        enabled = queryInt(m_db.get(), "SELECT value FROM meta WHERE key = 'enabled'") != 0;
        m_persistedDropped = queryInt(m_db.get(), "SELECT value FROM meta WHERE key = 'dropped'");
        m_droppedFile.open(path + QStringLiteral("-dropped"));
        m_persistedDropped = std::max(m_persistedDropped, m_droppedFile.read());
    } catch (const std::exception &e) {
        m_db.reset();
        problem = e.what();
        LOG(WARNING) << "usage events are not being kept: " << problem;
        return;
    }
    dropped = m_persistedDropped;
    m_thread = std::thread(&Impl::run, this);
}

EventStore::Impl::~Impl()
{
    if (!m_thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void EventStore::Impl::open()
{
    // Closes whatever was open first, so a damaged file can be renamed.
    close();
    try {
        const QFileInfo place(path);
        if (place.isSymLink())
            throw std::runtime_error("it is a symbolic link, which the editor does not follow");
        if (place.exists() && !place.isFile())
            throw std::runtime_error("something other than a file is in its place");
        try {
            m_db = openForWriting(path);
        } catch (const Sqlite::Error &e) {
            if (!e.isDamage())
                throw;
            m_db.reset();
            moveAside(path, e.what());
            m_db = openForWriting(path);
        } catch (const ForeignDatabase &e) {
            m_db.reset();
            moveAside(path, e.what());
            m_db = openForWriting(path);
        }
        m_rows = queryInt(m_db.get(), "SELECT coalesce(max(id) - min(id) + 1, 0) FROM events");
        // The hard ceiling: the file stops growing here whatever happens to pruning, and a batch
        // that would cross it fails like one on a full disk.
        const qint64 pageSize = queryInt(m_db.get(), "PRAGMA page_size");
        const qint64 ceiling
            = std::max<qint64>((limits.maxBytes + limits.maxBytes / 4) / pageSize, 8);
        exec(m_db.get(), ("PRAGMA max_page_count = " + std::to_string(ceiling)).c_str());
        prepareStatements();
    } catch (const std::exception &e) {
        m_db.reset();
        throw std::runtime_error("cannot open the usage event store " + path.toStdString() + ": "
                                 + e.what());
    }
}

void EventStore::Impl::close()
{
    for (Statement *statement : { &m_begin, &m_commit, &m_insert, &m_insertMany, &m_pruneOldest,
                                  &m_pruneAge, &m_setMeta, &m_liveBytes })
        *statement = Statement();
    m_db.reset();
}

void EventStore::Impl::prepareStatements()
{
    sqlite3 *db = m_db.get();
    m_begin = Statement(db, "BEGIN IMMEDIATE");
    m_commit = Statement(db, "COMMIT");
    std::string insert = "INSERT INTO events(name, params, time, session) VALUES(?, ?, ?, ?)";
    m_insert = Statement(db, insert.c_str());
    for (int i = 1; i < RowsPerInsert; ++i)
        insert += ", (?, ?, ?, ?)";
    m_insertMany = Statement(db, insert.c_str());
    // The n oldest; all of them when there are no more than n.
    m_pruneOldest = Statement(db,
                              "DELETE FROM events WHERE id < coalesce("
                              "(SELECT id FROM events ORDER BY id LIMIT 1 OFFSET ?), "
                              "(SELECT max(id) + 1 FROM events))");
    // Everything before the first event young enough to keep. Events arrive in time order, so
    // this walks only the expired ones; one stamped out of order by a clock that jumped waits
    // for those before it.
    m_pruneAge = Statement(db,
                           "DELETE FROM events WHERE id < coalesce("
                           "(SELECT id FROM events WHERE time >= ? ORDER BY id LIMIT 1), "
                           "(SELECT max(id) + 1 FROM events))");
    m_setMeta = Statement(db, "UPDATE meta SET value = ? WHERE key = ?");
    m_liveBytes = Statement(db,
                            "SELECT (page_count - freelist_count) * page_size "
                            "FROM pragma_page_count, pragma_freelist_count, pragma_page_size");
}

// A file damaged under a running store: set it aside and go on with a fresh one.
void EventStore::Impl::recover(const Sqlite::Error &error)
{
    try {
        close();
        if (error.isDamage())
            moveAside(path, error.what());
        open();
        m_persistedDropped = -1;
        if (!enabled)
            applyEnabled(false);
    } catch (const std::exception &e) {
        // Every later batch finds no database, is dropped and counted, and tries again.
        LOG(WARNING) << "usage event store " << path.toStdString()
                     << ": cannot open a new database: " << e.what();
        m_db.reset();
    }
}

EventStore::EventStore()
    : EventStore(Settings::trackingDatabasePath())
{
}

EventStore::EventStore(const QString &path, const Limits &limits)
    : d(std::make_unique<Impl>(path, limits))
{
}

EventStore::~EventStore() = default;

void EventStore::consume(const TrackedEvent &event)
{
    if (d->enabled.load(std::memory_order_relaxed) && d->problem.empty())
        d->consume(event);
}

void EventStore::flush()
{
    d->flush();
}

qint64 EventStore::droppedCount() const
{
    return d->dropped.load();
}

void EventStore::setEnabled(bool enabled)
{
    d->setEnabled(enabled);
}

bool EventStore::isEnabled() const
{
    return d->enabled.load();
}

QString EventStore::path() const
{
    return d->path;
}

bool EventStore::isAvailable() const
{
    return d->problem.empty();
}

std::string EventStore::problem() const
{
    return d->problem;
}

} // namespace Vantel::Tracking
