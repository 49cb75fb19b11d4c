#include "exportengine/exportengine.h"
#include "exportengine/renderplan.h"

#include "Statistics/controller.h"

#include "eventwait.h"
#include "logcapture.h"
#include "mediasamples.h"
#include "recordingeventsink.h"
#include "smalltmpfs.h"
#include "tablerow.h"
#include "tempdatafolder.h"

#include "media/mediaprobe.h"
#include "timeline/audioeffects.h"
#include "timeline/timeline.h"
#include "timeline/videoeffects.h"
#include "tracking/generalvanteltracker.h"

#include <QColor>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cmath>
#include <functional>
#include <map>
#include <optional>

namespace {

using Timeline::Model;
using Timeline::TrackType;

const QString clipPath = QStringLiteral("h264_aac.mp4");

const TestSupport::MediaSamples &samples()
{
    return TestSupport::sharedSamples();
}

std::shared_ptr<Media::File> media(const QString &path)
{
    return std::make_shared<Media::File>(Media::probe(path));
}

// Puts `file` on a track at `at` seconds for `length` seconds.
Timeline::Clip &put(Model &timeline, int track, const QString &path, double at, double length)
{
    auto clip = std::make_unique<Timeline::Clip>(Timeline::ClipKind::Clip, media(path));
    clip->setPosition(MTime::fromSec(at));
    clip->setDuration(MTime::fromSec(length));
    return timeline.placeClip(track, std::move(clip));
}

// A small, quick preset: the tests check what the engine does, not what x264 can do.
Export::ExportPreset
smallPreset(const char *format = "mp4", const char *video = "h264", const char *audio = "aac")
{
    Export::ExportPreset p;
    p.id = QStringLiteral("test_%1").arg(QLatin1String(video));
    p.currentTag = QStringLiteral("format_%1").arg(QLatin1String(format));
    p.outputFormat = QLatin1String(format);
    p.videoCodec = QLatin1String(video);
    p.audioCodec = QLatin1String(audio);
    p.frameSize = QSize(160, 90);
    p.frameRate = { 25, 1 };
    p.bitrateMode = Export::BitrateMode::Cbr;
    p.videoBitRate = 300'000;
    p.speed = Export::EncodingSpeed::Ultrafast;
    p.sampleRate = 48000;
    p.channelLayout = 3;
    return p;
}

// The mean brightness (0-255) of the picture at `seconds`, decoded by the ffmpeg tool.
double brightnessAt(const QString &path, double seconds)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-ss"),
                   QString::number(seconds), QStringLiteral("-i"), path,
                   QStringLiteral("-frames:v"), QStringLiteral("1"), QStringLiteral("-f"),
                   QStringLiteral("rawvideo"), QStringLiteral("-pix_fmt"), QStringLiteral("gray"),
                   QStringLiteral("-") });
    ffmpeg.waitForFinished(60000);
    const QByteArray pixels = ffmpeg.readAllStandardOutput();
    double sum = 0;
    for (const char c : pixels)
        sum += static_cast<unsigned char>(c);
    return pixels.isEmpty() ? -1 : sum / pixels.size();
}

// The engine with the statistics watching it on a real tracker, as in the editor.
class ExportEngineTest : public ::testing::Test {
public:
    ExportEngineTest() { tracker->addSink(sink); }

    // Runs one export to its end; returns the event that ended it.
    const Vantel::Tracking::TrackedEvent *exportTo(const QString &path,
                                                   const Export::ExportPreset &preset,
                                                   Export::ExportRange range = {})
    {
        timeline.addTrack(TrackType::Title); // nothing on it: nothing left out
        EXPECT_TRUE(engine.start(timeline, preset, range, path));
        EXPECT_TRUE(TestSupport::waitUntil([&] { return !engine.isRunning(); }, 120000));
        return sink->events.empty() ? nullptr : &sink->events.back();
    }

    TestSupport::TempDataFolder data;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker {
        new Vantel::Tracking::GeneralVantelTracker("sid")
    };
    std::shared_ptr<TestSupport::RecordingEventSink> sink
        = std::make_shared<TestSupport::RecordingEventSink>();
    Statistics::Controller controller { tracker };
    Model timeline;
    QTemporaryDir out;
    Export::Engine engine;
};

struct RenderCase {
    const char *name;
    std::function<void(Model &)> build;
    Export::ExportPreset preset;
    Export::ExportRange range;
    double duration; // seconds
    const char *videoCodec;
    const char *audioCodec;
    double blackAt; // a time whose picture is a gap; negative for none
};

void PrintTo(const RenderCase &c, std::ostream *os)
{
    *os << c.name;
}

class Renders
    : public ExportEngineTest
    , public ::testing::WithParamInterface<RenderCase> { };

TEST_P(Renders, file_has_the_timelines_length_size_rate_and_sound)
{
    const RenderCase &c = GetParam();
    timeline.addTrack(TrackType::Video);
    timeline.addTrack(TrackType::Audio);
    c.build(timeline);
    const QString path = out.filePath(QStringLiteral("out.") + c.preset.outputFormat);
    const auto *end = exportTo(path, c.preset, c.range);
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(end->name, "EXPORT_FINISHED");
    EXPECT_EQ(end->params.at("ABORTED"), "false");

    const Media::File file = Media::probe(path);
    ASSERT_TRUE(file.isOpened()) << file.error.toStdString();
    EXPECT_NEAR(file.duration.toSecF(), c.duration, 1.0 / 25 + 0.001);
    ASSERT_TRUE(file.hasVideo());
    EXPECT_EQ(file.videoTracks[0].codecName, QLatin1String(c.videoCodec));
    EXPECT_EQ(file.videoTracks[0].frameSize, QSize(160, 90));
    EXPECT_EQ(file.videoTracks[0].frameRate, boost::rational<int>(25, 1));
    ASSERT_TRUE(file.hasAudio());
    EXPECT_EQ(file.audioTracks[0].codecName, QLatin1String(c.audioCodec));
    EXPECT_EQ(file.audioTracks[0].sampleRate, 48000);
    EXPECT_EQ(QDir(out.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    if (c.blackAt >= 0) {
        EXPECT_LT(brightnessAt(path, c.blackAt), 20) << "the gap is not black";
        EXPECT_GT(brightnessAt(path, 0.2), 40) << "the clip is not drawn";
    }
}

INSTANTIATE_TEST_SUITE_P(
    ExportEngine,
    Renders,
    ::testing::Values(
        RenderCase { "clip_gap_still_and_music",
                     [](Model &t) {
                         put(t, 0, samples().path(clipPath), 0, 1);
                         put(t, 0, samples().path(QStringLiteral("still.png")), 2, 1);
                         put(t, 1, samples().path(QStringLiteral("tone.wav")), 0.5, 1);
                     },
                     smallPreset(),
                     {},
                     3.0,
                     "h264",
                     "aac",
                     1.5 },
        RenderCase { "overlay_over_clips_and_a_gap",
                     [](Model &t) {
                         put(t, 0, samples().path(clipPath), 0, 1);
                         put(t, 0, samples().path(clipPath), 2, 1);
                         t.addTrack(TrackType::Overlay);
                         put(t, 2, samples().path(clipPath), 0.5, 0.7).setOpacity(50);
                     },
                     smallPreset(),
                     {},
                     3.0,
                     "h264",
                     "aac",
                     1.6 },
        RenderCase { "still_images_only",
                     [](Model &t) {
                         put(t, 0, samples().path(QStringLiteral("still.png")), 0, 2);
                         Timeline::Clip &c
                             = put(t, 0, samples().path(QStringLiteral("still.png")), 2, 1.5);
                         c.setFadeOut(MTime::fromMSec(500));
                     },
                     smallPreset(),
                     {},
                     3.5,
                     "h264",
                     "aac",
                     -1 },
        RenderCase { "partial_range_of_a_slowed_clip",
                     [](Model &t) {
                         put(t, 0, samples().path(clipPath), 0, 1);
                         t.setClipSpeed(t.track(0).clip(0).id(), 0.5, true);
                     },
                     smallPreset(),
                     Export::ExportRange::partial(MTime::fromSec(0.5), MTime::fromSec(1.7)), 1.2,
                     "h264", "aac", -1 },
        RenderCase { "webm_vp9_opus_vbr_two_pass",
                     [](Model &t) { put(t, 0, samples().path(clipPath), 0, 1); },
                     [] {
                         Export::ExportPreset p = smallPreset("webm", "vp9", "opus");
                         p.bitrateMode = Export::BitrateMode::Vbr;
                         p.vbrQuality = 40;
                         p.twoPass = true;
                         return p;
                     }(),
                     {},
                     1.0,
                     "vp9",
                     "opus",
                     -1 }),
    [](const auto &info) { return std::string(info.param.name); });

// A read-only file system: permissions do not stop root, a read-only mount does.
struct ReadOnlyMount {
    QTemporaryDir dir;
    bool mounted
        = ::mount("tmpfs", QFile::encodeName(dir.path()).constData(), "tmpfs", MS_RDONLY, "size=1m")
        == 0;
    ~ReadOnlyMount()
    {
        if (mounted)
            ::umount2(QFile::encodeName(dir.path()).constData(), MNT_DETACH);
    }
};

class Fails;

struct FailCase {
    const char *name;
    // Prepares the project, the preset and the folder to write in; an empty folder skips.
    std::function<QString(Fails &, Export::ExportPreset &)> setUp;
    const char *reason;
    bool oldFile = true; // a file stands at the path before the export
};

void PrintTo(const FailCase &c, std::ostream *os)
{
    *os << c.name;
}

class Fails
    : public ExportEngineTest
    , public ::testing::WithParamInterface<FailCase> {
public:
    // A copy of the sample clip on the timeline at 2 s, for the case to spoil.
    QString placedCopy()
    {
        const QString copy = out.filePath(QStringLiteral("source.mp4"));
        QFile::copy(samples().path(clipPath), copy);
        put(timeline, 0, copy, 2, 1);
        return copy;
    }

    std::optional<ReadOnlyMount> readOnly;
    std::optional<TestSupport::SmallTmpfs> tmpfs;
};

TEST_P(Fails, with_a_reason_and_the_old_file_kept)
{
    timeline.addTrack(TrackType::Video);
    put(timeline, 0, samples().path(clipPath), 0, 1);
    Export::ExportPreset preset = smallPreset();
    const QString folder = GetParam().setUp(*this, preset);
    if (folder.isEmpty())
        GTEST_SKIP() << "cannot mount a small or read-only file system here";
    const QString path = QDir(folder).filePath(QStringLiteral("video.mp4"));
    QFile old(path);
    if (GetParam().oldFile) {
        ASSERT_TRUE(old.open(QIODevice::WriteOnly));
        old.write("the video that was there");
        old.close();
    }
    if (tmpfs)
        tmpfs->fill();
    const QStringList before = QDir(folder).entryList(QDir::Files | QDir::Hidden);

    const auto *end = exportTo(path, preset);
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(end->name, "EXPORT_FAILED");
    EXPECT_EQ(end->params.at("REASON"), GetParam().reason);
    EXPECT_FALSE(end->params.at("ERROR_INFO").empty());
    if (QString(GetParam().reason).startsWith(QLatin1String("Source")))
        EXPECT_TRUE(QString::fromStdString(end->params.at("ERROR_INFO")).contains("source.mp4"))
            << end->params.at("ERROR_INFO");
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden), before) << "a partial file";
    if (GetParam().oldFile) {
        ASSERT_TRUE(old.open(QIODevice::ReadOnly));
        EXPECT_EQ(old.readAll(), "the video that was there");
    }
}

INSTANTIATE_TEST_SUITE_P(
    ExportEngine,
    Fails,
    ::testing::Values(FailCase { "unwritable_folder",
                                 [](Fails &t, Export::ExportPreset &) {
                                     t.readOnly.emplace();
                                     return t.readOnly->mounted ? t.readOnly->dir.path()
                                                                : QString();
                                 },
                                 "Output folder not writable", false },
                      FailCase { "disk_full",
                                 [](Fails &t, Export::ExportPreset &) {
                                     t.tmpfs.emplace(256 * 1024);
                                     return t.tmpfs->mounted() ? t.tmpfs->path() : QString();
                                 },
                                 "Disk full" },
                      FailCase { "unknown_codec",
                                 [](Fails &t, Export::ExportPreset &p) {
                                     p.videoCodec = QStringLiteral("nosuchcodec");
                                     return t.out.path();
                                 },
                                 "Unknown codec" },
                      FailCase { "source_deleted_after_import",
                                 [](Fails &t, Export::ExportPreset &) {
                                     QFile::remove(t.placedCopy());
                                     return t.out.path();
                                 },
                                 "Source file missing" },
                      FailCase { "source_damaged_after_import",
                                 [](Fails &t, Export::ExportPreset &) {
                                     QFile f(t.placedCopy());
                                     EXPECT_TRUE(
                                         f.open(QIODevice::WriteOnly | QIODevice::Truncate));
                                     f.write(QByteArray(4096, '\x7f'));
                                     return t.out.path();
                                 },
                                 "Source file damaged" },
                      FailCase { "source_damaged_past_its_header",
                                 [](Fails &t, Export::ExportPreset &) {
                                     // The index stays whole; every frame it points at is spoilt.
                                     QFile f(t.placedCopy());
                                     EXPECT_TRUE(f.open(QIODevice::ReadWrite));
                                     const QByteArray whole = f.readAll();
                                     const int at = whole.indexOf("mdat");
                                     EXPECT_GT(at, 4);
                                     const auto size
                                         = qFromBigEndian<quint32>(whole.constData() + at - 4);
                                     f.seek(at + 4);
                                     f.write(QByteArray(static_cast<int>(size) - 8, '\xff'));
                                     return t.out.path();
                                 },
                                 "Source file damaged" }),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(ExportEngineTest, cancel_half_way_keeps_the_old_file_and_reports_aborted)
{
    timeline.addTrack(TrackType::Video);
    put(timeline, 0, samples().path(QStringLiteral("still.png")), 0, 60);
    Export::ExportPreset preset = smallPreset();
    preset.frameSize = QSize(1280, 720);
    preset.speed = Export::EncodingSpeed::Slow;
    const QString path = out.filePath(QStringLiteral("video.mp4"));
    QFile old(path);
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write("old");
    old.close();
    double seenAtCancel = 0;
    engine.setProgressHandler([&](const Export::ExportProgress &p) {
        if (p.fraction > 0 && seenAtCancel == 0) {
            seenAtCancel = p.fraction;
            engine.cancel();
        }
    });

    const auto *end = exportTo(path, preset);
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(end->name, "EXPORT_FINISHED");
    EXPECT_EQ(end->params.at("ABORTED"), "true");
    EXPECT_LT(seenAtCancel, 1.0);
    EXPECT_EQ(QDir(out.path()).entryList(QDir::Files | QDir::Hidden), QStringList { "video.mp4" });
    ASSERT_TRUE(old.open(QIODevice::ReadOnly));
    EXPECT_EQ(old.readAll(), "old");
}

TEST_F(ExportEngineTest, removes_the_part_file_a_killed_export_left_and_nothing_else)
{
    timeline.addTrack(TrackType::Video);
    put(timeline, 0, samples().path(clipPath), 0, 1);
    const QDir folder(out.path());
    // The target, a name one digit short, another target's part file, the user's file, a link
    // of our pattern, the part file of an export still running elsewhere (locked).
    QStringList kept = { "video.mp4", ".video.mp4.part-0123abc",  ".other.mp4.part-0123abcd",
                         "film",      ".video.mp4.part-feedf00d", ".video.mp4.part-0000beef" };
    for (const QString &name :
         { kept[1], kept[2], kept[3], kept[5], QString(".video.mp4.part-0123abcd") }) {
        QFile file(folder.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("x");
    }
    ASSERT_TRUE(QFile::link(folder.filePath("film"), folder.filePath(kept[4])));
    const int busy = ::open(QFile::encodeName(folder.filePath(kept[5])).constData(), O_RDONLY);
    ASSERT_EQ(::flock(busy, LOCK_EX), 0);
    TestSupport::LogCapture log;

    const auto *end = exportTo(folder.filePath("video.mp4"), smallPreset());
    ::close(busy);
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(end->name, "EXPORT_FINISHED");
    EXPECT_TRUE(Media::probe(folder.filePath("video.mp4")).isOpened());
    QStringList left = folder.entryList(QDir::Files | QDir::Hidden | QDir::System);
    left.sort();
    kept.sort();
    EXPECT_EQ(left.join(' ').toStdString(), kept.join(' ').toStdString());
    EXPECT_EQ(log.matching({ ".video.mp4.part-0123abcd", "interrupted" }).size(), 1u);
}

// Clips of one colour each (with a tone), made once for the picture and sound checks.
const QString &colourClip(const char *colour)
{
    static QTemporaryDir dir;
    static std::map<std::string, QString> made;
    QString &path = made[colour];
    if (path.isEmpty()) {
        path = dir.filePath(QLatin1String(colour) + QStringLiteral(".mp4"));
        TestSupport::MediaSamples::runFfmpeg(
            { "-f", "lavfi", "-i", QStringLiteral("color=c=%1:s=320x180:r=25:d=3").arg(colour),
              "-f", "lavfi", "-i", "sine=frequency=440:duration=3", "-c:v", "libx264", "-preset",
              "ultrafast", "-pix_fmt", "yuv420p", "-c:a", "aac", "-shortest", path });
    }
    return path;
}

struct PictureCase : TestSupport::TableRow {
    std::function<void(Model &)> build;
    double at;
    QColor expected; // the colour at the centre; invalid: the picture holds a title's white
};

class Draws : public ::testing::TestWithParam<PictureCase> { };

TEST_P(Draws, the_picture_at_a_moment)
{
    Model timeline;
    timeline.addTrack(TrackType::Video);
    timeline.addTrack(TrackType::Overlay);
    timeline.addTrack(TrackType::Title);
    GetParam().build(timeline);
    const QImage image = Export::pictureAt(timeline, MTime::fromSec(GetParam().at), QSize(160, 90));
    ASSERT_EQ(image.size(), QSize(160, 90));
    const QColor expected = GetParam().expected;
    if (expected.isValid()) {
        const QColor got = image.pixelColor(80, 45);
        EXPECT_NEAR(got.red(), expected.red(), 40) << got.name().toStdString();
        EXPECT_NEAR(got.green(), expected.green(), 40) << got.name().toStdString();
        EXPECT_NEAR(got.blue(), expected.blue(), 40) << got.name().toStdString();
        return;
    }
    int white = 0;
    for (int y = 30; y < 60; ++y)
        for (int x = 20; x < 140; ++x)
            white += qGray(image.pixel(x, y)) > 200;
    EXPECT_GT(white, 40) << "no text drawn over the red";
}

Timeline::Clip &overlay(Model &t, const char *colour)
{
    put(t, 0, colourClip("red"), 0, 2);
    return put(t, 1, colourClip(colour), 0, 2);
}

Timeline::Clip &titled(Model &t, int subtype)
{
    put(t, 0, colourClip("red"), 0, 2);
    auto clip = std::make_unique<Timeline::Clip>(Timeline::ClipKind::Title);
    clip->setDuration(MTime::fromSec(2));
    clip->setTitleItem(Timeline::TitleItem { subtype, QStringLiteral("HHHH: [a, b]; 'c' %1"), {} });
    return t.placeClip(2, std::move(clip));
}

INSTANTIATE_TEST_SUITE_P(
    ExportEngine,
    Draws,
    ::testing::Values(
        PictureCase { { "middle_of_a_dissolve_mixes_both_clips" },
                      [](Model &t) {
                          const auto left = put(t, 0, colourClip("red"), 0, 2).id();
                          const auto right = put(t, 0, colourClip("blue"), 2, 2).id();
                          t.addTransition(
                              std::make_unique<Transition::Object>(Transition::Id::Dissolve), left,
                              right);
                      },
                      2.0,
                      QColor(128, 0, 128) },
        PictureCase { { "middle_of_a_fade_is_dark" },
                      [](Model &t) {
                          const auto left = put(t, 0, colourClip("red"), 0, 2).id();
                          const auto right = put(t, 0, colourClip("blue"), 2, 2).id();
                          t.addTransition(
                              std::make_unique<Transition::Object>(Transition::Id::Fade), left,
                              right);
                      },
                      2.0,
                      QColor(20, 0, 40) },
        PictureCase { { "half_opaque_overlay_mixes_with_what_is_under_it" },
                      [](Model &t) { overlay(t, "blue").setOpacity(50); },
                      1.0,
                      QColor(128, 0, 128) },
        PictureCase {
            { "multiplied_overlay_darkens" },
            [](Model &t) { overlay(t, "blue").setBlendingMode(Timeline::BlendingMode::Multiply); },
            1.0,
            QColor(0, 0, 0) },
        PictureCase { { "keyed_overlay_shows_what_is_under_it" },
                      [](Model &t) { overlay(t, "lime").addEffect(Effect::ChromaKey {}); },
                      1.0,
                      QColor(255, 0, 0) },
        PictureCase {
            { "switched_off_effect_is_not_drawn" },
            [](Model &t) { overlay(t, "lime").addEffect(Effect::ChromaKey {}).setEnabled(false); },
            1.0,
            QColor(0, 255, 0) },
        PictureCase { { "title_changes_the_pixels_where_it_is_drawn" },
                      [](Model &t) { titled(t, Timeline::TitleItem::Title); },
                      1.0,
                      QColor() },
        PictureCase { { "title_of_subtype_0_is_not_drawn" },
                      [](Model &t) { titled(t, Timeline::TitleItem::Invalid); },
                      1.0,
                      QColor(255, 0, 0) },
        PictureCase { { "gap_is_black" },
                      [](Model &t) { put(t, 0, colourClip("red"), 1, 1); },
                      0.5,
                      QColor(0, 0, 0) }),
    TestSupport::tableRowName);

// The level of the sound of a file, decoded by the ffmpeg tool: root mean square, 0 to 1.
double loudness(const QString &path)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 { "-v", "error", "-i", path, "-f", "f32le", "-ac", "1", "-ar", "8000", "-" });
    ffmpeg.waitForFinished(60000);
    const QByteArray bytes = ffmpeg.readAllStandardOutput();
    const auto *samples = reinterpret_cast<const float *>(bytes.constData());
    const std::size_t n = static_cast<std::size_t>(bytes.size()) / sizeof(float);
    double sum = 0;
    for (std::size_t i = 0; i < n; ++i)
        sum += double(samples[i]) * samples[i];
    return n ? std::sqrt(sum / n) : -1;
}

struct SoundCase : TestSupport::TableRow {
    std::function<void(Model &, Timeline::Clip &)> change; // of the one-second clip
    double low;
    double high;
};

class Sounds
    : public ExportEngineTest
    , public ::testing::WithParamInterface<SoundCase> { };

TEST_P(Sounds, level_of_the_exported_sound)
{
    timeline.addTrack(TrackType::Video);
    GetParam().change(timeline, put(timeline, 0, colourClip("red"), 0, 1));
    const QString path = out.filePath(QStringLiteral("out.mp4"));
    const auto *end = exportTo(path, smallPreset());
    ASSERT_NE(end, nullptr);
    ASSERT_EQ(end->name, "EXPORT_FINISHED");
    const double level = loudness(path);
    EXPECT_GE(level, GetParam().low);
    EXPECT_LE(level, GetParam().high);
}

Effect::AudioNoiseGate gate(double threshold)
{
    Effect::AudioNoiseGate g;
    g.threshold = threshold;
    g.range = -100;
    return g;
}

// A full-scale sine has a level of 0.707; the tool's tone is at an eighth of full scale.
INSTANTIATE_TEST_SUITE_P(
    ExportEngine,
    Sounds,
    ::testing::Values(
        SoundCase { { "muted_clip_is_silent" },
                    [](Model &, Timeline::Clip &c) { c.setVolume(0); },
                    0,
                    0.001 },
        SoundCase { { "clip_at_full_volume_sounds" }, [](Model &, Timeline::Clip &) {}, 0.05, 0.2 },
        SoundCase { { "crossfade_keeps_the_level" },
                    [](Model &t, Timeline::Clip &c) {
                        t.addTransition(
                            std::make_unique<Transition::Object>(Transition::Id::Dissolve), c.id(),
                            put(t, 0, colourClip("blue"), 1, 1).id());
                    },
                    0.05,
                    0.2 },
        SoundCase { { "closed_gate_silences" },
                    [](Model &, Timeline::Clip &c) { c.addEffect(gate(0)); },
                    0,
                    0.01 },
        SoundCase { { "every_sound_effect_together_keeps_it_audible" },
                    [](Model &, Timeline::Clip &c) {
                        Effect::AudioEqualizer eq;
                        eq.gains[5] = 6;
                        c.addEffect(eq);
                        c.addEffect(Effect::AudioCompressor {});
                        c.addEffect(gate(-100));
                        c.addEffect(Effect::AudioReverb {});
                        Effect::AudioMonoChannel mono;
                        mono.source = Effect::AudioMonoChannel::Left;
                        c.addEffect(mono);
                    },
                    0.02,
                    0.4 }),
    TestSupport::tableRowName);

// Every picture effect on one clip: the graph is built, runs, and the picture changes.
TEST(Draws, every_picture_effect_together)
{
    QTemporaryDir dir;
    const QString cube = dir.filePath(QStringLiteral("identity.cube"));
    QFile table(cube);
    ASSERT_TRUE(table.open(QIODevice::WriteOnly));
    table.write("LUT_3D_SIZE 2\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n");
    table.close();
    Model timeline;
    timeline.addTrack(TrackType::Video);
    Timeline::Clip &clip = put(timeline, 0, colourClip("red"), 0, 2);
    Effect::Crop crop;
    crop.left = crop.right = crop.top = crop.bottom = 0.1;
    clip.addEffect(crop);
    Effect::ManualEnhance enhance;
    for (int tool = 0; tool < Effect::ManualEnhance::toolCount; ++tool)
        enhance.values[tool] = tool == Effect::ManualEnhance::Gamma ? 1.2 : -40;
    clip.addEffect(enhance);
    Effect::Lut lut;
    lut.path = cube;
    lut.intensity = 0.5;
    clip.addEffect(lut);
    Effect::Mask mask;
    mask.conceals.push_back({ Effect::MaskShape::Rectangle, QRectF(0, 0, 0.3, 0.3), 0.8, 0, 20 });
    mask.highlights.push_back({ Effect::MaskShape::Circle, QRectF(0.4, 0.4, 0.2, 0.2), 1, 0, 0 });
    clip.addEffect(mask);
    clip.setAnimation({ QStringLiteral("zoom"), { MTime(), MTime::fromSec(2) } });
    clip.setStabilized(true);

    const QImage image = Export::pictureAt(timeline, MTime::fromSec(1), QSize(160, 90));
    const QColor centre = image.pixelColor(80, 45);
    EXPECT_LT(centre.red(), 200) << "not darkened";
    EXPECT_GT(centre.red(), centre.green()) << "no longer red";
}

TEST(RenderPlan, range_cuts_clips_and_only_what_needs_a_missing_model_or_file_is_left_out)
{
    Model timeline;
    timeline.addTrack(TrackType::Video);
    timeline.addTrack(TrackType::Overlay);
    Timeline::Clip &a = put(timeline, 0, samples().path(clipPath), 1, 4);
    a.setSourceIn(MTime::fromSec(2));
    a.setSpeed(2.0);
    a.setStabilized(true);
    a.addEffect(Effect::BackgroundRemove {});
    Effect::Lut lut;
    lut.path = QStringLiteral("/nowhere/film.cube");
    a.addEffect(lut);
    Effect::Mask soft;
    soft.highlights.push_back({ Effect::MaskShape::Circle, QRectF(0, 0, 1, 1), 1, 0.5, 0 });
    a.addEffect(soft);
    a.addEffect(Effect::AudioReverb {});
    Timeline::Clip &b = put(timeline, 0, samples().path(QStringLiteral("still.png")), 5, 2);
    b.addEffect(Effect::BackgroundRemove {}).setEnabled(false);
    b.addEffect(Effect::Crop {});
    put(timeline, 1, samples().path(clipPath), 0, 1);
    timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::ShaderISF), a.id(),
                           b.id());

    const Export::RenderPlan plan = Export::planRender(
        timeline, Export::ExportRange::partial(MTime::fromSec(2), MTime::fromSec(6)));
    EXPECT_EQ(plan.duration, MTime::fromSec(4));
    ASSERT_EQ(plan.video.size(), 2u);
    const Export::RenderPiece &p = plan.video[0];
    EXPECT_EQ(p.at, MTime());
    EXPECT_EQ(p.skip, MTime::fromSec(1));
    EXPECT_EQ(p.length, MTime::fromSec(3));
    EXPECT_DOUBLE_EQ(p.sourceStart(), 4.0); // 2 s in, then 1 s of the clip at twice the speed
    EXPECT_DOUBLE_EQ(p.sourceEnd(), 10.0);
    EXPECT_TRUE(p.stabilized);
    EXPECT_EQ(p.effects.size(), 2u) << "drawn in part: the mask and the reverb";
    // Centred on the cut at 3 s, as long as the shorter side allows (1 s of the still).
    EXPECT_EQ(p.tail, MTime::fromMSec(500));
    ASSERT_TRUE(plan.video[1].join.has_value());
    EXPECT_EQ(plan.video[1].join->picture, "fade");
    EXPECT_EQ(plan.video[1].lead, MTime::fromMSec(500));
    EXPECT_EQ(plan.video[1].effects.size(), 1u) << "the switched-off effect is not drawn";
    ASSERT_EQ(plan.layers.size(), 1u);
    EXPECT_TRUE(plan.layers[0].pieces.empty()) << "the overlay clip lies before the range";
    ASSERT_EQ(plan.audio.size(), 1u);
    EXPECT_EQ(plan.audio[0].size(), 1u) << "a still image has no sound";
    EXPECT_EQ(plan.leftOut,
              QStringList({ "effect BackgroundRemove", "effect Lut (table file missing)",
                            "effect Mask (soft borders drawn sharp)",
                            "effect AudioReverb (approximated by four echoes)",
                            "transition ShaderISF (shown as a dissolve)" }));
}

} // namespace
