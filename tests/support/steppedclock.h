#pragma once

#include "audio/clock.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace TestSupport {

// An audio clock that moves only when the test says: a playback and a take that share it put
// each sample exactly where the test expects it.
class SteppedClock final : public AudIO::IClock {
public:
    std::chrono::nanoseconds now() const override { return std::chrono::nanoseconds(m_ns.load()); }
    void step(std::chrono::milliseconds by) { m_ns += std::chrono::nanoseconds(by).count(); }

private:
    std::atomic<std::int64_t> m_ns { 0 };
};

} // namespace TestSupport
