// `editor-shell import` as a user runs it: a real process, real media, a temporary data folder.

#include "shellrun.h"
#include "testfiles.h"

#include <QDir>
#include <QJsonArray>
#include <QTemporaryDir>

#include <unistd.h>

#include <utility>
#include <vector>

namespace {

class ImportCommand : public ::testing::Test {
protected:
    TestSupport::ShellRun run(const QStringList &arguments)
    {
        return TestSupport::runShell(QStringLiteral(EDITOR_SHELL), data.path(),
                                     QStringList { QStringLiteral("--events-out"), eventsFile() }
                                         + arguments);
    }
    QString eventsFile() const { return data.filePath(QStringLiteral("events.jsonl")); }
    int count(const char *name)
    {
        return TestSupport::eventNames(TestSupport::jsonLinesOf(eventsFile()))
            .count(QLatin1String(name));
    }

    static QString samples() { return QStringLiteral(EDITOR_SAMPLES); }
    QString copy(const QString &sampleName, const QString &as)
    {
        const QString target = media.filePath(as);
        EXPECT_TRUE(QFile::copy(QDir(samples()).filePath(sampleName), target));
        return target;
    }

    QTemporaryDir data;
    QTemporaryDir media;
};

TEST_F(ImportCommand, the_bundled_samples_reach_the_timeline_and_the_broken_one_is_told)
{
    const auto r = run({ QStringLiteral("import"), samples() });
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains(QLatin1String("On the timeline, track 0: 6 new clips")))
        << r.out.toStdString();
    EXPECT_TRUE(r.out.contains(QLatin1String("beach walk.mp4  (H264 128x72 10 fps, AAC")))
        << r.out.toStdString();
    EXPECT_TRUE(
        r.out.contains(QLatin1String("Failed: 1\n  broken download.mp4: The file is damaged")))
        << r.out.toStdString();
    EXPECT_TRUE(
        r.out.contains(QLatin1String("Result: done. 7 media files passed on: 6 opened, 1 failed")));
    EXPECT_TRUE(r.err.contains(QLatin1String("Analysing files")))
        << "progress goes to the error stream";
    EXPECT_EQ(count("FILE_ADDED"), 7);
    EXPECT_EQ(count("FILE_OPENED"), 6);
    for (const QJsonObject &e : TestSupport::jsonLinesOf(eventsFile())) {
        if (e.value(QStringLiteral("event")).toString() == QLatin1String("FILE_ADDED")) {
            EXPECT_EQ(e.value(QStringLiteral("params"))[QStringLiteral("ADDING_METHOD")].toString(),
                      QLatin1String("import_folders"));
        }
    }
    const QByteArray index
        = TestSupport::readFile(data.filePath(QStringLiteral("storage/index.json")));
    EXPECT_EQ(
        QJsonDocument::fromJson(index).object().value(QStringLiteral("files")).toArray().size(), 7);
}

TEST_F(ImportCommand, a_project_is_made_filled_and_filled_further)
{
    const QString project = media.filePath(QStringLiteral("holiday.edproj"));
    const QString clip = copy(QStringLiteral("beach walk.mp4"), QStringLiteral("clip.mp4"));
    auto r = run({ QStringLiteral("import"), clip, QStringLiteral("--project"), project });
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains(QLatin1String("Saved project")));
    r = run({ QStringLiteral("import"), QDir(samples()).filePath(QStringLiteral("chime.mp3")),
              QStringLiteral("--project"), project });
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains(QLatin1String("Opened project")));
    EXPECT_TRUE(r.out.contains(QLatin1String("0:00:02.000  +0:00:02.063  chime.mp3")))
        << r.out.toStdString();
    r = run({ QStringLiteral("project"), QStringLiteral("open"), project });
    EXPECT_TRUE(r.out.contains(QLatin1String("Track 0 video: 2 clips"))) << r.out.toStdString();
}

TEST_F(ImportCommand, files_go_to_the_collection_when_asked)
{
    const auto r
        = run({ QStringLiteral("import"), QStringLiteral("--to"), QStringLiteral("collection"),
                QDir(samples()).filePath(QStringLiteral("title card.png")) });
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(r.out.contains(QLatin1String("In the collection: 1 new of 1 opened")))
        << r.out.toStdString();
}

TEST_F(ImportCommand, a_project_among_media_is_asked_about_and_answered_from_the_command_line)
{
    const QString clip = QDir(samples()).filePath(QStringLiteral("zoom.webm"));
    auto r = run({ QStringLiteral("--no"), QStringLiteral("import"), clip,
                   QStringLiteral("/elsewhere/film.edproj") });
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.out.contains(QLatin1String("Only media files will be opened.")))
        << r.out.toStdString();
    EXPECT_TRUE(r.out.contains(QLatin1String("Result: declined")));
    r = run({ QStringLiteral("import"), clip, QStringLiteral("/elsewhere/film.edproj"),
              QStringLiteral("--yes") });
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(r.out.contains(QLatin1String("1 new clip"))) << r.out.toStdString();
}

TEST_F(ImportCommand, a_lone_project_is_opened_and_packages_go_to_the_installer)
{
    const QString project = media.filePath(QStringLiteral("old.edproj"));
    ASSERT_EQ(run({ QStringLiteral("project"), QStringLiteral("new"), project }).exitCode, 0);
    auto r = run({ QStringLiteral("import"), project });
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains(QLatin1String("Opened project"))) << r.out.toStdString();
    r = run({ QStringLiteral("import"), media.filePath(QStringLiteral("Neon Titles.edpack")),
              media.filePath(QStringLiteral("notes.txt")) });
    EXPECT_TRUE(
        r.out.contains(QLatin1String("Handed to the package installer: 1\n  Neon Titles.edpack")))
        << r.out.toStdString();
    EXPECT_TRUE(r.out.contains(QLatin1String("Not media, left out: 1\n  notes.txt")));
}

TEST_F(ImportCommand, a_file_whose_name_is_not_utf8_is_reported_not_lost)
{
    const QByteArray raw = QFile::encodeName(media.path()) + "/caf\xe9.mp3";
    TestSupport::writeFileWithRawName(
        raw, TestSupport::readFile(QDir(samples()).filePath(QStringLiteral("chime.mp3"))));
    copy(QStringLiteral("chime.mp3"), QStringLiteral("fine.mp3"));
    const auto r = run({ QStringLiteral("import"), media.path() });
    ::unlink(raw.constData());
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(r.out.contains(QLatin1String("1 new clip"))) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains(QLatin1String("not valid UTF-8"))) << r.out.toStdString();
}

TEST_F(ImportCommand, wrong_use_is_refused_with_a_message)
{
    for (const QStringList &args :
         { QStringList { QStringLiteral("import") },
           QStringList { QStringLiteral("import"), QStringLiteral("a.mp4"), QStringLiteral("--to"),
                         QStringLiteral("moon") },
           QStringList { QStringLiteral("import"), QStringLiteral("a.mp4"),
                         QStringLiteral("--source"), QStringLiteral("19") },
           QStringList { QStringLiteral("import"), QStringLiteral("a.mp4"),
                         QStringLiteral("--project"), QStringLiteral("x.txt") } }) {
        const auto r = run(args);
        EXPECT_EQ(r.exitCode, 2) << args.join(QLatin1Char(' ')).toStdString();
        EXPECT_FALSE(r.err.isEmpty());
    }
    // A place on the timeline that is no number, or none the project could hold.
    for (const auto &[option, value] :
         std::vector<std::pair<const char *, const char *>> { { "--at", "abc" },
                                                              { "--at", "-1" },
                                                              { "--at", "inf" },
                                                              { "--at", "1e300" },
                                                              { "--at", "9e9" },
                                                              { "--track", "abc" },
                                                              { "--track", "-1" },
                                                              { "--track", "1e9" } }) {
        const auto r = run({ QStringLiteral("import"), QStringLiteral("a.mp4"),
                             QLatin1String(option), QLatin1String(value) });
        EXPECT_EQ(r.exitCode, 2) << option << ' ' << value;
        EXPECT_TRUE(r.err.contains(QLatin1String(option) + QLatin1String(" takes")))
            << option << ' ' << value << ": " << r.err.toStdString();
    }
}

TEST_F(ImportCommand, every_path_is_accounted_for_with_its_real_cause_and_names_cannot_forge_lines)
{
    TestSupport::writeFile(media.filePath(QStringLiteral("evil\n\x1b[31mname.mp4")), "not media");
    ASSERT_TRUE(QFile::link(media.filePath(QStringLiteral("loop.mp4")),
                            media.filePath(QStringLiteral("loop.mp4"))));
    QString deep = media.path();
    for (int level = 0; level < 34; ++level)
        deep += QStringLiteral("/d");
    ASSERT_TRUE(QDir().mkpath(deep));
    const auto r = run({ QStringLiteral("import"), media.path(), QString() });
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_FALSE(r.out.contains(QLatin1Char('\x1b'))) << "the terminal is not driven";
    EXPECT_TRUE(r.out.contains(QLatin1String("evil\\n\\x1b[31mname.mp4: The file is damaged")))
        << r.out.toStdString();
    EXPECT_TRUE(
        r.out.contains(QLatin1String("loop.mp4: The file is a symbolic link that leads back")));
    EXPECT_TRUE(r.out.contains(QLatin1String("Not read: 2\n"))) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains(QLatin1String("  \"\": an empty path names no file")));
    EXPECT_TRUE(r.out.contains(QLatin1String("/d: a folder more than 32 levels deep, not read")));
}

} // namespace
