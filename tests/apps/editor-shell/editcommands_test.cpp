// The editing commands on a saved project: each change saved, each report sent as the panels send
// it, a bad request refused with nothing changed.

#include "shellrun.h"
#include "testfiles.h"

#include <QJsonArray>
#include <QTemporaryDir>

#include <memory>
#include <vector>

namespace {

using TestSupport::eventNames;

// Three one-second clips back to back on a video track; the first carries a crop.
const char projectJson[] = R"({"format": "editor-project", "version": 1, "id": 7,
  "media": [{"path": "/nowhere/a.mp4", "durationMs": 9000, "video": [{"codec": "h264"}]}],
  "tracks": [{"type": "video", "clips": [
    {"kind": "clip", "media": 0, "positionMs": 0, "durationMs": 1000,
     "effects": [{"type": "Crop", "left": 0.1}]},
    {"kind": "clip", "media": 0, "positionMs": 1000, "durationMs": 1000},
    {"kind": "clip", "media": 0, "positionMs": 2000, "durationMs": 1000}]}]})";

class EditCommands : public ::testing::Test {
protected:
    EditCommands()
    {
        QFile file(project);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(projectJson);
    }

    // Runs a command on the project; the events it sent, apart from the launch's and the open's.
    QList<QJsonObject> edit(QStringList arguments, int expectedExit = 0)
    {
        const QString events = data.filePath("run.jsonl");
        arguments.insert(1, project);
        last = TestSupport::runShell(EDITOR_SHELL, data.path(),
                                     QStringList { "--events-out", events } + arguments);
        EXPECT_EQ(last.exitCode, expectedExit) << qPrintable(last.err);
        QList<QJsonObject> sent;
        for (const QJsonObject &e : TestSupport::jsonLinesOf(events)) {
            const QString name = e.value("event").toString();
            if (!name.startsWith("APP_") && !name.startsWith("PROJECT_"))
                sent << e;
        }
        return sent;
    }

    QString shown()
    {
        return TestSupport::runShell(EDITOR_SHELL, data.path(), { "project", "open", project }).out;
    }

    static QString param(const QJsonObject &event, const char *key)
    {
        return event.value("params").toObject().value(QLatin1String(key)).toString();
    }

    QTemporaryDir data;
    QString project = data.filePath("p.edproj");
    TestSupport::ShellRun last;
};

TEST_F(EditCommands, clip_properties_are_saved_and_a_speed_without_room_springs_back)
{
    // A bad setting is refused before anything changes.
    EXPECT_TRUE(edit({ "clip", "--clips", "1", "--opacity", "50", "--effect", "Crop", "--set",
                       "left=wide" },
                     2)
                    .isEmpty());
    const auto sent = edit({ "clip", "--clips", "1,2", "--opacity", "50", "--speed", "50",
                             "--fade-out", "9", "--effect", "Crop", "--set", "left=0.25" });
    EXPECT_EQ(eventNames(sent),
              (QStringList { "OPACITY_CHANGED", "SPEED_CHANGED", "SPEED_CHANGE_REBOUND",
                             "FADEOUT_CHANGED", "EFFECT_SETTINGS_APPLIED" }));
    EXPECT_EQ(param(sent.at(2), "SPEED_ACTUAL"), "100");
    EXPECT_EQ(param(sent.at(4), "PARAMETERS"), "left=0.25");
    EXPECT_EQ(param(sent.at(4), "CLIPS_IN_SELECTION"), "1");
    const QString text = shown();
    EXPECT_TRUE(text.contains("opacity 50%  fade out 1 s  effects: Crop ("));
    EXPECT_TRUE(text.contains("left 0.25"));
}

TEST_F(EditCommands, cut_wizards_and_census_change_and_count_the_same_timeline)
{
    EXPECT_EQ(eventNames(edit({ "cut", "--at", "0.5", "--json" })),
              QStringList { "BLADE_APPLIED" });
    EXPECT_EQ(QJsonDocument::fromJson(last.out.toUtf8()).object().value("cuts").toArray().size(),
              1);
    EXPECT_TRUE(edit({ "cut", "--at", "1", "--wide" }, 1).isEmpty()); // already a cut there

    const auto wizard = edit({ "transitions", "--all", "--name", "Wipe", "--duration", "0.75" });
    ASSERT_EQ(wizard.size(), 1);
    EXPECT_EQ(param(wizard.at(0), "DURATION"), "00:00.750");
    EXPECT_EQ(param(wizard.at(0), "TRANSITION_NAME"), "Wipe");
    EXPECT_EQ(eventNames(edit({ "transitions", "--clips", "1", "--clip-duration", "2" })),
              QStringList { "CLIP_DURATION_WIZARD_APPLIED" });

    edit({ "census", "--partial", "1-3", "--json" });
    const QJsonObject census
        = QJsonDocument::fromJson(last.out.toUtf8()).object().value("params").toObject();
    EXPECT_EQ(census.value("VIDEOFILES_COUNT").toString(), "1");
    EXPECT_EQ(census.value("TRANSITIONS_COUNT").toString(), "3");
    EXPECT_EQ(census.value("PROJECT_DURATION").toString(), "4");
    EXPECT_EQ(census.value("EXPORT_PART_DURATION").toString(), "2.0");
}

TEST_F(EditCommands, transitions_store_what_they_say_and_refuse_what_cannot_be_done)
{
    EXPECT_TRUE(edit({ "transitions", "--clips", "1,3", "--duration", "1" }, 1).isEmpty());
    EXPECT_TRUE(last.err.contains("neighbours")) << qPrintable(last.err);
    EXPECT_TRUE(edit({ "transitions", "--clips", "1,2", "--duration", "0" }, 2).isEmpty());

    // Clip 2 has a transition on each side: they share it instead of overlapping.
    edit({ "transitions", "--clips", "1,2,3", "--duration", "10", "--json" });
    const QJsonObject result = QJsonDocument::fromJson(last.out.toUtf8()).object();
    EXPECT_EQ(result.value("durations").toArray(), (QJsonArray { 0.5, 0.5 }));
    EXPECT_EQ(eventNames(edit({ "transitions", "--clips", "1,2", "--remove" })),
              QStringList { "TRANSITIONS_CHANGED" });
    EXPECT_TRUE(
        shown().contains("Transitions: 1\n  [0] Dissolve 0:00:00.500  from clip 2 to clip 3"))
        << qPrintable(shown());
}

TEST_F(EditCommands, clip_edits_are_saved_whole_or_not_at_all)
{
    const QString before = shown();
    edit({ "clip", "--clips", "2", "--move-to", "0.5" }, 1);
    EXPECT_TRUE(last.err.contains("overlap")) << qPrintable(last.err);
    EXPECT_EQ(shown(), before);

    EXPECT_TRUE(edit({ "clip", "--clips", "1", "--delete", "--ripple" }).isEmpty());
    edit({ "clip", "--clips", "2", "--trim-start", "0.25", "--trim-end", "0.25" });
    edit({ "clip", "--clips", "3", "--add-effect", "chromakey" });
    const QString text = shown();
    EXPECT_TRUE(text.contains("clip 2  0:00:00.250 +0:00:00.500")) << qPrintable(text);
    EXPECT_TRUE(text.contains("clip 3  0:00:01.000 +0:00:01.000")) << qPrintable(text);
    EXPECT_TRUE(text.contains("effects: ChromaKey")) << qPrintable(text);
    EXPECT_FALSE(text.contains("clip 1 ")) << qPrintable(text);
}

TEST_F(EditCommands, concurrent_edits_of_one_project_all_reach_the_saved_file)
{
    const QStringList edits[] = {
        { "1", "--volume", "50" },  { "2", "--volume", "60" },  { "3", "--volume", "70" },
        { "1", "--opacity", "40" }, { "2", "--opacity", "30" }, { "3", "--fade-in", "0.25" },
    };
    std::vector<std::unique_ptr<QProcess>> shells;
    for (const QStringList &edit : edits) {
        shells.push_back(std::make_unique<QProcess>());
        shells.back()->start(EDITOR_SHELL,
                             QStringList { "--data-dir", data.path(), "clip", project, "--clips" }
                                 + edit);
    }
    for (const auto &shell : shells) {
        ASSERT_TRUE(shell->waitForFinished(120000));
        EXPECT_EQ(shell->exitCode(), 0) << shell->readAllStandardError().toStdString();
    }
    QStringList clips;
    for (const QString &line : shown().split('\n'))
        if (line.startsWith("  clip "))
            clips << line;
    ASSERT_EQ(clips.size(), 3);
    EXPECT_TRUE(clips[0].contains("opacity 40%  volume 50%")) << qPrintable(clips[0]);
    EXPECT_TRUE(clips[1].contains("opacity 30%  volume 60%")) << qPrintable(clips[1]);
    EXPECT_TRUE(clips[2].contains("volume 70%  fade in 0.25 s")) << qPrintable(clips[2]);
}

TEST_F(EditCommands, a_new_project_over_an_existing_one_needs_yes)
{
    const QByteArray before = TestSupport::readFile(project);
    for (const char *answer : { "--no", "--verbose" }) {
        const auto refused = TestSupport::runShell(EDITOR_SHELL, data.path(),
                                                   { answer, "project", "new", project });
        EXPECT_EQ(refused.exitCode, 1) << answer;
        EXPECT_TRUE(refused.err.contains("exists; nothing was written (--yes replaces it)"))
            << qPrintable(refused.err);
        EXPECT_EQ(TestSupport::readFile(project), before);
    }
    const auto agreed
        = TestSupport::runShell(EDITOR_SHELL, data.path(), { "--yes", "project", "new", project });
    EXPECT_EQ(agreed.exitCode, 0) << qPrintable(agreed.err);
    EXPECT_FALSE(shown().contains("  clip "));
}

} // namespace
