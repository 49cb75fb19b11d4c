// Downloads of a 200 MB file over loopback, from a server in this process, beside the tool a user
// would reach for (curl on the same server in the same run) and beside a plain
// QNetworkAccessManager reply written chunk by chunk into a QSaveFile. A second pair measures the
// memory a download holds when the disk (here: a main thread that is busy most of the time) is
// slower than the network. A third pair prices a remote-settings query beside a bare bool read.

#include "WebConfig/controller.h"
#include "WebConfig/iwebconfigprovider.h"

#include "downloader/resourcedownloader.h"
#include "downloader/resourcemanager.h"
#include "loopbackhttpserver.h"
#include "util/settingspaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr qint64 bodyBytes = 200LL * 1024 * 1024;

TestSupport::LoopbackHttpServer &server()
{
    static TestSupport::LoopbackHttpServer s;
    return s;
}

// In memory where the system has a tmpfs: the comparison is about the network path, and a
// loaded disk on a shared machine would only add noise to both sides.
QTemporaryDir &folder()
{
    static QTemporaryDir dir(QFileInfo(QStringLiteral("/dev/shm")).isWritable()
                                 ? QStringLiteral("/dev/shm/download_bench-XXXXXX")
                                 : QDir::tempPath() + QStringLiteral("/download_bench-XXXXXX"));
    return dir;
}

QUrl bigUrl()
{
    return server().url(QStringLiteral("/big/%1").arg(bodyBytes));
}

QString destination()
{
    return folder().filePath(QStringLiteral("big.bin"));
}

// Kilobytes of the process's resident set now and at its peak since the last reset.
long procStatusKb(const char *field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(field, 0) == 0)
            return std::stol(line.substr(std::string(field).size()));
    }
    return 0;
}

void resetPeak()
{
    std::ofstream("/proc/self/clear_refs") << "5";
}

// A busy main thread: every pass of the event loop loses `ms` to other work.
struct SlowConsumer {
    explicit SlowConsumer(int ms)
    {
        QObject::connect(&timer, &QTimer::timeout, [ms] { QThread::msleep(ms); });
        timer.start(0);
    }
    QTimer timer;
};

qint64 downloadWithResourceDownloader()
{
    Downloader::ResourceDownloader downloader(Downloader::ResourceManager::instance());
    bool done = false;
    qint64 bytes = 0;
    QObject::connect(&downloader, &Downloader::ResourceDownloader::reported,
                     [&](const Downloader::DownloadParams &, const Downloader::DownloadReport &r) {
                         done = true;
                         bytes = r.code == Downloader::Success ? r.bytes : -1;
                     });
    Downloader::DownloadParams params;
    params.url = bigUrl();
    params.destination = destination();
    params.maxBytes = bodyBytes;
    downloader.download(params);
    while (!done)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    return bytes;
}

// The obvious way with Qt: a reply read as it arrives into a QSaveFile, Qt's buffer left as is.
qint64 downloadWithPlainReply()
{
    static QNetworkAccessManager network;
    QSaveFile file(destination());
    file.open(QIODevice::WriteOnly);
    QNetworkReply *reply = network.get(QNetworkRequest(bigUrl()));
    QObject::connect(reply, &QNetworkReply::readyRead, [&] { file.write(reply->readAll()); });
    bool done = false;
    QObject::connect(reply, &QNetworkReply::finished, [&] { done = true; });
    while (!done)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    file.write(reply->readAll());
    const bool ok = reply->error() == QNetworkReply::NoError && file.commit();
    if (!ok)
        qWarning("plain reply: %s / %s", qPrintable(reply->errorString()),
                 qPrintable(file.errorString()));
    reply->deleteLater();
    return ok ? QFile(destination()).size() : -1;
}

qint64 downloadWithCurl()
{
    QProcess curl;
    curl.start(QStringLiteral("curl"),
               { QStringLiteral("-sS"), QStringLiteral("-o"), destination(), bigUrl().toString() });
    // The server runs on its own thread, so waiting here blocks nothing it needs.
    curl.waitForFinished(-1);
    return curl.exitCode() == 0 ? QFile(destination()).size() : -1;
}

double medianSeconds(std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

// Registered first: the process's peak only grows, and the plain reply below leaves it high.
// Peak growth of the resident set during one download to a consumer 5 ms late on every pass.
template<qint64 (*download)()> void peakWithSlowConsumer(benchmark::State &state)
{
    for (auto _ : state) {
        SlowConsumer slow(5);
        const long before = procStatusKb("VmRSS:");
        resetPeak();
        if (download() != bodyBytes)
            state.SkipWithError("the download failed");
        state.counters["peak_growth_MB"] = (procStatusKb("VmHWM:") - before) / 1024.0;
        state.counters["peak_rss_MB"] = procStatusKb("VmHWM:") / 1024.0;
    }
}

void BM_SlowDisk_ResourceDownloader(benchmark::State &state)
{
    peakWithSlowConsumer<downloadWithResourceDownloader>(state);
}
BENCHMARK(BM_SlowDisk_ResourceDownloader)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_SlowDisk_PlainReplyIntoQSaveFile(benchmark::State &state)
{
    peakWithSlowConsumer<downloadWithPlainReply>(state);
}
BENCHMARK(BM_SlowDisk_PlainReplyIntoQSaveFile)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Ours and curl in alternating rounds of one run, so both see the same machine at the same time.
void BM_Download200MB_BesideCurl(benchmark::State &state)
{
    std::vector<double> ours, curl;
    for (auto _ : state) {
        for (int round = 0; round < 5; ++round) {
            QElapsedTimer clock;
            clock.start();
            if (downloadWithCurl() != bodyBytes)
                state.SkipWithError("curl failed");
            curl.push_back(clock.nsecsElapsed() / 1e9);
            clock.restart();
            if (downloadWithResourceDownloader() != bodyBytes)
                state.SkipWithError("the download failed");
            ours.push_back(clock.nsecsElapsed() / 1e9);
        }
    }
    const double gb = bodyBytes / 1e9;
    state.counters["ours_GBps"] = gb / medianSeconds(ours);
    state.counters["curl_GBps"] = gb / medianSeconds(curl);
    state.counters["ratio"] = medianSeconds(curl) / medianSeconds(ours);
}
BENCHMARK(BM_Download200MB_BesideCurl)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Download200MB_PlainReplyIntoQSaveFile(benchmark::State &state)
{
    for (auto _ : state) {
        if (downloadWithPlainReply() != bodyBytes)
            state.SkipWithError("the download failed");
    }
    state.SetBytesProcessed(state.iterations() * bodyBytes);
}
BENCHMARK(BM_Download200MB_PlainReplyIntoQSaveFile)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The settings as the editor reaches them: the object held, and through the provider each time.
void BM_SettingsQuery_HeldObject(benchmark::State &state)
{
    const auto settings = EditorWebConfig::provideCollectionSettings();
    for (auto _ : state)
        benchmark::DoNotOptimize(settings->needLoadExternalEffects());
}
BENCHMARK(BM_SettingsQuery_HeldObject);

void BM_SettingsQuery_ThroughProvider(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(
            EditorWebConfig::provideCollectionSettings()->needLoadExternalEffects());
}
BENCHMARK(BM_SettingsQuery_ThroughProvider);

void BM_BareBoolRead(benchmark::State &state)
{
    bool flag = true;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&flag);
        benchmark::DoNotOptimize(flag);
    }
}
BENCHMARK(BM_BareBoolRead);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    QTemporaryDir data;
    Settings::setDataFolder(data.path());
    EditorWebConfig::Controller webConfig(nullptr);
    server(); // listening before any timing
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
