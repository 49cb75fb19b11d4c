#include "audio/soundoutput.h"

#include "eventwait.h"
#include "steppedclock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using TestSupport::SteppedClock;

using namespace std::chrono_literals;

// A machine without sound plays in the same time as one with: the null output takes each 10 ms
// block only when the chronometer is within its lead of the block's end.
TEST(NullSoundOutput, takes_the_samples_at_the_chronometers_pace)
{
    SteppedClock clock;
    auto chronometer = std::make_shared<AudIO::Chronometer>(clock);
    chronometer->start(MTime::fromSec(5));
    const auto output = AudIO::nullSoundOutput({ 48000, 2 }, chronometer, 40ms);
    EXPECT_EQ(output->name(), "null");
    std::atomic<int> written { 0 };
    std::thread writer([&] {
        const std::vector<float> block(480 * 2, 0.0f);
        for (int i = 0; i < 100; ++i) {
            output->write(block.data(), 480);
            ++written;
        }
    });

    ASSERT_TRUE(TestSupport::waitUntil([&] { return written.load() >= 4; }));
    EXPECT_EQ(written.load(), 4) << "40 ms ahead of a clock that stands";
    clock.step(10ms);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return written.load() >= 5; }));
    EXPECT_EQ(written.load(), 5);
    output->interrupt();
    writer.join();
    EXPECT_EQ(written.load(), 100) << "an interrupted output takes the rest at once";
}

} // namespace
