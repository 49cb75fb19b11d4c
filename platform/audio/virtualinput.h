#pragma once

#include "audio_export.h"

#include "audio/audioreader.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

// The input that every machine has: a generated tone ("virtual:tone:440") or a sound file played
// as if it were being spoken into the microphone ("virtual:file:PATH"). It is clocked like a
// real device, in 10 ms blocks on its own thread, or pulled by whoever asks for samples (tests,
// benchmarks), synchronously on their thread.
namespace AudIO::Virtual {

struct Source {
    enum class Kind { Tone, File } kind = Kind::Tone;
    double frequency = 440.0;
    std::string path;
};

// Null when `uid` is not a virtual device's identifier or names nothing usable (a tone outside
// 1 Hz-20 kHz, an empty path).
AUDIO_EXPORT std::optional<Source> parseUid(const std::string &uid);
AUDIO_EXPORT std::string defaultToneUid();

class AUDIO_EXPORT Reader : public AudioReader {
public:
    Reader(AudioDeviceInfo device,
           Source source,
           AudioFormat format,
           std::shared_ptr<Chronometer> chronometer,
           std::shared_ptr<SystemAudioRecorder> recorder,
           bool pulled);
    ~Reader() override;

    bool IsPulled() const override { return m_pulled; }
    // Delivers `duration` of input at once, then lets the consumer take it; pulled readers only.
    void pull(std::chrono::microseconds duration);

private:
    void open() override;
    void close() override;
    void generate(int frames);
    void run();

    class Impl;
    const std::unique_ptr<Impl> d;
    const bool m_pulled;
};

// The samples of a sound file's bytes in `format` (channels mapped, rate converted linearly);
// throws std::runtime_error with the reason. At most five minutes are taken.
AUDIO_EXPORT std::vector<float>
decodeSamples(const char *bytes, std::size_t size, AudioFormat format);
// The same for a file: only a regular file of at most 64 MiB, opened without blocking, is read;
// the error names it.
AUDIO_EXPORT std::vector<float> loadFileSamples(const std::string &path, AudioFormat format);

} // namespace AudIO::Virtual
