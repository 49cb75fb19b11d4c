// Media analysis in this process beside the tool a user would script: ffprobe, once per file.
// The files are real (made with the ffmpeg tool in the set-up): one of each kind the editor
// meets most, from H.264 in MP4 to a 10-bit PQ HEVC file. Reports files per second and the ratios.

#include "media/mediaprobe.h"

#include "mediasamples.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QThreadPool>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fcntl.h>
#include <map>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char **environ;

namespace {

const TestSupport::MediaSamples &samples()
{
    static const TestSupport::MediaSamples set(QStringList {
        QStringLiteral("h264_aac.mp4"), QStringLiteral("hevc.mkv"), QStringLiteral("vp9_opus.webm"),
        QStringLiteral("mpeg4_pcm.mov"), QStringLiteral("tone.mp3"), QStringLiteral("tone.wav"),
        QStringLiteral("tone.flac"), QStringLiteral("still.png"), QStringLiteral("still.jpg"),
        QStringLiteral("pq10.mkv") });
    return set;
}

QStringList files()
{
    QStringList paths;
    for (const char *name :
         { "h264_aac.mp4", "hevc.mkv", "vp9_opus.webm", "mpeg4_pcm.mov", "tone.mp3", "tone.wav",
           "tone.flac", "still.png", "still.jpg", "pq10.mkv" })
        paths << samples().path(QLatin1String(name));
    return paths;
}

std::map<std::string, double> &rates()
{
    static std::map<std::string, double> r;
    return r;
}

void record(benchmark::State &state, std::int64_t filesPerIteration)
{
    state.SetItemsProcessed(state.iterations() * filesPerIteration);
    state.counters["files_per_s"] = benchmark::Counter(
        static_cast<double>(state.iterations() * filesPerIteration), benchmark::Counter::kIsRate);
}

void BM_ProbeInProcess_OneThread(benchmark::State &state)
{
    const QStringList paths = files();
    for (auto _ : state) {
        for (const QString &path : paths) {
            const Media::File file = Media::probe(path);
            if (!file.isOpened())
                state.SkipWithError("a sample did not open");
            benchmark::DoNotOptimize(file.videoTracks.size());
        }
    }
    record(state, paths.size());
}

// As the editor analyses: one probe per file on a pool as wide as the machine has cores.
void BM_ProbeInProcess_AllCores(benchmark::State &state)
{
    const QStringList paths = files();
    QThreadPool pool;
    pool.setMaxThreadCount(std::max(1, QThread::idealThreadCount()));
    constexpr int rounds = 20; // a batch big enough that the pool's start-up does not dominate
    for (auto _ : state) {
        std::atomic<int> opened { 0 };
        for (int r = 0; r < rounds; ++r) {
            for (const QString &path : paths) {
                pool.start(QRunnable::create([path, &opened] {
                    if (Media::probe(path).isOpened())
                        opened.fetch_add(1);
                }));
            }
        }
        pool.waitForDone();
        if (opened.load() != rounds * paths.size())
            state.SkipWithError("a sample did not open");
    }
    record(state, rounds * paths.size());
}

// `ffprobe -show_format -show_streams FILE`, `parallel` of them at a time, output discarded.
void runFfprobe(const QStringList &paths, int parallel, benchmark::State &state)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    int running = 0;
    auto reap = [&] {
        int status = 0;
        if (::wait(&status) > 0) {
            --running;
            if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
                state.SkipWithError("ffprobe failed");
        }
    };
    for (const QString &path : paths) {
        const QByteArray file = path.toLocal8Bit();
        char *argv[] = { const_cast<char *>("ffprobe"),
                         const_cast<char *>("-v"),
                         const_cast<char *>("error"),
                         const_cast<char *>("-show_format"),
                         const_cast<char *>("-show_streams"),
                         const_cast<char *>(file.constData()),
                         nullptr };
        pid_t pid = 0;
        if (posix_spawnp(&pid, "ffprobe", &actions, nullptr, argv, environ) != 0) {
            state.SkipWithError("cannot start ffprobe");
            break;
        }
        if (++running >= parallel)
            reap();
    }
    while (running > 0)
        reap();
    posix_spawn_file_actions_destroy(&actions);
}

void BM_Ffprobe_OnePerFile(benchmark::State &state)
{
    const QStringList paths = files();
    for (auto _ : state)
        runFfprobe(paths, 1, state);
    record(state, paths.size());
}

void BM_Ffprobe_AllCores(benchmark::State &state)
{
    const QStringList paths = files();
    for (auto _ : state)
        runFfprobe(paths, std::max(1, QThread::idealThreadCount()), state);
    record(state, paths.size());
}

// Hostile files eight at a time, as a folder of them would be: MP4s of a thousand streams and PNGs
// declaring 16000x16000 are refused by their limits; PNGs of 8000x8000 are within them and decode,
// sharing the process-wide budget. The peak resident size of the process is the figure (run this
// one alone: --benchmark_filter=Hostile).
void BM_HostileProbes_EightAtOnce(benchmark::State &state)
{
    static const QTemporaryDir dir;
    static const QStringList paths = [] {
        QStringList made;
        const QString streams = dir.filePath(QStringLiteral("streams.mp4"));
        TestSupport::MediaSamples::makeManyStreams(streams, 1000);
        const QString vast = dir.filePath(QStringLiteral("vast.png"));
        const QString large = dir.filePath(QStringLiteral("large.png"));
        for (const auto &[path, side] :
             { std::pair { vast, 16000u }, std::pair { large, 8000u } }) {
            QFile file(path);
            if (!file.open(QIODevice::WriteOnly))
                return made;
            file.write(TestSupport::pngDeclaring(side, side));
        }
        for (int i = 0; i < 8; ++i)
            made << (i % 3 == 0 ? streams : i % 3 == 1 ? vast : large);
        return made;
    }();
    QThreadPool pool;
    pool.setMaxThreadCount(8);
    for (auto _ : state) {
        std::atomic<int> failed { 0 };
        for (const QString &path : paths) {
            pool.start(QRunnable::create([path, &failed] {
                if (Media::probe(path).isFailed())
                    failed.fetch_add(1);
            }));
        }
        pool.waitForDone();
        if (failed.load() < 6)
            state.SkipWithError("a hostile file was not refused");
    }
    rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_rss_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
    state.counters["budget_MB"] = static_cast<double>(Media::probeMemoryTotal >> 20);
}

BENCHMARK(BM_ProbeInProcess_OneThread)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_ProbeInProcess_AllCores)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_Ffprobe_OnePerFile)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_Ffprobe_AllCores)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_HostileProbes_EightAtOnce)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

// Keeps each run's rate so the ratios can be printed after the table.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            const auto it = run.counters.find("files_per_s");
            if (it != run.counters.end() && !run.error_occurred)
                rates()[run.benchmark_name()] = it->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

// The rate of the run whose name starts with `function` (its arguments follow a '/').
double rateOf(const std::string &function)
{
    for (const auto &[name, rate] : rates()) {
        if (name == function || name.rfind(function + "/", 0) == 0)
            return rate;
    }
    return 0;
}

void printRatio(const char *what, const std::string &ours, const std::string &theirs)
{
    const double a = rateOf(ours);
    const double b = rateOf(theirs);
    if (a <= 0 || b <= 0)
        return;
    std::printf("%-50s %9.1f files/s vs %6.1f files/s = %6.1fx\n", what, a, b, a / b);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    samples(); // made before any timing
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nThroughput ratios (higher is better for the editor):\n");
    printRatio("in-process, all cores / ffprobe one at a time", "BM_ProbeInProcess_AllCores",
               "BM_Ffprobe_OnePerFile");
    printRatio("in-process, all cores / ffprobe one per core", "BM_ProbeInProcess_AllCores",
               "BM_Ffprobe_AllCores");
    printRatio("in-process, one thread / ffprobe one at a time", "BM_ProbeInProcess_OneThread",
               "BM_Ffprobe_OnePerFile");
    benchmark::Shutdown();
    return 0;
}
