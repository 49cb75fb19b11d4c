#pragma once

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

namespace TestSupport {

struct ShellRun {
    int exitCode = -1;
    QString out;
    QString err;
};

// Runs the editor shell (`program`) on the data folder `dataDir`, as a user would. Its input is
// closed, so a question finds no one to answer.
inline ShellRun
runShell(const QString &program, const QString &dataDir, const QStringList &arguments)
{
    QProcess process;
    process.start(program, QStringList { QStringLiteral("--data-dir"), dataDir } + arguments);
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(120000)) << "the shell hung";
    return { process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
             QString::fromUtf8(process.readAllStandardError()) };
}

// The events of JSON lines as the shell writes them (`events --json`, `--events-out`).
inline QList<QJsonObject> jsonLines(const QByteArray &text)
{
    QList<QJsonObject> events;
    for (const QByteArray &line : text.split('\n')) {
        if (!line.trimmed().isEmpty())
            events << QJsonDocument::fromJson(line).object();
    }
    return events;
}

inline QList<QJsonObject> jsonLinesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? jsonLines(file.readAll()) : QList<QJsonObject>();
}

inline QStringList eventNames(const QList<QJsonObject> &events)
{
    QStringList names;
    for (const QJsonObject &e : events)
        names << e.value(QStringLiteral("event")).toString();
    return names;
}

} // namespace TestSupport
