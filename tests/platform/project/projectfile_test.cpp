#include "mediamodel/mediafile.h"
#include "project/projectfile.h"
#include "timeline/audioeffects.h"
#include "timeline/videoeffects.h"

#include "smalltmpfs.h"
#include "tablerow.h"
#include "testfiles.h"

#include <QDir>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <memory>
#include <random>
#include <string>
#include <tuple>

namespace {

using namespace Project;

std::shared_ptr<Media::File> mediaFile(const QString &path, bool still = false, bool sound = false)
{
    auto file = std::make_shared<Media::File>(path);
    file->state = Media::File::State::Opened;
    file->duration = MTime::fromMSec(still ? 0 : 8000);
    file->size = 4096;
    Media::VideoTrack picture;
    picture.frameSize = QSize(1280, 720);
    picture.stillImage = still;
    picture.codecName = "h264";
    file->videoTracks.push_back(picture);
    if (sound) {
        Media::AudioTrack audio;
        audio.channels = 2;
        audio.sampleRate = 48000;
        file->audioTracks.push_back(audio);
    }
    return file;
}

// A project that uses every part of the model and every effect kind with changed parameters.
std::unique_ptr<Object> richProject(const QString &folder)
{
    auto project = Object::createNew();
    project->setId(4242);
    project->setResolution(QSize(1080, 1920));
    project->timeline().addTrack(Timeline::TrackType::Title);
    project->timeline().addTrack(Timeline::TrackType::Overlay);
    const auto clipFile = mediaFile(folder + "/clip.mp4", false, true);
    const auto stillFile = mediaFile(folder + "/still.png", true);
    const auto spare = mediaFile(folder + "/spare.mov");

    Timeline::Model &timeline = project->timeline();
    Timeline::Clip &first = timeline.insertClip(0, MTime(), clipFile);
    first.setSpeed(1.5, true);
    first.setStabilized(true);
    first.setAnimation({ "zoom-in", { MTime::fromMSec(0), MTime::fromMSec(900) } });
    first.setResourceId("store:item:7");
    first.addEffect(Effect::AudioEqualizer {}).preset = Effect::AudioEqualizer::Saved;
    first.addEffect(Effect::AudioReverb {}).dryWetBalance = 0.55;
    first.addEffect(Effect::AudioCompressor {}).attack = MTime::fromMSec(7);
    first.addEffect(Effect::AudioNoiseGate {}).range = -12.5;
    first.addEffect(Effect::AudioMonoChannel {}).source = Effect::AudioMonoChannel::Right;
    first.addEffect(Effect::ChromaKey {}).keyColor = 0x04010203;
    auto &mask = first.addEffect(Effect::Mask {});
    mask.edgeMode = Effect::Mask::Blur;
    mask.highlights.push_back(
        { Effect::MaskShape::Circle, QRectF(0.1, 0.2, 0.3, 0.4), 0.5, 0.25, 0, true });
    mask.conceals.push_back(
        { Effect::MaskShape::Rectangle, QRectF(0, 0, 1, 1), 1.0, 0, 40, false });

    Timeline::Clip &second = timeline.insertClip(0, MTime(), stillFile);
    second.addEffect(Effect::Crop {}).top = 0.125;
    auto &colour = second.addEffect(Effect::ManualEnhance {});
    colour.setValue(Effect::ManualEnhance::Hue, -30);
    colour.setName("Warm");
    colour.setUniqueId("preset-warm");
    second.addEffect(Effect::BackgroundRemove {}).qualityMode = Effect::BackgroundRemove::Draft;
    auto &lut = second.addEffect(Effect::Lut {});
    lut.setName("Film");
    lut.setUniqueId("lut-film");
    lut.path = folder + "/film.cube";

    auto title = std::make_unique<Timeline::Clip>(Timeline::ClipKind::Title);
    title->setDuration(MTime::fromMSec(2500));
    title->setTitleItem(
        Timeline::TitleItem { Timeline::TitleItem::Callout, "Hello ünïcode", "bubble" });
    timeline.placeClip(2, std::move(title));
    auto fx = std::make_unique<Timeline::Clip>(Timeline::ClipKind::Clip);
    fx->setDuration(MTime::fromMSec(100));
    fx->setContentId("special-fx");
    timeline.placeClip(3, std::move(fx));

    auto transition
        = std::make_unique<Transition::Object>(Transition::Id::Slide, MTime::fromMSec(750));
    transition->addResource({ Transition::ResourceType::Audio, clipFile, "whoosh" });
    timeline.addTransition(std::move(transition), second.id(), first.id());
    timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Fade), 0,
                           second.id());

    project->userFiles().add(spare);
    project->userFiles().add(clipFile);
    project->effectLibrary().loadedLuts.insert("lut-film");
    project->effectLibrary().colorPresets.insert("preset-warm", true);
    return project;
}

void expectSameClip(const Timeline::IClip &a, const Timeline::IClip &b)
{
    EXPECT_EQ(a.id(), b.id()); // commands name clips by the ids an earlier run showed
    EXPECT_EQ(a.kind(), b.kind());
    EXPECT_EQ(a.type(), b.type());
    EXPECT_EQ(a.position(), b.position());
    EXPECT_EQ(a.duration(), b.duration());
    EXPECT_EQ(a.speed(), b.speed());
    EXPECT_EQ(a.isSpeedCompensated(), b.isSpeedCompensated());
    EXPECT_EQ(a.isStabilized(), b.isStabilized());
    EXPECT_EQ(a.animation(), b.animation());
    EXPECT_EQ(a.titleItem(), b.titleItem());
    EXPECT_EQ(a.resourceId(), b.resourceId());
    EXPECT_EQ(a.contentId(), b.contentId());
    EXPECT_EQ(a.isImageClip(), b.isImageClip());
    EXPECT_EQ(static_cast<bool>(a.file()), static_cast<bool>(b.file()));
    if (a.file() && b.file()) {
        EXPECT_EQ(a.file()->path, b.file()->path);
    }
    ASSERT_EQ(a.effects().size(), b.effects().size());
    for (std::size_t i = 0; i < a.effects().size(); ++i) {
        EXPECT_TRUE(*a.effects()[i] == *b.effects()[i]) << Effect::idText(a.effects()[i]->id());
        EXPECT_EQ(a.effects()[i]->name(), b.effects()[i]->name());
    }
}

TEST(ProjectFile, a_written_project_reads_back_the_same)
{
    const auto original = richProject("/media");
    const auto copy = readProjectFile(writeProjectFile(*original));

    EXPECT_EQ(copy->id(), 4242);
    EXPECT_EQ(copy->resolution(), QSize(1080, 1920));
    EXPECT_EQ(copy->effectLibrary(), original->effectLibrary());
    const Timeline::Model &a = original->timeline();
    const Timeline::Model &b = copy->timeline();
    ASSERT_EQ(a.trackCount(), b.trackCount());
    for (int t = 0; t < a.trackCount(); ++t) {
        EXPECT_EQ(a.track(t).type(), b.track(t).type());
        ASSERT_EQ(a.track(t).clipCount(), b.track(t).clipCount());
        for (std::size_t c = 0; c < a.track(t).clipCount(); ++c)
            expectSameClip(a.track(t).clip(c), b.track(t).clip(c));
    }
    ASSERT_EQ(b.transitionCount(), 2u);
    EXPECT_EQ(b.transition(0).id(), Transition::Id::Slide);
    EXPECT_EQ(b.transition(0).duration().toMSec(), 750);
    EXPECT_EQ(b.transition(0).leftClip(), &b.track(0).clip(0));
    EXPECT_EQ(b.transition(0).rightClip(), &b.track(0).clip(1));
    EXPECT_TRUE(b.transition(0).hasAudioResources());
    EXPECT_EQ(b.transition(1).leftClip(), nullptr);

    // One file stays one object wherever it is used, so counts by file stay right.
    EXPECT_EQ(b.transition(0).resources()[0].file, b.track(0).clip(1).file());
    ASSERT_EQ(copy->userFiles().count(), 2u);
    EXPECT_EQ(copy->userFiles().files()[1], b.track(0).clip(1).file());
    EXPECT_EQ(copy->mediaFiles().size(), 3u);
}

struct DamagedFile : TestSupport::TableRow {
    QByteArray content;
    const char *reason; // a part of the message the user gets
};

class DamagedProjectFile : public ::testing::TestWithParam<DamagedFile> { };

TEST_P(DamagedProjectFile, is_refused_with_a_reason)
{
    try {
        readProjectFile(GetParam().content);
        FAIL() << "read a damaged file";
    } catch (const FileError &e) {
        EXPECT_NE(std::string(e.what()).find(GetParam().reason), std::string::npos) << e.what();
    }
}

#define HEADER R"("format": "editor-project", "version": 1)"

// A project file of the header and `rest`; one of a track of `type` holding `clips`; one of a clip
// of that track carrying `effect`.
QByteArray project(const QByteArray &rest)
{
    return "{" HEADER + rest + "}";
}

QByteArray track(const char *type, const QByteArray &clips)
{
    return project(R"(, "tracks": [{"type": ")" + QByteArray(type) + R"(", "clips": [)" + clips
                   + "]}]");
}

QByteArray effect(const char *type, const QByteArray &effect)
{
    return track(type, R"({"durationMs": 10, "effects": [)" + effect + "]}");
}

INSTANTIATE_TEST_SUITE_P(
    ProjectFile,
    DamagedProjectFile,
    ::testing::Values(
        DamagedFile { "empty", "", "the file is empty" },
        DamagedFile { "not_json", "\x89PNG\r\n", "not a project file" },
        DamagedFile { "truncated", project(R"(, "tracks": [)"), "not a project file" },
        DamagedFile { "array_at_top", "[1, 2]", "no top-level object" },
        DamagedFile { "text_after_the_document", "{" HEADER "}\n{\"x\": \"}\"}",
                      "more text after the document at byte 42" },
        DamagedFile { "foreign_json", R"({"name": "package", "version": "1.0"})",
                      "not a project file" },
        DamagedFile { "newer_version", R"({"format": "editor-project", "version": 2})",
                      "version 2 is not supported" },
        DamagedFile { "unknown_track", project(R"(, "tracks": [{"type": "hologram"}])"),
                      "tracks[0].type: \"hologram\"" },
        DamagedFile { "negative_position", track("video", R"({"positionMs": -5, "durationMs": 1})"),
                      "tracks[0].clips[0].positionMs" },
        DamagedFile { "huge_duration", track("video", R"({"kind": "clip", "durationMs": 1e300})"),
                      "tracks[0].clips[0].durationMs" },
        DamagedFile { "zero_length", track("video", R"({"kind": "clip"})"),
                      "must last longer than zero" },
        DamagedFile { "overlap",
                      track("video", R"({"durationMs": 10}, {"positionMs": 5, "durationMs": 10})"),
                      "overlaps" },
        DamagedFile { "bad_speed", track("video", R"({"durationMs": 10, "speed": 0})"), "speed" },
        DamagedFile { "missing_media", track("video", R"({"durationMs": 10, "media": 3})"),
                      "names media 3" },
        DamagedFile { "unknown_effect", effect("video", R"({"type": "Sepia"})"),
                      "\"Sepia\" is not an effect" },
        DamagedFile { "effect_parameter_of_wrong_type",
                      effect("video", R"({"type": "Crop", "left": "wide"})"),
                      "effects[0].left: must be a number" },
        DamagedFile { "equalizer_bands",
                      effect("audio", R"({"type": "AudioEqualizer", "gains": [1, 2]})"),
                      "must hold 10 numbers" },
        DamagedFile { "duplicate_media", project(R"(, "media": [{"path": "a"}, {"path": "a"}])"),
                      "listed twice" },
        DamagedFile { "media_without_path", project(R"(, "media": [{"durationMs": 5}])"),
                      "media[0].path" },
        DamagedFile {
            "dangling_transition",
            project(R"(, "tracks": [{"type": "video", "clips": [{"id": 1, "durationMs": 10}]}],
                                 "transitions": [{"type": "Dissolve", "left": 1, "right": 9}])"),
            "names clip 9" },
        DamagedFile { "duplicate_clip_id", track("video", R"({"id": 1, "durationMs": 10},
                                        {"id": 1, "positionMs": 10, "durationMs": 10})"),
                      "used twice" },
        DamagedFile { "collection_out_of_range", project(R"(, "collection": [0])"),
                      "collection[0]" },
        DamagedFile { "no_frame_size", project(R"(, "resolution": [0, 0])"),
                      "resolution[0]: must be a whole number from 1" },
        DamagedFile { "deafening_gain", effect("audio", R"({"type": "AudioEqualizer",
                                          "gains": [0, 0, 1e308, 0, 0, 0, 0, 0, 0, 0]})"),
                      "effects[0].gains[2]: must be a number from -24 to 24" },
        DamagedFile { "unknown_title_subtype",
                      track("title", R"({"durationMs": 10, "title": {"subtype": 99}})"),
                      "title.subtype: must be a whole number from 0 to 4" },
        DamagedFile { "mask_shape_of_no_kind",
                      effect("video", R"({"type": "Mask", "conceals": [{"shape": 7}]})"),
                      "effects[0].conceals[0].shape" }),
    TestSupport::tableRowName);

TEST(ProjectFile, a_clip_without_a_kind_or_id_takes_its_tracks_kind_and_an_id_no_clip_brings)
{
    const auto project = readProjectFile("{" HEADER R"(, "tracks": [
        {"type": "audio", "clips": [{"durationMs": 10}]},
        {"type": "title", "clips": [{"id": 1, "durationMs": 10}]},
        {"type": "overlay", "clips": [{"durationMs": 10}]}]})");
    EXPECT_EQ(project->timeline().track(0).clip(0).kind(), Timeline::ClipKind::Audio);
    EXPECT_EQ(project->timeline().track(1).clip(0).kind(), Timeline::ClipKind::Title);
    EXPECT_EQ(project->timeline().track(2).clip(0).kind(), Timeline::ClipKind::Clip);
    EXPECT_EQ(project->timeline().track(0).clip(0).id(), 2u);
    EXPECT_EQ(project->timeline().track(1).clip(0).id(), 1u);
}

TEST(ProjectFile, a_value_the_reader_would_refuse_is_refused_by_the_writer_with_its_place)
{
    auto project = Object::createNew();
    auto &clip = project->timeline().insertClip(0, MTime(), mediaFile("/a.mp4"));
    clip.addEffect(Effect::Crop {});
    clip.addEffect(Effect::AudioEqualizer {}).gains[3] = 1e308;
    try {
        writeProjectFile(*project);
        FAIL() << "wrote a file it cannot read";
    } catch (const FileError &e) {
        EXPECT_STREQ(e.what(),
                     "tracks[0].clips[0].effects[1].gains: must be a number from -24 to 24");
    }
}

// Sets every parameter of an effect to a random value within the range its table allows.
template<class T> class RandomFields {
public:
    RandomFields(T &target, std::mt19937 &random)
        : m_target(target)
        , m_random(random)
    {
    }
    template<class I> void integer(const char *, I T::*m, std::int64_t min, std::int64_t max)
    {
        m_target.*m
            = static_cast<I>(std::uniform_int_distribution<std::int64_t>(min, max)(m_random));
    }
    void real(const char *, double T::*m, double min, double max) { m_target.*m = real(min, max); }
    void time(const char *, MTime T::*m, MTime min, MTime max)
    {
        m_target.*m = MTime::fromMSec(
            std::uniform_int_distribution<std::int64_t>(min.toMSec(), max.toMSec())(m_random));
    }
    void flag(const char *, bool T::*m) { m_target.*m = m_random() % 2; }
    void text(const char *, QString T::*m) { m_target.*m = QString::number(m_random()); }
    template<class Get, class Set> void name(const char *, Get, Set set)
    {
        (m_target.*set)(QStringLiteral("n%1").arg(m_random()));
    }
    void rect(const char *, QRectF T::*m, double min, double max)
    {
        m_target.*m = QRectF(real(min, max), real(min, max), real(0, max), real(0, max));
    }
    template<std::size_t N>
    void reals(const char *, std::array<double, N> T::*m, double min, double max)
    {
        for (double &v : m_target.*m)
            v = real(min, max);
    }
    template<std::size_t N, class... Rest>
    void namedReals(const char *key, std::array<double, N> T::*m, Rest &&...rest)
    {
        reals(key, m, std::get<sizeof...(Rest) - 2>(std::tie(rest...)),
              std::get<sizeof...(Rest) - 1>(std::tie(rest...)));
    }
    template<class Shape> void shapes(const char *, std::vector<Shape> T::*m)
    {
        (m_target.*m).resize(m_random() % 3);
        for (Shape &shape : m_target.*m) {
            RandomFields<Shape> inner(shape, m_random);
            Shape::fields(inner);
        }
    }

private:
    double real(double min, double max)
    {
        return std::uniform_real_distribution<double>(min, max)(m_random);
    }

    T &m_target;
    std::mt19937 &m_random;
};

template<class E> std::unique_ptr<Effect::Object> randomEffect(std::mt19937 &random)
{
    auto effect = std::make_unique<E>();
    RandomFields<E> fields(*effect, random);
    E::fields(fields);
    return effect;
}

class RandomEdits : public ::testing::TestWithParam<unsigned> { };

// Whatever edits the model takes, the file it is saved to opens again with the same content; an
// edit the file could not hold is refused when it is made.
TEST_P(RandomEdits, whatever_the_model_holds_is_written_and_read_back)
{
    std::mt19937 random(GetParam());
    auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const std::vector<std::unique_ptr<Effect::Object> (*)(std::mt19937 &)> effectKinds = {
        randomEffect<Effect::AudioEqualizer>,
        randomEffect<Effect::AudioReverb>,
        randomEffect<Effect::AudioCompressor>,
        randomEffect<Effect::AudioNoiseGate>,
        randomEffect<Effect::AudioMonoChannel>,
        randomEffect<Effect::ChromaKey>,
        randomEffect<Effect::Mask>,
        randomEffect<Effect::Crop>,
        randomEffect<Effect::ManualEnhance>,
        randomEffect<Effect::BackgroundRemove>,
        randomEffect<Effect::Lut>,
    };
    // Times around the edges of what a timeline holds, as a typed --at would give them.
    const std::vector<MTime> positions
        = { MTime(), MTime::fromMSec(1234), Timeline::maxTime - MTime::fromMSec(1),
            MTime::fromSec(9e9), MTime::fromMSec(-1) };
    auto project = Object::createNew();
    project->timeline().addTrack(Timeline::TrackType::Title);
    Timeline::Model &timeline = project->timeline();
    std::vector<Timeline::ClipId> placed;
    int refused = 0;
    for (int step = 0; step < 150; ++step) {
        try {
            switch (pick(6)) {
            case 0: // the same file brought in again is a new object with the same path
            case 1: {
                const int which = pick(4); // one path, one set of facts
                auto file = mediaFile(QStringLiteral("/m/%1.mp4").arg(which), which % 2, which / 2);
                if (pick(3) == 0)
                    project->userFiles().add(file);
                placed.push_back(
                    timeline.insertClip(pick(2), positions[pick(5)], std::move(file)).id());
                break;
            }
            case 2: {
                auto title = std::make_unique<Timeline::Clip>(Timeline::ClipKind::Title);
                title->setPosition(MTime::fromMSec(pick(100000)));
                title->setDuration(MTime::fromMSec(1 + pick(5000)));
                title->setTitleItem(Timeline::TitleItem { pick(6), "t", {} });
                timeline.placeClip(2, std::move(title));
                break;
            }
            case 3:
                if (!placed.empty()) {
                    if (auto *clip
                        = timeline.findClip(placed[pick(static_cast<int>(placed.size()))]))
                        clip->addEffect(
                            effectKinds[pick(static_cast<int>(effectKinds.size()))](random));
                }
                break;
            case 4:
                if (placed.size() > 1)
                    timeline.addTransition(
                        std::make_unique<Transition::Object>(Transition::Id::Wipe),
                        placed[pick(static_cast<int>(placed.size()))], placed.back());
                break;
            default:
                project->setResolution(QSize(pick(5000), pick(5000)));
                if (!placed.empty())
                    timeline.removeClip(placed[pick(static_cast<int>(placed.size()))]);
                break;
            }
        } catch (const std::invalid_argument &) {
            ++refused;
        }
    }
    ASSERT_GT(refused, 0) << "the edits reach past what a file holds";

    const auto copy = readProjectFile(writeProjectFile(*project));
    EXPECT_EQ(copy->resolution(), project->resolution());
    ASSERT_EQ(copy->timeline().trackCount(), timeline.trackCount());
    for (int t = 0; t < timeline.trackCount(); ++t) {
        ASSERT_EQ(copy->timeline().track(t).clipCount(), timeline.track(t).clipCount());
        for (std::size_t c = 0; c < timeline.track(t).clipCount(); ++c)
            expectSameClip(timeline.track(t).clip(c), copy->timeline().track(t).clip(c));
    }
    EXPECT_EQ(copy->timeline().transitionCount(), timeline.transitionCount());
    EXPECT_EQ(copy->userFiles().count(), project->userFiles().count());
}

INSTANTIATE_TEST_SUITE_P(ProjectFile, RandomEdits, ::testing::Range(1u, 9u));

class ProjectOnDisk : public ::testing::Test {
protected:
    QString path(const char *name) const { return folder.filePath(QString::fromLatin1(name)); }
    void touch(const char *name) const { TestSupport::writeFile(path(name)); }

    QTemporaryDir folder;
};

TEST_F(ProjectOnDisk, missing_media_are_counted_as_lost_and_marked_failed)
{
    touch("clip.mp4");
    auto project = richProject(folder.path());
    save(*project, path("p.edproj"));
    EXPECT_EQ(project->path(), path("p.edproj"));

    const OpenResult opened = open(path("p.edproj"));
    EXPECT_EQ(opened.lostFiles, 2); // still.png and spare.mov were never made
    for (const auto &file : opened.project->mediaFiles()) {
        const bool present = file->path.endsWith("clip.mp4");
        EXPECT_EQ(file->state, present ? Media::File::State::Opened : Media::File::State::Failed)
            << file->path.toStdString();
    }
}

TEST_F(ProjectOnDisk, a_portable_project_moves_with_its_folder)
{
    QDir(folder.path()).mkpath("a/media");
    touch("a/media/clip.mp4");
    touch("a/media/still.png");
    touch("a/media/spare.mov");
    auto project = richProject(path("a/media"));
    project->setPortable(true);
    save(*project, path("a/p.edproj"));
    ASSERT_TRUE(QDir(folder.path()).rename("a", "b"));

    const OpenResult opened = open(path("b/p.edproj"));
    EXPECT_EQ(opened.lostFiles, 0);
    EXPECT_TRUE(opened.project->isPortable());
    EXPECT_EQ(opened.project->timeline().track(0).clip(1).file()->path, path("b/media/clip.mp4"));
}

TEST_F(ProjectOnDisk, a_failed_save_keeps_the_project_where_it_was)
{
    auto project = Object::createNew();
    save(*project, path("p.edproj"));
    EXPECT_THROW(save(*project, path("no/such/folder/p.edproj")), FileError);
    EXPECT_EQ(project->path(), path("p.edproj"));
}

TEST_F(ProjectOnDisk, opening_a_missing_file_names_it)
{
    try {
        open(path("nothing.edproj"));
        FAIL();
    } catch (const FileError &e) {
        EXPECT_NE(std::string(e.what()).find("nothing.edproj"), std::string::npos);
    }
}

// What a user may name as a project to open: refused with the reason, never waited on or read
// without end.
TEST_F(ProjectOnDisk, a_pipe_or_an_endless_device_is_refused_as_a_project)
{
    ASSERT_EQ(::mkfifo(QFile::encodeName(path("pipe.edproj")).constData(), 0644), 0);
    ASSERT_TRUE(QFile::link("/dev/zero", path("zero.edproj")));
    for (const char *name : { "pipe.edproj", "zero.edproj" }) {
        try {
            open(path(name));
            ADD_FAILURE() << name << " opened";
        } catch (const FileError &e) {
            EXPECT_THAT(e.what(), testing::HasSubstr("not a file")) << name;
        }
    }
}

TEST_F(ProjectOnDisk, saving_as_a_link_replaces_the_link_and_leaves_its_target_alone)
{
    TestSupport::writeFile(path("theirs.txt"), "precious");
    ASSERT_TRUE(QFile::link(path("theirs.txt"), path("link.edproj")));
    auto project = Object::createNew();
    save(*project, path("link.edproj"));
    EXPECT_EQ(TestSupport::readFile(path("theirs.txt")), "precious");
    EXPECT_FALSE(QFileInfo(path("link.edproj")).isSymLink());
    EXPECT_NO_THROW(open(path("link.edproj")));
}

TEST_F(ProjectOnDisk, a_save_on_a_full_disk_fails_and_keeps_the_saved_file)
{
    TestSupport::SmallTmpfs disk(64 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    const QString file = disk.filePath("p.edproj");
    auto project = Object::createNew();
    save(*project, file);
    const QByteArray saved = TestSupport::readFile(file);
    disk.fill();
    for (int i = 0; i < 50; ++i)
        project->timeline().addTrack(Timeline::TrackType::Video);
    EXPECT_THROW(save(*project, file), FileError);
    EXPECT_EQ(TestSupport::readFile(file), saved);
}

} // namespace
