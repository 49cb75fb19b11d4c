#include "tablerow.h"
#include "timeline/audioeffects.h"
#include "timeline/videoeffects.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace Effect;

// Every kind, default-constructed: the set the identity and equality rules must hold for.
std::vector<std::shared_ptr<Object>> everyKind()
{
    return { std::make_shared<AudioEqualizer>(),
             std::make_shared<ChromaKey>(),
             std::make_shared<Mask>(),
             std::make_shared<Crop>(),
             std::make_shared<ManualEnhance>(),
             std::make_shared<AudioReverb>(),
             std::make_shared<AudioCompressor>(),
             std::make_shared<AudioNoiseGate>(),
             std::make_shared<AudioMonoChannel>(),
             std::make_shared<BackgroundRemove>(),
             std::make_shared<Lut>() };
}

TEST(EffectKinds, every_identifier_reads_back_from_its_text)
{
    const auto kinds = everyKind();
    ASSERT_EQ(static_cast<int>(kinds.size()), idCount);
    for (const auto &effect : kinds) {
        Id id;
        ASSERT_TRUE(idFromText(idText(effect->id()), &id)) << idText(effect->id());
        EXPECT_EQ(id, effect->id());
    }
    Id id;
    EXPECT_FALSE(idFromText("Blur", &id));
    EXPECT_TRUE(idText(static_cast<Id>(idCount)).empty());
}

TEST(EffectKinds, a_clone_equals_its_original_and_a_default_differs_from_another_kind)
{
    const auto kinds = everyKind();
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        EXPECT_TRUE(*kinds[i]->clone() == *kinds[i]) << idText(kinds[i]->id());
        const auto &other = *kinds[(i + 1) % kinds.size()];
        EXPECT_TRUE(*kinds[i] != other) << idText(kinds[i]->id());
    }
}

// One changed parameter per kind must make it differ from its default: "applied with the
// defaults" is only honest when every parameter takes part in the comparison.
struct ChangedParameter : TestSupport::TableRow {
    std::function<std::unique_ptr<Object>()> make;
};

class EffectDefaults : public ::testing::TestWithParam<ChangedParameter> { };

TEST_P(EffectDefaults, a_changed_parameter_is_not_the_default)
{
    const auto changed = GetParam().make();
    const auto kinds = everyKind();
    const auto same = std::find_if(kinds.begin(), kinds.end(),
                                   [&](const auto &k) { return k->id() == changed->id(); });
    ASSERT_NE(same, kinds.end());
    EXPECT_FALSE(*changed == **same);
}

template<class E, class F> std::function<std::unique_ptr<Object>()> with(F change)
{
    return [change] {
        auto e = std::make_unique<E>();
        change(*e);
        return e;
    };
}

INSTANTIATE_TEST_SUITE_P(
    EveryParameterCounts,
    EffectDefaults,
    ::testing::Values(
        ChangedParameter { "equalizer_preset",
                           with<AudioEqualizer>([](auto &e) { e.preset = AudioEqualizer::Rock; }) },
        ChangedParameter { "equalizer_band",
                           with<AudioEqualizer>([](auto &e) { e.gains[3] = 2.5; }) },
        ChangedParameter { "reverb_balance",
                           with<AudioReverb>([](auto &e) { e.dryWetBalance = 0.5; }) },
        ChangedParameter { "reverb_delay",
                           with<AudioReverb>([](auto &e) { e.delay = MTime::fromMSec(40); }) },
        ChangedParameter { "compressor_release",
                           with<AudioCompressor>([](auto &e) { e.release = MTime::fromMSec(1); }) },
        ChangedParameter { "compressor_blend",
                           with<AudioCompressor>([](auto &e) { e.blend = 0.5; }) },
        ChangedParameter { "gate_range", with<AudioNoiseGate>([](auto &e) { e.range = -10; }) },
        ChangedParameter { "mono_source", with<AudioMonoChannel>([](auto &e) {
                               e.source = AudioMonoChannel::Left;
                           }) },
        ChangedParameter { "chroma_noise", with<ChromaKey>([](auto &e) { e.noise = 11; }) },
        ChangedParameter { "chroma_color",
                           with<ChromaKey>([](auto &e) { e.keyColor = 0xff0000ff; }) },
        ChangedParameter { "mask_shape_added",
                           with<Mask>([](auto &e) { e.conceals.emplace_back(); }) },
        ChangedParameter { "mask_edge", with<Mask>([](auto &e) { e.edgeMode = Mask::Blur; }) },
        ChangedParameter { "crop_side", with<Crop>([](auto &e) { e.bottom = 0.1; }) },
        ChangedParameter { "colour_tint", with<ManualEnhance>([](auto &e) {
                               e.setValue(ManualEnhance::Tint, 3);
                           }) },
        ChangedParameter { "colour_preset",
                           with<ManualEnhance>([](auto &e) { e.setUniqueId("warm"); }) },
        ChangedParameter { "background_quality", with<BackgroundRemove>([](auto &e) {
                               e.qualityMode = BackgroundRemove::Precise;
                           }) },
        ChangedParameter { "lut_intensity", with<Lut>([](auto &e) { e.intensity = 0.4; }) }),
    TestSupport::tableRowName);

} // namespace
