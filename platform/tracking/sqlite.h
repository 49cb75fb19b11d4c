#pragma once

#include "tracking_export.h"

#include <QString>
#include <QtGlobal>

#include <sqlite3.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

// A thin layer over SQLite's C interface for the tracking library's stores: owned handles,
// prepared statements that throw, and errors that say whether the file itself is bad. Each
// connection is used by one thread at a time.
namespace Vantel::Tracking::Sqlite {

class TRACKING_EXPORT Error : public std::runtime_error {
public:
    Error(int code, const std::string &message)
        : std::runtime_error(message)
        , m_code(code)
    {
    }
    int code() const noexcept { return m_code; }
    // The file itself is bad: no retry on it can succeed.
    bool isDamage() const noexcept
    {
        const int primary = m_code & 0xff;
        return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
    }
    bool isFull() const noexcept { return (m_code & 0xff) == SQLITE_FULL; }

private:
    int m_code;
};

struct DatabaseCloser {
    void operator()(sqlite3 *db) const { sqlite3_close_v2(db); }
};
using Database = std::unique_ptr<sqlite3, DatabaseCloser>;

// Throws Error with `what` and SQLite's own words for the failure.
[[noreturn]] void fail(sqlite3 *db, int code, const std::string &what);

// Opens `path` with `flags` (SQLITE_OPEN_*), extended result codes on, waiting up to
// `busyTimeoutMs` for another connection's transaction. Never follows a symbolic link at the
// path. Throws Error.
TRACKING_EXPORT Database open(const QString &path, int flags, int busyTimeoutMs);

// Runs every statement of `sql`; `label` names it in an error (the text itself can be long).
TRACKING_EXPORT void exec(sqlite3 *db, const char *sql, const char *label = nullptr);

class TRACKING_EXPORT Statement {
public:
    Statement() = default;
    Statement(sqlite3 *db, const char *sql);
    ~Statement();
    Statement(Statement &&other) noexcept
        : m_db(std::exchange(other.m_db, nullptr))
        , m_stmt(std::exchange(other.m_stmt, nullptr))
    {
    }
    Statement &operator=(Statement &&other) noexcept
    {
        std::swap(m_db, other.m_db);
        std::swap(m_stmt, other.m_stmt);
        return *this;
    }

    sqlite3_stmt *get() const { return m_stmt; }

    void bind(int index, qint64 value);
    // The text must outlive the step that uses it.
    void bind(int index, const char *text, std::size_t size);
    void bind(int index, const std::string &text) { bind(index, text.data(), text.size()); }

    // True while there is a row to read.
    bool step();
    void run();
    // The first column of the first row; 0 when there is none.
    qint64 single();
    void reset() { sqlite3_reset(m_stmt); }

private:
    void check(int rc);

    sqlite3 *m_db = nullptr;
    sqlite3_stmt *m_stmt = nullptr;
};

TRACKING_EXPORT qint64 queryInt(sqlite3 *db, const char *sql);
TRACKING_EXPORT std::string columnText(sqlite3_stmt *stmt, int column);

} // namespace Vantel::Tracking::Sqlite
