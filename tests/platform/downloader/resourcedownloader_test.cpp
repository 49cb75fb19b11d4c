#include "downloader/resourcedownloader.h"
#include "downloader/resourcemanager.h"

#include "eventwait.h"
#include "loopbackhttpserver.h"
#include "tablerow.h"
#include "testfiles.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace {

using namespace Downloader;

const QByteArray oldContent = "the cache from an earlier run";
const QByteArray freshContent = "{\"fresh\": true}";

// Qt's warnings about network replies, from any thread: Qt talks through its message handler.
std::mutex replyWarningsMutex;
std::string replyWarnings;

void collectReplyWarnings(QtMsgType, const QMessageLogContext &, const QString &message)
{
    if (message.contains(QLatin1String("QNetworkReply"))) {
        std::lock_guard<std::mutex> lock(replyWarningsMutex);
        replyWarnings += message.toStdString() + '\n';
    }
}

// One manager per test, on a real loopback server; the destination starts with the old cache.
class DownloadTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        destination = TestSupport::writeFile(folder.filePath("cache/list.json"), oldContent);
        server.setBody("list", freshContent);
    }

    DownloadParams params(const QUrl &url) const
    {
        DownloadParams p;
        p.url = url;
        p.destination = destination;
        p.flags = Revalidate;
        p.stallTimeoutMs = 400;
        p.maxBytes = 100000;
        return p;
    }

    // Runs one download to its end and returns its report.
    DownloadReport run(const DownloadParams &p)
    {
        std::optional<DownloadReport> report;
        int finishedCount = 0;
        QObject::connect(&downloader, &ResourceDownloader::reported,
                         [&](const DownloadParams &, const DownloadReport &r) { report = r; });
        QObject::connect(&downloader, &ResourceDownloader::finished,
                         [&](const DownloadParams &, ResultCode) { ++finishedCount; });
        downloader.download(p, 1, 0);
        EXPECT_TRUE(TestSupport::waitUntil([&] { return finishedCount > 0; }));
        downloader.disconnect();
        EXPECT_EQ(finishedCount, 1);
        return report.value_or(DownloadReport {});
    }

    QStringList leftovers() const
    {
        return QDir(folder.filePath("cache"))
            .entryList(QStringList { ".*part*" }, QDir::Hidden | QDir::Files);
    }

    TestSupport::LoopbackHttpServer server;
    QTemporaryDir folder;
    QString destination;
    ResourceManager manager;
    ResourceDownloader downloader { manager };
};

struct Scenario : TestSupport::TableRow {
    const char *path; // on the server; "file:" rows name a local path under the test folder
    ResultCode code;
    const char *error; // part of the report's error; empty for success
    int requests = 1; // the server saw this many requests for the path
    std::function<void(DownloadParams &)> adjust = nullptr;
};

class DownloadScenario
    : public DownloadTest
    , public testing::WithParamInterface<Scenario> { };

// Whatever the server does, the destination is the fresh body after a success and, byte for
// byte, the old cache after anything else, with no temporary file left behind.
TEST_P(DownloadScenario, leaves_the_destination_whole)
{
    const Scenario &s = GetParam();
    DownloadParams p = params(server.url(QString::fromLatin1(s.path)));
    if (s.adjust)
        s.adjust(p);
    const QtMessageHandler previous = qInstallMessageHandler(collectReplyWarnings);
    const DownloadReport report = run(p);
    // The replies dropped are gone, and Qt had nothing to say about them.
    EXPECT_TRUE(TestSupport::waitUntil(
        [&] { return manager.network().findChildren<QNetworkReply *>().isEmpty(); }));
    qInstallMessageHandler(previous);
    EXPECT_EQ(std::exchange(replyWarnings, {}), "");
    EXPECT_EQ(report.code, s.code) << report.error.toStdString();
    EXPECT_TRUE(report.error.contains(QLatin1String(s.error))) << report.error.toStdString();
    EXPECT_EQ(TestSupport::readFile(destination), s.code == Success ? freshContent : oldContent);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    EXPECT_EQ(server.requests(QString::fromLatin1(s.path)), s.requests);
}

INSTANTIATE_TEST_SUITE_P(
    Downloader,
    DownloadScenario,
    testing::Values(
        Scenario { "good", "/file/list", Success, "" },
        Scenario { "redirected", "/redirect/list", Success, "" },
        Scenario { "retried_after_429", "/retry/1/list", Success, "", 2 },
        Scenario { "not_found_is_not_retried", "/status/404", Failed, "HTTP 404" },
        Scenario { "server_error", "/status/500", Failed, "HTTP 500" },
        Scenario { "retries_run_out", "/retry/9/list", Failed, "HTTP 429", 2,
                   [](DownloadParams &p) { p.maxRetries = 1; } },
        Scenario { "retry_wait_beyond_the_limit", "/retry/1/list", Failed, "asked to wait", 1,
                   [](DownloadParams &p) { p.maxRetryDelayMs = 500; } },
        Scenario { "cut_body", "/cut", Failed, "" },
        Scenario { "stalled_body", "/stall", Failed, "no data for 400 ms" },
        Scenario { "endless_body", "/endless", Failed, "is larger than the limit of 100000 bytes" },
        Scenario { "announced_body_too_large", "/big/200000", Failed, "larger than the limit" },
        Scenario { "redirect_loop", "/loop", Failed, "more than 5 redirects", 6 },
        Scenario { "missing_file", "/file/none", Failed, "HTTP 404" }),
    TestSupport::tableRowName);

TEST_F(DownloadTest, unchanged_resource_costs_a_304_and_keeps_the_file)
{
    ASSERT_EQ(run(params(server.url("/file/list"))).code, Success);
    const QDateTime written = QFileInfo(destination).lastModified();
    const DownloadReport again = run(params(server.url("/file/list")));
    EXPECT_EQ(again.code, Success);
    EXPECT_TRUE(again.notModified);
    EXPECT_EQ(again.httpStatus, 304);
    EXPECT_FALSE(server.lastIfNoneMatch("/file/list").isEmpty());
    EXPECT_EQ(QFileInfo(destination).lastModified(), written);

    // A file replaced behind the downloader's back is fetched whole, not revalidated.
    TestSupport::writeFile(destination, "tampered");
    const DownloadReport third = run(params(server.url("/file/list")));
    EXPECT_FALSE(third.notModified);
    EXPECT_EQ(TestSupport::readFile(destination), freshContent);
}

TEST_F(DownloadTest, https_is_followed_within_https_and_never_down_to_http)
{
    TestSupport::LoopbackHttpServer::trustTestCertificate();
    TestSupport::LoopbackHttpServer tls(TestSupport::LoopbackHttpServer::Scheme::Tls);
    tls.setBody("list", freshContent);
    const QByteArray toHttp = server.url("/file/list").toEncoded().toPercentEncoding();
    const DownloadReport refused = run(params(tls.url("/goto/" + QString::fromLatin1(toHttp))));
    EXPECT_EQ(refused.code, Failed);
    EXPECT_TRUE(refused.error.contains("refused the redirect from https"))
        << refused.error.toStdString();
    EXPECT_EQ(TestSupport::readFile(destination), oldContent);
    EXPECT_EQ(server.requests("/file/list"), 0);

    EXPECT_EQ(run(params(tls.url("/redirect/list"))).code, Success);
    EXPECT_EQ(TestSupport::readFile(destination), freshContent);
}

TEST_F(DownloadTest, local_files_are_copied_and_revalidated)
{
    const QString source = TestSupport::writeFile(folder.filePath("source.json"), freshContent);
    EXPECT_EQ(run(params(QUrl::fromLocalFile(source))).code, Success);
    EXPECT_EQ(TestSupport::readFile(destination), freshContent);
    EXPECT_TRUE(run(params(QUrl::fromLocalFile(source))).notModified);

    const QString fifo = folder.filePath("fifo");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const DownloadReport refused = run(params(QUrl::fromLocalFile(fifo)));
    EXPECT_EQ(refused.code, Failed);
    EXPECT_TRUE(refused.error.contains("not a regular file"));
    EXPECT_EQ(TestSupport::readFile(destination), freshContent);
}

TEST_F(DownloadTest, a_symlink_at_the_destination_is_replaced_not_followed)
{
    const QString victim = TestSupport::writeFile(folder.filePath("victim"), "keep me");
    QFile::remove(destination);
    ASSERT_TRUE(QFile::link(victim, destination));
    EXPECT_EQ(run(params(server.url("/file/list"))).code, Success);
    EXPECT_FALSE(QFileInfo(destination).isSymLink());
    EXPECT_EQ(TestSupport::readFile(destination), freshContent);
    EXPECT_EQ(TestSupport::readFile(victim), QByteArray("keep me"));
}

TEST_F(DownloadTest, cancel_reports_cancel_and_keeps_the_old_file)
{
    std::vector<ResultCode> codes;
    QObject::connect(&downloader, &ResourceDownloader::finished,
                     [&](const DownloadParams &, ResultCode code) { codes.push_back(code); });
    DownloadParams p = params(server.url("/stall"));
    p.stallTimeoutMs = 60000;
    manager.setMaxConcurrent(1);
    downloader.download(p);
    downloader.download(p); // still queued when cancelled
    ASSERT_TRUE(TestSupport::waitUntil([&] { return server.requests("/stall"); }));
    downloader.cancel();
    EXPECT_EQ(codes, (std::vector<ResultCode> { Cancel, Cancel }));
    EXPECT_EQ(TestSupport::readFile(destination), oldContent);
    EXPECT_EQ(manager.activeCount(), 0);
}

TEST_F(DownloadTest, runs_by_priority_then_order_a_bounded_number_at_once)
{
    manager.setMaxConcurrent(2);
    std::vector<QString> done;
    QObject::connect(&downloader, &ResourceDownloader::finished,
                     [&](const DownloadParams &p, ResultCode) {
                         done.push_back(QFileInfo(p.destination).fileName());
                     });
    const std::vector<std::tuple<const char *, int, int>> requests
        = { { "low", 0, 0 }, { "high-late", 2, 5 }, { "high-early", 2, 1 }, { "mid", 1, 0 } };
    for (const auto &[name, priority, order] : requests) {
        DownloadParams p = params(server.url("/stall"));
        p.destination = folder.filePath(QString::fromLatin1(name));
        p.stallTimeoutMs = 60000;
        downloader.download(p, priority, order);
    }
    ASSERT_TRUE(TestSupport::waitUntil([&] { return manager.activeCount() == 2; }));
    EXPECT_EQ(manager.queuedCount(), 2);
    downloader.cancel();
    // Cancelling reports the running ones, then the queued ones, each group in rank order.
    EXPECT_EQ(done, (std::vector<QString> { "high-early", "high-late", "mid", "low" }));
}

} // namespace
