#pragma once

#include <QFile>
#include <QString>

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace TestSupport {

// An audio file read back whole, as a player would see it.
struct AudioFileData {
    int sampleRate = 0;
    int channels = 0;
    int format = 0; // SF_FORMAT_* major type
    std::vector<float> samples; // interleaved
    std::int64_t frames() const { return channels ? std::int64_t(samples.size()) / channels : 0; }
    float at(std::int64_t frame, int channel = 0) const
    {
        return samples[frame * channels + channel];
    }
};

inline AudioFileData readAudioFile(const QString &path)
{
    SF_INFO info {};
    SNDFILE *file = sf_open(QFile::encodeName(path).constData(), SFM_READ, &info);
    if (!file)
        throw std::runtime_error("not readable audio: " + path.toStdString());
    AudioFileData data;
    data.sampleRate = info.samplerate;
    data.channels = info.channels;
    data.format = info.format & SF_FORMAT_TYPEMASK;
    data.samples.resize(static_cast<std::size_t>(info.frames) * info.channels);
    const sf_count_t got = sf_readf_float(file, data.samples.data(), info.frames);
    data.samples.resize(static_cast<std::size_t>(got) * info.channels);
    sf_close(file);
    return data;
}

// Sign changes of one channel over [from, to): a sine of f Hz makes 2f of them a second.
inline int
zeroCrossings(const AudioFileData &data, std::int64_t from, std::int64_t to, int channel = 0)
{
    int crossings = 0;
    for (std::int64_t f = from + 1; f < to; ++f)
        crossings += (data.at(f - 1, channel) < 0.0f) != (data.at(f, channel) < 0.0f) ? 1 : 0;
    return crossings;
}

inline float peakOf(const AudioFileData &data, std::int64_t from, std::int64_t to)
{
    float peak = 0.0f;
    for (std::int64_t i = from * data.channels; i < to * data.channels; ++i)
        peak = std::max(peak, std::fabs(data.samples[static_cast<std::size_t>(i)]));
    return peak;
}

// Interleaved samples written as a 16-bit WAV.
inline void writeWav(const QString &path, int rate, int channels, const std::vector<float> &samples)
{
    SF_INFO info {};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE *file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file)
        throw std::runtime_error("cannot write " + path.toStdString());
    sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size() / channels));
    sf_close(file);
}

// A sine of `hz` at half scale, 16-bit WAV.
inline void writeToneFile(const QString &path, double hz, int rate, int channels, double seconds)
{
    const auto frames = static_cast<std::int64_t>(rate * seconds);
    std::vector<float> samples(static_cast<std::size_t>(frames) * channels);
    for (std::int64_t f = 0; f < frames; ++f) {
        for (int c = 0; c < channels; ++c)
            samples[f * channels + c]
                = static_cast<float>(0.5 * std::sin(2 * M_PI * hz * f / rate));
    }
    writeWav(path, rate, channels, samples);
}

// Silence with one click (2 ms at full scale) at `clickAt` seconds, 16-bit WAV: a sound whose
// place in time can be found again to the sample.
inline void
writeClickFile(const QString &path, int rate, int channels, double seconds, double clickAt)
{
    const auto frames = static_cast<std::int64_t>(rate * seconds);
    std::vector<float> samples(static_cast<std::size_t>(frames) * channels, 0.0f);
    const auto click = static_cast<std::int64_t>(rate * clickAt);
    for (std::int64_t f = click; f < std::min(frames, click + rate / 500); ++f) {
        for (int c = 0; c < channels; ++c)
            samples[f * channels + c] = 0.9f;
    }
    writeWav(path, rate, channels, samples);
}

// The first frame louder than half scale, in seconds from the start; -1 when there is none.
inline double firstClickSeconds(const AudioFileData &data)
{
    for (std::int64_t f = 0; f < data.frames(); ++f) {
        if (std::fabs(data.at(f)) > 0.5f)
            return static_cast<double>(f) / data.sampleRate;
    }
    return -1.0;
}

} // namespace TestSupport
