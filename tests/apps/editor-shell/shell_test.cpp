// The shell as a user runs it: a real process on a temporary data folder.

#include "loopbackhttpserver.h"
#include "shellrun.h"
#include "statisticsrequest.h"
#include "tablerow.h"

#include <QDir>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <signal.h>
#include <sys/stat.h>

#include <atomic>
#include <functional>

namespace {

using TestSupport::eventNames;

// The events of one session, by name.
QStringList sessionEvents(const QList<QJsonObject> &events, const QString &session)
{
    QStringList names;
    for (const QJsonObject &e : events) {
        if (e.value("session").toString() == session)
            names << e.value("event").toString();
    }
    return names;
}

class EditorShell : public ::testing::Test {
protected:
    TestSupport::ShellRun run(const QStringList &arguments)
    {
        return TestSupport::runShell(EDITOR_SHELL, data.path(), arguments);
    }

    // The stored events, oldest first.
    QList<QJsonObject> storedEvents()
    {
        return TestSupport::jsonLines(run({ "events", "--json" }).out.toUtf8());
    }

    // Starts `events --follow --json` and returns once it printed the first event.
    void follow(QProcess &follower)
    {
        follower.start(EDITOR_SHELL, { "--data-dir", data.path(), "events", "--follow", "--json" });
        ASSERT_TRUE(follower.waitForReadyRead(30000));
    }

    QTemporaryDir data;
};

TEST_F(EditorShell, first_run_is_the_first_start_and_the_next_an_every_start)
{
    const QString file = data.filePath("run.jsonl");
    ASSERT_EQ(run({ "--events-out", file, "status" }).exitCode, 0);
    // --events-out gets every event of the run as JSON lines.
    const QList<QJsonObject> events = TestSupport::jsonLinesOf(file);
    for (const QJsonObject &e : events)
        EXPECT_TRUE(e.value("params").isObject());
    EXPECT_EQ(eventNames(events), (QStringList { "APP_FIRST_START", "APP_LAUNCHED", "APP_EXIT" }));
    EXPECT_EQ(eventNames(storedEvents()),
              (QStringList { "APP_FIRST_START", "APP_LAUNCHED", "APP_EXIT", "APP_EVERY_START",
                             "APP_LAUNCHED" }));
}

TEST_F(EditorShell, statistics_off_deletes_the_store_and_keeps_nothing_until_on_again)
{
    ASSERT_EQ(run({ "status" }).exitCode, 0);
    ASSERT_EQ(run({ "statistics", "off" }).exitCode, 0);
    EXPECT_TRUE(storedEvents().isEmpty());
    EXPECT_TRUE(storedEvents().isEmpty());
    ASSERT_EQ(run({ "statistics", "on" }).exitCode, 0);
    // The run that switched statistics on ends with an exit event; the next run is recorded.
    EXPECT_EQ(eventNames(storedEvents()),
              (QStringList { "APP_EXIT", "APP_EVERY_START", "APP_LAUNCHED" }));
}

TEST_F(EditorShell, killed_run_is_reported_as_failed_next_time)
{
    QProcess follower;
    follow(follower);
    follower.kill(); // SIGKILL: no clean exit, no exit event
    follower.waitForFinished();

    const QList<QJsonObject> events = storedEvents();
    QStringList failedSessions;
    for (const QJsonObject &e : events) {
        if (e.value("event").toString() == "APP_FAILED")
            failedSessions << e.value("params").toObject().value("SID").toString();
    }
    ASSERT_EQ(failedSessions.size(), 1) << eventNames(events).join(' ').toStdString();
    // The failed session is the killed run: it had started, and it never said goodbye.
    const QStringList killedRun = sessionEvents(events, failedSessions.front());
    EXPECT_TRUE(killedRun.contains("APP_FIRST_START"));
    EXPECT_FALSE(killedRun.contains("APP_EXIT"));
}

class EditorShellSignal
    : public EditorShell
    , public ::testing::WithParamInterface<int> { };

TEST_P(EditorShellSignal, ends_the_run_cleanly_and_is_no_failure)
{
    QProcess follower;
    follow(follower);
    const QString session = TestSupport::jsonLines(follower.readAllStandardOutput())
                                .front()
                                .value("session")
                                .toString();
    ::kill(static_cast<pid_t>(follower.processId()), GetParam());
    ASSERT_TRUE(follower.waitForFinished(30000));
    EXPECT_EQ(follower.exitStatus(), QProcess::NormalExit);

    const QList<QJsonObject> events = storedEvents();
    EXPECT_TRUE(sessionEvents(events, session).contains("APP_EXIT"));
    EXPECT_FALSE(eventNames(events).contains("APP_FAILED"));
}

INSTANTIATE_TEST_SUITE_P(EditorShell,
                         EditorShellSignal,
                         ::testing::Values(SIGINT, SIGTERM),
                         [](const auto &info) {
                             return std::string(info.param == SIGINT ? "ctrl_c" : "sigterm");
                         });

// A start refused with a message: no hang, the exit code, and no failed session next time.
struct RefusedStart : TestSupport::TableRow {
    // The data folder and the arguments, given the test's own data folder.
    std::function<std::pair<QString, QStringList>(const QTemporaryDir &data)> arguments;
    int exitCode;
    const char *message;
};

class EditorShellRefusedStart
    : public EditorShell
    , public ::testing::WithParamInterface<RefusedStart> { };

TEST_P(EditorShellRefusedStart, says_why_and_is_no_failure)
{
    const auto [dataDir, arguments] = GetParam().arguments(data);
    const auto r = TestSupport::runShell(EDITOR_SHELL, dataDir, arguments);
    EXPECT_EQ(r.exitCode, GetParam().exitCode);
    EXPECT_THAT(r.err.toStdString(), testing::HasSubstr(GetParam().message));
    EXPECT_FALSE(eventNames(storedEvents()).contains("APP_FAILED"));
}

INSTANTIATE_TEST_SUITE_P(
    EditorShell,
    EditorShellRefusedStart,
    ::testing::Values(
        RefusedStart { "empty_data_dir",
                       [](const QTemporaryDir &) {
                           return std::make_pair(QString(), QStringList { "status" });
                       },
                       1, "data folder must be named" },
        RefusedStart { "unwritable_data_dir",
                       [](const QTemporaryDir &) {
                           return std::make_pair(QString("/proc/self/editor"),
                                                 QStringList { "status" });
                       },
                       1, "data folder" },
        RefusedStart { "unknown_command",
                       [](const QTemporaryDir &data) {
                           return std::make_pair(data.path(), QStringList { "no-such-command" });
                       },
                       2, "editor-shell: unknown command \"no-such-command\"\nTry" },
        RefusedStart {
            "events_out_to_a_pipe_nobody_reads",
            [](const QTemporaryDir &data) {
                const QString pipe = data.filePath("pipe");
                ::mkfifo(QFile::encodeName(pipe).constData(), 0644);
                return std::make_pair(data.path(), QStringList { "--events-out", pipe, "status" });
            },
            1, "nobody reads" }),
    TestSupport::tableRowName);

TEST_F(EditorShell, a_usage_error_is_one_line_and_a_hint_and_help_explains_every_option)
{
    const auto wrong = run({ "cut", "p.edproj", "--at", "1", "--atx" });
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_EQ(wrong.err.toStdString(),
              "editor-shell: unknown option --atx\nTry 'editor-shell help cut'.\n");
    const auto help = run({ "help", "cut" });
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(run({ "cut", "--help" }).out, help.out);
    EXPECT_THAT(help.out.toStdString(), testing::HasSubstr("--at SECONDS"));
}

TEST_F(EditorShell, prefs_refuse_unknown_keys_and_values_naming_the_valid_ones_and_show_one)
{
    const auto key = run({ "prefs", "foo", "bar" });
    EXPECT_EQ(key.exitCode, 2);
    EXPECT_THAT(key.err.toStdString(), testing::HasSubstr("autoUpdate, dontShowNewProjectDialog"));
    const auto value = run({ "prefs", "language", "de_DE", "language", "klingon" });
    EXPECT_EQ(value.exitCode, 2);
    EXPECT_THAT(value.err.toStdString(), testing::HasSubstr("is not one of en_US"));
    EXPECT_EQ(run({ "prefs", "language" }).out, "en_US\n") << "nothing was changed";
    ASSERT_EQ(run({ "prefs", "language", "de_DE" }).exitCode, 0);
    EXPECT_EQ(run({ "prefs", "language" }).out, "de_DE\n");
}

TEST_F(EditorShell, the_readme_holds_the_option_table_the_commands_declare)
{
    QFile readme(EDITOR_README);
    ASSERT_TRUE(readme.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(readme.readAll());
    const QString begin = "<!-- editor-shell help --markdown -->\n";
    const int from = text.indexOf(begin) + begin.size();
    const int to = text.indexOf("<!-- end -->", from);
    ASSERT_GT(to, from) << "the README lost its generated option table";
    EXPECT_EQ(text.mid(from, to - from).toStdString(),
              run({ "help", "--markdown" }).out.toStdString())
        << "run: build/apps/editor-shell/editor-shell help --markdown";
}

TEST_F(EditorShell, a_store_that_cannot_be_used_is_said_once_and_the_editor_works_on)
{
    ASSERT_TRUE(QDir().mkpath(data.filePath("usage/events.sqlite")));
    const auto r = run({ "prefs", "language", "de_DE" });
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err.count("usage events are not being kept"), 1) << r.err.toStdString();
    EXPECT_FALSE(r.err.contains("eventstore.cpp")) << "a log line, not a sentence";
    ASSERT_TRUE(QDir(data.filePath("usage/events.sqlite")).removeRecursively());
    EXPECT_FALSE(eventNames(storedEvents()).contains("APP_FAILED"));
}

TEST_F(EditorShell, follow_goes_on_with_a_store_that_replaced_the_followed_one)
{
    QProcess follower;
    follow(follower);
    const QString store = data.filePath("usage/events.sqlite");
    for (const char *suffix : { "", "-wal", "-shm" })
        QFile::rename(store + suffix, store + ".old" + suffix);

    const QString status = run({ "status" }).out;
    const QString session = status.section("Session:", 1).section('\n', 0, 0).trimmed();
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

TEST_F(EditorShell, upload_sends_the_stored_events_to_the_named_collector)
{
    TestSupport::LoopbackHttpServer collector;
    std::atomic<int> requests { 0 };
    collector.setHandler([&](const TestSupport::LoopbackHttpServer::Request &request) {
        if (request.path == "/v1/logs" && request.method == "POST")
            ++requests;
        return TestSupport::LoopbackHttpServer::Reply { 200, {}, "{}", false };
    });
    const QString url = collector.url(QString()).toString();
    const auto flushed = [&] {
        const TestSupport::ShellRun r = run({ "statistics", "flush", "--json", "--wait", "30" });
        return std::make_pair(r.exitCode, QJsonDocument::fromJson(r.out.toUtf8()).object());
    };

    auto [code, before] = flushed();
    EXPECT_EQ(code, 1);
    EXPECT_EQ(before.value("result").toString(), "off");
    EXPECT_TRUE(before.value("collector").isNull());
    EXPECT_GT(before.value("pending").toInt(), 0);
    EXPECT_EQ(requests, 0);

    EXPECT_EQ(run({ "statistics", "upload", "ftp://" + url.mid(7) }).exitCode, 2);
    ASSERT_EQ(run({ "statistics", "upload", url }).exitCode, 0);
    auto [code2, after] = flushed();
    EXPECT_EQ(code2, 0);
    EXPECT_EQ(after.value("result").toString(), "ok");
    EXPECT_EQ(after.value("collector").toString(), url);
    EXPECT_EQ(after.value("pending").toInt(), 0);
    EXPECT_GT(after.value("sent").toInt(), 0);
    EXPECT_GT(requests, 0);

    const QJsonObject status
        = QJsonDocument::fromJson(run({ "status", "--json" }).out.toUtf8()).object();
    EXPECT_EQ(status.value("upload").toObject().value("collector").toString(), url);
    EXPECT_EQ(status.value("statistics").toString(), "on");
}

struct StatisticsArguments : TestSupport::TableRow {
    QStringList arguments;
    bool json;
    std::optional<QString> wait;
    std::optional<Shell::StatisticsRequest::Action> action; // none: a usage error
};

class StatisticsParse : public ::testing::TestWithParam<StatisticsArguments> { };

TEST_P(StatisticsParse, reads_the_request_or_refuses)
{
    const auto parsed
        = Shell::parseStatisticsRequest(GetParam().arguments, GetParam().json, GetParam().wait);
    if (!GetParam().action) {
        EXPECT_TRUE(std::holds_alternative<QString>(parsed));
        return;
    }
    ASSERT_TRUE(std::holds_alternative<Shell::StatisticsRequest>(parsed))
        << std::get<QString>(parsed).toStdString();
    EXPECT_EQ(std::get<Shell::StatisticsRequest>(parsed).action, *GetParam().action);
}

using Action = Shell::StatisticsRequest::Action;
INSTANTIATE_TEST_SUITE_P(
    Shell,
    StatisticsParse,
    ::testing::Values(
        StatisticsArguments { { "on" }, { "on" }, false, {}, Action::On },
        StatisticsArguments { { "upload" },
                              { "upload", "http://h:4318" },
                              false,
                              {},
                              Action::Upload },
        StatisticsArguments { { "upload_off" }, { "upload", "off" }, false, {}, Action::UploadOff },
        StatisticsArguments { { "flush" }, { "flush" }, true, QString("2.5"), Action::Flush },
        StatisticsArguments { { "upload_without_url" }, { "upload" }, false, {}, {} },
        StatisticsArguments { { "wait_not_a_number" }, { "flush" }, false, QString("soon"), {} },
        StatisticsArguments { { "wait_negative" }, { "flush" }, false, QString("-1"), {} },
        StatisticsArguments { { "wait_on_upload" },
                              { "upload", "http://h" },
                              false,
                              QString("1"),
                              {} },
        StatisticsArguments { { "json_on_switch" }, { "off" }, true, {}, {} },
        StatisticsArguments { { "unknown_verb" }, { "send" }, false, {}, {} }),
    TestSupport::tableRowName);

} // namespace
