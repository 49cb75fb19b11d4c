#include "Messages/editorevents.h"
#include "Messages/project.h"
#include "Messages/statistics.h"

#include "trackedevents.h"

#include "project/project.h"
#include "timeline/videoeffects.h"

#include <gtest/gtest.h>

namespace {

using namespace StatisticsTest;
using namespace Statistics;

class ProjectEvents : public TrackedEvents
{
protected:
    ProjectEvents()
    {
        project = Project::Object::createNew();
        project->setId(77);
        Timeline::Model &timeline = project->timeline();
        const auto a = timeline.insertClip(0, MTime(), videoFile("a.mp4", 61000)).id();
        const auto b = timeline.insertClip(0, MTime::fromMSec(61000), videoFile("b.mp4", 500)).id();
        timeline.track(0).clip(1).addEffect(Effect::Crop{});
        timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Dissolve), a, b);
        project->userFiles().add(videoFile("spare.mp4"));
    }

    // The block every project event ends with, for this project.
    static Params timelineBlock()
    {
        return {{"TIMELINE_DURATION_S", "61"},
                {"TIMELINE_CLIPS_COUNT", "2"},
                {"TIMELINE_TRANSITIONS_COUNT", "1"},
                {"TIMELINE_EFFECTS_COUNT", "1"},
                {"TIMELINE_VIDEO_TRACKS_COUNT", "1"},
                {"TIMELINE_AUDIO_TRACKS_COUNT", "1"},
                {"TIMELINE_TITLES_TRACKS_COUNT", "0"},
                {"TIMELINE_ALL_TRACKS_COUNT", "2"},
                {"USER_COLLECTION_ITEMS_COUNT", "1"}};
    }

    static Params with(Params own)
    {
        own.merge(timelineBlock());
        return own;
    }

    std::unique_ptr<Project::Object> project;
};

TEST_F(ProjectEvents, an_opened_project_reports_its_timeline)
{
    ProjectOpenedNotification opened;
    opened.project = project.get();
    opened.success = true;
    opened.lostFiles = 2;
    opened.portable = true;
    opened.projectId = 77;
    opened.readDuration = MTime::fromMSec(35);
    const auto event = publishOne(opened);
    EXPECT_EQ(event.name, "PROJECT_OPENED");
    EXPECT_EQ(event.params, with({{"SUCCESS", "true"},
                                  {"LOST_FILES", "2"},
                                  {"PORTABLE", "true"},
                                  {"PROJECT_ID", "77"},
                                  {"READ_DURATION_MS", "35"}}));
}

TEST_F(ProjectEvents, a_failed_open_gives_its_reason_and_no_timeline)
{
    ProjectOpenedNotification opened;
    opened.errorReason = QStringLiteral("tracks[0].type: \"hologram\" is not a known value");
    opened.readDuration = MTime::fromMSec(3);
    const auto event = publishOne(opened);
    EXPECT_EQ(event.params, (Params{{"SUCCESS", "false"},
                                    {"LOST_FILES", "0"},
                                    {"ERROR_REASON", "tracks[0].type: \"hologram\" is not a known value"},
                                    {"PORTABLE", "false"},
                                    {"PROJECT_ID", "0"},
                                    {"READ_DURATION_MS", "3"}}));
}

TEST_F(ProjectEvents, a_saved_project_reports_its_timeline)
{
    ProjectSavedNotification saved;
    saved.project = project.get();
    saved.success = true;
    saved.saveDuration = MTime::fromMSec(1234);
    const auto event = publishOne(saved);
    EXPECT_EQ(event.name, "PROJECT_SAVED");
    EXPECT_EQ(event.params, with({{"SUCCESS", "true"}, {"SAVE_DURATION_MS", "1234"}}));

    EXPECT_EQ(publishOne(PortableProjectSavedNotification(77)).params, (Params{{"PROJECT_ID", "77"}}));
}

TEST_F(ProjectEvents, frame_shape_changes)
{
    const auto suggested = publishOne(AdjustProjectAspectSuggestedNotification(true, 16, 9));
    EXPECT_EQ(suggested.name, "ASPECT_DIALOG_SHOW");
    EXPECT_EQ(suggested.params, (Params{{"RESULT", "true"}, {"ASPECT_RATIO", "16:9"}}));

    const auto changed = publishOne(AspectRatioChanged(QSize(1080, 1920)));
    EXPECT_EQ(changed.name, "ASPECT_CHANGED");
    EXPECT_EQ(changed.params, (Params{{"WIDTH_HEIGHT", "1080x1920"}}));
}

TEST_F(ProjectEvents, clip_operations_carry_their_own_name)
{
    const auto event = publishOne(ClipsChangedNotification(QStringLiteral("CLIPS_SPLIT"), 3));
    EXPECT_EQ(event.name, "CLIPS_SPLIT");
    EXPECT_EQ(event.params, (Params{{"CLIPS_IN_SELECTION", "3"}}));
}

TEST_F(ProjectEvents, failed_files_and_codecs)
{
    const auto dialog = publishOne(DeleteFailedFilesEventNotification(true, false));
    EXPECT_EQ(dialog.name, "FAILED_FILES_DIALOG_SHOWN");
    EXPECT_EQ(dialog.params, (Params{{"DELETION_CLIPS_ALLOWED", "true"}, {"CLIPS_DELETED", "false"}}));

    const auto codecs = publishOne(CodecsFailed(QStringLiteral("mkv"), {QStringLiteral("hevc"), QStringLiteral("opus")}));
    EXPECT_EQ(codecs.name, "CODECS_FAILED");
    EXPECT_EQ(codecs.params, (Params{{"EXTENSION", "mkv"},
                                     {"FIRST_CODEC", "hevc"},
                                     {"ALL_CODECS", "hevc,opus"},
                                     {"CODECS_COUNT", "2"}}));

    EXPECT_EQ(publishOne(CodecsFailed(QStringLiteral("avi"), {})).params,
              (Params{{"EXTENSION", "avi"}, {"FIRST_CODEC", ""}, {"ALL_CODECS", ""}, {"CODECS_COUNT", "0"}}));
}

TEST_F(ProjectEvents, input_method_hardware_and_shutdown)
{
    EXPECT_EQ(publishOne(InputMethodChanged(QStringLiteral("pen"))).params, (Params{{"METHOD", "pen"}}));
    const auto disabled = publishOne(IntelMediaTemporaryDisabled());
    EXPECT_EQ(disabled.name, "IM_TEMPORARY_DISABLED");
    EXPECT_TRUE(disabled.params.empty());
    EXPECT_EQ(publishOne(OsShutdownNotification()).name, "OS_SHUTDOWN");
}

struct Navigation
{
    int kind;
    const char *event; // null: nothing is sent
    const char *direction;
};

class PlayerNavigation : public TrackedEvents, public ::testing::WithParamInterface<Navigation>
{};

TEST_P(PlayerNavigation, by_kind)
{
    const auto events = publish(PlayerEventNotification(static_cast<PlayerEventNotification::Kind>(GetParam().kind)));
    if (!GetParam().event) {
        EXPECT_TRUE(events.empty());
        return;
    }
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].name, GetParam().event);
    EXPECT_EQ(events[0].params, (Params{{"DIRECTION", GetParam().direction}}));
}

INSTANTIATE_TEST_SUITE_P(Kinds,
                         PlayerNavigation,
                         ::testing::Values(Navigation{0, "FRAME_NAVIGATION_USED", "PREVIOUS"},
                                           Navigation{1, "FRAME_NAVIGATION_USED", "NEXT"},
                                           Navigation{2, "CLIP_NAVIGATION_USED", "PREVIOUS"},
                                           Navigation{3, "CLIP_NAVIGATION_USED", "NEXT"},
                                           Navigation{4, nullptr, nullptr},
                                           Navigation{-1, nullptr, nullptr}));

} // namespace
