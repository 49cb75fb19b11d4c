#include "Statistics/clippropertiesstatistics.h"

#include "Statistics/eventparams.h"

namespace Statistics {

namespace {

const char *const blendingTexts[] = {
    "OVERLAY",    "LIGHTEN",  "COLOR",  "COLOR_DODGE", "LINEAR_DODGE", "SOURCE_OVER", "SCREEN",
    "DIFFERENCE", "MULTIPLY", "DARKEN", "COLOR_BURN",  "HARD_LIGHT",   "SOFT_LIGHT",  "EXCLUSION",
};
const char *const titleTypeTexts[] = { "INVALID", "TITLE", "CALLOUT", "STICKER", "SUBTITLE" };

} // namespace

const char *blendingModeText(BlendingMode mode)
{
    return wordOf(blendingTexts, static_cast<long long>(mode));
}

const char *mediaTypeText(const Timeline::IClip &clip)
{
    if (const auto &title = clip.titleItem())
        return wordOf(titleTypeTexts, title->subtype);
    switch (clip.kind()) {
    case Timeline::ClipKind::Clip:
        if (clip.isImageClip())
            return "IMAGE";
        if (clip.contentId() == QLatin1String(Timeline::specialEffectsContentId))
            return "SPECIAL_FX";
        return "VIDEO";
    case Timeline::ClipKind::Intro:
        return "INTRO";
    case Timeline::ClipKind::Audio:
        return "AUDIO";
    case Timeline::ClipKind::IntroAudio:
        return "INTRO_AUDIO";
    default:
        return unknownWord;
    }
}

IClipPropertiesStatistics::~IClipPropertiesStatistics() = default;

ClipPropertiesStatistics::ClipPropertiesStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

void ClipPropertiesStatistics::opacityChanged(std::uint64_t selectionCount, int opacity)
{
    m_tracker->sendEvent(
        "OPACITY_CHANGED",
        { { "CLIP_SELECTION_COUNT", decimal(selectionCount) }, { "OPACITY", decimal(opacity) } });
}

void ClipPropertiesStatistics::speedChanged(std::uint64_t selectionCount, int speed)
{
    m_tracker->sendEvent(
        "SPEED_CHANGED",
        { { "CLIP_SELECTION_COUNT", decimal(selectionCount) }, { "SPEED", decimal(speed) } });
}

void ClipPropertiesStatistics::speedChangeRebound(int targetSpeed, int actualSpeed)
{
    m_tracker->sendEvent(
        "SPEED_CHANGE_REBOUND",
        { { "SPEED_TARGET", decimal(targetSpeed) }, { "SPEED_ACTUAL", decimal(actualSpeed) } });
}

void ClipPropertiesStatistics::volumeChanged(std::uint64_t selectionCount)
{
    m_tracker->sendEvent("VOLUME_CHANGED", { { "CLIP_SELECTION_COUNT", decimal(selectionCount) } });
}

void ClipPropertiesStatistics::adjustmentsChanged(const char *event,
                                                  const QString &effectName,
                                                  std::uint64_t count)
{
    m_tracker->sendEvent(
        event, { { "EFFECT_NAME", utf8(effectName) }, { "CLIPS_IN_SELECTION", decimal(count) } });
}

void ClipPropertiesStatistics::adjustmentsDisabled(const QString &effectName,
                                                   std::uint64_t selectionCount)
{
    adjustmentsChanged("APPLIED_EFFECT_DISABLE", effectName, selectionCount);
}

void ClipPropertiesStatistics::adjustmentsRemoved(const QString &effectName,
                                                  std::uint64_t selectionCount)
{
    adjustmentsChanged("APPLIED_EFFECT_REMOVED", effectName, selectionCount);
}

void ClipPropertiesStatistics::adjustmentsShow(std::uint64_t effectCount,
                                               const ClipSelection &selected)
{
    m_tracker->sendEvent(
        "APPLIED_EFFECTS_SHOW",
        { { "EFFECT_COUNT", decimal(effectCount) },
          { "SELECTION_COUNT", decimal(static_cast<std::uint64_t>(selected.size())) } });
}

void ClipPropertiesStatistics::effectSettingsChanged(const QString &effectName,
                                                     const QString &uniqueId,
                                                     const QString &parameters,
                                                     std::uint64_t selectionCount)
{
    m_tracker->sendEvent("EFFECT_SETTINGS_APPLIED",
                         { { "EFFECT_NAME", utf8(effectName) },
                           { "UNIQUE_ID", utf8(uniqueId) },
                           { "PARAMETERS", utf8(parameters) },
                           { "CLIPS_IN_SELECTION", decimal(selectionCount) } });
}

void ClipPropertiesStatistics::fadeUsed(FadeType type, std::uint64_t selectionCount)
{
    const char *event = type == FadeType::FadeIn ? "FADEIN_CHANGED"
        : type == FadeType::FadeOut              ? "FADEOUT_CHANGED"
                                                 : nullptr;
    if (event)
        m_tracker->sendEvent(event, { { "CLIP_SELECTION_COUNT", decimal(selectionCount) } });
}

void ClipPropertiesStatistics::overlayEffectBlendingModeChanged(BlendingMode mode)
{
    m_tracker->sendEvent("OVERLAY_BLENDING_MODE_CHANGED", { { "MODE", blendingModeText(mode) } });
}

void ClipPropertiesStatistics::clipBlendingModeChanged(BlendingMode mode,
                                                       const ClipSelection &selected)
{
    std::set<std::string> types;
    for (const Timeline::IClip *clip : selected) {
        if (clip)
            types.insert(mediaTypeText(*clip));
    }
    std::string joined;
    for (const std::string &type : types)
        joined += (joined.empty() ? "" : ",") + type;
    m_tracker->sendEvent("CLIP_BLENDING_MODE_CHANGED",
                         { { "MODE", blendingModeText(mode) }, { "MEDIA_TYPE", joined } });
}

} // namespace Statistics
