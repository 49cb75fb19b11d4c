// The usage upload: 100,000 stored events sent to a loopback OTLP receiver by the uploader (read
// from SQLite, encoded, gzipped, posted in batches, the position kept after each), beside the
// same request bodies posted by `curl`, the tool a user would reach for, to the same receiver in
// the same run. And the editor's send path while the uploader works beside it.

#include "Messages/statistics.h"
#include "Statistics/controller.h"
#include "interactions.h"

#include "loopbackhttpserver.h"
#include "pubsub/subscriber.h"
#include "tracking/eventstore.h"
#include "tracking/generalvanteltracker.h"
#include "tracking/uploader.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sys/resource.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <mutex>

namespace {

using namespace std::chrono_literals;
using Vantel::Tracking::EventStore;
using Vantel::Tracking::Uploader;

constexpr int Events = 100'000;

double cpuSeconds(clockid_t clock)
{
    timespec t {};
    clock_gettime(clock, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

double childrenCpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Answers every request 200 at once, counts what arrived and keeps the bodies of one run for curl.
class Receiver {
public:
    Receiver()
    {
        server.setHandler([this](const TestSupport::LoopbackHttpServer::Request &request) {
            std::lock_guard<std::mutex> lock(mutex);
            if (!haveClock)
                haveClock = pthread_getcpuclockid(pthread_self(), &threadClock) == 0;
            bytes += request.body.size();
            ++requests;
            if (keepBodies)
                bodies.push_back(request.body);
            TestSupport::LoopbackHttpServer::Reply reply;
            reply.body = "{}";
            return reply;
        });
    }
    double threadCpu()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return haveClock ? cpuSeconds(threadClock) : 0.0;
    }

    TestSupport::LoopbackHttpServer server;
    std::mutex mutex;
    qint64 bytes = 0;
    qint64 requests = 0;
    bool keepBodies = true;
    std::vector<QByteArray> bodies;
    clockid_t threadClock {};
    bool haveClock = false;
};

Receiver &receiver()
{
    static Receiver r;
    return r;
}

QTemporaryDir &workFolder()
{
    static QTemporaryDir dir;
    return dir;
}

// One store of 100,000 typical events (an interaction with its method and five parameters), made
// once and copied for each round.
QString preparedStore()
{
    static const QString path = [] {
        const QString file = workFolder().filePath(QStringLiteral("prepared.sqlite"));
        EventStore store(file);
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        for (int i = 0; i < Events; ++i) {
            Vantel::Tracking::TrackedEvent event;
            event.name = "TRANSITION_SETTINGS_CHANGED";
            event.params = { { "METHOD", "context_menu" },
                             { "NAME", i % 3 ? "Cross fade" : "Wipe" },
                             { "DURATION_MS", std::to_string(500 + i % 2000) },
                             { "ALL_CLIPS", i % 7 ? "false" : "true" },
                             { "TRACK", std::to_string(i % 4) },
                             { "SOURCE", "collection" } };
            event.timeMs = now - Events + i;
            event.session = "4a1c2e9f-5b7d-4e38-9c61-0d2f8a7b3e15";
            store.consume(event);
        }
        store.flush();
        return file;
    }();
    return path;
}

std::shared_ptr<EventStore> freshStore(int round)
{
    const QString folder = workFolder().filePath(QStringLiteral("round-%1").arg(round));
    QDir().mkpath(folder);
    const QString file = folder + QStringLiteral("/events.sqlite");
    QFile::remove(file);
    QFile::copy(preparedStore(), file);
    return std::make_shared<EventStore>(file);
}

// Both sides report alike: events per second of wall time, bytes on the wire, CPU per 1,000.
void setUploadCounters(benchmark::State &state, qint64 bytes, double cpuSeconds)
{
    const double rounds = double(state.iterations());
    state.counters["events_per_s"]
        = benchmark::Counter(double(Events) * rounds, benchmark::Counter::kIsRate);
    state.counters["wire_bytes_per_event"] = double(bytes) / rounds / Events;
    state.counters["cpu_ms_per_1000"] = cpuSeconds / rounds / (Events / 1000.0) * 1000.0;
}

void BM_Upload(benchmark::State &state)
{
    Receiver &r = receiver();
    int round = 0;
    double cpu = 0;
    qint64 bytes = 0;
    for (auto _ : state) {
        auto store = freshStore(++round);
        Uploader uploader(store);
        {
            std::lock_guard<std::mutex> lock(r.mutex);
            r.bytes = 0;
            r.keepBodies = round == 1;
        }
        const double cpuBefore = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - r.threadCpu();
        const auto start = std::chrono::steady_clock::now();
        uploader.setCollector(r.server.url(QString()).toString());
        const auto status = uploader.flush(600s);
        const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
        cpu += cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - r.threadCpu() - cpuBefore;
        state.SetIterationTime(wall.count());
        if (status.sent != Events) {
            state.SkipWithError(("not everything was sent: " + status.error).c_str());
            return;
        }
        std::lock_guard<std::mutex> lock(r.mutex);
        bytes += r.bytes;
    }
    setUploadCounters(state, bytes, cpu);
}

// The same bodies, already made, posted by curl over one connection.
void BM_UploadCurl(benchmark::State &state)
{
    Receiver &r = receiver();
    std::vector<QByteArray> bodies;
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        bodies = r.bodies;
        r.keepBodies = false;
    }
    if (bodies.empty()) {
        state.SkipWithError("BM_Upload runs first and leaves its bodies");
        return;
    }
    const QString url = r.server.url(QStringLiteral("/v1/logs")).toString();
    const QString folder = workFolder().filePath(QStringLiteral("curl"));
    QDir().mkpath(folder);
    QFile config(folder + QStringLiteral("/config"));
    config.open(QIODevice::WriteOnly);
    for (std::size_t i = 0; i < bodies.size(); ++i) {
        const QString body = folder + QStringLiteral("/body-%1").arg(i);
        QFile file(body);
        file.open(QIODevice::WriteOnly);
        file.write(bodies[i]);
        if (i > 0)
            config.write("next\n");
        config.write(QStringLiteral("url = \"%1\"\ndata-binary = \"@%2\"\n"
                                    "header = \"Content-Type: application/json\"\n"
                                    "header = \"Content-Encoding: gzip\"\n"
                                    "output = \"%3/answer\"\n")
                         .arg(url, body, folder)
                         .toUtf8());
    }
    config.close();
    double cpu = 0;
    qint64 bytes = 0;
    for (auto _ : state) {
        {
            std::lock_guard<std::mutex> lock(r.mutex);
            r.bytes = 0;
        }
        const double childBefore = childrenCpuSeconds();
        const auto start = std::chrono::steady_clock::now();
        QProcess curl;
        curl.start(QStringLiteral("curl"),
                   { QStringLiteral("-sS"), QStringLiteral("-K"), config.fileName() });
        if (!curl.waitForFinished(600000) || curl.exitCode() != 0) {
            state.SkipWithError("curl failed");
            return;
        }
        const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
        cpu += childrenCpuSeconds() - childBefore;
        state.SetIterationTime(wall.count());
        std::lock_guard<std::mutex> lock(r.mutex);
        bytes += r.bytes;
    }
    setUploadCounters(state, bytes, cpu);
}

// The editor's send path (interaction to the store's hand-off) while the uploader drains a full
// store to the receiver beside it (argument 1), and with the uploader idle (argument 0).
void BM_SendPathWhileUploading(benchmark::State &state)
{
    static int round = 1000;
    auto store = freshStore(++round);
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker(
        new Vantel::Tracking::GeneralVantelTracker("4a1c2e9f-5b7d-4e38-9c61-0d2f8a7b3e15"));
    tracker->addSink(store);
    Statistics::Controller controller(tracker);
    Uploader uploader(store);
    if (state.range(0) == 1)
        uploader.setCollector(receiver().server.url(QString()).toString());
    const Statistics::InteractionNotification n = fiveParameterInteraction();
    for (auto _ : state)
        PubSub::publish(n);
    const auto status = uploader.status();
    state.counters["sent_meanwhile"] = double(status.sent);
    store->flush();
}

BENCHMARK(BM_Upload)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UploadCurl)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SendPathWhileUploading)
    ->Arg(0)
    ->Arg(1)
    ->Iterations(300'000)
    ->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
