#include "intakeharness.h"
#include "mediasamples.h"
#include "testfiles.h"

#include "timeline/transition.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sstream>

#include <unistd.h>

namespace {

using FileAdder::AddedResult;
using FileAdder::Asrc;
using TestSupport::readFile;
using TestSupport::samplePath;

class FileAdderTest : public ::testing::Test {
protected:
    QString write(const QString &name, const QByteArray &bytes)
    {
        return TestSupport::writeFile(dir.filePath(name), bytes);
    }
    FileAdder::Contexts contexts(bool timeline, bool collection, Transition::Object *transition)
    {
        FileAdder::Contexts c = timeline ? h.timelineContext() : FileAdder::Contexts();
        if (collection)
            c.collection = FileAdder::CollectionContext {};
        if (transition)
            c.transition = FileAdder::TransitionContext { transition };
        return c;
    }
    const FileAdder::AddMediaFilesResult &onlyResult()
    {
        EXPECT_EQ(h.recorder.results.size(), 1u);
        return h.recorder.results.back();
    }

    QTemporaryDir dir;
    TestSupport::IntakeHarness h;
};

TEST_F(FileAdderTest, an_empty_request_ends_with_one_empty_result)
{
    h.add({}, Asrc::ImportButton, h.timelineContext());
    EXPECT_EQ(onlyResult().result, AddedResult::Done);
    EXPECT_TRUE(onlyResult().files.isEmpty());
    EXPECT_TRUE(h.app->analysis().objects().empty());
}

TEST_F(FileAdderTest, one_project_alone_is_opened)
{
    h.add({ "/films/summer.edproj" }, Asrc::MainMenu, h.timelineContext());
    EXPECT_EQ(h.recorder.openedProjects, QStringList { "/films/summer.edproj" });
    EXPECT_EQ(onlyResult().result, AddedResult::Done);
    EXPECT_TRUE(onlyResult().files.isEmpty());
    EXPECT_EQ(h.dialogs->shown.size(), 0u);
}

TEST_F(FileAdderTest, two_projects_alone_open_none_and_say_so)
{
    for (bool answer : { true, false }) {
        h.recorder.results.clear();
        h.dialogs->shown.clear();
        h.dialogs->answers = { answer };
        h.add({ "/a.edproj", "/b.EDPROJ" }, Asrc::ImportButton, {});
        ASSERT_EQ(h.dialogs->shown.size(), 1u);
        EXPECT_EQ(h.dialogs->shown[0].title, "Open Project");
        EXPECT_EQ(h.dialogs->shown[0].text, "You can only open one project at a time.");
        EXPECT_EQ(onlyResult().result, answer ? AddedResult::Declined : AddedResult::Done);
        EXPECT_TRUE(onlyResult().files.isEmpty());
    }
    EXPECT_TRUE(h.recorder.openedProjects.isEmpty());
}

TEST_F(FileAdderTest, a_project_with_media_asks_and_adds_the_media_only_on_consent)
{
    const QString clip = samplePath("tone.wav");
    h.dialogs->answers = { false, true };
    for (bool consent : { false, true }) {
        h.recorder.results.clear();
        h.add({ "/films/summer.edproj", clip }, Asrc::ImportButton, h.timelineContext());
        EXPECT_EQ(onlyResult().result, consent ? AddedResult::Done : AddedResult::Declined);
        EXPECT_EQ(onlyResult().files, consent ? QStringList { clip } : QStringList());
        EXPECT_EQ(h.app->analysis().objects().size(), consent ? 1u : 0u);
        EXPECT_EQ(h.eventCount("FILE_ADDED"), consent ? 1 : 0);
    }
    ASSERT_EQ(h.dialogs->questionCount(), 2);
    EXPECT_EQ(h.dialogs->shown[0].text,
              "Only media files will be opened. If you want to open the "
              "project, select it individually.");
    EXPECT_TRUE(h.recorder.openedProjects.isEmpty());
    ASSERT_TRUE(h.waitIdle());
    EXPECT_EQ(h.soundPaths(), std::vector<QString> { clip });
}

TEST_F(FileAdderTest, packages_go_to_the_installer_and_files_of_other_kinds_reach_no_list)
{
    const QString clip = samplePath("tone.flac");
    h.add({ "/dl/Titles.edpack", "/x/notes.txt", "/x/film.edproj.bak", "/x/noextension",
            "/x/subtitles.srt", "/x/folder/", clip },
          Asrc::ImportButton, h.timelineContext());
    EXPECT_EQ(h.recorder.packages, QStringList { "/dl/Titles.edpack" });
    EXPECT_EQ(onlyResult().result, AddedResult::Done);
    EXPECT_EQ(onlyResult().files, QStringList { clip });
    EXPECT_TRUE(h.recorder.openedProjects.isEmpty());
    EXPECT_EQ(h.dialogs->shown.size(), 0u) << "a package is no project: nothing to ask";
    ASSERT_TRUE(h.waitIdle());
}

TEST_F(FileAdderTest, without_any_context_files_are_analysed_but_neither_placed_nor_reported)
{
    h.add({ samplePath("tone.mp3") }, Asrc::ImportButton, {});
    ASSERT_EQ(h.app->analysis().objects().size(), 1u);
    EXPECT_FALSE(h.app->analysis().objects().front()->destinations());
    ASSERT_TRUE(h.waitIdle());
    EXPECT_EQ(h.eventCount("FILE_ADDED"), 0);
    EXPECT_EQ(h.eventCount("FILE_OPENED"), 0);
    EXPECT_TRUE(h.timelinePaths().empty());
    EXPECT_EQ(onlyResult().files.size(), 1);
}

// A row's name: the source and where the files were meant to go.
std::string destinationName(int source, bool timeline, bool collection, bool transition)
{
    return "source_" + (source < 0 ? "minus_" + std::to_string(-source) : std::to_string(source))
        + (timeline ? "_timeline" : "") + (collection ? "_collection" : "")
        + (transition ? "_transition" : "");
}

template<class Case> std::string caseName(const ::testing::TestParamInfo<Case> &info)
{
    std::ostringstream name;
    PrintTo(info.param, &name);
    return name.str();
}

struct MethodCase {
    int source;
    bool timeline;
    bool collection;
    bool transition;
    const char *method; // nullptr: a logo, reported as LOGO_FILE_ADDED
};

void PrintTo(const MethodCase &c, std::ostream *os)
{
    *os << destinationName(c.source, c.timeline, c.collection, c.transition);
}

class AddingMethods
    : public FileAdderTest
    , public ::testing::WithParamInterface<MethodCase> { };

TEST_P(AddingMethods, each_source_reports_its_adding_method)
{
    const MethodCase &c = GetParam();
    Transition::Object transition(Transition::Id::Dissolve);
    h.add({ samplePath("tone.wav"), samplePath("still.png") }, static_cast<Asrc>(c.source),
          contexts(c.timeline, c.collection, c.transition ? &transition : nullptr));
    if (c.method) {
        ASSERT_EQ(h.eventCount("FILE_ADDED"), 2);
        EXPECT_EQ(h.sink->events[0].params.at("ADDING_METHOD"), c.method);
        EXPECT_EQ(h.sink->events[0].params.at("FILES_COUNT"), "2");
        EXPECT_EQ(h.sink->events[1].params.at("FILE_EXTENSION"), "png");
    } else {
        EXPECT_EQ(h.eventCount("FILE_ADDED"), 0);
        EXPECT_EQ(h.eventCount("LOGO_FILE_ADDED"), 2);
    }
    ASSERT_TRUE(h.waitIdle());
}

INSTANTIATE_TEST_SUITE_P(
    Sources,
    AddingMethods,
    ::testing::Values(MethodCase { 0, true, false, false, "import_button" },
                      MethodCase { 1, false, true, false, "collection_button" },
                      MethodCase { 2, false, true, false, "collection_context_menu" },
                      MethodCase { 3, true, false, false, "plus_btn_files" },
                      MethodCase { 4, true, false, false, "plus_btn_music" },
                      MethodCase { 5, true, true, false, "main_import_button" },
                      MethodCase { 6, true, false, false, "main_menu" },
                      MethodCase { 7, true, false, false, "timeline_import_button" },
                      MethodCase { 8, false, true, false, "import_folders" },
                      MethodCase { 9, true, false, false, "drag_and_drop_timeline" },
                      MethodCase { 9, false, true, false, "drag_and_drop_collection" },
                      MethodCase { 9, true, true, false, "drag_and_drop_timeline_collection" },
                      MethodCase { 11, false, false, true, "drag_and_drop_timeline_collection" },
                      MethodCase { 11, true, false, false, "drag_and_drop_timeline" },
                      MethodCase { 10, true, false, false, "drag_and_drop_collection_to_timeline" },
                      MethodCase { 12, true, false, false, "intro_clip_drag_and_drop" },
                      MethodCase { 13, true, false, false, "intro_clip_drag_and_drop" },
                      MethodCase { 14, false, true, false, "audio_rec" },
                      MethodCase { 15, false, true, false, nullptr },
                      MethodCase { 16, false, true, false, "external" },
                      MethodCase { 17, true, false, false, nullptr },
                      MethodCase { 18, false, false, true, "transition_settings" },
                      MethodCase { 19, true, false, false, "drag_and_drop_collection" },
                      MethodCase { -3, true, false, false, "drag_and_drop_collection" }),
    caseName<MethodCase>);

struct FlagCase {
    int source;
    bool timeline;
    bool transition;
    bool flag;
};

void PrintTo(const FlagCase &c, std::ostream *os)
{
    *os << destinationName(c.source, c.timeline, true, c.transition);
}

class CollectionFlag
    : public FileAdderTest
    , public ::testing::WithParamInterface<FlagCase> { };

TEST_P(CollectionFlag, the_collection_is_told_whether_the_files_came_for_it)
{
    const FlagCase &c = GetParam();
    Transition::Object transition(Transition::Id::Fade);
    h.add({ samplePath("tone.wav") }, static_cast<Asrc>(c.source),
          contexts(c.timeline, true, c.transition ? &transition : nullptr));
    ASSERT_TRUE(h.waitIdle());
    ASSERT_EQ(h.recorder.collectionRequests.size(), 1u);
    EXPECT_EQ(h.recorder.collectionRequests[0].flag, c.flag);
    ASSERT_EQ(h.recorder.collectionRequests[0].files.size(), 1u);
    EXPECT_TRUE(h.recorder.collectionRequests[0].files[0]->isOpened());
    EXPECT_EQ(h.recorder.collectionRequests[0].sender(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Sources,
                         CollectionFlag,
                         ::testing::Values(FlagCase { 0, true, false, false },
                                           FlagCase { 15, true, false, true },
                                           FlagCase { 16, true, false, true },
                                           FlagCase { 17, true, false, false },
                                           FlagCase { 1, false, false, true },
                                           FlagCase { 18, false, true, false },
                                           FlagCase { 16, false, true, true },
                                           FlagCase { 15, true, true, true }),
                         caseName<FlagCase>);

// Among them every kind of path that is not media (any more), so nothing may wait on one.
TEST_F(FileAdderTest, opened_files_go_on_the_timeline_in_order_and_failed_ones_are_only_reported)
{
    h.dialogs->fallback = false;
    QStringList bad;
    for (const TestSupport::BadPath &path : TestSupport::makeBadMediaPaths(dir.path()))
        bad << path.path;
    const QStringList good { samplePath("h264_aac.mp4"), samplePath("still.jpg"),
                             samplePath("tone.mp3") };
    const QStringList files = QStringList { good[0] } + bad + QStringList { good[1], good[2] };
    h.add(files, Asrc::TimelineImportButton, h.timelineContext(0, MTime::fromMSec(2000)));
    EXPECT_EQ(onlyResult().files, files);
    ASSERT_TRUE(h.waitIdle());

    EXPECT_EQ(h.timelinePaths(), (std::vector<QString> { good[0], good[1] }));
    EXPECT_EQ(h.soundPaths(), std::vector<QString> { good[2] }) << "sound alone on a sound track";
    const Timeline::ITimeline &timeline = h.project()->timeline();
    EXPECT_EQ(timeline.track(0).clip(0).position(), MTime::fromMSec(2000));
    EXPECT_EQ(timeline.track(0).clip(1).position(), timeline.track(0).clip(0).end())
        << "one after another";
    EXPECT_EQ(timeline.track(timeline.trackCount() - 1).clip(0).position(), MTime::fromMSec(2000));
    EXPECT_EQ(h.eventCount("FILE_ADDED"), files.size());
    EXPECT_EQ(h.eventCount("FILE_OPENED"), 3);
    EXPECT_EQ(h.eventCount("FILE_FAILED"), bad.size())
        << "each failed file is told once, though never placed";
    ASSERT_EQ(h.dialogs->shown.size(), 1u) << "the user hears about every failure in one dialog";
    for (const QString &path : bad)
        EXPECT_TRUE(h.dialogs->shown[0].details.contains(QFileInfo(path).fileName()))
            << path.toStdString();
    EXPECT_EQ(h.dialogs->questionCount(), 0) << "no clip of a failed file to offer for removal";
    EXPECT_EQ(h.storageService->files().size(), static_cast<std::size_t>(files.size()))
        << "every path went to the storage";
}

TEST_F(FileAdderTest, a_file_added_again_reports_its_analysis_only_the_first_time)
{
    h.dialogs->fallback = false;
    const QString broken = write("broken clip.mp4", QByteArray(4096, 'z'));
    for (int round = 0; round < 2; ++round) {
        h.add({ samplePath("tone.flac"), broken }, Asrc::ImportButton, h.timelineContext());
        ASSERT_TRUE(h.waitIdle());
    }
    EXPECT_EQ(h.soundPaths(),
              (std::vector<QString> { samplePath("tone.flac"), samplePath("tone.flac") }));
    EXPECT_EQ(h.eventCount("FILE_ADDED"), 4);
    EXPECT_EQ(h.eventCount("FILE_OPENED"), 1);
    EXPECT_EQ(h.eventCount("FILE_FAILED"), 1);
    ASSERT_NE(h.sink->last("FILE_FAILED"), nullptr);
    EXPECT_EQ(h.sink->last("FILE_FAILED")->params.at("FILE_EXTENSION"), "mp4");
}

struct BrokenCase {
    bool remove;
    std::size_t clipsLeft;
    int failedEvents; // a kept clip makes the broken file's return its second use: no report
};

void PrintTo(const BrokenCase &c, std::ostream *os)
{
    *os << (c.remove ? "remove" : "keep");
}

class BrokenSinceAdded
    : public FileAdderTest
    , public ::testing::WithParamInterface<BrokenCase> { };

TEST_P(BrokenSinceAdded, its_clips_are_offered_for_removal)
{
    const BrokenCase &r = GetParam();
    const QString clip = write("interview.mp4", readFile(samplePath("h264_aac.mp4")));
    h.add({ clip }, Asrc::ImportButton, h.timelineContext());
    ASSERT_TRUE(h.waitIdle());
    ASSERT_EQ(h.timelinePaths().size(), 1u);

    // The copy on disk is damaged; bringing the file in again finds it broken.
    write("interview.mp4", "damaged");
    h.dialogs->answers = { r.remove };
    h.add({ clip }, Asrc::ImportButton, h.timelineContext(0, MTime::fromMSec(60000)));
    ASSERT_TRUE(h.waitIdle());

    EXPECT_EQ(h.dialogs->questionCount(), 1);
    EXPECT_EQ(h.timelinePaths().size(), r.clipsLeft);
    EXPECT_EQ(h.eventCount("FILE_FAILED"), r.failedEvents);
    const auto *dialog = h.sink->last("FAILED_FILES_DIALOG_SHOWN");
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->params.at("DELETION_CLIPS_ALLOWED"), "true");
    EXPECT_EQ(dialog->params.at("CLIPS_DELETED"), r.remove ? "true" : "false");
}

INSTANTIATE_TEST_SUITE_P(Answers,
                         BrokenSinceAdded,
                         ::testing::Values(BrokenCase { false, 1, 0 }, BrokenCase { true, 0, 1 }),
                         caseName<BrokenCase>);

TEST_F(FileAdderTest, names_with_spaces_non_ascii_and_bad_bytes_each_end_as_opened_or_failed)
{
    const QByteArray wav = readFile(samplePath("tone.wav"));
    const QString spaced = write("my voice over.wav", wav);
    const QString accented = write("voix off – été 東京.wav", wav);
    // A name that is not UTF-8 at all: the toolkit cannot name it faithfully.
    const QByteArray raw = QFile::encodeName(dir.path()) + "/caf\xe9 \xff.wav";
    const QString badBytes = TestSupport::writeFileWithRawName(raw, wav);

    h.add({ spaced, accented, badBytes }, Asrc::ImportFolders, h.timelineContext(1));
    ASSERT_EQ(onlyResult().files.size(), 3);
    ASSERT_TRUE(h.waitIdle());
    EXPECT_EQ(h.timelinePaths(1), (std::vector<QString> { spaced, accented }));
    ASSERT_GE(h.dialogs->shown.size(), 1u);
    EXPECT_TRUE(h.dialogs->shown[0].details.contains("UTF-8"))
        << h.dialogs->shown[0].details.toStdString();
    ::unlink(raw.constData());
}

TEST_F(FileAdderTest, ten_thousand_paths_end_with_one_result_and_every_file_accounted_for)
{
    QStringList files;
    for (int i = 0; i < 10000; ++i) {
        if (i % 1000 == 0)
            files << samplePath(i % 2000 == 0 ? "tone.wav" : "still.png");
        else
            files << dir.filePath(QStringLiteral("gone/take %1.mp4").arg(i));
    }
    h.add(files, Asrc::ImportFolders, h.timelineContext());
    ASSERT_EQ(onlyResult().files.size(), 10000);
    ASSERT_TRUE(h.waitIdle());
    EXPECT_EQ(h.timelinePaths().size() + h.soundPaths().size(), 10u);
    EXPECT_EQ(h.eventCount("FILE_ADDED"), 10000);
    EXPECT_EQ(h.eventCount("FILE_OPENED"), 2)
        << "the same two files five times each: first use only";
    // The analysis told of every file: the progress went all the way.
    ASSERT_EQ(h.progress->records.size(), 1u);
    EXPECT_EQ(h.progress->records[0].maximum, 10000);
    EXPECT_EQ(h.progress->records[0].texts.back(), "Analysing file 10000 of 10000. Please Wait.");
    EXPECT_FALSE(h.progress->records[0].open);
    ASSERT_GE(h.dialogs->shown.size(), 1u);
    EXPECT_TRUE(h.dialogs->shown[0].text.contains("9990"));
}

TEST_F(FileAdderTest, transitions_take_only_the_analysed_files_their_filter_accepts)
{
    using Transition::ResourceType;
    const auto old = std::make_shared<Media::File>(samplePath("still.jpg"));
    Transition::Object dissolve(Transition::Id::Dissolve);
    dissolve.addResource({ ResourceType::Image, old, QString() });
    dissolve.addResource({ ResourceType::Shader, nullptr, "ripple" });
    Transition::Object shader(Transition::Id::ShaderISF);
    shader.addResource({ ResourceType::Shader, nullptr, "ripple" });
    Transition::Object allFailed(Transition::Id::Fade);
    allFailed.addResource({ ResourceType::Image, old, QString() });
    const QStringList media { samplePath("still.png"), samplePath("tone.wav"),
                              samplePath("video_only.mp4") };
    for (Transition::Object *t : { &dissolve, &shader, &allFailed }) {
        FileAdder::Contexts contexts;
        contexts.transition = FileAdder::TransitionContext { t };
        h.add(t == &allFailed ? QStringList { dir.filePath("gone.png") } : media,
              Asrc::TransitionSettings, contexts);
        EXPECT_EQ(h.app->analysis().objects().back()->destinations(),
                  FileAnalyzer::Destinations(FileAnalyzer::Destination::Timeline));
        ASSERT_TRUE(h.waitIdle());
    }
    ASSERT_EQ(dissolve.resources().size(), 3u) << "the old resources gave way to the files";
    EXPECT_EQ(dissolve.resources()[0].file->path, media[0]);
    EXPECT_EQ(dissolve.resources()[1].type, ResourceType::Audio);
    EXPECT_EQ(dissolve.resources()[2].type, ResourceType::Video);
    EXPECT_TRUE(shader.resources().empty()) << "a shader transition's filter takes no media";
    ASSERT_EQ(allFailed.resources().size(), 1u) << "no file opened: the media stay";
    EXPECT_EQ(allFailed.resources()[0].file, old);
    EXPECT_TRUE(h.timelinePaths().empty());
}

TEST_F(FileAdderTest, a_cancelled_request_places_nothing_and_reports_no_opened_file)
{
    QStringList many;
    for (int i = 0; i < 30; ++i)
        many << samplePath(i % 2 ? "hevc.mkv" : "h264_aac.mp4");
    h.add(many, Asrc::ImportButton, h.timelineContext());
    ASSERT_TRUE(TestSupport::waitUntil([&] { return h.progress->current != nullptr; }));
    EXPECT_TRUE(h.progress->pressCancel());
    ASSERT_TRUE(h.waitIdle());
    EXPECT_TRUE(h.timelinePaths().empty());
    EXPECT_EQ(h.eventCount("FILE_OPENED"), 0);
    EXPECT_EQ(h.eventCount("FILE_ADDED"), many.size()) << "the adding itself was reported";
}

TEST_F(FileAdderTest, the_analysis_request_carries_where_the_files_go)
{
    using FileAnalyzer::Destination;
    const std::pair<FileAdder::Contexts, FileAnalyzer::Destinations> cases[] = {
        { contexts(true, false, nullptr), Destination::Timeline },
        { contexts(false, true, nullptr), Destination::Collection },
        { contexts(true, true, nullptr), Destination::Timeline | Destination::Collection },
    };
    for (const auto &[where, destinations] : cases) {
        h.add({ samplePath("tone.wav") }, Asrc::ImportButton, where);
        EXPECT_EQ(h.app->analysis().objects().back()->destinations(), destinations);
        ASSERT_TRUE(h.waitIdle());
    }
}

// The editor may remove a clip (and its transitions) or open another project meanwhile.
TEST_F(FileAdderTest, what_a_request_pointed_at_may_be_gone_when_its_files_are_ready)
{
    Timeline::Model &timeline = h.project()->timeline();
    const auto picture = std::make_shared<Media::File>(samplePath("still.jpg"));
    const Timeline::ClipId left = timeline.insertClip(0, MTime(), picture).id();
    const Timeline::ClipId right = timeline.insertClip(0, MTime::fromMSec(5000), picture).id();
    FileAdder::Contexts contexts;
    contexts.transition = FileAdder::TransitionContext { &timeline.addTransition(
        std::make_unique<Transition::Object>(Transition::Id::Dissolve), left, right) };
    h.add({ samplePath("tone.wav") }, Asrc::TransitionSettings, contexts);
    timeline.removeClip(left);
    h.add({ samplePath("tone.flac") }, Asrc::ImportButton, h.timelineContext());
    h.app->setProject(Project::Object::createNew());
    ASSERT_TRUE(h.waitIdle());
    EXPECT_TRUE(h.timelinePaths().empty());
}

TEST_F(FileAdderTest, a_request_someone_else_removed_places_nothing_later)
{
    // Freed requests make room for new ones, often at the same place in memory.
    for (int round = 0; round < 3; ++round) {
        h.add({ samplePath("tone.wav") }, Asrc::ImportButton, h.timelineContext());
        FileAnalyzer::requestRemove(h.app->analysis().objects().back());
    }
    h.add({ samplePath("tone.flac") }, Asrc::ImportButton, h.timelineContext());
    ASSERT_TRUE(h.waitIdle());
    EXPECT_EQ(h.soundPaths(), std::vector<QString> { samplePath("tone.flac") });
}

} // namespace
