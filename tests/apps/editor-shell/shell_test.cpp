// The shell as a user runs it: a real process on a temporary data folder.

#include "shellrun.h"

#include <QTemporaryDir>

namespace {

using TestSupport::eventNames;

class EditorShell : public ::testing::Test {
protected:
    TestSupport::ShellRun run(const QStringList &arguments)
    {
        return TestSupport::runShell(QStringLiteral(EDITOR_SHELL), data.path(), arguments);
    }

    // The stored events, oldest first.
    QList<QJsonObject> storedEvents()
    {
        return TestSupport::jsonLines(
            run({ QStringLiteral("events"), QStringLiteral("--json") }).out.toUtf8());
    }

    QTemporaryDir data;
};

TEST_F(EditorShell, first_run_is_the_first_start_and_the_next_an_every_start)
{
    ASSERT_EQ(run({ QStringLiteral("status") }).exitCode, 0);
    EXPECT_EQ(eventNames(storedEvents()),
              (QStringList { QStringLiteral("APP_FIRST_START"), QStringLiteral("APP_LAUNCHED"),
                             QStringLiteral("APP_EXIT"), QStringLiteral("APP_EVERY_START"),
                             QStringLiteral("APP_LAUNCHED") }));
}

TEST_F(EditorShell, events_out_gets_every_event_of_the_run_as_json_lines)
{
    const QString file = data.filePath(QStringLiteral("run.jsonl"));
    ASSERT_EQ(run({ QStringLiteral("--events-out"), file, QStringLiteral("status") }).exitCode, 0);
    const QList<QJsonObject> events = TestSupport::jsonLinesOf(file);
    for (const QJsonObject &e : events)
        EXPECT_TRUE(e.value(QStringLiteral("params")).isObject());
    EXPECT_EQ(eventNames(events),
              (QStringList { QStringLiteral("APP_FIRST_START"), QStringLiteral("APP_LAUNCHED"),
                             QStringLiteral("APP_EXIT") }));
}

TEST_F(EditorShell, statistics_off_deletes_the_store_and_keeps_nothing_until_on_again)
{
    ASSERT_EQ(run({ QStringLiteral("status") }).exitCode, 0);
    ASSERT_EQ(run({ QStringLiteral("statistics"), QStringLiteral("off") }).exitCode, 0);
    EXPECT_TRUE(storedEvents().isEmpty());
    EXPECT_TRUE(storedEvents().isEmpty());
    ASSERT_EQ(run({ QStringLiteral("statistics"), QStringLiteral("on") }).exitCode, 0);
    // The run that switched statistics on ends with an exit event; the next run is recorded.
    EXPECT_EQ(eventNames(storedEvents()),
              (QStringList { QStringLiteral("APP_EXIT"), QStringLiteral("APP_EVERY_START"),
                             QStringLiteral("APP_LAUNCHED") }));
}

TEST_F(EditorShell, killed_run_is_reported_as_failed_next_time)
{
    QProcess follower;
    follower.start(QStringLiteral(EDITOR_SHELL),
                   { QStringLiteral("--data-dir"), data.path(), QStringLiteral("events"),
                     QStringLiteral("--follow") });
    ASSERT_TRUE(follower.waitForReadyRead(30000));
    follower.kill(); // SIGKILL: no clean exit, no exit event
    follower.waitForFinished();

    const QList<QJsonObject> events = storedEvents();
    QStringList failedSessions;
    for (const QJsonObject &e : events) {
        if (e.value(QStringLiteral("event")).toString() == QLatin1String("APP_FAILED"))
            failedSessions << e.value(QStringLiteral("params"))
                                  .toObject()
                                  .value(QStringLiteral("SID"))
                                  .toString();
    }
    ASSERT_EQ(failedSessions.size(), 1) << eventNames(events).join(QLatin1Char(' ')).toStdString();
    // The failed session is the killed run: it had started, and it never said goodbye.
    QStringList killedRun;
    for (const QJsonObject &e : events) {
        if (e.value(QStringLiteral("session")).toString() == failedSessions.front())
            killedRun << e.value(QStringLiteral("event")).toString();
    }
    EXPECT_TRUE(killedRun.contains(QStringLiteral("APP_FIRST_START")));
    EXPECT_FALSE(killedRun.contains(QStringLiteral("APP_EXIT")));
}

TEST_F(EditorShell, unwritable_data_folder_is_one_clear_error)
{
    const auto r
        = TestSupport::runShell(QStringLiteral(EDITOR_SHELL), QStringLiteral("/proc/self/editor"),
                                { QStringLiteral("status") });
    EXPECT_NE(r.exitCode, 0);
    EXPECT_TRUE(r.err.contains(QStringLiteral("data folder")));
}

TEST_F(EditorShell, unknown_command_is_refused_with_usage)
{
    const auto r = run({ QStringLiteral("no-such-command") });
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.err.contains(QStringLiteral("Usage:")));
}

} // namespace
