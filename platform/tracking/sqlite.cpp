#include "tracking/sqlite.h"

#include <QFile>

#include <cstring>

namespace Vantel::Tracking::Sqlite {

void fail(sqlite3 *db, int code, const std::string &what)
{
    throw Error(code, what + ": " + (db ? sqlite3_errmsg(db) : sqlite3_errstr(code)));
}

Database open(const QString &path, int flags, int busyTimeoutMs)
{
    sqlite3 *raw = nullptr;
    const int rc = sqlite3_open_v2(QFile::encodeName(path).constData(), &raw,
                                   flags | SQLITE_OPEN_NOFOLLOW, nullptr);
    Database db(raw);
    if (rc != SQLITE_OK) {
        // SQLite's own words ("unable to open database file") hide the reason the system gave.
        const int code = raw ? sqlite3_system_errno(raw) : 0;
        throw Error(rc,
                    "cannot open " + path.toStdString() + ": "
                        + (code ? std::strerror(code) : sqlite3_errstr(rc)));
    }
    sqlite3_extended_result_codes(db.get(), 1);
    sqlite3_busy_timeout(db.get(), busyTimeoutMs);
    return db;
}

void exec(sqlite3 *db, const char *sql, const char *label)
{
    const int rc = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        fail(db, rc, label ? label : sql);
}

Statement::Statement(sqlite3 *db, const char *sql)
    : m_db(db)
{
    const int rc = sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &m_stmt, nullptr);
    if (rc != SQLITE_OK)
        fail(db, rc, sql);
}

Statement::~Statement()
{
    sqlite3_finalize(m_stmt);
}

void Statement::bind(int index, qint64 value)
{
    check(sqlite3_bind_int64(m_stmt, index, value));
}

void Statement::bind(int index, const char *text, std::size_t size)
{
    check(sqlite3_bind_text64(m_stmt, index, text, size, SQLITE_STATIC, SQLITE_UTF8));
}

bool Statement::step()
{
    const int rc = sqlite3_step(m_stmt);
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    sqlite3_reset(m_stmt);
    fail(m_db, rc, sqlite3_sql(m_stmt));
}

void Statement::run()
{
    while (step()) { }
    sqlite3_reset(m_stmt);
}

qint64 Statement::single()
{
    const qint64 value = step() ? sqlite3_column_int64(m_stmt, 0) : 0;
    sqlite3_reset(m_stmt);
    return value;
}

void Statement::check(int rc)
{
    if (rc != SQLITE_OK)
        fail(m_db, rc, "bind");
}

qint64 queryInt(sqlite3 *db, const char *sql)
{
    return Statement(db, sql).single();
}

std::string columnText(sqlite3_stmt *stmt, int column)
{
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(stmt, column));
    return text ? std::string(text, sqlite3_column_bytes(stmt, column)) : std::string();
}

} // namespace Vantel::Tracking::Sqlite
