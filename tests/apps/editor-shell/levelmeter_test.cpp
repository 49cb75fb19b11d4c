#include "levelmeter.h"
#include "tablerow.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using Shell::LevelMeter;

struct MeterCase : TestSupport::TableRow {
    std::function<void(LevelMeter &)> feed;
    double level;
    double hold;
    bool clipping;
};

class LevelMeterReads : public ::testing::TestWithParam<MeterCase> { };

TEST_P(LevelMeterReads, level_hold_and_clip_after_the_peaks_fed)
{
    LevelMeter meter;
    GetParam().feed(meter);
    EXPECT_NEAR(meter.levelDb(), GetParam().level, 0.05);
    EXPECT_NEAR(meter.holdDb(), GetParam().hold, 0.05);
    EXPECT_EQ(meter.clipping(), GetParam().clipping);
}

INSTANTIATE_TEST_SUITE_P(
    Shell,
    LevelMeterReads,
    ::testing::Values(MeterCase { "silence_sits_on_the_floor",
                                  [](LevelMeter &m) { m.update(0.0f, 0); }, -60, -60, false },
                      MeterCase { "half_scale_is_minus_6", [](LevelMeter &m) { m.update(0.5f, 0); },
                                  -6.02, -6.02, false },
                      MeterCase { "the_bar_falls_20_db_a_second_and_the_hold_stays",
                                  [](LevelMeter &m) {
                                      m.update(0.5f, 0);
                                      m.update(0.0f, 1000);
                                  },
                                  -26.02, -6.02, false },
                      MeterCase { "the_hold_lets_go_after_3_s",
                                  [](LevelMeter &m) {
                                      m.update(0.5f, 0);
                                      m.update(0.1f, 3000);
                                  },
                                  -20, -20, false },
                      MeterCase { "full_scale_lights_the_clip_mark_for_3_s",
                                  [](LevelMeter &m) {
                                      m.update(1.0f, 0);
                                      m.update(0.1f, 2900);
                                  },
                                  -20, 0, true },
                      MeterCase { "and_not_longer",
                                  [](LevelMeter &m) {
                                      m.update(1.0f, 0);
                                      m.update(0.1f, 3000);
                                  },
                                  -20, -20, false }),
    TestSupport::tableRowName);

} // namespace
