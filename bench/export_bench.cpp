// The export engine beside the ffmpeg command line running the very same filter graph: a 60 s
// project of six clips (1080p and 360p, 30 and 25 fps, with sound) joined by five dissolves, a
// title track and a half-opaque overlay track, rendered at 1280x720 and 30 fps, encoded with x264's
// ultrafast preset and AAC into MP4. Each export runs in a child process of its own (this program,
// or ffmpeg), so the wall time and the peak resident size (wait4's ru_maxrss) of both are
// measured the same way; rounds alternate, medians compared. Then the picture at a moment of a
// 1080p H.264 timeline, beside `ffmpeg -ss S -i FILE -frames:v 1`.

#include "exportengine/exportengine.h"
#include "exportengine/filtergraph.h"
#include "exportengine/renderplan.h"

#include "childcost.h"
#include "mediasamples.h"

#include "media/mediaprobe.h"
#include "timeline/timeline.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

struct ClipSpec {
    const char *size;
    const char *rate;
};
// Ten seconds each, sixty in all.
const ClipSpec clipSpecs[] = { { "1920x1080", "30" }, { "640x360", "25" },   { "1920x1080", "30" },
                               { "640x360", "25" },   { "1920x1080", "30" }, { "640x360", "25" } };

QString folder;

QStringList clips()
{
    QStringList paths;
    for (std::size_t i = 0; i < std::size(clipSpecs); ++i)
        paths << QStringLiteral("%1/clip%2.mp4").arg(folder).arg(i);
    return paths;
}

void makeClips()
{
    const QStringList paths = clips();
    for (std::size_t i = 0; i < std::size(clipSpecs); ++i) {
        TestSupport::MediaSamples::runFfmpeg(
            { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
              QStringLiteral("testsrc2=size=%1:rate=%2:duration=10")
                  .arg(QLatin1String(clipSpecs[i].size), QLatin1String(clipSpecs[i].rate)),
              QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
              QStringLiteral("sine=frequency=%1:sample_rate=44100:duration=10").arg(300 + 100 * i),
              QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-preset"),
              QStringLiteral("veryfast"), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"),
              QStringLiteral("-c:a"), QStringLiteral("aac"), paths[static_cast<int>(i)] });
    }
}

// The project: the six clips on the main track joined by dissolves, a title over each third, and
// a 360p clip at half opacity over the middle.
void buildTimeline(Timeline::Model &timeline)
{
    timeline.addTrack(Timeline::TrackType::Video);
    timeline.addTrack(Timeline::TrackType::Overlay);
    timeline.addTrack(Timeline::TrackType::Title);
    MTime at;
    Timeline::ClipId previous = 0;
    for (const QString &path : clips()) {
        auto clip = std::make_unique<Timeline::Clip>(
            Timeline::ClipKind::Clip, std::make_shared<Media::File>(Media::probe(path)));
        clip->setPosition(at);
        clip->setDuration(MTime::fromSec(10));
        at = at + MTime::fromSec(10);
        const Timeline::ClipId id = timeline.placeClip(0, std::move(clip)).id();
        if (previous)
            timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Dissolve),
                                   previous, id);
        previous = id;
    }
    auto over = std::make_unique<Timeline::Clip>(
        Timeline::ClipKind::Clip, std::make_shared<Media::File>(Media::probe(clips()[1])));
    over->setPosition(MTime::fromSec(20));
    over->setDuration(MTime::fromSec(10));
    over->setOpacity(50);
    timeline.placeClip(1, std::move(over));
    for (int i = 0; i < 3; ++i) {
        auto title = std::make_unique<Timeline::Clip>(Timeline::ClipKind::Title);
        title->setPosition(MTime::fromSec(20 * i + 2));
        title->setDuration(MTime::fromSec(8));
        title->setTitleItem(Timeline::TitleItem {
            Timeline::TitleItem::Title, QStringLiteral("Part %1").arg(i + 1), {} });
        timeline.placeClip(2, std::move(title));
    }
}

// The engine's export, in this (child) process.
int exportInProcess(const QString &out)
{
    Timeline::Model timeline;
    buildTimeline(timeline);
    Export::ExportPreset preset;
    preset.id = QStringLiteral("bench_720p_ultrafast");
    preset.outputFormat = QStringLiteral("mp4");
    preset.videoCodec = QStringLiteral("h264");
    preset.audioCodec = QStringLiteral("aac");
    preset.frameSize = QSize(1280, 720);
    preset.frameRate = { 30, 1 };
    preset.speed = Export::EncodingSpeed::Ultrafast; // x264's default quality (CRF 23), as the CLI
    preset.sampleRate = 48000;
    preset.channelLayout = 3;

    struct Done : Export::ExportStateWatcher {
        void exportStarted(const Export::ExportState &) override { }
        void exportFinished(const Export::ExportState &) override { QCoreApplication::exit(0); }
        void exportCancelled(const Export::ExportState &) override { QCoreApplication::exit(1); }
        void exportFailed(const Export::ExportState &, const Export::ExportErrorDesc &e) override
        {
            std::fprintf(stderr, "%s\n", qPrintable(e.info));
            QCoreApplication::exit(1);
        }
    } done;
    Export::Engine engine;
    engine.start(timeline, preset, {}, out);
    return QCoreApplication::exec();
}

// The same export with the command line, running the graph the engine runs.
QStringList ffmpegArguments(const QString &out)
{
    Timeline::Model timeline;
    buildTimeline(timeline);
    const Export::RenderPlan plan = Export::planRender(timeline, {});
    const QString video = Export::videoGraph(plan, { QSize(1280, 720), { 30, 1 } });
    const QString audio = Export::audioGraph(plan, {});
    return { QStringLiteral("ffmpeg"),
             QStringLiteral("-y"),
             QStringLiteral("-v"),
             QStringLiteral("error"),
             QStringLiteral("-filter_complex"),
             QString(video).replace(QLatin1String("[out]"), QLatin1String("[v]")),
             QStringLiteral("-filter_complex"),
             QString(audio).replace(QLatin1String("[out]"), QLatin1String("[a]")),
             QStringLiteral("-map"),
             QStringLiteral("[v]"),
             QStringLiteral("-map"),
             QStringLiteral("[a]"),
             QStringLiteral("-c:v"),
             QStringLiteral("libx264"),
             QStringLiteral("-preset"),
             QStringLiteral("ultrafast"),
             QStringLiteral("-c:a"),
             QStringLiteral("aac"),
             QStringLiteral("-b:a"),
             QStringLiteral("192k"),
             out };
}

using Bench::ChildCost;
using Bench::runChild;

QString self;

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// Both exports in each round, one after the other: the machine's load changes over a run, and
// both sides see the same.
void BM_Export_EngineVsCommandLine(benchmark::State &state)
{
    const QString engineOut = folder + QStringLiteral("/engine.mp4");
    const QString cliOut = folder + QStringLiteral("/cli.mp4");
    std::vector<double> engineTimes;
    std::vector<double> cliTimes;
    std::vector<double> engineCpu;
    std::vector<double> cliCpu;
    double enginePeak = 0;
    double cliPeak = 0;
    for (auto _ : state) {
        for (int round = 0; round < state.range(0); ++round) {
            QElapsedTimer clock;
            clock.start();
            const ChildCost e
                = runChild({ self, QStringLiteral("--export-child"), folder, engineOut });
            engineTimes.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e9);
            clock.start();
            const ChildCost c = runChild(ffmpegArguments(cliOut));
            cliTimes.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e9);
            if (e.peakMB < 0 || c.peakMB < 0) {
                state.SkipWithError("an export failed");
                return;
            }
            engineCpu.push_back(e.cpuSeconds);
            cliCpu.push_back(c.cpuSeconds);
            enginePeak = std::max(enginePeak, e.peakMB);
            cliPeak = std::max(cliPeak, c.peakMB);
        }
    }
    state.counters["engine_s"] = median(engineTimes);
    state.counters["cli_s"] = median(cliTimes);
    state.counters["ratio"] = median(engineTimes) / median(cliTimes);
    state.counters["engine_cpu_s"] = median(engineCpu);
    state.counters["cli_cpu_s"] = median(cliCpu);
    state.counters["engine_peak_MB"] = enginePeak;
    state.counters["cli_peak_MB"] = cliPeak;
    state.counters["engine_out_MB"] = static_cast<double>(QFileInfo(engineOut).size()) / (1 << 20);
    state.counters["cli_out_MB"] = static_cast<double>(QFileInfo(cliOut).size()) / (1 << 20);
}

BENCHMARK(BM_Export_EngineVsCommandLine)
    ->ArgName("rounds")
    ->Arg(3)
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

// The picture at a random moment of a 60 s 1080p H.264 timeline (the 1080p clips, repeated),
// written as a PNG, in process as the player and thumbnails ask for it; beside the tool asked for
// the same moment of the same file.
void BM_Frame_EngineVsCommandLine(benchmark::State &state)
{
    Timeline::Model timeline;
    timeline.addTrack(Timeline::TrackType::Video);
    for (int i = 0; i < 6; ++i) {
        auto clip = std::make_unique<Timeline::Clip>(
            Timeline::ClipKind::Clip, std::make_shared<Media::File>(Media::probe(clips()[0])));
        clip->setPosition(MTime::fromSec(10 * i));
        clip->setDuration(MTime::fromSec(10));
        timeline.placeClip(0, std::move(clip));
    }
    QRandomGenerator random(42);
    std::vector<double> engineTimes;
    std::vector<double> cliTimes;
    const QString engineOut = folder + QStringLiteral("/engine.png");
    const QString cliOut = folder + QStringLiteral("/cli.png");
    for (auto _ : state) {
        for (int round = 0; round < state.range(0); ++round) {
            const double at = random.bounded(59000) / 1000.0;
            QElapsedTimer clock;
            clock.start();
            const QImage picture
                = Export::pictureAt(timeline, MTime::fromSec(at), QSize(1920, 1080));
            // As the frame command writes it.
            if (picture.isNull() || !picture.save(engineOut, "png", 70)) {
                state.SkipWithError("no picture");
                return;
            }
            engineTimes.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e9);
            clock.start();
            const ChildCost c = runChild(
                { QStringLiteral("ffmpeg"), QStringLiteral("-y"), QStringLiteral("-v"),
                  QStringLiteral("error"), QStringLiteral("-ss"),
                  QString::number(at - 10 * std::floor(at / 10), 'f', 3), QStringLiteral("-i"),
                  clips()[0], QStringLiteral("-frames:v"), QStringLiteral("1"), cliOut });
            cliTimes.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e9);
            if (c.peakMB < 0) {
                state.SkipWithError("the tool failed");
                return;
            }
        }
    }
    state.counters["engine_s"] = median(engineTimes);
    state.counters["cli_s"] = median(cliTimes);
    state.counters["ratio"] = median(engineTimes) / median(cliTimes);
}

BENCHMARK(BM_Frame_EngineVsCommandLine)
    ->ArgName("pictures")
    ->Arg(15)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 4 && std::strcmp(argv[1], "--export-child") == 0) {
        folder = QString::fromLocal8Bit(argv[2]);
        return exportInProcess(QString::fromLocal8Bit(argv[3]));
    }
    self = QCoreApplication::applicationFilePath();
    benchmark::Initialize(&argc, argv);
    QTemporaryDir dir;
    folder = qEnvironmentVariableIsSet("EXPORT_BENCH_CLIPS")
        ? qEnvironmentVariable("EXPORT_BENCH_CLIPS")
        : dir.path();
    if (!QFileInfo::exists(clips().last()))
        makeClips();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
