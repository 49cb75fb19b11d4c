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
// - BM_VoiceOver_Playback720p: a voice-over as a user makes one: a 720p H.264 timeline with its
//   sound played in real time at 640x360 and 30 pictures a second, to the default output (the
//   clocked null one on a machine without sound), while the virtual input records on the
//   playback's chronometer. Pictures dropped per minute (the goal is at most one) and the
//   process's CPU seconds per second of playback, beside `ffmpeg -re -i FILE -f null -` decoding
//   the same file in real time in a child process (its CPU seconds per second), as a ratio.

#include "audio/audiodevicemanager.h"
#include "audio/recordingstream.h"
#include "media/mediaprobe.h"
#include "playback/player.h"
#include "timeline/timeline.h"

#include "childcost.h"
#include "mediasamples.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

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

BENCHMARK(BM_Record_RealTime)->Arg(30)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_VoiceOver_Playback720p(benchmark::State &state)
{
    const int seconds = static_cast<int>(state.range(0));
    QTemporaryDir dir;
    const QString clip = dir.filePath(QStringLiteral("clip720.mp4"));
    TestSupport::MediaSamples::runFfmpeg(
        { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
          QStringLiteral("testsrc2=size=1280x720:rate=30:duration=%1").arg(seconds),
          QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
          QStringLiteral("sine=frequency=330:sample_rate=48000:duration=%1").arg(seconds),
          QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-preset"),
          QStringLiteral("veryfast"), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"),
          QStringLiteral("-c:a"), QStringLiteral("aac"), clip });
    Timeline::Model timeline;
    timeline.addTrack(Timeline::TrackType::Video);
    timeline.insertClip(0, MTime(), std::make_shared<Media::File>(Media::probe(clip)));

    for (auto _ : state) {
        Playback::Player player;
        player.setTimeline(&timeline);
        player.setPreviewSize({ 640, 360 });
        auto &manager = AudioDeviceManager::Instance();
        AudIO::RecordingStream stream(
            manager.CreateReader(manager.FindDeviceByUid("virtual:tone:440"), 5,
                                 player.chronometer(), nullptr),
            dir.path());
        QEventLoop loop;
        double cpuBefore = 0;
        steady_clock::time_point wallBefore;
        QObject::connect(&player, &Playback::Player::started, [&] {
            cpuBefore = processCpuSeconds();
            wallBefore = steady_clock::now();
            stream.Start();
        });
        QObject::connect(&player, &Playback::Player::stopped, &loop, &QEventLoop::quit);
        player.play();
        loop.exec();
        stream.Stop();
        const double wall = duration<double>(steady_clock::now() - wallBefore).count();
        const double cpu = processCpuSeconds() - cpuBefore;
        stream.Drop();

        const Bench::ChildCost ffmpeg = Bench::runChild(
            { QStringLiteral("ffmpeg"), QStringLiteral("-v"), QStringLiteral("error"),
              QStringLiteral("-re"), QStringLiteral("-i"), clip, QStringLiteral("-f"),
              QStringLiteral("null"), QStringLiteral("-") });
        const double ffmpegCpu = ffmpeg.ok() ? ffmpeg.cpuSeconds : -1;
        const double perSecond = cpu / wall;
        const double ffmpegPerSecond = ffmpegCpu / seconds;
        state.counters["dropped_per_min"] = player.droppedFrames() * 60.0 / wall;
        state.counters["shown"] = player.shownFrames();
        state.counters["cpu_s_per_s"] = perSecond;
        state.counters["ffmpeg_cpu_s_per_s"] = ffmpegPerSecond;
        state.counters["cpu_ratio_vs_ffmpeg"] = ffmpegCpu > 0 ? perSecond / ffmpegPerSecond : 0;
        state.counters["recorded_s"] = static_cast<double>(stream.Result().frames) / rate;
        state.counters["lost"] = static_cast<double>(stream.Result().lostFrames);
        if (!player.playbackError().isEmpty())
            state.SkipWithError(player.playbackError().toStdString().c_str());
    }
}

BENCHMARK(BM_VoiceOver_Playback720p)
    ->Arg(30)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    // The player runs on the event loop, as in the editor.
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
