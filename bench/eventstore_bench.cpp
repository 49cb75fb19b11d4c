// The usage event store beside what a developer would write instead: one INSERT per event in
// autocommit mode, or one big transaction, both on the calling (main) thread. Also the main
// thread's own cost of sending an event into the store, and how many events a kill -9 takes.
//
// Rates are per wall-clock second: for the main-thread variants that is the time the editor's
// thread is held. Run as `eventstore_bench`; it re-runs itself with --kill-child for the kill
// measurement.

#include "tracking/eventstore.h"
#include "tracking/generalvanteltracker.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <boost/intrusive_ptr.hpp>
#include <sqlite3.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>

extern char **environ;

using namespace Vantel::Tracking;

namespace {

// A typical event: a project report with eight parameters.
std::map<std::string, std::string> typicalParams(long long i)
{
    return { { "ASPECT_RATIO", "16:9" },
             { "CLIPS_COUNT", std::to_string(i % 97) },
             { "DURATION_S", std::to_string(i % 3600) },
             { "HAS_AUDIO", "true" },
             { "METHOD", "DRAG_AND_DROP" },
             { "PROJECT_ID", "3f2a9c4e-8d1b-4f6a-9e2d-71c0b5a8e6f3" },
             { "TRACKS_COUNT", "4" },
             { "VIDEO_CODEC", "h264" } };
}

TrackedEvent typicalEvent(long long i)
{
    TrackedEvent event;
    event.name = "PROJECT_SAVED";
    event.params = typicalParams(i);
    event.timeMs = QDateTime::currentMSecsSinceEpoch();
    event.session = "0b7e1d2c-5a4f-4c3e-9b8a-6d5f4e3c2b1a";
    return event;
}

constexpr int EventsPerRound = 10'000;

// CPU seconds the store's writer thread has used so far: on a shared machine this, not the wall
// clock, says what the writer can sustain on a core of its own.
double writerCpuSeconds()
{
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString &tid : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(tid + QStringLiteral("/comm")));
        if (!comm.open(QIODevice::ReadOnly) || comm.readAll().trimmed() != "eventstore")
            continue;
        QFile stat(tasks.filePath(tid + QStringLiteral("/stat")));
        if (!stat.open(QIODevice::ReadOnly))
            return 0;
        // Fields after the command's closing parenthesis: state is 3rd, utime 14th, stime 15th.
        const QByteArray text = stat.readAll();
        const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        const double ticks = fields.value(11).toDouble() + fields.value(12).toDouble();
        return ticks / double(::sysconf(_SC_CLK_TCK));
    }
    return 0;
}

// Through the store: the main thread queues, the writer commits in batches.
void BM_Store_WriterThread(benchmark::State &state)
{
    QTemporaryDir dir;
    EventStore store(dir.filePath(QStringLiteral("events.sqlite")));
    long long i = 0;
    const double writerStart = writerCpuSeconds();
    for (auto _ : state) {
        for (int n = 0; n < EventsPerRound; ++n)
            store.consume(typicalEvent(i++));
        store.flush();
    }
    state.SetItemsProcessed(state.iterations() * EventsPerRound);
    state.counters["dropped"] = static_cast<double>(store.droppedCount());
    state.counters["writer_cpu_events_per_s"] = double(i) / (writerCpuSeconds() - writerStart);
}
// Process CPU time covers both threads: on a busy machine it shows the store's own cost.
BENCHMARK(BM_Store_WriterThread)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->MinTime(3);

sqlite3 *openPlain(const QString &path, bool wal)
{
    sqlite3 *db = nullptr;
    sqlite3_open(QFile::encodeName(path).constData(), &db);
    if (wal)
        sqlite3_exec(db, "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL", nullptr, nullptr,
                     nullptr);
    sqlite3_exec(db,
                 "CREATE TABLE events(id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL, "
                 "params TEXT NOT NULL, time INTEGER NOT NULL, session TEXT NOT NULL);"
                 "CREATE INDEX events_time ON events(time);",
                 nullptr, nullptr, nullptr);
    return db;
}

void insert(sqlite3_stmt *stmt, const TrackedEvent &event)
{
    const QByteArray params = paramsToJson(event.params);
    sqlite3_bind_text(stmt, 1, event.name.data(), int(event.name.size()), SQLITE_STATIC);
    sqlite3_bind_text(stmt, 2, params.constData(), params.size(), SQLITE_STATIC);
    sqlite3_bind_int64(stmt, 3, event.timeMs);
    sqlite3_bind_text(stmt, 4, event.session.data(), int(event.session.size()), SQLITE_STATIC);
    sqlite3_step(stmt);
    sqlite3_reset(stmt);
}

// What one writes first: a prepared INSERT per event, each its own transaction, on the caller's
// thread. Arg 0: SQLite's defaults (rollback journal, full sync); arg 1: WAL, normal sync.
void BM_Autocommit_MainThread(benchmark::State &state)
{
    QTemporaryDir dir;
    sqlite3 *db = openPlain(dir.filePath(QStringLiteral("events.sqlite")), state.range(0) == 1);
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO events(name, params, time, session) VALUES(?, ?, ?, ?)", -1,
                       &stmt, nullptr);
    const int perRound = state.range(0) == 1 ? 2000 : 50;
    long long i = 0;
    for (auto _ : state) {
        for (int n = 0; n < perRound; ++n)
            insert(stmt, typicalEvent(i++));
    }
    state.SetItemsProcessed(state.iterations() * perRound);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
}
BENCHMARK(BM_Autocommit_MainThread)
    ->ArgName("wal")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MinTime(2);

// The fast alternative done by hand: every round in one transaction on the caller's thread,
// which holds that thread for the whole write.
void BM_OneTransaction_MainThread(benchmark::State &state)
{
    QTemporaryDir dir;
    sqlite3 *db = openPlain(dir.filePath(QStringLiteral("events.sqlite")), true);
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO events(name, params, time, session) VALUES(?, ?, ?, ?)", -1,
                       &stmt, nullptr);
    long long i = 0;
    for (auto _ : state) {
        sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
        for (int n = 0; n < EventsPerRound; ++n)
            insert(stmt, typicalEvent(i++));
        sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    }
    state.SetItemsProcessed(state.iterations() * EventsPerRound);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
}
BENCHMARK(BM_OneTransaction_MainThread)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);

// The main thread's share: sendEvent through the tracker into a sink. The writer's work runs
// on the other thread and is left out of the timing (each round is flushed while paused).
class NullSink : public IEventSink {
public:
    void consume(const TrackedEvent &event) override { benchmark::DoNotOptimize(&event); }
};

constexpr int SendsPerRound = 1000;

void BM_SendEvent_NullSink(benchmark::State &state)
{
    boost::intrusive_ptr<GeneralVantelTracker> tracker(new GeneralVantelTracker("s"));
    tracker->addSink(std::make_shared<NullSink>());
    long long i = 0;
    for (auto _ : state) {
        for (int n = 0; n < SendsPerRound; ++n)
            tracker->sendEvent("PROJECT_SAVED", typicalParams(i++));
    }
    state.SetItemsProcessed(state.iterations() * SendsPerRound);
}
BENCHMARK(BM_SendEvent_NullSink)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_SendEvent_Store(benchmark::State &state)
{
    QTemporaryDir dir;
    auto store = std::make_shared<EventStore>(dir.filePath(QStringLiteral("events.sqlite")));
    boost::intrusive_ptr<GeneralVantelTracker> tracker(new GeneralVantelTracker("s"));
    tracker->addSink(store);
    long long i = 0;
    for (auto _ : state) {
        for (int n = 0; n < SendsPerRound; ++n)
            tracker->sendEvent("PROJECT_SAVED", typicalParams(i++));
        state.PauseTiming();
        store->flush();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * SendsPerRound);
}
BENCHMARK(BM_SendEvent_Store)->Unit(benchmark::kMicrosecond)->UseRealTime();

// A sink that writes each event itself, in autocommit (WAL, normal sync): the main thread
// waits for SQLite on every event.
class InlineSqliteSink : public IEventSink {
public:
    explicit InlineSqliteSink(const QString &path)
        : m_db(openPlain(path, true))
    {
        sqlite3_prepare_v2(m_db,
                           "INSERT INTO events(name, params, time, session) VALUES(?, ?, ?, ?)", -1,
                           &m_stmt, nullptr);
    }
    ~InlineSqliteSink() override
    {
        sqlite3_finalize(m_stmt);
        sqlite3_close(m_db);
    }
    void consume(const TrackedEvent &event) override { insert(m_stmt, event); }

private:
    sqlite3 *m_db;
    sqlite3_stmt *m_stmt = nullptr;
};

void BM_SendEvent_InlineAutocommit(benchmark::State &state)
{
    QTemporaryDir dir;
    boost::intrusive_ptr<GeneralVantelTracker> tracker(new GeneralVantelTracker("s"));
    tracker->addSink(
        std::make_shared<InlineSqliteSink>(dir.filePath(QStringLiteral("events.sqlite"))));
    long long i = 0;
    for (auto _ : state) {
        for (int n = 0; n < SendsPerRound; ++n)
            tracker->sendEvent("PROJECT_SAVED", typicalParams(i++));
    }
    state.SetItemsProcessed(state.iterations() * SendsPerRound);
}
BENCHMARK(BM_SendEvent_InlineAutocommit)->Unit(benchmark::kMicrosecond)->UseRealTime();

// kill -9: a child sends events at a fixed rate and counts each one it handed to the store in a
// shared page; the parent kills it at a random moment and compares that count with the rows.

struct SharedCounter {
    std::atomic<long long> sent { 0 };
};

SharedCounter *mapCounter(const QString &path, bool create)
{
    const int fd
        = ::open(QFile::encodeName(path).constData(), O_RDWR | (create ? O_CREAT : 0), 0600);
    if (fd < 0)
        return nullptr;
    if (create && ::ftruncate(fd, sizeof(SharedCounter)) != 0)
        return nullptr;
    void *page = ::mmap(nullptr, sizeof(SharedCounter), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ::close(fd);
    return page == MAP_FAILED ? nullptr : static_cast<SharedCounter *>(page);
}

[[noreturn]] void runKillChild(const QString &database, const QString &counterPath, long long rate)
{
    SharedCounter *counter = mapCounter(counterPath, false);
    if (!counter)
        ::_exit(3);
    EventStore store(database);
    const auto start = std::chrono::steady_clock::now();
    for (long long i = 0;; ++i) {
        const auto due = start + std::chrono::nanoseconds(i * 1'000'000'000LL / rate);
        if (rate < 20'000)
            std::this_thread::sleep_until(due);
        else
            while (std::chrono::steady_clock::now() < due) { }
        store.consume(typicalEvent(i));
        counter->sent.store(i + 1, std::memory_order_release);
    }
}

long long storedRows(const QString &database)
{
    EventStore store(database);
    return store.count() + store.droppedCount();
}

void BM_KillNine_EventsLost(benchmark::State &state)
{
    const long long rate = state.range(0);
    std::mt19937 random(42);
    std::uniform_int_distribution<int> killAfterMs(300, 700);
    long long totalLost = 0;
    long long maxLost = 0;
    long long totalSent = 0;
    for (auto _ : state) {
        QTemporaryDir dir;
        const QString database = dir.filePath(QStringLiteral("events.sqlite"));
        const QString counterPath = dir.filePath(QStringLiteral("counter"));
        SharedCounter *counter = mapCounter(counterPath, true);
        if (!counter) {
            state.SkipWithError("cannot map the counter");
            return;
        }
        const std::string self = "/proc/self/exe";
        const std::string db = database.toStdString();
        const std::string cp = counterPath.toStdString();
        const std::string rateText = std::to_string(rate);
        char *argv[] = { const_cast<char *>(self.c_str()),     const_cast<char *>("--kill-child"),
                         const_cast<char *>(db.c_str()),       const_cast<char *>(cp.c_str()),
                         const_cast<char *>(rateText.c_str()), nullptr };
        pid_t pid = 0;
        if (posix_spawn(&pid, self.c_str(), nullptr, nullptr, argv, environ) != 0) {
            state.SkipWithError("cannot start the child");
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(killAfterMs(random)));
        ::kill(pid, SIGKILL);
        int status = 0;
        ::waitpid(pid, &status, 0);

        const long long sent = counter->sent.load(std::memory_order_acquire);
        ::munmap(counter, sizeof(SharedCounter));
        const long long lost = std::max(0LL, sent - storedRows(database));
        totalLost += lost;
        totalSent += sent;
        maxLost = std::max(maxLost, lost);
    }
    state.counters["sent_mean"] = double(totalSent) / double(state.iterations());
    state.counters["lost_mean"] = double(totalLost) / double(state.iterations());
    state.counters["lost_max"] = double(maxLost);
}
BENCHMARK(BM_KillNine_EventsLost)
    ->ArgName("events_per_s")
    ->Arg(100)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Iterations(8)
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (argc == 5 && std::strcmp(argv[1], "--kill-child") == 0)
        runKillChild(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]),
                     std::stoll(argv[4]));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
