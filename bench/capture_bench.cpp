// Voice-over capture, 60 s at 48 kHz stereo from the virtual input, beside what a developer would
// write instead: the same samples handed straight to libsndfile on one thread.
//
// - BM_Record_Pulled: the whole recording path (device block, gain and peak, the lock-free ring,
//   the writer, the take file with its header kept valid) pulled as fast as it goes. CPU time is
//   the process's, per recorded minute; `frames` must be exactly 2,880,000, `lost` 0.
// - BM_SndfileOnly: the same tone written with sf_writef_float in the same 10 ms blocks.
// - BM_Record_RealTime: ten seconds of the clocked input as a user records it: the share of one
//   core the recording takes, the frame count against the wall clock, and the time from Start()
//   to the first sample.

#include "audio/audiodevicemanager.h"
#include "audio/recordingstream.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <cmath>
#include <thread>

#include <sys/resource.h>

namespace {

using namespace std::chrono;
using AudIO::AudioDeviceManager;

constexpr int rate = 48000;
constexpr int takeSeconds = 60;

std::shared_ptr<AudIO::AudioReader> toneReader()
{
    auto &manager = AudioDeviceManager::Instance();
    return manager.CreateReader(manager.FindDeviceByUid("virtual:tone:440"), 5,
                                std::make_shared<AudIO::Chronometer>(), nullptr);
}

void BM_Record_Pulled(benchmark::State &state)
{
    auto &manager = AudioDeviceManager::Instance();
    manager.SetVirtualPacing(AudioDeviceManager::Pacing::Pulled);
    QTemporaryDir dir;
    AudIO::RecordingResult result;
    for (auto _ : state) {
        AudIO::RecordingStream stream(toneReader(), dir.path());
        stream.Start();
        for (int i = 0; i < takeSeconds * 10; ++i)
            manager.PullVirtualInputs(milliseconds(100));
        stream.Stop();
        result = stream.Result();
    }
    manager.SetVirtualPacing(AudioDeviceManager::Pacing::RealTime);
    state.counters["frames"] = static_cast<double>(result.frames);
    state.counters["lost"] = static_cast<double>(result.lostFrames);
    state.counters["overruns"] = result.overruns;
    state.SetItemsProcessed(state.iterations() * takeSeconds * rate);
}
BENCHMARK(BM_Record_Pulled)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

void BM_SndfileOnly(benchmark::State &state)
{
    QTemporaryDir dir;
    std::vector<float> block(static_cast<std::size_t>(rate / 100) * 2);
    for (auto _ : state) {
        SF_INFO info {};
        info.samplerate = rate;
        info.channels = 2;
        info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
        SNDFILE *file
            = sf_open(QFile::encodeName(dir.filePath(QStringLiteral("plain.wav"))).constData(),
                      SFM_WRITE, &info);
        double phase = 0;
        for (int b = 0; b < takeSeconds * 100; ++b) {
            for (int f = 0; f < rate / 100; ++f) {
                block[2 * f] = block[2 * f + 1] = static_cast<float>(0.5 * std::sin(phase));
                phase += 2 * M_PI * 440.0 / rate;
                if (phase >= 2 * M_PI)
                    phase -= 2 * M_PI;
            }
            sf_writef_float(file, block.data(), rate / 100);
        }
        sf_close(file);
    }
    state.SetItemsProcessed(state.iterations() * takeSeconds * rate);
}
BENCHMARK(BM_SndfileOnly)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

double processCpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec
        + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void BM_Record_RealTime(benchmark::State &state)
{
    QTemporaryDir dir;
    const auto length = std::chrono::seconds(state.range(0));
    for (auto _ : state) {
        AudIO::RecordingStream stream(toneReader(), dir.path());
        const double cpuBefore = processCpuSeconds();
        const auto wallBefore = steady_clock::now();
        stream.Start();
        std::this_thread::sleep_for(length);
        stream.Stop();
        const double wall = duration<double>(steady_clock::now() - wallBefore).count();
        const double cpu = processCpuSeconds() - cpuBefore;
        const AudIO::RecordingResult result = stream.Result();
        state.counters["cpu_pct_of_core"] = 100.0 * cpu / wall;
        state.counters["frames"] = static_cast<double>(result.frames);
        // Frames short of the wall clock: the last block in flight and the first one's latency.
        state.counters["frames_vs_clock"] = static_cast<double>(result.frames) - wall * rate;
        state.counters["lost"] = static_cast<double>(result.lostFrames);
        state.counters["overruns"] = result.overruns;
        state.counters["first_sample_ms"]
            = duration<double, std::milli>(result.firstSampleLatency).count();
    }
}

BENCHMARK(BM_Record_RealTime)->Arg(10)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
