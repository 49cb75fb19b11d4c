#include "Messages/editorevents.h"
#include "Messages/effects.h"
#include "Messages/stabilization.h"

#include "trackedevents.h"

namespace {

using namespace StatisticsTest;
using namespace Statistics;
using Tool = Effect::ManualEnhance::Tool;

template<class E, class Change> std::function<void()> applied(std::uint64_t clips, Change change)
{
    E effect;
    change(effect);
    return sending(Effect::AppliedNotification<E>(effect, clips));
}

template<class E> std::function<void()> applied(std::uint64_t clips)
{
    return applied<E>(clips, [](E &) {});
}

// The balance is sent as a percentage rounded half away from zero; only 0.3 is the default.
EventCase reverb(const char *name, double balance, const char *percent)
{
    return { name,
             applied<Effect::AudioReverb>(2, [=](auto &r) { r.dryWetBalance = balance; }),
             { { "REVERB_APPLIED",
                 { { "CLIPS_IN_SELECTION", "2" },
                   { "DURATION", "1500" },
                   { "DELAY", "20" },
                   { "DRY_WET_BALANCE", percent },
                   { "FREQUENCY", "5000" },
                   { "DEFAULT_PARAMS", balance == 0.3 ? "true" : "false" } } } } };
}

// Background removal of a 61.999 s source; the processing time is only sent when known.
EventCase
backgroundRemoval(const char *name, std::optional<std::int64_t> processingMs, const char *seconds)
{
    ProcessingEffectNotification n("BACKGROUND_REMOVAL_PROCESSED", "precise");
    n.sourceDuration = MTime::fromMSec(61999);
    n.segmentDuration = MTime::fromMSec(999);
    n.reuse = true;
    Params params { { "METHOD", "precise" },
                    { "SOURCE_DURATION_S", "61" },
                    { "SEGMENT_DURATION_S", "0" },
                    { "REUSE", "true" } };
    if (processingMs) {
        n.processingTime = MTime::fromMSec(*processingMs);
        params["PROCESSING_TIME_S"] = seconds;
    }
    return { name, sending(n), { { "BACKGROUND_REMOVAL_PROCESSED", params } } };
}

const EventCase effectCases[] = {
    { "an_untouched_compressor_reports_its_defaults",
      applied<Effect::AudioCompressor>(3),
      { { "COMPRESSOR_APPLIED",
          { { "CLIPS_IN_SELECTION", "3" },
            { "PARAM_THRESHOLD", "-20" },
            { "PARAM_RATIO", "4" },
            { "PARAM_ATTACK", "20" },
            { "PARAM_RELEASE", "250" },
            { "PARAM_GAIN_OUT", "0" },
            { "PARAM_BLEND", "1" },
            { "DEFAULT_PARAMS", "true" } } } } },
    { "a_changed_noise_gate_is_not_default",
      applied<Effect::AudioNoiseGate>(1,
                                      [](auto &g) {
                                          g.threshold = -33.25;
                                          g.attack = MTime::fromMSec(15);
                                      }),
      { { "NOISE_GATE_APPLIED",
          { { "CLIPS_IN_SELECTION", "1" },
            { "PARAM_THRESHOLD", "-33.25" },
            { "PARAM_RANGE", "-60" },
            { "PARAM_ATTACK", "15" },
            { "PARAM_RELEASE", "100" },
            { "DEFAULT_PARAMS", "false" } } } } },
    reverb("reverb_default_balance", 0.3, "30"),
    reverb("reverb_balance_rounds_half_up", 0.125, "13"),
    reverb("reverb_balance_rounds_down", 0.994, "99"),
    reverb("reverb_negative_balance_rounds_half_down", -0.125, "-13"),
    reverb("reverb_full_balance", 1.0, "100"),
    { "the_25th_equalizer_preset_is_saved",
      applied<Effect::AudioEqualizer>(4, [](auto &e) { e.preset = 24; }),
      { { "EQUALIZER_APPLIED", { { "PRESET_ID", "Saved" }, { "CLIPS_IN_SELECTION", "4" } } } } },
    { "an_equalizer_preset_past_the_list_is_unknown",
      applied<Effect::AudioEqualizer>(1, [](auto &e) { e.preset = 25; }),
      { { "EQUALIZER_APPLIED", { { "PRESET_ID", "UNKNOWN" }, { "CLIPS_IN_SELECTION", "1" } } } } },
    { "chroma_key",
      applied<Effect::ChromaKey>(9, [](auto &k) { k.tolerance = 42; }),
      { { "CHROMAKEY_APPLIED",
          { { "PARAM_TOLERANCE", "42" },
            { "PARAM_NOISE", "10" },
            { "PARAM_EDGES", "10" },
            { "PARAM_OPACITY", "100" } } } } },
    { "crop", applied<Effect::Crop>(5), { { "CROP_APPLIED", { { "CLIPS_IN_SELECTION", "5" } } } } },
    { "mono_channel_has_no_parameters",
      applied<Effect::AudioMonoChannel>(5),
      { { "AUDIO_MONO_CHANNEL_APPLIED", {} } } },
    { "manual_colour_lists_the_changed_tools_in_table_order",
      applied<Effect::ManualEnhance>(2,
                                     [](auto &c) {
                                         c.setValue(Tool::Tint, 1);
                                         c.setValue(Tool::Brightness, -1);
                                     }),
      { { "MANUAL_COLOR_ADJUSTMENTS_APPLIED",
          { { "CLIPS_IN_SELECTION", "2" }, { "TOOLS_USED", "Brightness,Tint" } } } } },
    { "a_mask_reports_its_last_highlight_then_its_last_conceal",
      applied<Effect::Mask>(
          1,
          [](auto &m) {
              m.edgeMode = Effect::Mask::Blur;
              m.highlights.push_back({ Effect::MaskShape::Rectangle, {}, 0.1, 0.1, 0, false });
              m.highlights.push_back({ Effect::MaskShape::Circle, {}, 0.75, 0.5, 0, true });
              m.conceals.push_back({ Effect::MaskShape::Rectangle, {}, 1.0, 0.0, 35.5, false });
          }),
      { { "HIGHLIGHT_APPLIED",
          { { "PARAM_MASK", "circle" },
            { "PARAM_MODE", "blur" },
            { "PARAM_OPACITY", "0.75" },
            { "PARAM_SMOOTH_BORDER", "0.5" },
            { "PARAM_OUTLINE", "true" } } },
        { "CONCEAL_APPLIED",
          { { "PARAM_MASK", "rectangle" },
            { "PARAM_MODE", "blur" },
            { "PARAM_OPACITY", "1" },
            { "PARAM_SMOOTH_BORDER", "0" },
            { "PARAM_PIXELATION_PERCENT", "35.5" },
            { "PARAM_OUTLINE", "false" } } } } },
    { "a_mask_without_shapes_reports_nothing", applied<Effect::Mask>(1), {} },
    { "a_mask_shape_and_mode_this_build_does_not_know_are_empty",
      applied<Effect::Mask>(1,
                            [](auto &m) {
                                m.edgeMode = 9;
                                m.conceals.emplace_back();
                                m.conceals.back().shape = 7;
                            }),
      { { "CONCEAL_APPLIED",
          { { "PARAM_MASK", "" },
            { "PARAM_MODE", "" },
            { "PARAM_OPACITY", "1" },
            { "PARAM_SMOOTH_BORDER", "0" },
            { "PARAM_PIXELATION_PERCENT", "0" },
            { "PARAM_OUTLINE", "false" } } } } },
    { "animation_preset",
      sending(AnimationPresetApplied("zoom-ïn")),
      { { "ANIMATION_PRESET_APPLIED", { { "PRESET_ID", "zoom-ïn" } } } } },
    { "pan_and_zoom_preset",
      sending(PanZoomPresetApplied("pan-left")),
      { { "PAN_AND_ZOOM_ADDED", { { "PRESET_ID", "pan-left" } } } } },
    { "picture_in_picture_preset",
      sending(PipPresetApplied("corner")),
      { { "PIP_MODE_CHANGED", { { "MODE", "corner" } } } } },
    backgroundRemoval("processing_reports_whole_seconds", std::nullopt, nullptr),
    backgroundRemoval("processing_reports_its_time_when_known", 4500, "4"),
    { "noise_removal",
      sending(AudioNoiseSuppressAppliedNotification("ai", MTime::fromMSec(3000))),
      { { "NOISE_REMOVAL_APPLIED", { { "METHOD", "ai" }, { "SOURCE_DURATION_S", "3" } } } } },
    { "denoise_cancelling_delay",
      sending(AiDenoiseCancellingDelayNotification(MTime::fromMSec(12345))),
      { { "AI_DENOISE_CANCELLING_DELAY", { { "DELAY_S", "12" } } } } },
    { "stabilization",
      sending(Stabilization::FileStabilizeRequest(15,
                                                  4,
                                                  6,
                                                  10,
                                                  Stabilization::FileStabilizeRequest::Zoom(2))),
      { { "STABILIZATION_STARTED",
          { { "PARAM_ACCURACY", "15" },
            { "PARAM_SHAKINESS", "4" },
            { "PARAM_STEPSIZE", "6" },
            { "PARAM_SMOOTHING", "10" },
            { "PARAM_OPTZOOM", "Adaptive" } } } } },
};

INSTANTIATE_TEST_SUITE_P(Effects,
                         StatisticsEvents,
                         ::testing::ValuesIn(effectCases),
                         TestSupport::tableRowName);

} // namespace
