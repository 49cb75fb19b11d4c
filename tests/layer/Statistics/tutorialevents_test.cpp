#include "Messages/tutorials.h"

#include "trackedevents.h"

#include <gtest/gtest.h>

namespace {

using namespace StatisticsTest;
using namespace Statistics;

using TutorialEvents = TrackedEvents;

struct Word
{
    int value;
    const char *word;
};

class TutorialNames : public TrackedEvents, public ::testing::WithParamInterface<Word>
{};

TEST_P(TutorialNames, name_the_shown_tutorial)
{
    const auto event = publishOne(TutorialShowed(static_cast<Tutorial>(GetParam().value), TutorialPage::Tools));
    EXPECT_EQ(event.name, "TUTORIAL_SHOWN");
    EXPECT_EQ(event.params, (Params{{"NAME", GetParam().word}, {"PAGE_NAME", "TOOLS"}}));
}

INSTANTIATE_TEST_SUITE_P(
    Vocabulary,
    TutorialNames,
    ::testing::Values(Word{0, "EDITOR_STARTED"}, Word{1, "EFFECTS"}, Word{2, "TRANSITIONS"}, Word{3, "TITLES"},
                      Word{4, "CALLOUTS"}, Word{5, "STICKERS"}, Word{6, "PAGE_LUTS"}, Word{7, "PAGE_SAMPLE_PROJECT"},
                      Word{8, "PAGE_MASK_MOTION_TRACKING"}, Word{9, "STICKER_DROP"}, Word{10, "TITLE_DROP"},
                      Word{11, "DENOISER"}, Word{12, "BACKGROUND_REMOVER"}, Word{13, "BLADE_TOOL"},
                      Word{14, "SPECIAL_FX"}, Word{15, "SPEECH_TO_TEXT"}, Word{16, "MULTI_TRACK"},
                      Word{17, "SHADER_ISF_FX"}, Word{18, "UNKNOWN"}, Word{-3, "UNKNOWN"}));

class TutorialPages : public TrackedEvents, public ::testing::WithParamInterface<Word>
{};

TEST_P(TutorialPages, name_the_shown_page)
{
    const auto event = publishOne(TutorialShowed(Tutorial::Effects, static_cast<TutorialPage>(GetParam().value)));
    EXPECT_EQ(event.params.at("PAGE_NAME"), GetParam().word);
}

INSTANTIATE_TEST_SUITE_P(Vocabulary,
                         TutorialPages,
                         ::testing::Values(Word{0, "TIMELINE"}, Word{1, "EXPORT"}, Word{2, "TOOLS"}, Word{3, "EDIT_PANEL"},
                                           Word{4, "ADD_FILES"}, Word{5, "SPEECH_TO_TEXT_ONBOARDING"},
                                           Word{6, "UNKNOWN"}));

class CloseTriggers : public TrackedEvents, public ::testing::WithParamInterface<Word>
{};

TEST_P(CloseTriggers, are_lower_case_words)
{
    const auto event = publishOne(TutorialClosed(Tutorial::Titles, MTime::fromMSec(12900),
                                                 static_cast<TutorialCloseTrigger>(GetParam().value), true));
    EXPECT_EQ(event.name, "TUTORIAL_CLOSED");
    EXPECT_EQ(event.params, (Params{{"NAME", "TITLES"},
                                    {"DURATION", "12"},
                                    {"TRIGGER", GetParam().word},
                                    {"EMPTY_PLACE_CLICKED", "true"}}));
}

INSTANTIATE_TEST_SUITE_P(Vocabulary,
                         CloseTriggers,
                         ::testing::Values(Word{0, "finish_button"}, Word{1, "skip_all_button"}, Word{2, "skip_all_esc"},
                                           Word{3, "app_closed"}, Word{4, "playback_started"}, Word{5, "skipped"},
                                           Word{6, "try"}, Word{7, "UNKNOWN"}));

TEST_F(TutorialEvents, a_paged_tutorial_reports_the_pages_it_spent_time_on)
{
    TutorialClosed closed(Tutorial::EditorStarted, MTime::fromMSec(95000), TutorialCloseTrigger::FinishButton, false);
    TutorialPagesRecord pages;
    pages.page = TutorialPage::Export;
    pages.nextClicks = 1;
    pages.backClicks = 0;
    pages.timeOnPage = {{TutorialPage::Timeline, MTime::fromMSec(40500)},
                        {TutorialPage::Export, MTime::fromMSec(54000)},
                        {TutorialPage::Tools, MTime()}};
    closed.pages = pages;

    const auto event = publishOne(closed);
    EXPECT_EQ(event.params, (Params{{"NAME", "EDITOR_STARTED"},
                                    {"DURATION", "95"},
                                    {"TRIGGER", "finish_button"},
                                    {"EMPTY_PLACE_CLICKED", "false"},
                                    {"PAGE_NAME", "EXPORT"},
                                    {"NEXT_CLICK_COUNT", "1"},
                                    {"BACK_CLICK_COUNT", "0"},
                                    {"TIMELINE_PAGE_DURATION", "40"},
                                    {"EXPORT_PAGE_DURATION", "54"}}));
}

TEST_F(TutorialEvents, onboarding_answers_and_guides)
{
    EXPECT_EQ(publishOne(TutorialSkipOnboardingSuggested(true)).params, (Params{{"RESULT", "true"}}));
    const auto achieved = publishOne(OnboardingTutorialsAchieved());
    EXPECT_EQ(achieved.name, "ALL_TUTORIALS_ACHIEVED");
    EXPECT_TRUE(achieved.params.empty());

    const auto button = publishOne(GuideButtonClickedNotification(QStringLiteral("export_panel")));
    EXPECT_EQ(button.name, "GUIDE_BUTTON_CLICKED");
    EXPECT_EQ(button.params, (Params{{"GUIDE_SOURCE", "export_panel"}}));

    const auto link = publishOne(GuideLinkClickedNotification(QStringLiteral("help_menu")));
    EXPECT_EQ(link.name, "GUIDE_LINK_CLICKED");
    EXPECT_EQ(link.params, (Params{{"GUIDE_SOURCE", "help_menu"}}));
    EXPECT_EQ(publishOne(GuideLinkClickedNotification(QStringLiteral("help_menu"), Tutorial::Denoiser)).params,
              (Params{{"GUIDE_SOURCE", "DENOISER"}}));
}

} // namespace
