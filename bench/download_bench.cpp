// Downloads of a 200 MB file over loopback, from a server in this process, beside the tool a user
// would reach for (curl on the same server in the same run) and beside a plain
// QNetworkAccessManager reply written chunk by chunk into a QSaveFile. A second pair measures the
// memory a download holds when the disk (here: a main thread that is busy most of the time) is
// slower than the network. A third pair prices a remote-settings query beside a bare bool read.
// The 50,000-item list crosses the network gzipped, beside `curl --compressed` and beside asking
// for it as stored; and a 200 MB install cut off at 90% is resumed, beside starting it over.

#include "WebConfig/controller.h"
#include "WebConfig/iwebconfigprovider.h"

#include "externallistmaker.h"

#include "downloader/localfile.h"
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
#include <optional>
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

struct Fetch {
    qint64 wireBytes = -1; // body bytes as they crossed the network; -1 on failure
    double seconds = 0;
};

Fetch fetchWithResourceDownloader(const QUrl &url, const QString &to, int flags, qint64 size)
{
    Downloader::ResourceDownloader downloader(Downloader::ResourceManager::instance());
    std::optional<Downloader::DownloadReport> report;
    QObject::connect(&downloader, &Downloader::ResourceDownloader::reported,
                     [&](const Downloader::DownloadParams &, const Downloader::DownloadReport &r) {
                         report = r;
                     });
    Downloader::DownloadParams params;
    params.url = url;
    params.destination = to;
    params.flags = flags;
    params.maxBytes = 256LL * 1024 * 1024;
    QElapsedTimer clock;
    clock.start();
    downloader.download(params);
    while (!report)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    Fetch fetch;
    fetch.seconds = clock.nsecsElapsed() / 1e9;
    if (report->code == Downloader::Success && QFileInfo(to).size() == size)
        fetch.wireBytes = report->wireBytes;
    return fetch;
}

Fetch fetchWithCurlCompressed(const QUrl &url, const QString &to, qint64 size)
{
    QProcess curl;
    QElapsedTimer clock;
    clock.start();
    curl.start(QStringLiteral("curl"),
               { QStringLiteral("-sS"), QStringLiteral("--compressed"), QStringLiteral("-o"), to,
                 QStringLiteral("-w"), QStringLiteral("%{size_download}"), url.toString() });
    curl.waitForFinished(-1);
    Fetch fetch;
    fetch.seconds = clock.nsecsElapsed() / 1e9;
    if (curl.exitCode() == 0 && QFileInfo(to).size() == size)
        fetch.wireBytes = curl.readAllStandardOutput().trimmed().toLongLong();
    return fetch;
}

const QByteArray &list50k()
{
    static const QByteArray bytes = makeExternalList(50000);
    return bytes;
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

// Bytes on the wire and time for the 50,000-item list from a server that gzips (compressed once
// on the server and kept, as nginx's gzip_static does): ours, curl --compressed, and ours asking
// for the list as stored, in alternating rounds of one run.
void BM_List50k_GzipBesideCurl(benchmark::State &state)
{
    const QUrl url = server().url(QStringLiteral("/gzip/list50k"));
    const QString to = folder().filePath(QStringLiteral("list.json"));
    const qint64 size = list50k().size();
    std::vector<double> ours, curl, stored;
    Fetch last[3];
    for (auto _ : state) {
        fetchWithCurlCompressed(url, to, size); // the server compresses once, untimed
        for (int round = 0; round < 5; ++round) {
            last[0] = fetchWithCurlCompressed(url, to, size);
            curl.push_back(last[0].seconds);
            QFile::remove(to);
            last[1] = fetchWithResourceDownloader(url, to, Downloader::Compressed, size);
            ours.push_back(last[1].seconds);
            QFile::remove(to);
            last[2] = fetchWithResourceDownloader(url, to, 0, size);
            stored.push_back(last[2].seconds);
            QFile::remove(to);
            for (const Fetch &fetch : last) {
                if (fetch.wireBytes < 0)
                    state.SkipWithError("a download failed");
            }
        }
    }
    state.counters["list_MB"] = size / 1e6;
    state.counters["ours_wire_KB"] = last[1].wireBytes / 1e3;
    state.counters["curl_wire_KB"] = last[0].wireBytes / 1e3;
    state.counters["stored_wire_KB"] = last[2].wireBytes / 1e3;
    state.counters["wire_saved_x"] = static_cast<double>(last[2].wireBytes) / last[1].wireBytes;
    state.counters["ours_ms"] = medianSeconds(ours) * 1e3;
    state.counters["curl_ms"] = medianSeconds(curl) * 1e3;
    state.counters["stored_ms"] = medianSeconds(stored) * 1e3;
    state.counters["curl_over_ours"] = medianSeconds(curl) / medianSeconds(ours);
}
BENCHMARK(BM_List50k_GzipBesideCurl)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// A 200 MB install cut off after 90% of it, then fetched again: resumed (the kept part checked
// and the last 10% asked for) beside started over. Only the second fetch is timed.
void BM_Install200MB_CutAt90_ResumedBesideStartedOver(benchmark::State &state)
{
    const QString path = QStringLiteral("/big/%1").arg(bodyBytes);
    const QString to = folder().filePath(QStringLiteral("item.bin"));
    std::vector<double> resumed, restarted;
    qint64 resumedWire = 0, restartedWire = 0;
    for (auto _ : state) {
        for (int round = 0; round < 3; ++round) {
            for (const bool resume : { true, false }) {
                const int flags = resume ? Downloader::Resume : 0;
                Downloader::discardPartial(to);
                QFile::remove(to);
                server().cutNextAfter(path, bodyBytes / 10 * 9);
                if (fetchWithResourceDownloader(server().url(path), to, flags, bodyBytes).wireBytes
                    >= 0)
                    state.SkipWithError("the cut did not cut");
                const Fetch second
                    = fetchWithResourceDownloader(server().url(path), to, flags, bodyBytes);
                if (second.wireBytes < 0)
                    state.SkipWithError("the second fetch failed");
                (resume ? resumed : restarted).push_back(second.seconds);
                (resume ? resumedWire : restartedWire) = second.wireBytes;
            }
        }
    }
    state.counters["resumed_ms"] = medianSeconds(resumed) * 1e3;
    state.counters["restarted_ms"] = medianSeconds(restarted) * 1e3;
    state.counters["restarted_over_resumed"] = medianSeconds(restarted) / medianSeconds(resumed);
    state.counters["resumed_wire_MB"] = resumedWire / 1e6;
    state.counters["restarted_wire_MB"] = restartedWire / 1e6;
}
BENCHMARK(BM_Install200MB_CutAt90_ResumedBesideStartedOver)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

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
    server().setBody(QStringLiteral("list50k"), list50k());
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
