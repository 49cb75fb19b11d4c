// Tutorial and guide events.

#include "Statistics/statisticsevents.h"
#include "Statistics/vocabularies.h"

namespace Statistics {

Events eventsOf(const TutorialShowed &n)
{
    Params params;
    params["NAME"] = tutorialName(n.tutorial);
    params["PAGE_NAME"] = tutorialPageName(n.page);
    return { { "TUTORIAL_SHOWN", std::move(params) } };
}

Events eventsOf(const TutorialClosed &n)
{
    Params params;
    params["NAME"] = tutorialName(n.tutorial);
    params["DURATION"] = seconds(n.openFor);
    params["TRIGGER"] = tutorialCloseTriggerName(n.trigger);
    params["EMPTY_PLACE_CLICKED"] = flag(n.emptyPlaceClicked);
    if (n.pages) {
        params["PAGE_NAME"] = tutorialPageName(n.pages->page);
        params["NEXT_CLICK_COUNT"] = decimal(n.pages->nextClicks);
        params["BACK_CLICK_COUNT"] = decimal(n.pages->backClicks);
        // Pages never opened carry no time and get no key.
        for (const auto &[page, time] : n.pages->timeOnPage) {
            if (!time.isNull())
                params[std::string(tutorialPageName(page)) + "_PAGE_DURATION"] = seconds(time);
        }
    }
    return { { "TUTORIAL_CLOSED", std::move(params) } };
}

Events eventsOf(const TutorialSkipOnboardingSuggested &n)
{
    return { { "TUTORIALS_SKIPPED", { { "RESULT", flag(n.skipped) } } } };
}

Events eventsOf(const OnboardingTutorialsAchieved &)
{
    return { { "ALL_TUTORIALS_ACHIEVED", {} } };
}

Events eventsOf(const GuideButtonClickedNotification &n)
{
    return { { "GUIDE_BUTTON_CLICKED", { { "GUIDE_SOURCE", utf8(n.source) } } } };
}

Events eventsOf(const GuideLinkClickedNotification &n)
{
    const std::string source = n.tutorial ? std::string(tutorialName(*n.tutorial)) : utf8(n.source);
    return { { "GUIDE_LINK_CLICKED", { { "GUIDE_SOURCE", source } } } };
}

} // namespace Statistics
