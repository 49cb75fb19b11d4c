#include "Messages/editorevents.h"
#include "Messages/effects.h"
#include "Messages/stabilization.h"

#include "trackedevents.h"

#include <gtest/gtest.h>

namespace {

using namespace StatisticsTest;
using Effect::AppliedNotification;

using EffectEvents = TrackedEvents;

TEST_F(EffectEvents, an_untouched_compressor_reports_its_defaults)
{
    const auto event = publishOne(AppliedNotification<Effect::AudioCompressor>({}, 3));
    EXPECT_EQ(event.name, "COMPRESSOR_APPLIED");
    EXPECT_EQ(event.params, (Params{{"CLIPS_IN_SELECTION", "3"},
                                    {"PARAM_THRESHOLD", "-20"},
                                    {"PARAM_RATIO", "4"},
                                    {"PARAM_ATTACK", "20"},
                                    {"PARAM_RELEASE", "250"},
                                    {"PARAM_GAIN_OUT", "0"},
                                    {"PARAM_BLEND", "1"},
                                    {"DEFAULT_PARAMS", "true"}}));
}

TEST_F(EffectEvents, a_changed_noise_gate_is_not_default)
{
    Effect::AudioNoiseGate gate;
    gate.threshold = -33.25;
    gate.attack = MTime::fromMSec(15);
    const auto event = publishOne(AppliedNotification<Effect::AudioNoiseGate>(gate, 1));
    EXPECT_EQ(event.name, "NOISE_GATE_APPLIED");
    EXPECT_EQ(event.params, (Params{{"CLIPS_IN_SELECTION", "1"},
                                    {"PARAM_THRESHOLD", "-33.25"},
                                    {"PARAM_RANGE", "-60"},
                                    {"PARAM_ATTACK", "15"},
                                    {"PARAM_RELEASE", "100"},
                                    {"DEFAULT_PARAMS", "false"}}));
}

struct ReverbBalance
{
    double balance;
    const char *reported;
};

class ReverbEvents : public TrackedEvents, public ::testing::WithParamInterface<ReverbBalance>
{};

TEST_P(ReverbEvents, the_balance_is_a_rounded_percentage)
{
    Effect::AudioReverb reverb;
    reverb.dryWetBalance = GetParam().balance;
    const auto event = publishOne(AppliedNotification<Effect::AudioReverb>(reverb, 2));
    EXPECT_EQ(event.name, "REVERB_APPLIED");
    EXPECT_EQ(event.params.at("DRY_WET_BALANCE"), GetParam().reported);
    EXPECT_EQ(event.params.at("DURATION"), "1500");
    EXPECT_EQ(event.params.at("DELAY"), "20");
    EXPECT_EQ(event.params.at("FREQUENCY"), "5000");
    EXPECT_EQ(event.params.at("DEFAULT_PARAMS"), GetParam().balance == 0.3 ? "true" : "false");
}

INSTANTIATE_TEST_SUITE_P(HalvesAwayFromZero,
                         ReverbEvents,
                         ::testing::Values(ReverbBalance{0.3, "30"},
                                           ReverbBalance{0.125, "13"},
                                           ReverbBalance{0.994, "99"},
                                           ReverbBalance{-0.125, "-13"},
                                           ReverbBalance{1.0, "100"}));

struct PresetWord
{
    int preset;
    const char *word;
};

class EqualizerPresets : public TrackedEvents, public ::testing::WithParamInterface<PresetWord>
{};

TEST_P(EqualizerPresets, are_reported_by_name)
{
    Effect::AudioEqualizer equalizer;
    equalizer.preset = GetParam().preset;
    const auto event = publishOne(AppliedNotification<Effect::AudioEqualizer>(equalizer, 4));
    EXPECT_EQ(event.name, "EQUALIZER_APPLIED");
    EXPECT_EQ(event.params, (Params{{"PRESET_ID", GetParam().word}, {"CLIPS_IN_SELECTION", "4"}}));
}

INSTANTIATE_TEST_SUITE_P(
    EveryPreset,
    EqualizerPresets,
    ::testing::Values(PresetWord{0, "Custom"}, PresetWord{1, "Flat"}, PresetWord{2, "VoiceEnhance"},
                      PresetWord{3, "MusicEnhance"}, PresetWord{4, "Loudness"}, PresetWord{5, "HumReduction"},
                      PresetWord{6, "BassBoost"}, PresetWord{7, "BassReduce"}, PresetWord{8, "TrebleBoost"},
                      PresetWord{9, "TrebleReduce"}, PresetWord{10, "Acoustic"}, PresetWord{11, "Classical"},
                      PresetWord{12, "Dance"}, PresetWord{13, "Deep"}, PresetWord{14, "Electronic"},
                      PresetWord{15, "Hip-hop"}, PresetWord{16, "Jazz"}, PresetWord{17, "Latin"},
                      PresetWord{18, "Lounge"}, PresetWord{19, "Piano"}, PresetWord{20, "Pop"}, PresetWord{21, "RNB"},
                      PresetWord{22, "Rock"}, PresetWord{23, "SmallSpeakers"}, PresetWord{24, "Saved"},
                      PresetWord{25, "UNKNOWN"}, PresetWord{-1, "UNKNOWN"}));

TEST_F(EffectEvents, chroma_key_crop_and_mono_carry_their_own_parameters)
{
    Effect::ChromaKey key;
    key.tolerance = 42;
    EXPECT_EQ(publishOne(AppliedNotification<Effect::ChromaKey>(key, 9)).params,
              (Params{{"PARAM_TOLERANCE", "42"}, {"PARAM_NOISE", "10"}, {"PARAM_EDGES", "10"}, {"PARAM_OPACITY", "100"}}));

    const auto crop = publishOne(AppliedNotification<Effect::Crop>({}, 5));
    EXPECT_EQ(crop.name, "CROP_APPLIED");
    EXPECT_EQ(crop.params, (Params{{"CLIPS_IN_SELECTION", "5"}}));

    const auto mono = publishOne(AppliedNotification<Effect::AudioMonoChannel>({}, 5));
    EXPECT_EQ(mono.name, "AUDIO_MONO_CHANNEL_APPLIED");
    EXPECT_TRUE(mono.params.empty());
}

struct ToolsCase
{
    const char *name;
    std::vector<std::pair<Effect::ManualEnhance::Tool, double>> changes;
    const char *used;
};

class ManualColourTools : public TrackedEvents, public ::testing::WithParamInterface<ToolsCase>
{};

TEST_P(ManualColourTools, lists_only_changed_tools_in_table_order)
{
    Effect::ManualEnhance colour;
    for (const auto &[tool, value] : GetParam().changes)
        colour.setValue(tool, value);
    const auto event = publishOne(AppliedNotification<Effect::ManualEnhance>(colour, 2));
    EXPECT_EQ(event.name, "MANUAL_COLOR_ADJUSTMENTS_APPLIED");
    EXPECT_EQ(event.params, (Params{{"CLIPS_IN_SELECTION", "2"}, {"TOOLS_USED", GetParam().used}}));
}

using Tool = Effect::ManualEnhance::Tool;
INSTANTIATE_TEST_SUITE_P(
    ToolsUsed,
    ManualColourTools,
    ::testing::Values(ToolsCase{"none", {}, ""},
                      ToolsCase{"changed_back", {{Tool::Hue, 5}, {Tool::Hue, 0}}, ""},
                      ToolsCase{"out_of_order", {{Tool::Tint, 1}, {Tool::Brightness, -1}, {Tool::Gamma, 1.2}},
                                "Brightness,Gamma,Tint"},
                      ToolsCase{"gamma_at_one_is_untouched", {{Tool::Gamma, 1.0}, {Tool::Shadows, 0.5}}, "Shadows"},
                      ToolsCase{"all",
                                {{Tool::Brightness, 1}, {Tool::Contrast, 1}, {Tool::Saturation, 1}, {Tool::Highlights, 1},
                                 {Tool::Gamma, 2}, {Tool::Shadows, 1}, {Tool::Hue, 1}, {Tool::Temperature, 1}, {Tool::Tint, 1}},
                                "Brightness,Contrast,Saturation,Highlights,Gamma,Shadows,Hue,Temperature,Tint"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(EffectEvents, a_mask_reports_its_last_highlight_then_its_last_conceal)
{
    Effect::Mask mask;
    mask.edgeMode = Effect::Mask::Blur;
    mask.highlights.push_back({Effect::MaskShape::Rectangle, {}, 0.1, 0.1, 0, false});
    mask.highlights.push_back({Effect::MaskShape::Circle, {}, 0.75, 0.5, 0, true});
    mask.conceals.push_back({Effect::MaskShape::Rectangle, {}, 1.0, 0.0, 35.5, false});

    const auto events = publish(AppliedNotification<Effect::Mask>(mask, 1));
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].name, "HIGHLIGHT_APPLIED");
    EXPECT_EQ(events[0].params, (Params{{"PARAM_MASK", "circle"},
                                        {"PARAM_MODE", "blur"},
                                        {"PARAM_OPACITY", "0.75"},
                                        {"PARAM_SMOOTH_BORDER", "0.5"},
                                        {"PARAM_OUTLINE", "true"}}));
    EXPECT_EQ(events[1].name, "CONCEAL_APPLIED");
    EXPECT_EQ(events[1].params, (Params{{"PARAM_MASK", "rectangle"},
                                        {"PARAM_MODE", "blur"},
                                        {"PARAM_OPACITY", "1"},
                                        {"PARAM_SMOOTH_BORDER", "0"},
                                        {"PARAM_PIXELATION_PERCENT", "35.5"},
                                        {"PARAM_OUTLINE", "false"}}));
}

TEST_F(EffectEvents, a_mask_of_one_family_or_none_reports_that_much)
{
    Effect::Mask mask;
    EXPECT_TRUE(publish(AppliedNotification<Effect::Mask>(mask, 1)).empty());

    mask.conceals.emplace_back();
    mask.conceals.back().shape = 7; // a shape this build does not know
    mask.edgeMode = 9;
    const auto event = publishOne(AppliedNotification<Effect::Mask>(mask, 1));
    EXPECT_EQ(event.name, "CONCEAL_APPLIED");
    EXPECT_EQ(event.params.at("PARAM_MASK"), "");
    EXPECT_EQ(event.params.at("PARAM_MODE"), "");
}

TEST_F(EffectEvents, presets_report_the_text_they_carry)
{
    EXPECT_EQ(publishOne(Statistics::AnimationPresetApplied(QStringLiteral("zoom-ïn"))).params,
              (Params{{"PRESET_ID", "zoom-ïn"}}));
    const auto panZoom = publishOne(Statistics::PanZoomPresetApplied(QStringLiteral("pan-left")));
    EXPECT_EQ(panZoom.name, "PAN_AND_ZOOM_ADDED");
    EXPECT_EQ(panZoom.params, (Params{{"PRESET_ID", "pan-left"}}));
    const auto pip = publishOne(Statistics::PipPresetApplied(QStringLiteral("corner")));
    EXPECT_EQ(pip.name, "PIP_MODE_CHANGED");
    EXPECT_EQ(pip.params, (Params{{"MODE", "corner"}}));
}

TEST_F(EffectEvents, processing_reports_whole_seconds_and_its_time_only_when_known)
{
    Statistics::ProcessingEffectNotification processing(QStringLiteral("BACKGROUND_REMOVAL_PROCESSED"),
                                                        QStringLiteral("precise"));
    processing.sourceDuration = MTime::fromMSec(61999);
    processing.segmentDuration = MTime::fromMSec(999);
    processing.reuse = true;
    auto event = publishOne(processing);
    EXPECT_EQ(event.name, "BACKGROUND_REMOVAL_PROCESSED");
    EXPECT_EQ(event.params, (Params{{"METHOD", "precise"},
                                    {"SOURCE_DURATION_S", "61"},
                                    {"SEGMENT_DURATION_S", "0"},
                                    {"REUSE", "true"}}));

    processing.processingTime = MTime::fromMSec(4500);
    EXPECT_EQ(publishOne(processing).params.at("PROCESSING_TIME_S"), "4");

    const auto denoise = publishOne(Statistics::AudioNoiseSuppressAppliedNotification(QStringLiteral("ai"), MTime::fromMSec(3000)));
    EXPECT_EQ(denoise.name, "NOISE_REMOVAL_APPLIED");
    EXPECT_EQ(denoise.params, (Params{{"METHOD", "ai"}, {"SOURCE_DURATION_S", "3"}}));

    const auto delay = publishOne(Statistics::AiDenoiseCancellingDelayNotification(MTime::fromMSec(12345)));
    EXPECT_EQ(delay.name, "AI_DENOISE_CANCELLING_DELAY");
    EXPECT_EQ(delay.params, (Params{{"DELAY_S", "12"}}));
}

struct ZoomWord
{
    int zoom;
    const char *word;
};

class StabilizationEvents : public TrackedEvents, public ::testing::WithParamInterface<ZoomWord>
{};

TEST_P(StabilizationEvents, report_the_run_settings)
{
    using Request = Stabilization::FileStabilizeRequest;
    const auto event = publishOne(Request(15, 4, 6, 10, static_cast<Request::Zoom>(GetParam().zoom)));
    EXPECT_EQ(event.name, "STABILIZATION_STARTED");
    EXPECT_EQ(event.params, (Params{{"PARAM_ACCURACY", "15"},
                                    {"PARAM_SHAKINESS", "4"},
                                    {"PARAM_STEPSIZE", "6"},
                                    {"PARAM_SMOOTHING", "10"},
                                    {"PARAM_OPTZOOM", GetParam().word}}));
}

INSTANTIATE_TEST_SUITE_P(ZoomModes,
                         StabilizationEvents,
                         ::testing::Values(ZoomWord{0, "Disabled"}, ZoomWord{1, "Static"}, ZoomWord{2, "Adaptive"},
                                           ZoomWord{3, ""}));

} // namespace
