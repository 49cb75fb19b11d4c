#pragma once

#include "audio_export.h"

#include "audio/audiodeviceinfo.h"
#include "audio/clock.h"

#include <boost/lockfree/spsc_queue.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace AudIO {

class SystemAudioRecorder;

// What a finished take holds. Lost frames are input the writer could not take in time (or the
// device dropped); they are in the take as silence, so it stays in step with the timeline.
struct RecordingResult {
    std::int64_t frames = 0;
    std::int64_t lostFrames = 0;
    int overruns = 0; // times input was lost: a full ring, or the device's own overflow
    AudioFormat format;
    std::chrono::nanoseconds firstSampleLatency {}; // from Start() to the first block in
};

// One open input device. Its samples arrive on the device's own thread (or the thread that pulls
// a virtual input) and go through a lock-free ring to one consumer, the recording stream; that
// path takes no lock and allocates nothing. Start and Stop belong to the owner's thread.
class AUDIO_EXPORT AudioReader {
public:
    virtual ~AudioReader();
    AudioReader(const AudioReader &) = delete;
    AudioReader &operator=(const AudioReader &) = delete;

    const AudioDeviceInfo &Device() const { return m_device; }
    AudioFormat Format() const { return m_format; }

    // Opens the device and starts delivering; throws std::runtime_error with the reason.
    void Start();
    // Stops delivering; the samples already in the ring stay there for the consumer.
    void Stop();
    bool IsRunning() const { return m_running.load(); }
    // The device stopped on its own (unplugged, its server gone).
    bool IsDeviceLost() const { return m_deviceLost.load(); }
    // A pulled virtual input delivers only when the manager is told to pull, on that thread.
    virtual bool IsPulled() const { return false; }

    // Calls `consume(samples, frames, lostBefore)` for each block in the ring, in order; a block
    // lost to a full ring is reported as `lostBefore` of the next one. Consumer thread only.
    using Consumer = std::function<void(const float *samples, int frames, int lostBefore)>;
    void Drain(const Consumer &consume);
    // Input lost after the last block in the ring; read once the reader has stopped.
    std::int64_t TakeTrailingLoss() { return m_lostUnreported.exchange(0); }
    // Set once by the recording stream: what to run after a pull has filled the ring.
    void SetPulledConsumer(std::function<void()> afterPull) { m_afterPull = std::move(afterPull); }

    void SetGain(float gain) { m_gain.store(gain, std::memory_order_relaxed); }
    // The highest absolute sample since the last call, after gain; 0 when nothing came.
    float TakePeak() { return m_peak.exchange(0.0f); }
    std::int64_t LostFrames() const { return m_lostTotal.load(); }
    int Overruns() const { return m_overruns.load(); }
    std::chrono::nanoseconds FirstSampleLatency() const;
    // The timeline position when the first sample was spoken: the chronometer's as the first
    // block came in, less the block's own length and the latency the device reports.
    MTime TakeStart() const { return m_takeStart; }
    std::chrono::nanoseconds ReportedLatency() const { return m_reportedLatency; }
    const std::shared_ptr<Chronometer> &chronometer() const { return m_chronometer; }

protected:
    AudioReader(AudioDeviceInfo device,
                AudioFormat format,
                std::shared_ptr<Chronometer> chronometer,
                std::shared_ptr<SystemAudioRecorder> recorder);

    virtual void open() = 0;
    virtual void close() = 0;

    // The device callback's way in: `frames` frames of `inChannels` interleaved floats. Channels
    // are mapped onto the reader's format (a mono device fills both sides).
    void deliver(const float *samples, int frames, int inChannels);
    void deviceOverflowed(int lostFrames);
    void deviceLost() { m_deviceLost = true; }
    // How long a sample takes from the microphone to the callback, as the device reports it;
    // set before the device starts delivering.
    void setReportedLatency(std::chrono::nanoseconds latency) { m_reportedLatency = latency; }
    void afterPull()
    {
        if (m_afterPull)
            m_afterPull();
    }
    // The longest block the device may deliver at once; a longer one is split.
    static constexpr int maxBlockFrames = 4096;

private:
    void push(const float *samples, int frames);
    void notePeak(float peak);

    struct BlockHeader {
        int frames;
        int lostBefore;
    };

    const AudioDeviceInfo m_device;
    const AudioFormat m_format;
    const std::shared_ptr<Chronometer> m_chronometer;
    const std::shared_ptr<SystemAudioRecorder> m_recorder;
    bool m_ownsChronometer = false;
    std::atomic<bool> m_running { false };
    MTime m_takeStart;

    boost::lockfree::spsc_queue<float> m_samples;
    boost::lockfree::spsc_queue<BlockHeader> m_headers;
    std::vector<float> m_scratch; // the device thread's
    std::vector<float> m_drainBuffer; // the consumer's
    std::function<void()> m_afterPull;

    std::atomic<float> m_gain { 1.0f };
    std::atomic<float> m_peak { 0.0f };
    std::atomic<std::int64_t> m_lostUnreported { 0 };
    std::atomic<std::int64_t> m_lostTotal { 0 };
    std::atomic<int> m_overruns { 0 };
    std::atomic<bool> m_deviceLost { false };
    std::atomic<bool> m_firstSampleSeen { false };
    std::atomic<std::int64_t> m_firstSampleNs { 0 };
    std::chrono::nanoseconds m_startedAt {};
    std::chrono::nanoseconds m_reportedLatency {};
};

} // namespace AudIO
