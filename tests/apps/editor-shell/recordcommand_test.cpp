// `record` as a user runs it: the real shell on the virtual tone, its files read back.

#include "audiofiles.h"
#include "eventwait.h"
#include "shellrun.h"
#include "smalltmpfs.h"
#include "tablerow.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <algorithm>
#include <csignal>
#include <functional>

#include <sys/stat.h>

namespace {

QStringList args(std::initializer_list<const char *> list)
{
    QStringList result;
    for (const char *a : list)
        result << QString::fromUtf8(a);
    return result;
}

class RecordCommand : public ::testing::Test {
protected:
    TestSupport::ShellRun run(const QStringList &arguments)
    {
        return TestSupport::runShell(EDITOR_SHELL, data.path(), arguments);
    }
    QString out(const char *name) const { return data.filePath(QString::fromLatin1(name)); }

    // Starts a take that runs until told, and returns once samples reach its take file.
    void startLongTake(QProcess &shell)
    {
        shell.start(EDITOR_SHELL,
                    QStringList { "--data-dir", data.path() }
                        + args({ "record", "--countdown", "0" }) + QStringList { out("long.wav") });
        const QDir takes(data.filePath("recordings"));
        ASSERT_TRUE(TestSupport::waitUntil([&] {
            const auto files = takes.entryInfoList({ "take-*.wav" }, QDir::Files);
            return !files.isEmpty() && files.first().size() > 12000 * 8 + 4096; // float stereo
        }));
    }

    QTemporaryDir data;
};

TEST_F(RecordCommand, records_the_tone_for_the_seconds_asked_and_reports_it_in_json)
{
    const auto r = run(
        QStringList { "--events-out", out("events.jsonl") }
            + args({ "record", "--seconds", "1", "--countdown", "0", "--quality", "1", "--json" })
        << out("voice.flac"));
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QJsonObject result = TestSupport::jsonLines(r.out.toUtf8()).value(0);
    EXPECT_TRUE(result.value("saved").toBool());
    EXPECT_EQ(result.value("overruns").toInt(), 0);
    const auto take = TestSupport::readAudioFile(out("voice.flac"));
    EXPECT_EQ(take.frames(), result.value("frames").toDouble());
    EXPECT_GE(take.frames(), 16000);
    EXPECT_LT(take.frames(), 16000 + 3200) << "stops within a meter refresh and a write";
    EXPECT_NEAR(TestSupport::zeroCrossings(take, 0, take.frames()), 880.0 * take.frames() / 16000,
                3);
    EXPECT_TRUE(r.err.contains("Input: virtual:tone:440"));
    const auto events = TestSupport::jsonLinesOf(out("events.jsonl"));
    const auto started = std::find_if(events.begin(), events.end(), [](const QJsonObject &e) {
        return e.value("event").toString() == "AUDIO_RECORD_STARTED";
    });
    ASSERT_NE(started, events.end()) << "the record button is reported";
    EXPECT_EQ(started->value("params")["VOICE_OVER_MODE"], QJsonValue("false"));
}

TEST_F(RecordCommand, lists_the_virtual_tone_among_the_inputs)
{
    const auto r = run(args({ "record", "--list-devices", "--json" }));
    ASSERT_EQ(r.exitCode, 0);
    QStringList uids;
    for (const QJsonObject &device : TestSupport::jsonLines(r.out.toUtf8()))
        uids << device.value("uid").toString();
    EXPECT_TRUE(uids.contains("virtual:tone:440"));
}

struct BadCase : TestSupport::TableRow {
    QStringList arguments;
    int exitCode;
    const char *message;
    const char *output = "voice.wav";
};

class RecordRefuses
    : public RecordCommand
    , public ::testing::WithParamInterface<BadCase> { };

TEST_P(RecordRefuses, with_a_message_and_no_file)
{
    const auto r = run(args({ "record", "--countdown", "0", "--json" }) + GetParam().arguments
                       << out(GetParam().output));
    EXPECT_EQ(r.exitCode, GetParam().exitCode);
    EXPECT_TRUE(r.err.contains(QString::fromUtf8(GetParam().message))) << r.err.toStdString();
    EXPECT_FALSE(QFile::exists(out(GetParam().output)));
    // A script hears of the failure too.
    const QJsonObject result = TestSupport::jsonLines(r.out.toUtf8()).value(0);
    EXPECT_EQ(result.value("saved"), QJsonValue(false)) << r.out.toStdString();
    EXPECT_FALSE(result.value("error").toString().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Shell,
    RecordRefuses,
    ::testing::Values(
        BadCase { "zero_seconds", args({ "--seconds", "0" }), 2, "--seconds" },
        BadCase { "negative_seconds", args({ "--seconds", "-2" }), 2, "--seconds" },
        BadCase { "volume_over_100", args({ "--volume", "101" }), 2, "--volume" },
        BadCase { "negative_volume", args({ "--volume", "-1" }), 2, "--volume" },
        BadCase { "missing_device", args({ "--device", "virtual:file:/nonexistent.wav" }), 1,
                  "Can't find a device" },
        BadCase { "an_extension_not_written", {}, 2, "OUT must end in", "voice.mp3" },
        BadCase { "at_without_a_project", args({ "--at", "1" }), 2, "--at goes with --project" },
        BadCase { "a_project_and_an_out", args({ "--project", "film.edproj" }), 2,
                  "takes no OUT" }),
    TestSupport::tableRowName);

TEST_F(RecordCommand, a_failed_save_keeps_the_take_for_a_recovery_after)
{
    const auto failed = run(args({ "record", "--seconds", "0.5", "--countdown", "0" })
                            << out("no-such-folder/voice.wav"));
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(failed.err.contains("Error was encountered while saving captured audio. Details:"));

    const auto next
        = run(args({ "record", "--seconds", "0.1", "--countdown", "0" }) << out("next.wav"));
    EXPECT_TRUE(next.err.contains("an interrupted take exists"));
    const auto recovered = run(args({ "record", "--recover", "--json" }) << out("saved.wav"));
    ASSERT_EQ(recovered.exitCode, 0) << recovered.err.toStdString();
    EXPECT_GE(TestSupport::readAudioFile(out("saved.wav")).frames(), 24000);
}

TEST_F(RecordCommand, ctrl_c_stops_and_saves_what_was_said)
{
    QProcess shell;
    startLongTake(shell);
    ::kill(static_cast<pid_t>(shell.processId()), SIGINT);
    ASSERT_TRUE(shell.waitForFinished(30000));
    EXPECT_EQ(shell.exitCode(), 0) << shell.readAllStandardError().toStdString();
    EXPECT_GE(TestSupport::readAudioFile(out("long.wav")).frames(), 12000);
}

TEST_F(RecordCommand, a_killed_take_is_recovered_by_the_next_run)
{
    QProcess shell;
    startLongTake(shell);
    shell.kill();
    ASSERT_TRUE(shell.waitForFinished(30000));
    EXPECT_FALSE(QFile::exists(out("long.wav")));

    const auto recovered = run(args({ "record", "--recover" }) << out("saved.wav"));
    ASSERT_EQ(recovered.exitCode, 0) << recovered.err.toStdString();
    const auto take = TestSupport::readAudioFile(out("saved.wav"));
    EXPECT_GE(take.frames(), 12000);
    EXPECT_NEAR(TestSupport::zeroCrossings(take, 0, take.frames()), 880.0 * take.frames() / 48000,
                3);
}

TEST_F(RecordCommand, every_virtual_tone_records_to_the_end)
{
    const auto r = run(args({ "record", "--device", "virtual:tone:1000", "--seconds", "1",
                              "--countdown", "0", "--quality", "1", "--json" })
                       << out("tone.wav"));
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QJsonObject result = TestSupport::jsonLines(r.out.toUtf8()).value(0);
    EXPECT_FALSE(result.value("deviceLost").toBool());
    const auto take = TestSupport::readAudioFile(out("tone.wav"));
    EXPECT_GE(take.frames(), 16000);
    EXPECT_NEAR(TestSupport::zeroCrossings(take, 0, take.frames()), 2000.0 * take.frames() / 16000,
                3);
}

TEST_F(RecordCommand, an_output_that_is_no_file_is_refused_and_left_as_it_was)
{
    const QString fifo = out("pipe.wav");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const auto r
        = run(args({ "record", "--seconds", "0.2", "--countdown", "0", "--json" }) << fifo);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(TestSupport::jsonLines(r.out.toUtf8())
                    .value(0)
                    .value("error")
                    .toString()
                    .contains("is a pipe (FIFO)"))
        << r.out.toStdString();
    struct stat st { };
    ASSERT_EQ(::lstat(QFile::encodeName(fifo).constData(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
    EXPECT_TRUE(QDir(data.filePath("recordings")).entryList(QDir::Files).isEmpty());
}

TEST_F(RecordCommand, a_full_disk_ends_the_take_at_once_and_says_what_was_kept)
{
    TestSupport::SmallTmpfs disk(256 * 1024, data.filePath("recordings"));
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    const auto r = run(args({ "record", "--seconds", "4", "--countdown", "0", "--json" })
                       << out("voice.wav"));
    EXPECT_EQ(r.exitCode, 1);
    const QJsonObject result = TestSupport::jsonLines(r.out.toUtf8()).value(0);
    EXPECT_TRUE(result.value("saved").toBool()) << r.out.toStdString();
    EXPECT_FALSE(result.value("writeError").toString().isEmpty());
    // 256 KiB hold 0.68 s of 48 kHz float stereo: the take ended where the disk did.
    EXPECT_LT(result.value("seconds").toDouble(), 0.7);
    EXPECT_GT(result.value("seconds").toDouble(), 0);
    EXPECT_EQ(TestSupport::readAudioFile(out("voice.wav")).frames(),
              result.value("frames").toDouble());
    EXPECT_TRUE(r.err.contains("only that much was kept")) << r.err.toStdString();
}

// What a recovery must not do: follow a link out of the data folder, or write over a take.
struct Recovery : TestSupport::TableRow {
    // Plants the interrupted take (or takes) and returns the OUT to recover to.
    std::function<QString(const QDir &takes, const QString &elsewhere)> plant;
    const char *message;
};

class RecoveryRefused
    : public RecordCommand
    , public ::testing::WithParamInterface<Recovery> { };

TEST_P(RecoveryRefused, and_every_take_stays)
{
    const QDir takes(data.filePath("recordings"));
    QTemporaryDir elsewhere;
    const QString output = GetParam().plant(takes, elsewhere.path());
    QStringList planted;
    for (const QString &folder : { takes.path(), elsewhere.path() })
        for (const QFileInfo &take : QDir(folder).entryInfoList({ "take-*.wav" }, QDir::Files))
            planted << take.canonicalFilePath() + ':' + QString::number(take.size());
    ASSERT_FALSE(planted.isEmpty());

    const auto r = run(args({ "record", "--recover", "--json" }) << output);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(QString::fromUtf8(GetParam().message))) << r.err.toStdString();
    EXPECT_EQ(TestSupport::jsonLines(r.out.toUtf8()).value(0).value("saved"), QJsonValue(false));
    QStringList after;
    for (const QString &folder : { takes.path(), elsewhere.path() })
        for (const QFileInfo &take : QDir(folder).entryInfoList({ "take-*.wav" }, QDir::Files))
            after << take.canonicalFilePath() + ':' + QString::number(take.size());
    EXPECT_EQ(after, planted);
}

TEST_F(RecordCommand, a_voice_over_lands_on_a_free_sound_track_of_the_project_where_spoken)
{
    // The project's sound track is taken from 0 to 4 s; the voice says its click 0.5 s in; no
    // --seconds: the end of the timeline stops the take.
    TestSupport::writeClickFile(out("music.wav"), 48000, 2, 4.0, 2.5);
    TestSupport::writeClickFile(out("voice-in.wav"), 48000, 1, 3.0, 0.5);
    const QString project = out("film.edproj");
    ASSERT_EQ(run(args({ "import", "--project" }) << project << out("music.wav")).exitCode, 0);

    const auto r = run(QStringList { "--events-out", out("events.jsonl"), "record", "--project",
                                     project, "--device", "virtual:file:" + out("voice-in.wav") }
                       + args({ "--at", "2.8", "--countdown", "1", "--json" }));
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QJsonObject result = TestSupport::jsonLines(r.out.toUtf8()).value(0);
    EXPECT_EQ(result.value("path").toString(), out("film.media/voiceover-1.wav"));
    EXPECT_EQ(result.value("project").toString(), project);
    const double at = result.value("at").toDouble();
    EXPECT_GE(at, 2.8) << "recorded once the playback from --at had started";
    EXPECT_GE(at + result.value("seconds").toDouble(), 3.95) << "stopped by the timeline's end";

    const auto opened = run(args({ "project", "open", "--json" }) << project);
    const QJsonArray tracks
        = TestSupport::jsonLines(opened.out.toUtf8()).value(0)["tracks"].toArray();
    const int track = result.value("track").toInt();
    ASSERT_EQ(track, tracks.size() - 1) << "a new sound track: the only one was taken there";
    const QJsonObject clip = tracks[track]["clips"][0].toObject();
    EXPECT_EQ(tracks[track]["type"].toString(), "audio");
    EXPECT_EQ(clip.value("id"), result.value("clip"));
    EXPECT_EQ(clip.value("position").toDouble(), at);
    EXPECT_EQ(clip.value("file").toString(), result.value("path").toString());
    const auto take = TestSupport::readAudioFile(result.value("path").toString());
    EXPECT_NEAR(TestSupport::firstClickSeconds(take), 0.5, 0.001);

    QStringList events;
    for (const QJsonObject &e : TestSupport::jsonLinesOf(out("events.jsonl")))
        events << e.value("event").toString() + ' '
                + QString::fromUtf8(
                      QJsonDocument(e.value("params").toObject()).toJson(QJsonDocument::Compact));
    const auto has
        = [&](const char *text) { return events.filter(QString::fromUtf8(text)).size() == 1; };
    EXPECT_TRUE(has("AUDIO_RECORD_STARTED {\"VOICE_OVER_MODE\":\"true\"}"))
        << events.join('\n').toStdString();
    EXPECT_TRUE(has("FILE_ADDED {\"ADDING_METHOD\":\"audio_rec\""));
    EXPECT_TRUE(has("PROJECT_SAVED"));

    // Before the first take its track is free, and the next take goes there.
    const auto again
        = run(QStringList { "record", "--project", project, "--device",
                            "virtual:file:" + out("voice-in.wav") }
              + args({ "--at", "0.2", "--seconds", "1", "--countdown", "1", "--json" }));
    ASSERT_EQ(again.exitCode, 0) << again.err.toStdString();
    const QJsonObject second = TestSupport::jsonLines(again.out.toUtf8()).value(0);
    EXPECT_EQ(second.value("track").toInt(), track);
    EXPECT_EQ(second.value("path").toString(), out("film.media/voiceover-2.wav"));
}

QString plantTake(const QString &folder, const char *name, double seconds)
{
    QDir().mkpath(folder);
    const QString path = QDir(folder).filePath(QLatin1String(name));
    TestSupport::writeToneFile(path, 440, 48000, 2, seconds);
    return path;
}

INSTANTIATE_TEST_SUITE_P(
    Shell,
    RecoveryRefused,
    ::testing::Values(Recovery { "recordings_linked_elsewhere",
                                 [](const QDir &takes, const QString &elsewhere) {
                                     plantTake(elsewhere, "take-1.wav", 0.2);
                                     QFile::link(elsewhere, takes.path());
                                     return QDir(elsewhere).filePath("saved.wav");
                                 },
                                 "there is no interrupted take" },
                      Recovery { "out_is_the_take_itself",
                                 [](const QDir &takes, const QString &) {
                                     return plantTake(takes.path(), "take-1.wav", 0.2);
                                 },
                                 "editor's own files" },
                      Recovery { "out_is_another_take",
                                 [](const QDir &takes, const QString &) {
                                     plantTake(takes.path(), "take-1.wav", 0.2);
                                     return plantTake(takes.path(), "take-2.wav", 0.1);
                                 },
                                 "editor's own files" },
                      Recovery { "out_is_a_link_to_the_take",
                                 [](const QDir &takes, const QString &elsewhere) {
                                     const QString take
                                         = plantTake(takes.path(), "take-1.wav", 0.2);
                                     QFile::link(take, QDir(elsewhere).filePath("link.wav"));
                                     return QDir(elsewhere).filePath("link.wav");
                                 },
                                 "editor's own files" }),
    TestSupport::tableRowName);

} // namespace
