// A thousand files imported end to end, from the add request to every file placed on the
// timeline and reported, beside a bare parallel probe of the same files in the same program: the
// difference is what the layer costs on top of reading the media.

#include "Application/application.h"
#include "FileAnalyzer/model.h"
#include "FileAnalyzer/view.h"
#include "Messages/fileadder.h"

#include "mediasamples.h"

#include "dialogs/dialog.h"
#include "dialogs/terminalprogress.h"
#include "media/mediaprobe.h"
#include "project/project.h"
#include "pubsub/subscriber.h"
#include "tracking/generalvanteltracker.h"
#include "util/settingspaths.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QThreadPool>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

namespace {

constexpr int fileCount = 1000;

// A thousand real files: a hundred copies of each of ten kinds, each under its own name.
struct Library {
    Library()
    {
        const QStringList kinds { QStringLiteral("h264_aac.mp4"),  QStringLiteral("hevc.mkv"),
                                  QStringLiteral("vp9_opus.webm"), QStringLiteral("mpeg4_pcm.mov"),
                                  QStringLiteral("tone.mp3"),      QStringLiteral("tone.wav"),
                                  QStringLiteral("tone.flac"),     QStringLiteral("still.png"),
                                  QStringLiteral("still.jpg"),     QStringLiteral("pq10.mkv") };
        const TestSupport::MediaSamples samples(kinds);
        for (int i = 0; i < fileCount; ++i) {
            const QString kind = kinds[i % kinds.size()];
            const QString path
                = dir.filePath(QStringLiteral("%1 %2").arg(i, 4, 10, QLatin1Char('0')).arg(kind));
            QFile::copy(samples.path(kind), path);
            paths << path;
        }
    }
    QTemporaryDir dir;
    QStringList paths;
};

const Library &library()
{
    static const Library l;
    return l;
}

std::map<std::string, double> &times()
{
    static std::map<std::string, double> t;
    return t;
}

double &pairedOverhead()
{
    static double overhead = 0;
    return overhead;
}

// Probes every file on a pool as wide as the machine, as the analysis does, and nothing else.
// Returns how many opened.
int bareParallelProbe(const QStringList &paths)
{
    QThreadPool pool;
    pool.setMaxThreadCount(std::max(1, QThread::idealThreadCount()));
    std::atomic<int> opened { 0 };
    for (const QString &path : paths) {
        pool.start(QRunnable::create([path, &opened] {
            if (Media::probe(path).isOpened())
                opened.fetch_add(1);
        }));
    }
    pool.waitForDone();
    return opened.load();
}

void setRate(benchmark::State &state)
{
    state.SetItemsProcessed(state.iterations() * fileCount);
    state.counters["files_per_s"] = benchmark::Counter(
        static_cast<double>(state.iterations() * fileCount), benchmark::Counter::kIsRate);
}

void BM_BareParallelProbe(benchmark::State &state)
{
    for (auto _ : state) {
        if (bareParallelProbe(library().paths) != fileCount)
            state.SkipWithError("a file did not open");
    }
    setRate(state);
}

class QuietDialogs final : public Dialog::IDialogs {
public:
    bool question(const QString &, const QString &, const QString &, const QString &) override
    {
        return false;
    }
    void message(const QString &, const QString &, const QString &) override { }
};

class CountingSink final : public Vantel::Tracking::IEventSink {
public:
    void consume(const Vantel::Tracking::TrackedEvent &event) override { ++counts[event.name]; }
    std::map<std::string, int> counts;
};

// Waits for the request's analysis object to be let go: by then every file is placed and told.
class Done : public FileAnalyzer::View {
public:
    explicit Done(FileAnalyzer::Model &analysis)
        : View(analysis)
    {
    }
    void fileAnalyzerRemoveRequested(FileAnalyzer::Object *) override { loop.quit(); }
    QEventLoop loop;
};

// The intake as the application builds it, in a data folder of its own, with the terminal
// progress writing to nowhere.
class Intake {
public:
    Intake()
        : devnull(std::fopen("/dev/null", "w"))
    {
        Settings::setDataFolder(data.path());
        App::Options options;
        options.services = {};
        app = std::make_unique<App::Application>(std::move(options));
        app->tracker().addSink(sink);
        app->setDialogs(std::make_shared<QuietDialogs>());
        app->setProgressFactory(std::make_shared<Report::TerminalProgressFactory>(devnull));
        done = std::make_unique<Done>(app->analysis());
    }
    ~Intake()
    {
        done.reset();
        app.reset();
        std::fclose(devnull);
    }

    // Imports the files onto a fresh timeline; true when every one was placed and reported.
    bool import(const QStringList &paths)
    {
        app->setProject(Project::Object::createNew());
        Project::Object *project = &app->project();
        FileAdder::Contexts contexts;
        contexts.timeline = FileAdder::TimelineContext { &project->timeline(), 0, MTime() };
        sink->counts.clear();
        PubSub::publish(FileAdder::AddMediaFiles(paths, FileAdder::Asrc::ImportFolders, contexts));
        done->loop.exec();
        // Pictures and videos go on the video track, sound files on a sound track.
        std::size_t placed = 0;
        for (int t = 0; t < project->timeline().trackCount(); ++t)
            placed += project->timeline().track(t).clipCount();
        const bool complete = placed == static_cast<std::size_t>(paths.size())
            && sink->counts["FILE_ADDED"] == paths.size()
            && sink->counts["FILE_OPENED"] == paths.size();
        return complete;
    }

private:
    QTemporaryDir data;
    std::FILE *devnull;
    std::shared_ptr<CountingSink> sink = std::make_shared<CountingSink>();
    std::unique_ptr<App::Application> app;
    std::unique_ptr<Done> done;
};

void BM_ImportThroughLayer(benchmark::State &state)
{
    Intake intake;
    for (auto _ : state) {
        if (!intake.import(library().paths))
            state.SkipWithError("not every file was placed and reported");
    }
    setRate(state);
}

// Both, one right after the other in every round, so a load that comes and goes on the machine
// weighs on both alike; the time reported is the layer's, the counter the overhead over the bare
// probe summed over all rounds.
void BM_ImportBesideBareProbe(benchmark::State &state)
{
    Intake intake;
    double bareSeconds = 0;
    double layerSeconds = 0;
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        if (bareParallelProbe(library().paths) != fileCount)
            state.SkipWithError("a file did not open");
        bareSeconds += clock.nsecsElapsed() / 1e9;
        clock.restart();
        if (!intake.import(library().paths))
            state.SkipWithError("not every file was placed and reported");
        const double layer = clock.nsecsElapsed() / 1e9;
        layerSeconds += layer;
        state.SetIterationTime(layer);
    }
    state.counters["overhead_pct"]
        = bareSeconds > 0 ? (layerSeconds / bareSeconds - 1.0) * 100.0 : 0.0;
    setRate(state);
}

BENCHMARK(BM_BareParallelProbe)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_ImportThroughLayer)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_ImportBesideBareProbe)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(10);

class TimeReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.error_occurred)
                continue;
            times()[run.run_name.function_name] = run.GetAdjustedRealTime();
            const auto overhead = run.counters.find("overhead_pct");
            if (overhead != run.counters.end())
                pairedOverhead() = overhead->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    library(); // made before any timing
    TimeReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double bare = times()["BM_BareParallelProbe"];
    const double layer = times()["BM_ImportThroughLayer"];
    if (bare > 0 && layer > 0) {
        std::printf("\n%d files: bare parallel probe %.0f ms (%.0f files/s), import through the "
                    "layer %.0f ms "
                    "(%.0f files/s)\nlayer overhead: %+.1f%%\n",
                    fileCount, bare, fileCount * 1000.0 / bare, layer, fileCount * 1000.0 / layer,
                    (layer / bare - 1.0) * 100.0);
    }
    if (times().count("BM_ImportBesideBareProbe"))
        std::printf("layer overhead, rounds side by side: %+.1f%%\n", pairedOverhead());
    benchmark::Shutdown();
    return 0;
}
