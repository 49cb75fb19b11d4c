#include "Messages/filmmaker.h"

#include "trackedevents.h"

#include <gtest/gtest.h>

namespace {

using namespace StatisticsTest;
using namespace Statistics;

// The wizard's edit: two cuts of one video, two photos, one song.
class WizardEvents : public TrackedEvents
{
protected:
    WizardEvents()
    {
        edit.addTrack(Timeline::TrackType::Video);
        edit.addTrack(Timeline::TrackType::Audio);
        const auto movie = videoFile("movie.mp4", 30000);
        edit.insertClip(0, MTime(), movie);
        edit.insertClip(0, MTime::fromMSec(30000), movie);
        edit.insertClip(0, MTime::fromMSec(60000), photoFile("a.jpg"));
        edit.insertClip(0, MTime::fromMSec(65000), photoFile("b.jpg"));
        edit.insertClip(1, MTime(), soundFile("song.mp3", 90000));
    }
    Timeline::Model edit;
};

TEST_F(WizardEvents, import_counts_distinct_videos_and_photos)
{
    const auto event = publishOne(FilmMakerImportPageDone(&edit, FilmMakerImportPageDone::SortOrder::Date));
    EXPECT_EQ(event.name, "WU_IMPORT_DONE");
    EXPECT_EQ(event.params, (Params{{"VIDEO_ADDED", "1"}, {"PHOTO_ADDED", "2"}, {"SORTED_BY", "DATE"}}));
}

struct Word
{
    int value;
    const char *word;
};

class WizardSortOrders : public TrackedEvents, public ::testing::WithParamInterface<Word>
{};

TEST_P(WizardSortOrders, are_words_or_empty)
{
    const auto event = publishOne(
        FilmMakerImportPageDone(nullptr, static_cast<FilmMakerImportPageDone::SortOrder>(GetParam().value)));
    EXPECT_EQ(event.params, (Params{{"VIDEO_ADDED", "0"}, {"PHOTO_ADDED", "0"}, {"SORTED_BY", GetParam().word}}));
}

INSTANTIATE_TEST_SUITE_P(Vocabulary,
                         WizardSortOrders,
                         ::testing::Values(Word{0, "NONE"}, Word{1, "NAME"}, Word{2, "DATE"}, Word{3, "SHUFFLE"},
                                           Word{4, ""}));

// Events whose name the value chooses; a null word: nothing is sent.
class WizardFileAdds : public TrackedEvents, public ::testing::WithParamInterface<Word>
{};

TEST_P(WizardFileAdds, name_the_way_files_came_in)
{
    using N = FileAddedInFilmMakerNotification;
    const auto events = publish(N(static_cast<N::Way>(GetParam().value)));
    if (!GetParam().word) {
        EXPECT_TRUE(events.empty());
        return;
    }
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].name, GetParam().word);
}

INSTANTIATE_TEST_SUITE_P(Vocabulary,
                         WizardFileAdds,
                         ::testing::Values(Word{0, "WU_FILES_DRAG_AND_DROP_ADDED_CLICKED"},
                                           Word{1, "WU_MUSIC_DRAG_AND_DROP_ADDED_CLICKED"},
                                           Word{2, "WU_MUSIC_WINDOW_CLICKED"}, Word{3, "WU_SAMPLE_MUSIC_ADDED"},
                                           Word{4, nullptr}));

class WizardThemeStatus : public TrackedEvents, public ::testing::WithParamInterface<Word>
{};

TEST_P(WizardThemeStatus, names_the_event_and_carries_the_theme)
{
    using N = FilmMakerThemeStatusChanged;
    const auto events = publish(N(QStringLiteral("Summer"), static_cast<N::Status>(GetParam().value)));
    if (!GetParam().word) {
        EXPECT_TRUE(events.empty());
        return;
    }
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].name, GetParam().word);
    EXPECT_EQ(events[0].params, (Params{{"THEME_NAME", "Summer"}}));
}

INSTANTIATE_TEST_SUITE_P(Vocabulary,
                         WizardThemeStatus,
                         ::testing::Values(Word{0, "WU_THEME_CLICKED"}, Word{1, "WU_THEME_DOWNLOAD"},
                                           Word{2, "WU_THEME_DOWNLOAD_STOPPED"}, Word{3, "WU_THEME_DOWNLOAD_FAILED"},
                                           Word{4, nullptr}));

class WizardResults : public TrackedEvents, public ::testing::WithParamInterface<Word>
{};

TEST_P(WizardResults, only_the_three_ways_out_with_a_video_are_reported)
{
    using N = FilmMakerFinished;
    const auto events = publish(N(static_cast<N::Action>(GetParam().value), nullptr));
    if (!GetParam().word) {
        EXPECT_TRUE(events.empty());
        return;
    }
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].name, GetParam().word);
}

INSTANTIATE_TEST_SUITE_P(Vocabulary,
                         WizardResults,
                         ::testing::Values(Word{0, nullptr}, Word{1, nullptr}, Word{2, "WU_ADVANCED_EDIT"},
                                           Word{3, "WU_EXPORT_VIDEO"}, Word{4, "WU_SHARE_VIDEO"}, Word{5, nullptr}));

TEST_F(WizardEvents, sample_music_names_its_category_and_title)
{
    const auto event = publishOne(FileAddedInFilmMakerNotification(
        FileAddedInFilmMakerNotification::Way::SampleMusicChosen, QStringLiteral("Calm"), QStringLiteral("Morning")));
    EXPECT_EQ(event.params, (Params{{"CATEGORY_NAME", "Calm"}, {"MUSIC_NAME", "Morning"}}));
    EXPECT_TRUE(publishOne(FileAddedInFilmMakerNotification(FileAddedInFilmMakerNotification::Way::FilesDropped))
                    .params.empty());
}

TEST_F(WizardEvents, theme_and_music_pages)
{
    EXPECT_EQ(publishOne(FilmMakerThemePageDone(QStringLiteral("Travel"))).params, (Params{{"THEME_NAME", "Travel"}}));
    const auto music = publishOne(FilmMakerAudioPageDone(2));
    EXPECT_EQ(music.name, "WU_MUSIC_DONE");
    EXPECT_EQ(music.params, (Params{{"MUSIC_COUNT", "2"}}));
}

TEST_F(WizardEvents, the_result_describes_the_finished_edit)
{
    FilmMakerFinished finished(FilmMakerFinished::Action::ExportVideo, &edit);
    finished.photoDuration = MTime::fromMSec(5000);
    finished.fitToMusic = true;
    finished.background = FilmMakerFinished::Background::FillBlackBars;
    finished.backgroundName = QStringLiteral("Blur");
    finished.theme = QStringLiteral("Summer");
    finished.titleOutroChanged = true;
    const auto event = publishOne(finished);
    EXPECT_EQ(event.name, "WU_EXPORT_VIDEO");
    EXPECT_EQ(event.params, (Params{{"VIDEOFILES_COUNT", "1"},
                                    {"AUDIOFILES_COUNT", "1"},
                                    {"PHOTOFILES_COUNT", "2"},
                                    {"PROJECT_DURATION", "1.5"},
                                    {"PHOTO_DURATION", "5"},
                                    {"FIT_TO_MUSIC_CHECKED", "true"},
                                    {"BACKGROUND", "FILL_BLACK_BARS"},
                                    {"BACKGROUND_NAME", "Blur"},
                                    {"THEME_NAME", "Summer"},
                                    {"TITLE_INTRO_CHANGE", "false"},
                                    {"TITLE_OUTRO_CHANGE", "true"}}));
}

TEST_F(WizardEvents, an_edit_without_photos_has_no_photo_duration)
{
    Timeline::Model videoOnly;
    videoOnly.addTrack(Timeline::TrackType::Video);
    videoOnly.insertClip(0, MTime(), videoFile("v.mp4", 45000));
    FilmMakerFinished finished(FilmMakerFinished::Action::ShareVideo, &videoOnly);
    finished.photoDuration = MTime::fromMSec(5000);
    finished.background = static_cast<FilmMakerFinished::Background>(9);
    const auto event = publishOne(finished);
    EXPECT_EQ(event.params.at("PHOTO_DURATION"), "NONE");
    EXPECT_EQ(event.params.at("PROJECT_DURATION"), "0.75");
    EXPECT_EQ(event.params.at("BACKGROUND"), "UNKNOWN");
}

} // namespace
