#include "Statistics/workspacestatistics.h"

#include "Statistics/eventparams.h"

namespace Statistics {

namespace {

const char *const pageTexts[] = {
    "PAGE_IMPORTS",        "PAGE_EFFECTS",
    "PAGE_TRANSITIONS",    "PAGE_TITLES",
    "PAGE_STICKERS",       "PAGE_AUDIOS",
    "PAGE_EFFECTS_STORE",  "PAGE_TOOLS",
    "CLIP_SETTINGS",       "CLIP_ADJUSTMENTS",
    "PAGE_VOICE_OVER",     "OVERLAY_SETTINGS",
    "PAGE_ORB_EXTENSIONS", "TRANSITIONS_SETTINGS",
    "TRANSITION_SETTINGS", "MOTION_TRACKING_SETTINGS",
};
const char *const overlayEditorTexts[] = {
    "INVALID_CLIP_SELECTION", "TITLE_SETTINGS",        "SHAPE_SETTINGS",
    "STICKER_SETTINGS",       "STT_SUBTITLE_SETTINGS",
};
} // namespace

const char *pageScreenText(Navigation::Page page)
{
    return wordOf(pageTexts, static_cast<long long>(page));
}

const char *overlayEditorScreenText(Overlay::PresetType type)
{
    return wordOf(overlayEditorTexts, static_cast<long long>(type));
}

IWorkspaceStatistics::~IWorkspaceStatistics() = default;

WorkspaceStatistics::WorkspaceStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

void WorkspaceStatistics::appliedEffectsClicked(const QString &method)
{
    m_tracker->sendEvent("APPLIED_EFFECTS_CLICKED", { { "METHOD", utf8(method) } });
}

void WorkspaceStatistics::clipPropertiesClicked(const QString &method)
{
    m_tracker->sendEvent("CLIP_PROPERTIES_CLICKED", { { "METHOD", utf8(method) } });
}

void WorkspaceStatistics::audioCaptureClicked(Capture::Mode mode)
{
    m_tracker->sendEvent("AUDIO_RECORD_STARTED",
                         { { "VOICE_OVER_MODE", flag(static_cast<int>(mode) == 1) } });
}

void WorkspaceStatistics::backButtonClicked(Navigation::Page target, Navigation::Page previous)
{
    m_tracker->sendEvent("BACK_BUTTON_CLICKED",
                         { { "TARGET_SCREEN", pageScreenText(target) },
                           { "PREVIOUS_SCREEN", pageScreenText(previous) } });
}

void WorkspaceStatistics::backButtonClickedOverlayEditor(Navigation::Page target,
                                                         Overlay::PresetType type)
{
    m_tracker->sendEvent("BACK_BUTTON_CLICKED",
                         { { "TARGET_SCREEN", pageScreenText(target) },
                           { "PREVIOUS_SCREEN", overlayEditorScreenText(type) } });
}

void WorkspaceStatistics::speechToTextShowedOnAudioToolsSelection()
{
    m_tracker->sendEvent("SPEECH_TO_TEXT_CLICKED", { { "METHOD", "AUDIO_TAB" } });
}

void WorkspaceStatistics::transitionSettingsClicked()
{
    m_tracker->sendEvent("TRANSITION_SETTINGS_CLICKED", {});
}

} // namespace Statistics
