#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"
#include "util/mtime.h"

#include <QString>

#include <map>
#include <optional>

// The guided tours and the guide links. Published by the tutorial overlay.
namespace Statistics {

enum class Tutorial : int {
    EditorStarted,
    Effects,
    Transitions,
    Titles,
    Callouts,
    Stickers,
    PageLuts,
    PageSampleProject,
    PageMaskMotionTracking,
    StickerDrop,
    TitleDrop,
    Denoiser,
    BackgroundRemover,
    BladeTool,
    SpecialFx,
    SpeechToText,
    MultiTrack,
    ShaderIsfFx,
};

enum class TutorialPage : int {
    Timeline,
    Export,
    Tools,
    EditPanel,
    AddFiles,
    SpeechToTextOnboarding
};

enum class TutorialCloseTrigger : int {
    FinishButton,
    SkipAllButton,
    SkipAllEsc,
    AppClosed,
    PlaybackStarted,
    Skipped,
    Try,
};

class APPLOGIC_EXPORT TutorialShowed : public Message::Types::Notification<Statistics::Object> {
public:
    TutorialShowed(Tutorial tutorial, TutorialPage page)
        : Notification(globalObject())
        , tutorial(tutorial)
        , page(page)
    {
    }
    Tutorial tutorial;
    TutorialPage page;
};

// How the user moved through a paged tutorial before closing it.
struct TutorialPagesRecord {
    TutorialPage page = TutorialPage::Timeline; // the page open at closing
    int nextClicks = 0;
    int backClicks = 0;
    std::map<TutorialPage, MTime> timeOnPage;
};

class APPLOGIC_EXPORT TutorialClosed : public Message::Types::Notification<Statistics::Object> {
public:
    TutorialClosed(Tutorial tutorial,
                   MTime openFor,
                   TutorialCloseTrigger trigger,
                   bool emptyPlaceClicked)
        : Notification(globalObject())
        , tutorial(tutorial)
        , openFor(openFor)
        , trigger(trigger)
        , emptyPlaceClicked(emptyPlaceClicked)
    {
    }
    Tutorial tutorial;
    MTime openFor;
    TutorialCloseTrigger trigger;
    bool emptyPlaceClicked;
    std::optional<TutorialPagesRecord> pages; // only paged tutorials have one
};

// The first-start offer to skip the introductory tutorials was answered.
class APPLOGIC_EXPORT TutorialSkipOnboardingSuggested
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit TutorialSkipOnboardingSuggested(bool skipped)
        : Notification(globalObject())
        , skipped(skipped)
    {
    }
    bool skipped;
};

class APPLOGIC_EXPORT OnboardingTutorialsAchieved
    : public Message::Types::Notification<Statistics::Object> {
public:
    OnboardingTutorialsAchieved()
        : Notification(globalObject())
    {
    }
};

class APPLOGIC_EXPORT GuideButtonClickedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit GuideButtonClickedNotification(QString source)
        : Notification(globalObject())
        , source(std::move(source))
    {
    }
    QString source; // where the button sits
};

class APPLOGIC_EXPORT GuideLinkClickedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit GuideLinkClickedNotification(QString source,
                                          std::optional<Tutorial> tutorial = std::nullopt)
        : Notification(globalObject())
        , source(std::move(source))
        , tutorial(tutorial)
    {
    }
    QString source;
    std::optional<Tutorial> tutorial; // set when the link sits in a tutorial
};

} // namespace Statistics
