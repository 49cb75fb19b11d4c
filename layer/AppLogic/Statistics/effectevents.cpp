// Effect and tool events.

#include "Statistics/statisticsevents.h"
#include "Statistics/vocabularies.h"

#include <cmath>

namespace Statistics {

namespace {

template<class E> std::string clipsIn(const Effect::AppliedNotification<E> &n)
{
    return decimal(n.clipsCount);
}

// Untouched effects are worth knowing: they say the defaults are what people want.
template<class E> std::string defaultParams(const Effect::AppliedNotification<E> &n)
{
    return flag(n.effect == E());
}

// One report per mask family, describing the last shape of that family.
Event maskEvent(const char *name,
                const Effect::Mask &mask,
                const Effect::MaskShape &shape,
                bool conceal)
{
    Params params;
    params["PARAM_MASK"] = maskShapeName(shape.shape);
    params["PARAM_MODE"] = maskEdgeModeName(mask.edgeMode);
    params["PARAM_OPACITY"] = real(shape.opacity);
    params["PARAM_SMOOTH_BORDER"] = real(shape.smoothBorder);
    if (conceal)
        params["PARAM_PIXELATION_PERCENT"] = real(shape.pixelationPercent);
    params["PARAM_OUTLINE"] = flag(shape.outline);
    return { name, std::move(params) };
}

} // namespace

Events eventsOf(const Effect::AppliedNotification<Effect::AudioCompressor> &n)
{
    Params params;
    params["CLIPS_IN_SELECTION"] = clipsIn(n);
    params["PARAM_THRESHOLD"] = real(n.effect.threshold);
    params["PARAM_RATIO"] = real(n.effect.ratio);
    params["PARAM_ATTACK"] = millis(n.effect.attack);
    params["PARAM_RELEASE"] = millis(n.effect.release);
    params["PARAM_GAIN_OUT"] = real(n.effect.gainOut);
    params["PARAM_BLEND"] = real(n.effect.blend);
    params["DEFAULT_PARAMS"] = defaultParams(n);
    return { { "COMPRESSOR_APPLIED", std::move(params) } };
}

Events eventsOf(const Effect::AppliedNotification<Effect::AudioNoiseGate> &n)
{
    Params params;
    params["CLIPS_IN_SELECTION"] = clipsIn(n);
    params["PARAM_THRESHOLD"] = real(n.effect.threshold);
    params["PARAM_RANGE"] = real(n.effect.range);
    params["PARAM_ATTACK"] = millis(n.effect.attack);
    params["PARAM_RELEASE"] = millis(n.effect.release);
    params["DEFAULT_PARAMS"] = defaultParams(n);
    return { { "NOISE_GATE_APPLIED", std::move(params) } };
}

Events eventsOf(const Effect::AppliedNotification<Effect::AudioReverb> &n)
{
    Params params;
    params["CLIPS_IN_SELECTION"] = clipsIn(n);
    params["DURATION"] = millis(n.effect.duration);
    params["DELAY"] = millis(n.effect.delay);
    // A percentage; std::lround takes halves away from zero.
    params["DRY_WET_BALANCE"]
        = decimal(static_cast<std::int64_t>(std::lround(n.effect.dryWetBalance * 100.0)));
    params["FREQUENCY"] = decimal(n.effect.frequency);
    params["DEFAULT_PARAMS"] = defaultParams(n);
    return { { "REVERB_APPLIED", std::move(params) } };
}

Events eventsOf(const Effect::AppliedNotification<Effect::AudioMonoChannel> &)
{
    return { { "AUDIO_MONO_CHANNEL_APPLIED", {} } };
}

Events eventsOf(const Effect::AppliedNotification<Effect::AudioEqualizer> &n)
{
    Params params;
    params["PRESET_ID"] = equalizerPresetName(n.effect.preset);
    params["CLIPS_IN_SELECTION"] = clipsIn(n);
    return { { "EQUALIZER_APPLIED", std::move(params) } };
}

Events eventsOf(const Effect::AppliedNotification<Effect::ChromaKey> &n)
{
    Params params;
    params["PARAM_TOLERANCE"] = decimal(n.effect.tolerance);
    params["PARAM_NOISE"] = decimal(n.effect.noise);
    params["PARAM_EDGES"] = decimal(n.effect.edges);
    params["PARAM_OPACITY"] = decimal(n.effect.opacity);
    return { { "CHROMAKEY_APPLIED", std::move(params) } };
}

Events eventsOf(const Effect::AppliedNotification<Effect::Crop> &n)
{
    return { { "CROP_APPLIED", { { "CLIPS_IN_SELECTION", clipsIn(n) } } } };
}

Events eventsOf(const Effect::AppliedNotification<Effect::ManualEnhance> &n)
{
    Params params;
    params["CLIPS_IN_SELECTION"] = clipsIn(n);
    params["TOOLS_USED"] = toolsUsed(n.effect);
    return { { "MANUAL_COLOR_ADJUSTMENTS_APPLIED", std::move(params) } };
}

Events eventsOf(const Effect::AppliedNotification<Effect::Mask> &n)
{
    Events events;
    if (!n.effect.highlights.empty())
        events.push_back(
            maskEvent("HIGHLIGHT_APPLIED", n.effect, n.effect.highlights.back(), false));
    if (!n.effect.conceals.empty())
        events.push_back(maskEvent("CONCEAL_APPLIED", n.effect, n.effect.conceals.back(), true));
    return events;
}

Events eventsOf(const AnimationPresetApplied &n)
{
    return { { "ANIMATION_PRESET_APPLIED", { { "PRESET_ID", utf8(n.presetId) } } } };
}

Events eventsOf(const PanZoomPresetApplied &n)
{
    return { { "PAN_AND_ZOOM_ADDED", { { "PRESET_ID", utf8(n.presetId) } } } };
}

Events eventsOf(const PipPresetApplied &n)
{
    return { { "PIP_MODE_CHANGED", { { "MODE", utf8(n.mode) } } } };
}

Events eventsOf(const AudioNoiseSuppressAppliedNotification &n)
{
    Params params;
    params["METHOD"] = utf8(n.method);
    params["SOURCE_DURATION_S"] = seconds(n.sourceDuration);
    return { { "NOISE_REMOVAL_APPLIED", std::move(params) } };
}

Events eventsOf(const AiDenoiseCancellingDelayNotification &n)
{
    return { { "AI_DENOISE_CANCELLING_DELAY", { { "DELAY_S", seconds(n.delay) } } } };
}

Events eventsOf(const ProcessingEffectNotification &n)
{
    Params params;
    params["METHOD"] = utf8(n.method);
    params["SOURCE_DURATION_S"] = seconds(n.sourceDuration);
    params["SEGMENT_DURATION_S"] = seconds(n.segmentDuration);
    params["REUSE"] = flag(n.reuse);
    if (n.processingTime)
        params["PROCESSING_TIME_S"] = seconds(*n.processingTime);
    return { { utf8(n.event), std::move(params) } };
}

Events eventsOf(const Stabilization::FileStabilizeRequest &n)
{
    Params params;
    params["PARAM_ACCURACY"] = decimal(n.accuracy);
    params["PARAM_SHAKINESS"] = decimal(n.shakiness);
    params["PARAM_STEPSIZE"] = decimal(n.stepSize);
    params["PARAM_SMOOTHING"] = decimal(n.smoothing);
    params["PARAM_OPTZOOM"] = stabilizationZoomName(n.optimalZoom);
    return { { "STABILIZATION_STARTED", std::move(params) } };
}

} // namespace Statistics
