// The shell as a user runs it: a real process on a temporary data folder.

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace {

struct ShellRun
{
    int exitCode = -1;
    QString out;
    QString err;
};

class EditorShell : public ::testing::Test
{
protected:
    ShellRun run(const QStringList &arguments)
    {
        QProcess process;
        process.start(QStringLiteral(EDITOR_SHELL), QStringList{QStringLiteral("--data-dir"), data.path()} + arguments);
        EXPECT_TRUE(process.waitForFinished(60000)) << "the shell hung";
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    // The stored events, oldest first, as (name, params) objects.
    QList<QJsonObject> storedEvents()
    {
        const ShellRun r = run({QStringLiteral("events"), QStringLiteral("--json")});
        QList<QJsonObject> events;
        for (const QString &line : r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            events << QJsonDocument::fromJson(line.toUtf8()).object();
        return events;
    }

    static QStringList names(const QList<QJsonObject> &events)
    {
        QStringList result;
        for (const QJsonObject &e : events)
            result << e.value(QStringLiteral("event")).toString();
        return result;
    }

    QTemporaryDir data;
};

TEST_F(EditorShell, first_run_is_the_first_start_and_the_next_an_every_start)
{
    ASSERT_EQ(run({QStringLiteral("status")}).exitCode, 0);
    const QStringList events = names(storedEvents());
    EXPECT_EQ(events,
              (QStringList{QStringLiteral("APP_FIRST_START"), QStringLiteral("APP_LAUNCHED"), QStringLiteral("APP_EXIT"),
                           QStringLiteral("APP_EVERY_START"), QStringLiteral("APP_LAUNCHED")}));
}

TEST_F(EditorShell, events_out_gets_every_event_of_the_run_as_json_lines)
{
    const QString file = data.filePath(QStringLiteral("run.jsonl"));
    ASSERT_EQ(run({QStringLiteral("--events-out"), file, QStringLiteral("status")}).exitCode, 0);
    QFile lines(file);
    ASSERT_TRUE(lines.open(QIODevice::ReadOnly));
    QStringList events;
    for (const QByteArray &line : lines.readAll().split('\n')) {
        if (line.isEmpty())
            continue;
        const QJsonObject o = QJsonDocument::fromJson(line).object();
        EXPECT_TRUE(o.value(QStringLiteral("params")).isObject()) << line.constData();
        events << o.value(QStringLiteral("event")).toString();
    }
    EXPECT_EQ(events, (QStringList{QStringLiteral("APP_FIRST_START"), QStringLiteral("APP_LAUNCHED"),
                                   QStringLiteral("APP_EXIT")}));
}

TEST_F(EditorShell, statistics_off_deletes_the_store_and_keeps_nothing_until_on_again)
{
    ASSERT_EQ(run({QStringLiteral("status")}).exitCode, 0);
    ASSERT_EQ(run({QStringLiteral("statistics"), QStringLiteral("off")}).exitCode, 0);
    EXPECT_TRUE(storedEvents().isEmpty());
    EXPECT_TRUE(storedEvents().isEmpty());
    ASSERT_EQ(run({QStringLiteral("statistics"), QStringLiteral("on")}).exitCode, 0);
    // The run that switched statistics on ends with an exit event; the next run is recorded.
    EXPECT_EQ(names(storedEvents()),
              (QStringList{QStringLiteral("APP_EXIT"), QStringLiteral("APP_EVERY_START"), QStringLiteral("APP_LAUNCHED")}));
}

TEST_F(EditorShell, killed_run_is_reported_as_failed_next_time)
{
    QProcess follower;
    follower.start(QStringLiteral(EDITOR_SHELL),
                   {QStringLiteral("--data-dir"), data.path(), QStringLiteral("events"), QStringLiteral("--follow")});
    ASSERT_TRUE(follower.waitForReadyRead(30000));
    follower.kill(); // SIGKILL: no clean exit, no exit event
    follower.waitForFinished();

    const QList<QJsonObject> events = storedEvents();
    QStringList failedSessions;
    for (const QJsonObject &e : events) {
        if (e.value(QStringLiteral("event")).toString() == QLatin1String("APP_FAILED"))
            failedSessions << e.value(QStringLiteral("params")).toObject().value(QStringLiteral("SID")).toString();
    }
    ASSERT_EQ(failedSessions.size(), 1) << names(events).join(QLatin1Char(' ')).toStdString();
    // The failed session is the killed run: it had started, and it never said goodbye.
    bool started = false;
    for (const QJsonObject &e : events) {
        if (e.value(QStringLiteral("session")).toString() != failedSessions.front())
            continue;
        const QString name = e.value(QStringLiteral("event")).toString();
        started = started || name == QLatin1String("APP_FIRST_START");
        EXPECT_NE(name, QStringLiteral("APP_EXIT"));
    }
    EXPECT_TRUE(started);
}

TEST_F(EditorShell, unwritable_data_folder_is_one_clear_error)
{
    QProcess process;
    process.start(QStringLiteral(EDITOR_SHELL), {QStringLiteral("--data-dir"), QStringLiteral("/proc/self/editor"), QStringLiteral("status")});
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_NE(process.exitCode(), 0);
    EXPECT_TRUE(QString::fromUtf8(process.readAllStandardError()).contains(QStringLiteral("data folder")));
}

TEST_F(EditorShell, unknown_command_is_refused_with_usage)
{
    const ShellRun r = run({QStringLiteral("no-such-command")});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.err.contains(QStringLiteral("Usage:")));
}

} // namespace
