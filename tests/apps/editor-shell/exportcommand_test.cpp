// The export command on a project made with import: the census, the engine's events through the
// real tracker, the file read back, and Ctrl+C as a cancel.

#include "shellrun.h"
#include "tablerow.h"
#include "testfiles.h"

#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <csignal>
#include <functional>

#include <sys/stat.h>

namespace {

using TestSupport::eventNames;

class ExportCommand : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        folder = new QTemporaryDir;
        // The sample media by name: the folder holds other bundled content too.
        QStringList arguments { QStringLiteral("--yes"), QStringLiteral("import") };
        for (const char *name : { "beach walk.mp4", "chime.mp3", "colour bars.jpg",
                                  "sunset hdr.mkv", "title card.png", "zoom.webm" })
            arguments << QStringLiteral(EDITOR_SAMPLES "/") + QLatin1String(name);
        arguments << QStringLiteral("--project") << project();
        const auto run = TestSupport::runShell(QStringLiteral(EDITOR_SHELL),
                                               folder->filePath(QStringLiteral("data")), arguments);
        ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
        // A song in the project's collection only, not on its timeline.
        const QString song = folder->filePath(QStringLiteral("song.mp3"));
        ASSERT_TRUE(QFile::copy(QStringLiteral(EDITOR_SAMPLES "/chime.mp3"), song));
        const auto collected = TestSupport::runShell(
            QStringLiteral(EDITOR_SHELL), folder->filePath(QStringLiteral("data")),
            { QStringLiteral("import"), song, QStringLiteral("--to"), QStringLiteral("collection"),
              QStringLiteral("--project"), project() });
        ASSERT_EQ(collected.exitCode, 0) << qPrintable(collected.err);
    }
    static void TearDownTestSuite() { delete folder; }
    static QString project() { return folder->filePath(QStringLiteral("demo.edproj")); }

    QStringList withEvents(const QStringList &arguments) const
    {
        return QStringList { QStringLiteral("--events-out"), events } + arguments;
    }
    QJsonObject param(const char *event) const
    {
        for (const QJsonObject &e : TestSupport::jsonLinesOf(events))
            if (e.value(QStringLiteral("event")).toString() == QLatin1String(event))
                return e.value(QStringLiteral("params")).toObject();
        return {};
    }

    static QTemporaryDir *folder;
    QTemporaryDir data;
    QString events = data.filePath(QStringLiteral("events.jsonl"));
    QString output = data.filePath(QStringLiteral("out.mp4"));
};
QTemporaryDir *ExportCommand::folder = nullptr;

struct ExportCase {
    const char *name;
    QStringList extra;
    double duration;
    const char *partial;
};

void PrintTo(const ExportCase &c, std::ostream *os)
{
    *os << c.name;
}

class ExportRuns
    : public ExportCommand
    , public ::testing::WithParamInterface<ExportCase> { };

TEST_P(ExportRuns, census_then_a_file_of_the_ranges_length)
{
    const auto run = TestSupport::runShell(
        QStringLiteral(EDITOR_SHELL), data.path(),
        withEvents(QStringList { QStringLiteral("export"), project(), output,
                                 QStringLiteral("--preset"), QStringLiteral("mp4_draft_480p"),
                                 QStringLiteral("--json") }
                   + GetParam().extra));
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    const QJsonObject result = QJsonDocument::fromJson(run.out.toUtf8()).object();
    EXPECT_EQ(result.value(QStringLiteral("state")).toString(), QStringLiteral("finished"));
    EXPECT_NEAR(result.value(QStringLiteral("duration")).toDouble(), GetParam().duration, 1 / 30.0);
    EXPECT_EQ(result.value(QStringLiteral("video_codec")).toString(), QStringLiteral("h264"));
    EXPECT_EQ(result.value(QStringLiteral("audio_codec")).toString(), QStringLiteral("aac"));
    EXPECT_EQ(result.value(QStringLiteral("width")).toInt(), 854);
    EXPECT_EQ(result.value(QStringLiteral("size")).toDouble(), QFileInfo(output).size());

    const QStringList names = eventNames(TestSupport::jsonLinesOf(events));
    EXPECT_LT(names.indexOf(QStringLiteral("EXPORT_CLICKED")),
              names.indexOf(QStringLiteral("EXPORT_STARTED")));
    EXPECT_EQ(param("EXPORT_CLICKED").value(QStringLiteral("EXPORT_PART_DURATION")).toString(),
              QLatin1String(GetParam().partial));
    EXPECT_EQ(param("EXPORT_STARTED").value(QStringLiteral("PRESET_ID")).toString(),
              QStringLiteral("mp4_draft_480p"));
    EXPECT_EQ(param("EXPORT_FINISHED").value(QStringLiteral("ABORTED")).toString(),
              QStringLiteral("false"));
}

INSTANTIATE_TEST_SUITE_P(ExportCommand,
                         ExportRuns,
                         ::testing::Values(ExportCase { "whole_timeline", {}, 15.0, "" },
                                           ExportCase { "partial_range",
                                                        { QStringLiteral("--range"),
                                                          QStringLiteral("1.5-4") },
                                                        2.5,
                                                        "2.5" }),
                         [](const auto &info) { return std::string(info.param.name); });

struct FrameCase {
    const char *name;
    QStringList options;
    int exitCode;
    QSize size; // of the picture written; invalid: none written
};

void PrintTo(const FrameCase &c, std::ostream *os)
{
    *os << c.name;
}

class FrameRuns
    : public ExportCommand
    , public ::testing::WithParamInterface<FrameCase> { };

TEST_P(FrameRuns, writes_the_picture_or_says_why_not)
{
    const QString picture = data.filePath(QStringLiteral("frame.png"));
    const auto run = TestSupport::runShell(
        QStringLiteral(EDITOR_SHELL), data.filePath(QStringLiteral("d")),
        QStringList { QStringLiteral("frame"), project(), picture } + GetParam().options);
    EXPECT_EQ(run.exitCode, GetParam().exitCode) << qPrintable(run.err);
    const QImage written(picture);
    EXPECT_EQ(written.isNull(), !GetParam().size.isValid());
    if (GetParam().size.isValid()) {
        EXPECT_EQ(written.size(), GetParam().size);
        const QJsonObject json = QJsonDocument::fromJson(run.out.toUtf8()).object();
        EXPECT_EQ(json.value(QStringLiteral("width")).toInt(), GetParam().size.width());
    }
}

INSTANTIATE_TEST_SUITE_P(
    ExportCommand,
    FrameRuns,
    ::testing::Values(FrameCase { "sized_with_json",
                                  { "--at", "1.5", "--size", "64x36", "--json" },
                                  0,
                                  QSize(64, 36) },
                      FrameCase { "past_the_end", { "--at", "999" }, 1, QSize() },
                      FrameCase { "bad_size", { "--at", "1", "--size", "64" }, 2, QSize() },
                      FrameCase { "no_moment", {}, 2, QSize() }),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(ExportCommand, ctrl_c_cancels_and_leaves_no_file)
{
    QProcess shell;
    shell.start(QStringLiteral(EDITOR_SHELL),
                withEvents({ QStringLiteral("--data-dir"), data.filePath(QStringLiteral("d")),
                             QStringLiteral("export"), project(), output,
                             QStringLiteral("--preset"), QStringLiteral("mp4_h264_4k_vbr") }));
    shell.closeWriteChannel();
    shell.setReadChannel(QProcess::StandardError);
    QByteArray err;
    while (!err.contains("Exporting") && shell.waitForReadyRead(60000))
        err += shell.readAllStandardError();
    ASSERT_TRUE(err.contains("Exporting")) << err.constData();
    ::kill(static_cast<pid_t>(shell.processId()), SIGINT);
    ASSERT_TRUE(shell.waitForFinished(60000));
    EXPECT_EQ(shell.exitCode(), 130) << shell.readAllStandardError().constData();
    EXPECT_TRUE(shell.readAllStandardOutput().contains("cancelled"));
    EXPECT_FALSE(QFileInfo::exists(output));
    EXPECT_EQ(QDir(data.path()).entryList(QDir::Files | QDir::Hidden),
              QStringList { QStringLiteral("events.jsonl") });
    EXPECT_EQ(param("EXPORT_FINISHED").value(QStringLiteral("ABORTED")).toString(),
              QStringLiteral("true"));
}

// What an export may never write over without asking; each is refused before anything is
// rendered. (Pipes, devices and the data folder's files: the output check's own tests.)
struct Forbidden : TestSupport::TableRow {
    // Plants what stands at the output in the run's data folder and returns the output's path.
    std::function<QString(const QString &dataFolder, const QString &project)> plant;
    const char *message;
};

class ExportRefuses
    : public ExportCommand
    , public ::testing::WithParamInterface<Forbidden> { };

TEST_P(ExportRefuses, and_what_stood_there_is_unchanged)
{
    const QString target = GetParam().plant(data.path(), project());
    struct stat before { };
    ASSERT_EQ(::lstat(QFile::encodeName(target).constData(), &before), 0);
    const QByteArray bytes = S_ISREG(before.st_mode) ? TestSupport::readFile(target) : QByteArray();
    const auto run
        = TestSupport::runShell(QStringLiteral(EDITOR_SHELL), data.path(),
                                { QStringLiteral("export"), project(), target,
                                  QStringLiteral("--preset"), QStringLiteral("mp3_audio") });
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains(QLatin1String(GetParam().message))) << qPrintable(run.err);
    struct stat after { };
    ASSERT_EQ(::lstat(QFile::encodeName(target).constData(), &after), 0);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_ino, before.st_ino);
    if (S_ISREG(before.st_mode)) {
        EXPECT_EQ(TestSupport::readFile(target), bytes);
    }
}

INSTANTIATE_TEST_SUITE_P(
    ExportCommand,
    ExportRefuses,
    ::testing::Values(
        Forbidden { "the_project", [](const QString &, const QString &project) { return project; },
                    "which the project uses" },
        Forbidden { "a_file_of_the_collection",
                    [](const QString &, const QString &project) {
                        return QFileInfo(project).dir().filePath(QStringLiteral("song.mp3"));
                    },
                    "which the project uses" },
        Forbidden { "a_file_of_the_user",
                    [](const QString &dataFolder, const QString &) {
                        return TestSupport::writeFile(
                            QDir(dataFolder).filePath(QStringLiteral("old.mp3")), "keep me");
                    },
                    "(--yes replaces it)" }),
    TestSupport::tableRowName);

TEST_F(ExportCommand, replaces_a_file_with_yes_then_its_own_output_and_tells_a_misleading_name)
{
    TestSupport::writeFile(output, "the user's");
    const QStringList arguments { QStringLiteral("export"),
                                  project(),
                                  output,
                                  QStringLiteral("--preset"),
                                  QStringLiteral("webm_vp9_720p"),
                                  QStringLiteral("--range"),
                                  QStringLiteral("0-0.2") };
    const auto agreed = TestSupport::runShell(QStringLiteral(EDITOR_SHELL), data.path(),
                                              QStringList { QStringLiteral("--yes") } + arguments);
    ASSERT_EQ(agreed.exitCode, 0) << qPrintable(agreed.err);
    EXPECT_TRUE(agreed.err.contains(QLatin1String("does not end in .webm")))
        << qPrintable(agreed.err);
    EXPECT_NE(TestSupport::readFile(output), "the user's");
    const auto again = TestSupport::runShell(QStringLiteral(EDITOR_SHELL), data.path(), arguments);
    EXPECT_EQ(again.exitCode, 0) << qPrintable(again.err);
}

} // namespace
