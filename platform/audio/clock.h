#pragma once

#include "audio_export.h"

#include "util/mtime.h"

#include <chrono>
#include <mutex>

namespace AudIO {

// Where the audio platform reads the time. The real one is the steady clock; a test or a
// benchmark hands in its own to step time without waiting.
class AUDIO_EXPORT IClock {
public:
    virtual ~IClock();
    virtual std::chrono::nanoseconds now() const = 0;
};

AUDIO_EXPORT IClock &steadyClock();

// A running position on the timeline: a playback runs one while it plays, and a take reads it at
// its first sample and at its end, so a recording knows where it sits under the pictures. Any
// thread; the lock is only taken on start, stop and reads, never per sample.
class AUDIO_EXPORT Chronometer {
public:
    explicit Chronometer(const IClock &clock = steadyClock());

    // Runs from `from`; starting a running chronometer restarts it there.
    void start(MTime from = {});
    // Freezes the position where it is.
    void stop();
    bool isRunning() const;
    MTime position() const;

private:
    MTime positionLocked() const;

    const IClock &m_clock;
    mutable std::mutex m_mutex;
    bool m_running = false;
    MTime m_origin;
    std::chrono::nanoseconds m_startedAt {};
};

} // namespace AudIO
