#include "Messages/editorevents.h"
#include "Messages/project.h"
#include "Messages/statistics.h"

#include "trackedevents.h"

#include "project/project.h"
#include "timeline/videoeffects.h"

namespace {

using namespace StatisticsTest;
using namespace Statistics;

// Two clips (61 s and 0.5 s) with one effect and one transition, a spare file, and empty title and
// overlay tracks (an overlay track is no video track).
std::unique_ptr<Project::Object> exampleProject()
{
    auto project = Project::Object::createNew();
    Timeline::Model &timeline = project->timeline();
    timeline.addTrack(Timeline::TrackType::Title);
    timeline.addTrack(Timeline::TrackType::Overlay);
    const auto a = timeline.insertClip(0, MTime(), videoFile("a.mp4", 61000)).id();
    const auto b = timeline.insertClip(0, MTime::fromMSec(61000), videoFile("b.mp4", 500)).id();
    timeline.track(0).clip(1).addEffect(Effect::Crop {});
    timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Dissolve), a, b);
    project->userFiles().add(videoFile("spare.mp4"));
    return project;
}

// The block every project event ends with, for that project.
Params withTimeline(Params own)
{
    own.merge(Params { { "TIMELINE_DURATION_S", "61" },
                       { "TIMELINE_CLIPS_COUNT", "2" },
                       { "TIMELINE_TRANSITIONS_COUNT", "1" },
                       { "TIMELINE_EFFECTS_COUNT", "1" },
                       { "TIMELINE_VIDEO_TRACKS_COUNT", "1" },
                       { "TIMELINE_AUDIO_TRACKS_COUNT", "1" },
                       { "TIMELINE_TITLES_TRACKS_COUNT", "1" },
                       { "TIMELINE_ALL_TRACKS_COUNT", "4" },
                       { "USER_COLLECTION_ITEMS_COUNT", "1" } });
    return own;
}

std::function<void()> navigation(int kind)
{
    return sending(PlayerEventNotification(static_cast<PlayerEventNotification::Kind>(kind)));
}

const EventCase projectCases[] = {
    { "an_opened_project_reports_its_timeline",
      [] {
          const auto project = exampleProject();
          ProjectOpenedNotification opened;
          opened.project = project.get();
          opened.success = true;
          opened.lostFiles = 2;
          opened.portable = true;
          opened.projectId = 77;
          opened.readDuration = MTime::fromMSec(35);
          PubSub::publish(opened);
      },
      { { "PROJECT_OPENED",
          withTimeline({ { "SUCCESS", "true" },
                         { "LOST_FILES", "2" },
                         { "PORTABLE", "true" },
                         { "PROJECT_ID", "77" },
                         { "READ_DURATION_MS", "35" } }) } } },
    { "a_failed_open_gives_its_reason_and_no_timeline",
      [] {
          ProjectOpenedNotification opened;
          opened.errorReason = "tracks[0].type: \"hologram\" is not a known value";
          opened.readDuration = MTime::fromMSec(3);
          PubSub::publish(opened);
      },
      { { "PROJECT_OPENED",
          { { "SUCCESS", "false" },
            { "LOST_FILES", "0" },
            { "ERROR_REASON", "tracks[0].type: \"hologram\" is not a known value" },
            { "PORTABLE", "false" },
            { "PROJECT_ID", "0" },
            { "READ_DURATION_MS", "3" } } } } },
    { "a_saved_project_reports_its_timeline",
      [] {
          const auto project = exampleProject();
          ProjectSavedNotification saved;
          saved.project = project.get();
          saved.success = true;
          saved.saveDuration = MTime::fromMSec(1234);
          PubSub::publish(saved);
      },
      { { "PROJECT_SAVED",
          withTimeline({ { "SUCCESS", "true" }, { "SAVE_DURATION_MS", "1234" } }) } } },
    { "portable_save",
      sending(PortableProjectSavedNotification(77)),
      { { "PORTABLE_PROJECT_SAVED", { { "PROJECT_ID", "77" } } } } },
    { "aspect_suggested",
      sending(AdjustProjectAspectSuggestedNotification(true, 16, 9)),
      { { "ASPECT_DIALOG_SHOW", { { "RESULT", "true" }, { "ASPECT_RATIO", "16:9" } } } } },
    { "aspect_changed",
      sending(AspectRatioChanged(QSize(1080, 1920))),
      { { "ASPECT_CHANGED", { { "WIDTH_HEIGHT", "1080x1920" } } } } },
    { "clip_operations_carry_their_own_name",
      sending(ClipsChangedNotification("CLIPS_SPLIT", 3)),
      { { "CLIPS_SPLIT", { { "CLIPS_IN_SELECTION", "3" } } } } },
    { "failed_files_dialog",
      sending(DeleteFailedFilesEventNotification(true, false)),
      { { "FAILED_FILES_DIALOG_SHOWN",
          { { "DELETION_CLIPS_ALLOWED", "true" }, { "CLIPS_DELETED", "false" } } } } },
    { "failed_codecs",
      sending(CodecsFailed("mkv", { "hevc", "opus" })),
      { { "CODECS_FAILED",
          { { "EXTENSION", "mkv" },
            { "FIRST_CODEC", "hevc" },
            { "ALL_CODECS", "hevc,opus" },
            { "CODECS_COUNT", "2" } } } } },
    { "failed_without_codecs",
      sending(CodecsFailed("avi", {})),
      { { "CODECS_FAILED",
          { { "EXTENSION", "avi" },
            { "FIRST_CODEC", "" },
            { "ALL_CODECS", "" },
            { "CODECS_COUNT", "0" } } } } },
    { "input_method",
      sending(InputMethodChanged("pen")),
      { { "INPUT_METHOD_CHANGED", { { "METHOD", "pen" } } } } },
    { "hardware_decoding_disabled",
      sending(IntelMediaTemporaryDisabled()),
      { { "IM_TEMPORARY_DISABLED", {} } } },
    { "shutdown", sending(OsShutdownNotification()), { { "OS_SHUTDOWN", {} } } },
    { "previous_frame",
      navigation(0),
      { { "FRAME_NAVIGATION_USED", { { "DIRECTION", "PREVIOUS" } } } } },
    { "next_clip", navigation(3), { { "CLIP_NAVIGATION_USED", { { "DIRECTION", "NEXT" } } } } },
    { "other_player_events_send_nothing", navigation(4), {} },
};

INSTANTIATE_TEST_SUITE_P(Project,
                         StatisticsEvents,
                         ::testing::ValuesIn(projectCases),
                         TestSupport::tableRowName);

} // namespace
