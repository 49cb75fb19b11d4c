#include "tracking/eventstore.h"
#include "tracking/uploader.h"

#include "logcapture.h"
#include "smalltmpfs.h"
#include "tablerow.h"
#include "testfiles.h"
#include "withoutfileaccessoverride.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

using namespace Vantel::Tracking;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

qint64 nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

TrackedEvent makeEvent(const std::string &name,
                       std::map<std::string, std::string> params = {},
                       qint64 timeMs = nowMs())
{
    TrackedEvent event;
    event.name = name;
    event.params = std::move(params);
    event.timeMs = timeMs;
    event.session = "session-1";
    return event;
}

std::vector<std::string> names(const std::vector<StoredEvent> &events)
{
    std::vector<std::string> result;
    for (const StoredEvent &e : events)
        result.push_back(e.name);
    return result;
}

// Runs SQL on a database file with a connection of the test's own.
void execSql(const QString &path, const std::string &sql)
{
    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &db), SQLITE_OK);
    char *error = nullptr;
    const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error);
    const std::string message = error ? error : "";
    sqlite3_free(error);
    sqlite3_close(db);
    ASSERT_EQ(rc, SQLITE_OK) << message;
}

class EventStoreTest : public ::testing::Test {
protected:
    QString dbPath() const { return m_dir.filePath("usage/events.sqlite"); }
    QStringList setAside() const
    {
        return QDir(m_dir.filePath("usage")).entryList({ "events.sqlite.corrupt-*" }, QDir::Files);
    }

    QTemporaryDir m_dir;
};

} // namespace

// Writing and reading back

TEST_F(EventStoreTest, flushed_events_read_back_in_order_with_params_time_and_session)
{
    const qint64 sentAt = nowMs();
    const std::map<std::string, std::string> params = { { "QUOTE", "say \"hi\"\\" },
                                                        { "LINES", "a\nb\tc" },
                                                        { "TEXT", "Grüße, 東京" },
                                                        { "EMPTY", "" } };
    EventStore store(dbPath());
    store.consume(makeEvent("FIRST", params, sentAt - 5));
    store.consume(makeEvent("SECOND", {}, sentAt));
    store.flush();

    const std::vector<StoredEvent> events = store.events();
    ASSERT_THAT(names(events), ElementsAre("FIRST", "SECOND"));
    EXPECT_EQ(events[0].params, params);
    EXPECT_EQ(events[0].timeMs, sentAt - 5);
    EXPECT_EQ(events[0].session, "session-1");
    EXPECT_THAT(events[1].params, IsEmpty());
    EXPECT_LT(events[0].id, events[1].id);
}

TEST_F(EventStoreTest, destruction_writes_everything_still_queued)
{
    {
        EventStore store(dbPath());
        for (int i = 0; i < 5000; ++i)
            store.consume(makeEvent("E" + std::to_string(i)));
    }
    EventStore reopened(dbPath());
    EXPECT_EQ(reopened.count(), 5000);
    EXPECT_EQ(reopened.events(0, -1).back().name, "E4999");
}

TEST_F(EventStoreTest, reading_after_an_id_continues_where_the_reader_stopped)
{
    EventStore store(dbPath());
    for (const char *name : { "A", "B", "C", "D", "E" })
        store.consume(makeEvent(name));
    store.flush();

    const std::vector<StoredEvent> firstPage = store.events(0, 2);
    ASSERT_THAT(names(firstPage), ElementsAre("A", "B"));
    EXPECT_THAT(names(store.events(firstPage.back().id, 2)), ElementsAre("C", "D"));
    EXPECT_THAT(names(store.events(firstPage.back().id)), ElementsAre("C", "D", "E"));
}

// The user's switch

TEST_F(EventStoreTest,
       switched_off_it_deletes_what_was_stored_and_keeps_nothing_in_any_run_until_on_again)
{
    EventStore store(dbPath());
    store.consume(makeEvent("BEFORE"));
    store.flush();
    store.setEnabled(false);
    store.consume(makeEvent("WHILE_OFF"));
    store.flush();
    EXPECT_FALSE(store.isEnabled());
    EXPECT_EQ(store.count(), 0);

    {
        EventStore later(dbPath()); // the switch holds for later runs too
        later.consume(makeEvent("LATER_RUN"));
        later.flush();
        EXPECT_FALSE(later.isEnabled());
    }
    store.setEnabled(true);
    store.consume(makeEvent("ON"));
    store.flush();
    EXPECT_TRUE(store.isEnabled());
    EXPECT_THAT(names(store.events()), ElementsAre("ON"));
}

TEST_F(EventStoreTest, switched_off_no_trace_of_the_events_is_left_in_its_files)
{
    const QByteArray marker = "private-marker-7f3a";
    {
        EventStore store(dbPath());
        for (int i = 0; i < 2000; ++i)
            store.consume(makeEvent("E", { { "NOTE", marker.toStdString() } }));
        store.flush();
        store.setEnabled(false);
        for (const QString &file : { dbPath(), QString(dbPath() + "-wal") })
            EXPECT_FALSE(TestSupport::readFile(file).contains(marker)) << file.toStdString();
    }
    EXPECT_FALSE(TestSupport::readFile(dbPath()).contains(marker));
    EXPECT_LT(QFileInfo(dbPath()).size(), 64 * 1024);
}

// Caps

TEST_F(EventStoreTest, count_cap_drops_the_oldest_and_counts_them_across_runs)
{
    EventStoreLimits limits;
    limits.maxEvents = 10;
    {
        EventStore store(dbPath(), limits);
        for (int i = 0; i < 25; ++i)
            store.consume(makeEvent("E" + std::to_string(i)));
        store.flush();
        EXPECT_THAT(
            names(store.events()),
            ElementsAre("E15", "E16", "E17", "E18", "E19", "E20", "E21", "E22", "E23", "E24"));
    }
    EventStore later(dbPath(), limits);
    EXPECT_EQ(later.droppedCount(), 15);
}

TEST_F(EventStoreTest, age_cap_drops_events_older_than_the_limit)
{
    EventStoreLimits limits;
    limits.maxAge = std::chrono::hours(1);
    EventStore store(dbPath(), limits);
    store.consume(makeEvent("OLD", {}, nowMs() - 2 * 3600 * 1000));
    store.consume(makeEvent("RECENT"));
    store.flush();
    EXPECT_THAT(names(store.events()), ElementsAre("RECENT"));
    EXPECT_EQ(store.droppedCount(), 1);
}

TEST_F(EventStoreTest, size_cap_keeps_the_newest_events_within_the_file_limit)
{
    EventStoreLimits limits;
    limits.maxBytes = 1 << 20;
    const int sent = 10000;
    {
        EventStore store(dbPath(), limits);
        for (int i = 0; i < sent; ++i)
            store.consume(makeEvent("E" + std::to_string(i), { { "PAD", std::string(300, 'p') } }));
        store.flush();

        const std::vector<StoredEvent> kept = store.events();
        ASSERT_THAT(kept, Not(IsEmpty()));
        EXPECT_EQ(kept.back().name, "E" + std::to_string(sent - 1));
        EXPECT_NE(kept.front().name, "E0");
        EXPECT_EQ(static_cast<qint64>(kept.size()) + store.droppedCount(), sent);
    }
    EXPECT_LE(QFileInfo(dbPath()).size(), limits.maxBytes + limits.maxBytes / 4);
}

// Faults

TEST_F(EventStoreTest, a_batch_that_does_not_fit_is_dropped_with_a_warning_and_the_store_goes_on)
{
    TestSupport::LogCapture log;
    EventStoreLimits limits;
    limits.maxBytes = 1 << 20;
    EventStore store(dbPath(), limits);

    store.consume(makeEvent("HUGE", { { "BLOB", std::string(2 << 20, 'x') } }));
    store.flush();
    store.consume(makeEvent("SMALL"));
    store.flush();

    EXPECT_THAT(names(store.events()), ElementsAre("SMALL"));
    EXPECT_EQ(store.droppedCount(), 1);
    EXPECT_THAT(log.matching({ "dropped 1 events", dbPath().toStdString() }), SizeIs(1));
}

TEST_F(EventStoreTest, a_full_store_makes_room_by_dropping_the_oldest_instead_of_the_new_batch)
{
    EventStoreLimits limits;
    limits.maxBytes = 1 << 20;
    EventStore store(dbPath(), limits);
    for (int i = 0; i < 900; ++i)
        store.consume(makeEvent("OLD", { { "PAD", std::string(1000, 'o') } }));
    store.flush();

    // Larger than the room left above the cap: only fits once older events go.
    for (int i = 0; i < 400; ++i)
        store.consume(makeEvent("NEW", { { "PAD", std::string(1000, 'n') } }));
    store.flush();

    const std::vector<std::string> kept = names(store.events());
    EXPECT_EQ(std::count(kept.begin(), kept.end(), "NEW"), 400);
    EXPECT_EQ(static_cast<qint64>(kept.size()) + store.droppedCount(), 1300);
}

TEST_F(EventStoreTest, events_dropped_on_a_full_disk_are_still_counted_at_the_next_start)
{
    TestSupport::SmallTmpfs disk(256 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    const QString path = disk.filePath("events.sqlite");
    qint64 dropped = 0;
    {
        EventStore store(path);
        disk.fill();
        for (int i = 0; i < 2000; ++i)
            store.consume(makeEvent("LOST", { { "PAD", std::string(500, 'p') } }));
        store.flush();
        dropped = store.droppedCount();
    }
    EXPECT_GT(dropped, 1000);
    EXPECT_EQ(EventStore(path).droppedCount(), dropped);
}

TEST_F(EventStoreTest, ids_that_ran_out_are_numbered_again_and_nothing_is_lost)
{
    {
        EventStore store(dbPath());
        for (const char *name : { "A", "B", "C" })
            store.consume(makeEvent(name));
    }
    // The upload has sent A and B.
    execSql(dbPath(),
            "UPDATE events SET id = id + 9223372036854775000;"
            "UPDATE sqlite_sequence SET seq = 9223372036854775807;"
            "CREATE TABLE upload(key TEXT PRIMARY KEY, value) WITHOUT ROWID;"
            "INSERT INTO upload VALUES('cursor', 9223372036854775002);");

    auto store = std::make_shared<EventStore>(dbPath());
    for (const char *name : { "D", "E" })
        store->consume(makeEvent(name));
    store->flush();

    EXPECT_THAT(names(store->events()), ElementsAre("A", "B", "C", "D", "E"));
    EXPECT_EQ(store->events().back().id, 5);
    EXPECT_EQ(store->droppedCount(), 0);
    EXPECT_EQ(Uploader(store).status().pending, 3);
}

namespace {

struct DamagedFile : TestSupport::TableRow {
    // Turns the store's path into the damaged or foreign file.
    void (*make)(const QString &path);
};

void fillStore(const QString &path)
{
    EventStore store(path);
    for (int i = 0; i < 3000; ++i)
        store.consume(makeEvent("E", { { "PAD", std::string(200, 'p') } }));
}

const DamagedFile damagedFiles[] = {
    { "not_sqlite",
      [](const QString &path) { TestSupport::writeFile(path, QByteArray(5000, 'z')); } },
    { "cut_short",
      [](const QString &path) {
          fillStore(path);
          ASSERT_TRUE(QFile::resize(path, QFileInfo(path).size() / 3));
      } },
    { "cut_inside_the_header",
      [](const QString &path) {
          fillStore(path);
          ASSERT_TRUE(QFile::resize(path, 40));
      } },
    { "another_programs_database",
      [](const QString &path) {
          execSql(path, "CREATE TABLE songs(title TEXT); INSERT INTO songs VALUES('x');");
      } },
    { "same_table_names_but_another_program",
      [](const QString &path) {
          execSql(path, "CREATE TABLE events(what TEXT); CREATE TABLE meta(k, v);");
      } },
    { "our_mark_but_tables_missing",
      [](const QString &path) {
          fillStore(path);
          execSql(path, "DROP TABLE meta;");
      } },
    { "newer_schema",
      [](const QString &path) {
          fillStore(path);
          execSql(path, "PRAGMA user_version = 7;");
      } },
};

class EventStoreDamagedFile
    : public EventStoreTest
    , public ::testing::WithParamInterface<DamagedFile> { };

} // namespace

TEST_P(EventStoreDamagedFile, is_moved_aside_with_a_warning_and_a_fresh_store_works)
{
    QDir().mkpath(QFileInfo(dbPath()).absolutePath());
    GetParam().make(dbPath());
    const QByteArray original = TestSupport::readFile(dbPath());

    TestSupport::LogCapture log;
    EventStore store(dbPath());
    store.consume(makeEvent("AFTER"));
    store.flush();

    EXPECT_THAT(names(store.events()), ElementsAre("AFTER"));
    ASSERT_THAT(setAside(), SizeIs(1));
    const QString kept = QFileInfo(dbPath()).absoluteDir().filePath(setAside().front());
    EXPECT_EQ(TestSupport::readFile(kept), original);
    EXPECT_THAT(log.matching({ dbPath().toStdString(), kept.toStdString() }), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(EventStore,
                         EventStoreDamagedFile,
                         ::testing::ValuesIn(damagedFiles),
                         TestSupport::tableRowName);

namespace {

// What stands where the store should be. The editor goes on without statistics: the store says
// once why it keeps nothing, and accepts events without failing.
struct UnusablePlace : TestSupport::TableRow {
    // Returns false when this run cannot build the case (a right root keeps).
    std::function<bool(const QString &path, std::unique_ptr<TestSupport::SmallTmpfs> &disk)> make;
};

class EventStoreUnusable
    : public EventStoreTest
    , public ::testing::WithParamInterface<UnusablePlace> { };

const UnusablePlace unusablePlaces[] = {
    { "file_where_the_folder_should_be",
      [](const QString &path, auto &) {
          TestSupport::writeFile(QFileInfo(path).absolutePath(), "a file");
          return true;
      } },
    { "folder_at_the_path", [](const QString &path, auto &) { return QDir().mkpath(path); } },
    { "dangling_symlink",
      [](const QString &path, auto &) {
          QDir().mkpath(QFileInfo(path).absolutePath());
          return QFile::link(path + "-nowhere", path);
      } },
    { "read_only_file",
      [](const QString &path, auto &) {
          fillStore(path);
          return QFile::setPermissions(path, QFile::ReadOwner)
              && TestSupport::WithoutFileAccessOverride().modeBitsBind();
      } },
    { "full_disk",
      [](const QString &path, std::unique_ptr<TestSupport::SmallTmpfs> &disk) {
          disk = std::make_unique<TestSupport::SmallTmpfs>(16 * 1024);
          if (!disk->mounted())
              return false;
          QDir().mkpath(disk->filePath("usage"));
          disk->fill();
          return QFile::link(disk->filePath("usage"), QFileInfo(path).absolutePath());
      } },
};

} // namespace

TEST_P(EventStoreUnusable, the_store_says_once_why_it_keeps_nothing_and_the_editor_goes_on)
{
    std::unique_ptr<TestSupport::SmallTmpfs> disk;
    if (!GetParam().make(dbPath(), disk))
        GTEST_SKIP() << "this run cannot build the case";
    TestSupport::LogCapture log;
    TestSupport::WithoutFileAccessOverride guard;
    EventStore store(dbPath());
    store.consume(makeEvent("LOST"));
    store.flush();

    EXPECT_FALSE(store.isAvailable());
    EXPECT_THAT(log.matching({ "usage events are not being kept", store.problem() }), SizeIs(1));
    EXPECT_THROW(store.events(), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(EventStore,
                         EventStoreUnusable,
                         ::testing::ValuesIn(unusablePlaces),
                         TestSupport::tableRowName);

TEST_F(EventStoreTest, editors_starting_together_on_a_fresh_folder_all_keep_their_events)
{
    constexpr int children = 4;
    constexpr int rounds = 3;
    for (int round = 0; round < rounds; ++round) {
        const QString path = m_dir.filePath(QStringLiteral("round%1/events.sqlite").arg(round));
        std::vector<std::unique_ptr<QProcess>> started;
        for (int i = 0; i < children; ++i) {
            started.push_back(std::make_unique<QProcess>());
            started.back()->start(QStringLiteral(TRACKING_CHILD), { "race", path, "50" });
            while (!started.back()->canReadLine())
                ASSERT_TRUE(started.back()->waitForReadyRead(60000)) << "a child never started";
        }
        for (auto &child : started)
            child->write("go\n");
        for (auto &child : started) {
            ASSERT_TRUE(child->waitForFinished(60000));
            EXPECT_EQ(child->exitCode(), 0) << child->readAllStandardError().toStdString();
        }
        EXPECT_EQ(EventStore(path).count(), children * 50);
    }
}

TEST_F(EventStoreTest, events_flushed_before_the_process_is_killed_survive_the_kill)
{
    const int flushed = 20000;
    QProcess child;
    child.start(QStringLiteral(TRACKING_CHILD), { "store", dbPath(), QString::number(flushed) });
    ASSERT_TRUE(child.waitForStarted());
    while (!child.canReadLine())
        ASSERT_TRUE(child.waitForReadyRead(60000)) << "the child never flushed";
    ASSERT_EQ(child.readLine().trimmed(), "flushed " + QByteArray::number(flushed));
    child.kill();
    ASSERT_TRUE(child.waitForFinished());

    EventStore store(dbPath());
    const std::vector<StoredEvent> events = store.events(0, flushed);
    ASSERT_THAT(events, SizeIs(flushed));
    for (int i = 0; i < flushed; ++i)
        ASSERT_EQ(events[i].params.at("I"), std::to_string(i));
    EXPECT_THAT(setAside(), IsEmpty());
}

// The stored form of parameters

TEST(StoredParams, text_that_is_not_a_json_object_is_refused)
{
    for (const QByteArray &text : { QByteArray(), QByteArray("[]"), QByteArray("{\"A\":"),
                                    QByteArray("\"A\""), QByteArray("\xff\xfe") }) {
        std::map<std::string, std::string> params { { "LEFT", "OVER" } };
        EXPECT_FALSE(paramsFromJson(text, params)) << text.toStdString();
        EXPECT_THAT(params, IsEmpty());
    }
}

TEST(StoredParams, values_that_are_not_strings_are_skipped)
{
    std::map<std::string, std::string> params;
    ASSERT_TRUE(paramsFromJson(R"({"A":"1","B":2,"C":null,"D":{"E":"F"}})", params));
    EXPECT_EQ(params, (std::map<std::string, std::string> { { "A", "1" } }));
}
