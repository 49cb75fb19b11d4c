#include "Messages/filmmaker.h"

#include "trackedevents.h"

namespace {

using namespace StatisticsTest;
using namespace Statistics;
using Way = FileAddedInFilmMakerNotification::Way;

// The wizard's edit, 90 s: two cuts of one video, two photos, one song.
std::unique_ptr<Timeline::Model> wizardEdit()
{
    auto edit = std::make_unique<Timeline::Model>();
    edit->addTrack(Timeline::TrackType::Video);
    edit->addTrack(Timeline::TrackType::Audio);
    const auto movie = videoFile("movie.mp4", 30000);
    edit->insertClip(0, MTime(), movie);
    edit->insertClip(0, MTime::fromMSec(30000), movie);
    edit->insertClip(0, MTime::fromMSec(60000), photoFile("a.jpg"));
    edit->insertClip(0, MTime::fromMSec(65000), photoFile("b.jpg"));
    edit->insertClip(1, MTime(), soundFile("song.mp3", 90000));
    return edit;
}

void finishExport()
{
    const auto edit = wizardEdit();
    FilmMakerFinished finished(FilmMakerFinished::Action::ExportVideo, edit.get());
    finished.photoDuration = MTime::fromMSec(5000);
    finished.fitToMusic = true;
    finished.background = FilmMakerFinished::Background::FillBlackBars;
    finished.backgroundName = "Blur";
    finished.theme = "Summer";
    finished.titleOutroChanged = true;
    PubSub::publish(finished);
}

// 45 s of one video: no photos, so no photo duration whatever the wizard held.
void shareWithoutPhotos()
{
    Timeline::Model videoOnly;
    videoOnly.addTrack(Timeline::TrackType::Video);
    videoOnly.insertClip(0, MTime(), videoFile("v.mp4", 45000));
    FilmMakerFinished finished(FilmMakerFinished::Action::ShareVideo, &videoOnly);
    finished.photoDuration = MTime::fromMSec(5000);
    finished.background = static_cast<FilmMakerFinished::Background>(9);
    PubSub::publish(finished);
}

const EventCase wizardCases[] = {
    { "import_counts_distinct_videos_and_photos",
      [] {
          const auto edit = wizardEdit();
          PubSub::publish(
              FilmMakerImportPageDone(edit.get(), FilmMakerImportPageDone::SortOrder::Date));
      },
      { { "WU_IMPORT_DONE",
          { { "VIDEO_ADDED", "1" }, { "PHOTO_ADDED", "2" }, { "SORTED_BY", "DATE" } } } } },
    { "import_without_an_edit_or_a_known_order",
      sending(FilmMakerImportPageDone(nullptr, static_cast<FilmMakerImportPageDone::SortOrder>(4))),
      { { "WU_IMPORT_DONE", { { "SORTED_BY", "" } } } } },
    { "files_dropped",
      sending(FileAddedInFilmMakerNotification(Way::FilesDropped)),
      { { "WU_FILES_DRAG_AND_DROP_ADDED_CLICKED", {} } } },
    { "sample_music_names_its_category_and_title",
      sending(FileAddedInFilmMakerNotification(Way::SampleMusicChosen, "Calm", "Morning")),
      { { "WU_SAMPLE_MUSIC_ADDED",
          { { "CATEGORY_NAME", "Calm" }, { "MUSIC_NAME", "Morning" } } } } },
    { "files_added_an_unknown_way_send_nothing",
      sending(FileAddedInFilmMakerNotification(static_cast<Way>(4))),
      {} },
    { "theme_download_carries_the_theme",
      sending(
          FilmMakerThemeStatusChanged("Summer", FilmMakerThemeStatusChanged::Status::Downloading)),
      { { "WU_THEME_DOWNLOAD", { { "THEME_NAME", "Summer" } } } } },
    { "an_unknown_theme_status_sends_nothing",
      sending(FilmMakerThemeStatusChanged("Summer",
                                          static_cast<FilmMakerThemeStatusChanged::Status>(4))),
      {} },
    { "theme_page",
      sending(FilmMakerThemePageDone("Travel")),
      { { "WU_THEME_DONE", { { "THEME_NAME", "Travel" } } } } },
    { "music_page",
      sending(FilmMakerAudioPageDone(2)),
      { { "WU_MUSIC_DONE", { { "MUSIC_COUNT", "2" } } } } },
    { "the_result_describes_the_finished_edit",
      finishExport,
      { { "WU_EXPORT_VIDEO",
          { { "VIDEOFILES_COUNT", "1" },
            { "AUDIOFILES_COUNT", "1" },
            { "PHOTOFILES_COUNT", "2" },
            { "PROJECT_DURATION", "1.5" },
            { "PHOTO_DURATION", "5" },
            { "FIT_TO_MUSIC_CHECKED", "true" },
            { "BACKGROUND", "FILL_BLACK_BARS" },
            { "BACKGROUND_NAME", "Blur" },
            { "THEME_NAME", "Summer" },
            { "TITLE_INTRO_CHANGE", "false" },
            { "TITLE_OUTRO_CHANGE", "true" } } } } },
    { "an_edit_without_photos_has_no_photo_duration",
      shareWithoutPhotos,
      { { "WU_SHARE_VIDEO",
          { { "VIDEOFILES_COUNT", "1" },
            { "AUDIOFILES_COUNT", "0" },
            { "PHOTOFILES_COUNT", "0" },
            { "PROJECT_DURATION", "0.75" },
            { "PHOTO_DURATION", "NONE" },
            { "FIT_TO_MUSIC_CHECKED", "false" },
            { "BACKGROUND", "UNKNOWN" },
            { "BACKGROUND_NAME", "" },
            { "THEME_NAME", "" },
            { "TITLE_INTRO_CHANGE", "false" },
            { "TITLE_OUTRO_CHANGE", "false" } } } } },
    { "a_result_without_an_edit_leaves_the_edit_out",
      sending(FilmMakerFinished(FilmMakerFinished::Action::AdvancedEdit, nullptr)),
      { { "WU_ADVANCED_EDIT",
          { { "FIT_TO_MUSIC_CHECKED", "false" },
            { "BACKGROUND", "NONE" },
            { "BACKGROUND_NAME", "" },
            { "THEME_NAME", "" },
            { "TITLE_INTRO_CHANGE", "false" },
            { "TITLE_OUTRO_CHANGE", "false" } } } } },
    { "leaving_without_a_video_sends_nothing",
      sending(FilmMakerFinished(static_cast<FilmMakerFinished::Action>(1), nullptr)),
      {} },
};

INSTANTIATE_TEST_SUITE_P(Wizard,
                         StatisticsEvents,
                         ::testing::ValuesIn(wizardCases),
                         TestSupport::tableRowName);

} // namespace
