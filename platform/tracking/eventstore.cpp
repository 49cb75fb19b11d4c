#include "tracking/eventstore.h"

#include "tracking/jsontext.h"
#include "tracking/sqlite.h"

#include "util/settingspaths.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <glog/logging.h>
#include <pthread.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

namespace Vantel::Tracking {

namespace {

using Sqlite::columnText;
using Sqlite::Database;
using Sqlite::exec;
using Sqlite::fail;
using Sqlite::queryInt;
using Sqlite::Statement;

// Marks the file as this store's ("VTLE"), so any other SQLite database found at the path is
// recognised as foreign rather than written into.
constexpr int ApplicationId = 0x56544c45;
constexpr int SchemaVersion = 1;
// Bytes a row costs beyond its texts (record header, integers, page slack): enough to estimate
// what a batch needs.
constexpr qint64 RowOverhead = 32;
// Rows per INSERT statement: a statement's own cost is larger than a row's, so rows share one.
constexpr int RowsPerInsert = 50;
// Another editor on the same data folder may be committing, or creating the store; its
// transactions are short.
constexpr int BusyTimeoutMs = 5000;

// AUTOINCREMENT: ids are never reused, so a reader's cursor stays valid. Every deletion takes the
// oldest ids (a prefix) or all of them, so the ids in the table are always one unbroken run: the
// row count is max - min + 1 and no index is needed to find the oldest events. An index on time
// cost more than a third of each insert.
constexpr const char *CreateSchema = R"(
CREATE TABLE events(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  name TEXT NOT NULL,
  params TEXT NOT NULL,
  time INTEGER NOT NULL,
  session TEXT NOT NULL);
CREATE TABLE meta(key TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
INSERT INTO meta VALUES('enabled', 1), ('dropped', 0);
PRAGMA application_id = 1448365125;
PRAGMA user_version = 1;
)";
static_assert(ApplicationId == 1448365125, "the schema text spells the id in decimal");

// A sound SQLite file that belongs to someone else, or to a schema this build does not know.
class ForeignDatabase : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

// Makes `db` this store's database: a new file gets the schema, an existing one must already
// have it. Throws Sqlite::Error (damage or I/O) or ForeignDatabase.
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

// Renames the damaged file (and its log) out of the way; keeps them for anyone who wants to look.
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

void setThreadName()
{
    pthread_setname_np(pthread_self(), "eventstore");
}

} // namespace

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

namespace {

// Events waiting for the writer, already in their stored form: every text of every event in one
// buffer. The sending thread encodes its event and appends it; the writer takes the whole
// buffer. So the hand-off costs no allocation per event, and nothing allocated on one thread is
// freed on the other (which glibc makes the allocating thread pay for).
struct PendingEvents {
    struct Row {
        std::size_t begin;
        std::uint32_t nameSize;
        std::uint32_t paramsSize;
        std::uint32_t sessionSize;
        qint64 timeMs;

        std::string_view name(const std::string &text) const
        {
            return { text.data() + begin, nameSize };
        }
        std::string_view params(const std::string &text) const
        {
            return { text.data() + begin + nameSize, paramsSize };
        }
        std::string_view session(const std::string &text) const
        {
            return { text.data() + begin + nameSize + paramsSize, sessionSize };
        }
    };

    std::string text;
    std::vector<Row> rows;

    std::size_t size() const noexcept { return rows.size(); }
    bool empty() const noexcept { return rows.empty(); }
    void clear() noexcept
    {
        text.clear();
        rows.clear();
    }
    void swap(PendingEvents &other) noexcept
    {
        text.swap(other.text);
        rows.swap(other.rows);
    }
    void append(const TrackedEvent &event, std::string_view params)
    {
        rows.push_back(Row { text.size(), static_cast<std::uint32_t>(event.name.size()),
                             static_cast<std::uint32_t>(params.size()),
                             static_cast<std::uint32_t>(event.session.size()), event.timeMs });
        text.append(event.name).append(params).append(event.session);
    }
};

// Where the count of dropped events goes when the database cannot take it: on a full disk
// every SQLite commit needs room in its log, but overwriting the bytes of a file that already
// has them needs none. One fixed-size record, so each write lands on the same block.
class DroppedCountFile {
public:
    DroppedCountFile() = default;
    ~DroppedCountFile()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    DroppedCountFile(const DroppedCountFile &) = delete;
    DroppedCountFile &operator=(const DroppedCountFile &) = delete;

    // Made while there is room, so it has its block before the disk fills up.
    void open(const QString &path)
    {
        m_fd = ::open(QFile::encodeName(path).constData(),
                      O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
        struct stat info { };
        if (m_fd < 0 || ::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) {
            if (m_fd >= 0)
                ::close(m_fd);
            m_fd = -1;
            return;
        }
        if (info.st_size < RecordSize)
            write(0);
    }
    qint64 read() const
    {
        char record[RecordSize + 1] = {};
        if (m_fd < 0 || ::pread(m_fd, record, RecordSize, 0) != RecordSize)
            return 0;
        char *end = nullptr;
        const long long value = std::strtoll(record, &end, 10);
        return end == record + RecordSize - 1 && *end == '\n' && value > 0 ? value : 0;
    }
    void write(qint64 count)
    {
        char record[RecordSize + 1];
        std::snprintf(record, sizeof record, "%019lld\n", static_cast<long long>(count));
        if (m_fd >= 0 && ::pwrite(m_fd, record, RecordSize, 0) == RecordSize)
            ::fdatasync(m_fd);
    }

private:
    static constexpr int RecordSize = 20;
    int m_fd = -1;
};

} // namespace

class EventStore::Impl {
public:
    Impl(QString path, const Limits &limits);
    ~Impl();

    void consume(const TrackedEvent &event);
    void flush();
    void setEnabled(bool enabled);
    Database openForReading() const;

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
    Database m_db;
    Statement m_begin, m_commit, m_insert, m_insertMany, m_pruneOldest, m_pruneAge, m_setMeta,
        m_liveBytes;
    qint64 m_rows = 0;
    qint64 m_persistedDropped = 0;
    DroppedCountFile m_droppedFile;
    bool m_failing = false;
    std::thread m_thread;
};

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

// After a failed batch the count must still survive a restart; on a full disk this may fail
// too, and the next successful batch carries it.
void EventStore::Impl::persistDropped()
{
    const qint64 total = dropped.load();
    try {
        if (m_db) {
            setMeta("dropped", total);
            m_persistedDropped = total;
            return;
        }
    } catch (const Sqlite::Error &) {
    }
    m_droppedFile.write(total);
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

Database EventStore::Impl::openForReading() const
{
    // Read-write without create, so a reader can attach to the log, never make a file.
    Database db = Sqlite::open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, BusyTimeoutMs);
    exec(db.get(), "PRAGMA query_only = 1");
    return db;
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
