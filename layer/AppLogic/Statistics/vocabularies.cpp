#include "Statistics/vocabularies.h"

#include "Statistics/eventparams.h"

#include "timeline/videoeffects.h"

namespace Statistics {

namespace {

template<class Enum> long long ordinal(Enum value)
{
    return static_cast<long long>(value);
}

constexpr const char *tutorialNames[] = {
    "EDITOR_STARTED",
    "EFFECTS",
    "TRANSITIONS",
    "TITLES",
    "CALLOUTS",
    "STICKERS",
    "PAGE_LUTS",
    "PAGE_SAMPLE_PROJECT",
    "PAGE_MASK_MOTION_TRACKING",
    "STICKER_DROP",
    "TITLE_DROP",
    "DENOISER",
    "BACKGROUND_REMOVER",
    "BLADE_TOOL",
    "SPECIAL_FX",
    "SPEECH_TO_TEXT",
    "MULTI_TRACK",
    "SHADER_ISF_FX",
};

constexpr const char *tutorialPageNames[] = {
    "TIMELINE", "EXPORT", "TOOLS", "EDIT_PANEL", "ADD_FILES", "SPEECH_TO_TEXT_ONBOARDING",
};

// Lower case on purpose: the close triggers have always been sent this way.
constexpr const char *closeTriggerNames[] = {
    "finish_button",    "skip_all_button", "skip_all_esc", "app_closed",
    "playback_started", "skipped",         "try",
};

constexpr const char *zoomNames[] = { "Disabled", "Static", "Adaptive" };

constexpr const char *equalizerPresetNames[] = {
    "Custom",       "Flat",      "VoiceEnhance", "MusicEnhance",  "Loudness",
    "HumReduction", "BassBoost", "BassReduce",   "TrebleBoost",   "TrebleReduce",
    "Acoustic",     "Classical", "Dance",        "Deep",          "Electronic",
    "Hip-hop",      "Jazz",      "Latin",        "Lounge",        "Piano",
    "Pop",          "RNB",       "Rock",         "SmallSpeakers", "Saved",
};

constexpr const char *maskShapeNames[] = { "rectangle", "circle" };
constexpr const char *maskEdgeModeNames[] = { "fade", "blur" };

constexpr const char *manualToolNames[] = {
    "Brightness", "Contrast", "Saturation",  "Highlights", "Gamma",
    "Shadows",    "Hue",      "Temperature", "Tint",
};
static_assert(std::size(manualToolNames) == Effect::ManualEnhance::toolCount);

constexpr const char *sharingNames[] = { "YOUTUBE", "VIMEO", "GOOGLE_DRIVE", "TIKTOK" };
constexpr const char *sortOrderNames[] = { "NONE", "NAME", "DATE", "SHUFFLE" };
constexpr const char *backgroundNames[] = { "CROP", "FILL_BLACK_BARS", "NONE" };

// Indexed by the wizard's action number; 0 and 1 leave the wizard without a result.
constexpr const char *wizardResultEvents[] = {
    nullptr, nullptr, "WU_ADVANCED_EDIT", "WU_EXPORT_VIDEO", "WU_SHARE_VIDEO",
};

constexpr const char *themeStatusEvents[] = {
    "WU_THEME_CLICKED",
    "WU_THEME_DOWNLOAD",
    "WU_THEME_DOWNLOAD_STOPPED",
    "WU_THEME_DOWNLOAD_FAILED",
};

constexpr const char *filmMakerFileEvents[] = {
    "WU_FILES_DRAG_AND_DROP_ADDED_CLICKED",
    "WU_MUSIC_DRAG_AND_DROP_ADDED_CLICKED",
    "WU_MUSIC_WINDOW_CLICKED",
    "WU_SAMPLE_MUSIC_ADDED",
};

constexpr const char *playerEvents[] = {
    "FRAME_NAVIGATION_USED",
    "FRAME_NAVIGATION_USED",
    "CLIP_NAVIGATION_USED",
    "CLIP_NAVIGATION_USED",
};
constexpr const char *playerDirections[] = { "PREVIOUS", "NEXT", "PREVIOUS", "NEXT" };

} // namespace

const char *tutorialName(Tutorial tutorial)
{
    return wordOf(tutorialNames, ordinal(tutorial));
}
const char *tutorialPageName(TutorialPage page)
{
    return wordOf(tutorialPageNames, ordinal(page));
}
const char *tutorialCloseTriggerName(TutorialCloseTrigger trigger)
{
    return wordOf(closeTriggerNames, ordinal(trigger));
}
const char *stabilizationZoomName(Stabilization::FileStabilizeRequest::Zoom zoom)
{
    return wordOf(zoomNames, ordinal(zoom), "");
}
const char *equalizerPresetName(int preset)
{
    return wordOf(equalizerPresetNames, preset);
}
const char *maskShapeName(int shape)
{
    return wordOf(maskShapeNames, shape, "");
}
const char *maskEdgeModeName(int mode)
{
    return wordOf(maskEdgeModeNames, mode, "");
}
const char *sharingName(SharingService service)
{
    return wordOf(sharingNames, ordinal(service));
}
const char *sortOrderName(FilmMakerImportPageDone::SortOrder order)
{
    return wordOf(sortOrderNames, ordinal(order), "");
}
const char *backgroundName(FilmMakerFinished::Background background)
{
    return wordOf(backgroundNames, ordinal(background));
}

const char *wizardResultEvent(FilmMakerFinished::Action action)
{
    return wordOf(wizardResultEvents, ordinal(action), nullptr);
}
const char *themeStatusEvent(FilmMakerThemeStatusChanged::Status status)
{
    return wordOf(themeStatusEvents, ordinal(status), nullptr);
}
const char *filmMakerFileEvent(FileAddedInFilmMakerNotification::Way way)
{
    return wordOf(filmMakerFileEvents, ordinal(way), nullptr);
}
const char *playerEvent(PlayerEventNotification::Kind kind)
{
    return wordOf(playerEvents, ordinal(kind), nullptr);
}
const char *playerDirection(PlayerEventNotification::Kind kind)
{
    return wordOf(playerDirections, ordinal(kind), "");
}

std::string toolsUsed(const Effect::ManualEnhance &effect)
{
    std::string used;
    for (int tool = 0; tool < Effect::ManualEnhance::toolCount; ++tool) {
        if (!effect.isChanged(static_cast<Effect::ManualEnhance::Tool>(tool)))
            continue;
        if (!used.empty())
            used += ',';
        used += manualToolNames[tool];
    }
    return used;
}

} // namespace Statistics
