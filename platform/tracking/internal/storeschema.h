#pragma once

#include "tracking/sqlite.h"

#include <QString>

#include <sqlite3.h>

#include <stdexcept>
#include <string>

// The event store's file: its schema, how it is opened for writing, and what happens to one that
// is damaged or another program's. Only the store's own sources include this.
namespace Vantel::Tracking::StoreSchema {

// Marks the file as this store's ("VTLE"), so any other SQLite database found at the path is
// recognised as foreign rather than written into.
inline constexpr int ApplicationId = 0x56544c45;
inline constexpr int SchemaVersion = 1;
// Bytes a row costs beyond its texts (record header, integers, page slack): enough to estimate
// what a batch needs.
inline constexpr qint64 RowOverhead = 32;
// Rows per INSERT statement: a statement's own cost is larger than a row's, so rows share one.
inline constexpr int RowsPerInsert = 50;
// Another editor on the same data folder may be committing, or creating the store; its
// transactions are short.
inline constexpr int BusyTimeoutMs = 5000;

// AUTOINCREMENT: ids are never reused, so a reader's cursor stays valid. Every deletion takes the
// oldest ids (a prefix) or all of them, so the ids in the table are always one unbroken run: the
// row count is max - min + 1 and no index is needed to find the oldest events. An index on time
// cost more than a third of each insert.
inline constexpr const char *CreateSchema = R"(
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

qint64 nowMs();

// Makes `db` this store's database: a new file gets the schema, an existing one must already
// have it. Throws Sqlite::Error (damage or I/O) or ForeignDatabase.
void prepareSchema(sqlite3 *db);
Sqlite::Database openForWriting(const QString &path);
// Renames the damaged file (and its log) out of the way; keeps them for anyone who wants to look.
void moveAside(const QString &path, const std::string &reason);

} // namespace Vantel::Tracking::StoreSchema
