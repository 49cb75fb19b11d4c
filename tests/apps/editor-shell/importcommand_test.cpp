// `editor-shell import` as a user runs it: a real process, real media, a temporary data folder.

#include "shellrun.h"
#include "testfiles.h"

#include <QDir>
#include <QJsonArray>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <unistd.h>

#include <memory>
#include <vector>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class ImportCommand : public ::testing::Test {
protected:
    // Runs the shell; its standard output, with the run kept in `last`.
    std::string run(const QStringList &arguments)
    {
        last = TestSupport::runShell(EDITOR_SHELL, data.path(),
                                     QStringList { "--events-out", eventsFile() } + arguments);
        return last.out.toStdString();
    }
    QString eventsFile() const { return data.filePath("events.jsonl"); }
    int count(const char *name)
    {
        return TestSupport::eventNames(TestSupport::jsonLinesOf(eventsFile())).count(name);
    }

    static QString sample(const char *name) { return QDir(EDITOR_SAMPLES).filePath(name); }
    QString copy(const char *sampleName, const QString &as)
    {
        const QString target = media.filePath(as);
        EXPECT_TRUE(QFile::copy(sample(sampleName), target));
        return target;
    }

    QTemporaryDir data;
    QTemporaryDir media;
    TestSupport::ShellRun last;
};

TEST_F(ImportCommand, the_bundled_samples_reach_the_timeline_and_the_broken_one_is_told)
{
    const std::string out = run({ "import", EDITOR_SAMPLES });
    EXPECT_EQ(last.exitCode, 0) << last.err.toStdString();
    EXPECT_THAT(out, HasSubstr("On the timeline, track 0: 5 new clips"));
    EXPECT_THAT(out, HasSubstr("On the timeline, track 1: 1 new clip\n  0:00:00.000"))
        << "the song on a sound track, at the drop";
    EXPECT_THAT(out, HasSubstr("beach walk.mp4  (H264 128x72 10 fps, AAC"));
    EXPECT_THAT(out, HasSubstr("Failed: 1\n  broken download.mp4: The file is damaged"));
    EXPECT_THAT(out, HasSubstr("Result: done. 7 media files passed on: 6 opened, 1 failed"));
    EXPECT_TRUE(last.err.contains("Analysing files")) << "progress goes to the error stream";
    EXPECT_EQ(count("FILE_ADDED"), 7);
    EXPECT_EQ(count("FILE_OPENED"), 6);
    for (const QJsonObject &e : TestSupport::jsonLinesOf(eventsFile())) {
        if (e.value("event").toString() == "FILE_ADDED") {
            EXPECT_EQ(e.value("params")["ADDING_METHOD"].toString(), "import_folders");
        }
    }
    const QByteArray index = TestSupport::readFile(data.filePath("storage/index.json"));
    EXPECT_EQ(QJsonDocument::fromJson(index).object().value("files").toArray().size(), 7);
}

TEST_F(ImportCommand, a_project_is_made_filled_and_filled_further_and_the_collection_fed)
{
    const QString project = media.filePath("holiday.edproj");
    EXPECT_THAT(run({ "import", copy("beach walk.mp4", "clip.mp4"), "--project", project }),
                HasSubstr("Saved project"));
    ASSERT_EQ(last.exitCode, 0) << last.err.toStdString();
    const std::string out = run({ "import", sample("chime.mp3"), "--project", project });
    ASSERT_EQ(last.exitCode, 0) << last.err.toStdString();
    EXPECT_THAT(out, HasSubstr("Opened project"));
    EXPECT_THAT(out, HasSubstr("0:00:02.000  +0:00:02.063  chime.mp3"));
    EXPECT_THAT(run({ "project", "open", project }), HasSubstr("Track 1 audio: 1 clip"));
    EXPECT_THAT(run({ "import", "--to", "collection", sample("title card.png") }),
                HasSubstr("In the collection: 1 new of 1 opened"));
    EXPECT_EQ(last.exitCode, 0);
}

TEST_F(ImportCommand, a_project_among_media_is_asked_about_and_answered_from_the_command_line)
{
    const QString clip = sample("zoom.webm");
    std::string out = run({ "--no", "import", clip, "/elsewhere/film.edproj" });
    EXPECT_EQ(last.exitCode, 1);
    EXPECT_THAT(out, HasSubstr("Only media files will be opened."));
    EXPECT_THAT(out, HasSubstr("Result: declined"));
    EXPECT_THAT(out, HasSubstr("Declined: 1\n  zoom.webm"));
    EXPECT_THAT(out, Not(HasSubstr("Not media")));
    EXPECT_THAT(run({ "import", clip, "/elsewhere/film.edproj", "--yes" }),
                HasSubstr("1 new clip"));
    EXPECT_EQ(last.exitCode, 0);
}

TEST_F(ImportCommand, a_lone_project_is_opened_and_packages_go_to_the_installer)
{
    const QString project = media.filePath("old.edproj");
    run({ "project", "new", project });
    ASSERT_EQ(last.exitCode, 0);
    EXPECT_THAT(run({ "import", project }), HasSubstr("Opened project"));
    EXPECT_EQ(last.exitCode, 0) << last.err.toStdString();
    const std::string out
        = run({ "import", media.filePath("Neon Titles.edpack"), media.filePath("notes.txt") });
    EXPECT_THAT(out, HasSubstr("Handed to the package installer: 1\n  Neon Titles.edpack"));
    EXPECT_THAT(out, HasSubstr("Not media, left out: 1\n  notes.txt"));
}

TEST_F(ImportCommand, a_transition_of_the_project_keeps_what_it_took_and_a_failed_import_exits_1)
{
    const QString project = media.filePath("t.edproj");
    run({ "import", copy("beach walk.mp4", "a.mp4"), copy("beach walk.mp4", "b.mp4"), "--project",
          project });
    ASSERT_EQ(last.exitCode, 0) << last.err.toStdString();
    run({ "transitions", project, "--clips", "1,2", "--duration", "0.5" });
    ASSERT_EQ(last.exitCode, 0) << last.err.toStdString();

    run({ "import", sample("title card.png"), "--to", "transition", "--project", project,
          "--transition", "0", "--json" });
    ASSERT_EQ(last.exitCode, 0) << last.err.toStdString();
    const QJsonObject result = QJsonDocument::fromJson(last.out.toUtf8()).object();
    EXPECT_EQ(result.value("transition").toArray().size(), 1);
    EXPECT_TRUE(result.value("saved").toBool());
    run({ "project", "open", project, "--json" });
    const QJsonArray transitions
        = QJsonDocument::fromJson(last.out.toUtf8()).object().value("transitions").toArray();
    ASSERT_EQ(transitions.size(), 1);
    EXPECT_EQ(transitions.at(0)["resources"].toArray().size(), 1) << "what was said is saved";

    run({ "import", sample("broken download.mp4"), "--json" });
    EXPECT_EQ(last.exitCode, 1);
    const QJsonObject failed = QJsonDocument::fromJson(last.out.toUtf8()).object();
    EXPECT_EQ(failed.value("result").toString(), "nothing-added");
    EXPECT_EQ(failed.value("failed").toArray().size(), 1);
    EXPECT_FALSE(failed.value("saved").toBool());
}

TEST_F(ImportCommand, a_file_whose_name_is_not_utf8_is_reported_not_lost)
{
    const QByteArray raw = QFile::encodeName(media.path()) + "/caf\xe9.mp3";
    TestSupport::writeFileWithRawName(raw, TestSupport::readFile(sample("chime.mp3")));
    copy("chime.mp3", "fine.mp3");
    const std::string out = run({ "import", media.path() });
    ::unlink(raw.constData());
    EXPECT_EQ(last.exitCode, 0);
    EXPECT_THAT(out, HasSubstr("1 new clip"));
    EXPECT_THAT(out, HasSubstr("not valid UTF-8"));
}

TEST_F(ImportCommand, wrong_use_is_refused_with_a_message)
{
    for (const char *args : { "import", "import a.mp4 --to moon", "import a.mp4 --source 19",
                              "import a.mp4 --project x.txt" }) {
        run(QString(args).split(' '));
        EXPECT_EQ(last.exitCode, 2) << args;
        EXPECT_FALSE(last.err.isEmpty()) << args;
    }
    // A place on the timeline that is no number, or none the project could hold.
    for (const char *place : { "--at abc", "--at -1", "--at inf", "--at 1e300", "--at 9e9",
                               "--track abc", "--track -1", "--track 1e9" }) {
        const QStringList option = QString(place).split(' ');
        run(QStringList { "import", "a.mp4" } + option);
        EXPECT_EQ(last.exitCode, 2) << place;
        EXPECT_TRUE(last.err.startsWith("editor-shell: " + option[0] + " \""))
            << place << ": " << last.err.toStdString();
    }
}

TEST_F(ImportCommand, every_path_is_accounted_for_with_its_real_cause_and_names_cannot_forge_lines)
{
    TestSupport::writeFile(media.filePath("evil\n\x1b[31mname.mp4"), "not media");
    ASSERT_TRUE(QFile::link(media.filePath("loop.mp4"), media.filePath("loop.mp4")));
    QString deep = media.path();
    for (int level = 0; level < 34; ++level)
        deep += "/d";
    ASSERT_TRUE(QDir().mkpath(deep));
    const std::string out = run({ "import", media.path(), QString() });
    EXPECT_EQ(last.exitCode, 1) << "nothing was added";
    EXPECT_THAT(out, Not(HasSubstr("\x1b"))) << "the terminal is not driven";
    EXPECT_THAT(out, HasSubstr("evil\\n\\x1b[31mname.mp4: The file is damaged"));
    EXPECT_THAT(out, HasSubstr("loop.mp4: The file is a symbolic link that leads back"));
    EXPECT_THAT(out, HasSubstr("Not read: 2\n"));
    EXPECT_THAT(out, HasSubstr("  \"\": an empty path names no file"));
    EXPECT_THAT(out, HasSubstr("/d: a folder more than 32 levels deep, not read"));
}

TEST_F(ImportCommand, concurrent_imports_into_one_project_keep_every_clip)
{
    const QString project = media.filePath("shared.edproj");
    std::vector<std::unique_ptr<QProcess>> shells;
    for (const char *name : { "chime.mp3", "zoom.webm", "beach walk.mp4" }) {
        shells.push_back(std::make_unique<QProcess>());
        shells.back()->start(
            EDITOR_SHELL,
            { "--data-dir", data.path(), "import", sample(name), "--project", project });
    }
    for (const auto &shell : shells) {
        ASSERT_TRUE(shell->waitForFinished(120000));
        EXPECT_EQ(shell->exitCode(), 0) << shell->readAllStandardError().toStdString();
    }
    const std::string shown = run({ "project", "open", project });
    for (const char *name : { "chime.mp3", "zoom.webm", "beach walk.mp4" })
        EXPECT_THAT(shown, HasSubstr(name));
}

} // namespace
