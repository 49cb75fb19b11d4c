#include "Messages/tutorials.h"

#include "trackedevents.h"

namespace {

using namespace StatisticsTest;
using namespace Statistics;

// Closed after 95 s on the export page; the tools page was never opened and gets no key.
TutorialClosed pagedTutorialClosed()
{
    TutorialClosed closed(Tutorial::EditorStarted, MTime::fromMSec(95000),
                          TutorialCloseTrigger::FinishButton, false);
    TutorialPagesRecord pages;
    pages.page = TutorialPage::Export;
    pages.nextClicks = 1;
    pages.timeOnPage = { { TutorialPage::Timeline, MTime::fromMSec(40500) },
                         { TutorialPage::Export, MTime::fromMSec(54000) },
                         { TutorialPage::Tools, MTime() } };
    closed.pages = pages;
    return closed;
}

const EventCase tutorialCases[] = {
    { "shown",
      sending(TutorialShowed(Tutorial::ShaderIsfFx, TutorialPage::SpeechToTextOnboarding)),
      { { "TUTORIAL_SHOWN",
          { { "NAME", "SHADER_ISF_FX" }, { "PAGE_NAME", "SPEECH_TO_TEXT_ONBOARDING" } } } } },
    { "closed_after_whole_seconds",
      sending(TutorialClosed(Tutorial::Titles,
                             MTime::fromMSec(12900),
                             TutorialCloseTrigger::Try,
                             true)),
      { { "TUTORIAL_CLOSED",
          { { "NAME", "TITLES" },
            { "DURATION", "12" },
            { "TRIGGER", "try" },
            { "EMPTY_PLACE_CLICKED", "true" } } } } },
    { "a_paged_tutorial_reports_the_pages_it_spent_time_on",
      sending(pagedTutorialClosed()),
      { { "TUTORIAL_CLOSED",
          { { "NAME", "EDITOR_STARTED" },
            { "DURATION", "95" },
            { "TRIGGER", "finish_button" },
            { "EMPTY_PLACE_CLICKED", "false" },
            { "PAGE_NAME", "EXPORT" },
            { "NEXT_CLICK_COUNT", "1" },
            { "BACK_CLICK_COUNT", "0" },
            { "TIMELINE_PAGE_DURATION", "40" },
            { "EXPORT_PAGE_DURATION", "54" } } } } },
    { "onboarding_skipped",
      sending(TutorialSkipOnboardingSuggested(true)),
      { { "TUTORIALS_SKIPPED", { { "RESULT", "true" } } } } },
    { "onboarding_achieved",
      sending(OnboardingTutorialsAchieved()),
      { { "ALL_TUTORIALS_ACHIEVED", {} } } },
    { "guide_button",
      sending(GuideButtonClickedNotification("export_panel")),
      { { "GUIDE_BUTTON_CLICKED", { { "GUIDE_SOURCE", "export_panel" } } } } },
    { "guide_link",
      sending(GuideLinkClickedNotification("help_menu")),
      { { "GUIDE_LINK_CLICKED", { { "GUIDE_SOURCE", "help_menu" } } } } },
    { "a_guide_link_of_a_tutorial_names_the_tutorial",
      sending(GuideLinkClickedNotification("help_menu", Tutorial::Denoiser)),
      { { "GUIDE_LINK_CLICKED", { { "GUIDE_SOURCE", "DENOISER" } } } } },
};

INSTANTIATE_TEST_SUITE_P(Tutorials,
                         StatisticsEvents,
                         ::testing::ValuesIn(tutorialCases),
                         TestSupport::tableRowName);

} // namespace
