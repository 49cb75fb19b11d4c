#pragma once

#include "audio_export.h"

#include "audio/audiodeviceinfo.h"
#include "audio/clock.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace AudIO {

// Where a playback's sound goes: the system's default output through PortAudio or, when the
// machine has none, a null output that takes the samples at the pace of the playback's
// chronometer, so a headless machine plays in the same time as one with speakers. One thread
// writes; any thread may interrupt.
class AUDIO_EXPORT SoundOutput {
public:
    virtual ~SoundOutput();
    SoundOutput(const SoundOutput &) = delete;
    SoundOutput &operator=(const SoundOutput &) = delete;

    // Blocks until the frames are taken: the device's buffer had room, or their time on the
    // chronometer came. Returns at once, taking nothing, once interrupted.
    virtual void write(const float *samples, int frames) = 0;
    // The writer's next or current write returns; nothing more is played.
    void interrupt() { m_interrupted = true; }
    // "null" or the device's name.
    virtual std::string name() const = 0;
    // How long a sample takes from write to the speaker, as the device reports it.
    virtual std::chrono::nanoseconds latency() const = 0;
    AudioFormat format() const { return m_format; }

protected:
    explicit SoundOutput(AudioFormat format)
        : m_format(format)
    {
    }
    bool interrupted() const { return m_interrupted.load(); }

private:
    const AudioFormat m_format;
    std::atomic<bool> m_interrupted { false };
};

// The null output: what a device would take, at the chronometer's pace, keeping `lead` ahead of
// it as a device's buffer would.
AUDIO_EXPORT std::unique_ptr<SoundOutput>
nullSoundOutput(AudioFormat format,
                std::shared_ptr<const Chronometer> chronometer,
                std::chrono::milliseconds lead = std::chrono::milliseconds(40));

// The system's default output, else the null output.
AUDIO_EXPORT std::unique_ptr<SoundOutput>
openSoundOutput(AudioFormat format, std::shared_ptr<const Chronometer> chronometer);

} // namespace AudIO
