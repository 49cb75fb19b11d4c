// The shell as a user runs it: a real process on a temporary data folder.

#include "shellrun.h"

#include <QDir>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <signal.h>
#include <sys/stat.h>

#include <functional>

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

// The events of one session, by name.
QStringList sessionEvents(const QList<QJsonObject> &events, const QString &session)
{
    QStringList names;
    for (const QJsonObject &e : events) {
        if (e.value(QStringLiteral("session")).toString() == session)
            names << e.value(QStringLiteral("event")).toString();
    }
    return names;
}

class EditorShellSignal
    : public EditorShell
    , public ::testing::WithParamInterface<int> { };

TEST_P(EditorShellSignal, ends_the_run_cleanly_and_is_no_failure)
{
    QProcess follower;
    follower.start(QStringLiteral(EDITOR_SHELL),
                   { QStringLiteral("--data-dir"), data.path(), QStringLiteral("events"),
                     QStringLiteral("--follow"), QStringLiteral("--json") });
    ASSERT_TRUE(follower.waitForReadyRead(30000));
    const QString session = TestSupport::jsonLines(follower.readAllStandardOutput())
                                .front()
                                .value(QStringLiteral("session"))
                                .toString();
    ::kill(static_cast<pid_t>(follower.processId()), GetParam());
    ASSERT_TRUE(follower.waitForFinished(30000));
    EXPECT_EQ(follower.exitStatus(), QProcess::NormalExit);

    const QList<QJsonObject> events = storedEvents();
    EXPECT_TRUE(sessionEvents(events, session).contains(QStringLiteral("APP_EXIT")));
    EXPECT_FALSE(eventNames(events).contains(QStringLiteral("APP_FAILED")));
}

INSTANTIATE_TEST_SUITE_P(EditorShell,
                         EditorShellSignal,
                         ::testing::Values(SIGINT, SIGTERM),
                         [](const auto &info) {
                             return std::string(info.param == SIGINT ? "ctrl_c" : "sigterm");
                         });

// A start refused with a message: no hang, a non-zero exit, and no failed session next time.
struct RefusedStart {
    const char *name;
    std::function<QStringList(const QTemporaryDir &data)> arguments;
    const char *message;
};

void PrintTo(const RefusedStart &r, std::ostream *os)
{
    *os << r.name;
}

class EditorShellRefusedStart
    : public EditorShell
    , public ::testing::WithParamInterface<RefusedStart> { };

TEST_P(EditorShellRefusedStart, says_why_and_is_no_failure)
{
    QProcess shell;
    shell.start(QStringLiteral(EDITOR_SHELL), GetParam().arguments(data));
    shell.closeWriteChannel();
    ASSERT_TRUE(shell.waitForFinished(30000)) << "the shell hung";
    EXPECT_EQ(shell.exitCode(), 1);
    EXPECT_THAT(shell.readAllStandardError().toStdString(), testing::HasSubstr(GetParam().message));
    EXPECT_FALSE(eventNames(storedEvents()).contains(QStringLiteral("APP_FAILED")));
}

INSTANTIATE_TEST_SUITE_P(
    EditorShell,
    EditorShellRefusedStart,
    ::testing::Values(RefusedStart { "empty_data_dir",
                                     [](const QTemporaryDir &) {
                                         return QStringList { QStringLiteral("--data-dir"),
                                                              QString(), QStringLiteral("status") };
                                     },
                                     "data folder must be named" },
                      RefusedStart { "events_out_to_a_pipe_nobody_reads",
                                     [](const QTemporaryDir &data) {
                                         const QString pipe = data.filePath(QStringLiteral("pipe"));
                                         ::mkfifo(QFile::encodeName(pipe).constData(), 0644);
                                         return QStringList { QStringLiteral("--data-dir"),
                                                              data.path(),
                                                              QStringLiteral("--events-out"), pipe,
                                                              QStringLiteral("status") };
                                     },
                                     "nobody reads" }),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(EditorShell, a_store_that_cannot_be_used_is_said_once_and_the_editor_works_on)
{
    ASSERT_TRUE(QDir().mkpath(data.filePath(QStringLiteral("usage/events.sqlite"))));
    const auto r
        = run({ QStringLiteral("prefs"), QStringLiteral("language"), QStringLiteral("de_DE") });
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err.count(QStringLiteral("usage events are not being kept")), 1)
        << r.err.toStdString();
    EXPECT_FALSE(r.err.contains(QStringLiteral("eventstore.cpp"))) << "a log line, not a sentence";
    ASSERT_TRUE(QDir(data.filePath(QStringLiteral("usage/events.sqlite"))).removeRecursively());
    EXPECT_FALSE(eventNames(storedEvents()).contains(QStringLiteral("APP_FAILED")));
}

TEST_F(EditorShell, follow_goes_on_with_a_store_that_replaced_the_followed_one)
{
    QProcess follower;
    follower.start(QStringLiteral(EDITOR_SHELL),
                   { QStringLiteral("--data-dir"), data.path(), QStringLiteral("events"),
                     QStringLiteral("--follow"), QStringLiteral("--json") });
    ASSERT_TRUE(follower.waitForReadyRead(30000));
    const QString store = data.filePath(QStringLiteral("usage/events.sqlite"));
    for (const char *suffix : { "", "-wal", "-shm" })
        QFile::rename(store + QLatin1String(suffix),
                      store + QStringLiteral(".old") + QLatin1String(suffix));

    const QString status = run({ QStringLiteral("status") }).out;
    const QString session
        = status.section(QStringLiteral("Session:"), 1).section(QLatin1Char('\n'), 0, 0).trimmed();
    ASSERT_FALSE(session.isEmpty()) << status.toStdString();
    QByteArray printed;
    while (!printed.contains(session.toUtf8())) {
        if (!follower.waitForReadyRead(30000))
            break;
        printed += follower.readAllStandardOutput();
    }
    follower.terminate();
    follower.waitForFinished();
    EXPECT_TRUE(printed.contains(session.toUtf8())) << printed.toStdString();
}

} // namespace
