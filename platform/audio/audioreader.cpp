#include "audio/audioreader.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace AudIO {

namespace {

// Two seconds of samples: the writer takes them out every 50 ms, so only a stalled disk fills it.
constexpr int ringSeconds = 2;

} // namespace

AudioFormat formatForQuality(int quality)
{
    switch (quality) {
    case 0:
        return { 8000, 1 };
    case 1:
        return { 16000, 1 };
    case 2:
        return { 22050, 1 };
    case 3:
        return { 44100, 1 };
    case 4:
        return { 48000, 1 };
    case 6:
        return { 44100, 2 };
    case 7:
        return { 96000, 2 };
    default:
        return { 48000, 2 };
    }
}

AudioReader::AudioReader(AudioDeviceInfo device,
                         AudioFormat format,
                         std::shared_ptr<Chronometer> chronometer,
                         std::shared_ptr<SystemAudioRecorder> recorder)
    : m_device(std::move(device))
    , m_format(format)
    , m_chronometer(std::move(chronometer))
    , m_recorder(std::move(recorder))
    , m_samples(static_cast<std::size_t>(format.sampleRate) * format.channels * ringSeconds)
    , m_headers(static_cast<std::size_t>(format.sampleRate) * ringSeconds / 64)
    , m_scratch(static_cast<std::size_t>(maxBlockFrames) * format.channels)
    , m_drainBuffer(static_cast<std::size_t>(maxBlockFrames) * format.channels)
{
}

AudioReader::~AudioReader() = default;

void AudioReader::Start()
{
    if (m_running)
        return;
    m_startedAt = steadyClock().now();
    open();
    m_running = true;
}

void AudioReader::Stop()
{
    if (!m_running)
        return;
    close();
    m_running = false;
    if (m_ownsChronometer)
        m_chronometer->stop();
}

std::chrono::nanoseconds AudioReader::FirstSampleLatency() const
{
    if (!m_firstSampleSeen.load())
        return {};
    return std::chrono::nanoseconds(m_firstSampleNs.load()) - m_startedAt;
}

void AudioReader::deliver(const float *samples, int frames, int inChannels)
{
    if (!m_firstSampleSeen.load(std::memory_order_relaxed)) {
        m_firstSampleNs = steadyClock().now().count();
        if (m_chronometer) {
            // The block was filled before it was handed over, and the device's own buffers
            // held it before that: the first sample was spoken that much earlier.
            const auto age
                = MTime::fromMSec(std::chrono::duration_cast<std::chrono::milliseconds>(
                                      std::chrono::nanoseconds(static_cast<std::int64_t>(frames)
                                                               * 1000000000 / m_format.sampleRate)
                                      + m_reportedLatency)
                                      .count());
            // Without a playback the take keeps its own time, from zero at its first sample.
            if (!m_chronometer->isRunning()) {
                m_chronometer->start(age);
                m_ownsChronometer = true;
            }
            m_takeStart = m_chronometer->position() - age;
        }
        m_firstSampleSeen = true;
    }
    const int channels = m_format.channels;
    const float gain = m_gain.load(std::memory_order_relaxed);
    float peak = 0.0f;
    for (int done = 0; done < frames;) {
        const int n = std::min(frames - done, maxBlockFrames);
        const float *in = samples + static_cast<std::ptrdiff_t>(done) * inChannels;
        float *out = m_scratch.data();
        for (int f = 0; f < n; ++f) {
            for (int c = 0; c < channels; ++c) {
                const float s = in[f * inChannels + std::min(c, inChannels - 1)] * gain;
                out[f * channels + c] = s;
                peak = std::max(peak, std::fabs(s));
            }
        }
        push(out, n);
        done += n;
    }
    notePeak(peak);
}

void AudioReader::push(const float *samples, int frames)
{
    const std::size_t count = static_cast<std::size_t>(frames) * m_format.channels;
    if (m_samples.write_available() < count || m_headers.write_available() < 1) {
        m_lostUnreported.fetch_add(frames, std::memory_order_relaxed);
        m_lostTotal.fetch_add(frames, std::memory_order_relaxed);
        m_overruns.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    m_samples.push(samples, count);
    // The header goes in last, so the consumer never sees a block whose samples are not there.
    const auto lost = static_cast<int>(m_lostUnreported.exchange(0, std::memory_order_relaxed));
    m_headers.push(BlockHeader { frames, lost });
}

void AudioReader::deviceOverflowed(int lostFrames)
{
    m_overruns.fetch_add(1, std::memory_order_relaxed);
    if (lostFrames > 0) {
        m_lostUnreported.fetch_add(lostFrames, std::memory_order_relaxed);
        m_lostTotal.fetch_add(lostFrames, std::memory_order_relaxed);
    }
}

void AudioReader::notePeak(float peak)
{
    float seen = m_peak.load(std::memory_order_relaxed);
    while (peak > seen && !m_peak.compare_exchange_weak(seen, peak, std::memory_order_relaxed)) { }
}

void AudioReader::Drain(const Consumer &consume)
{
    BlockHeader header {};
    while (m_headers.pop(header)) {
        const std::size_t count = static_cast<std::size_t>(header.frames) * m_format.channels;
        const std::size_t got = m_samples.pop(m_drainBuffer.data(), count);
        if (got != count)
            throw std::logic_error("the capture ring lost its order");
        consume(m_drainBuffer.data(), header.frames, header.lostBefore);
    }
}

} // namespace AudIO
