#include "downloader/localfile.h"
#include "downloader/resourcedownloader.h"
#include "downloader/resourcemanager.h"
#include "downloader/transferpolicy.h"

#include "eventwait.h"
#include "loopbackhttpserver.h"
#include "manualclock.h"
#include "tablerow.h"
#include "testfiles.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace {

using namespace Downloader;

const QByteArray oldContent = "the cache from an earlier run";
const QByteArray oldValidators = R"({"etag":"\"old\"","lastModified":"","size":29})";
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

// One manager per test, on a real loopback server and a clock the test moves; the destination
// starts with the old cache and its validators.
class DownloadTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        destination = TestSupport::writeFile(folder.filePath("cache/list.json"), oldContent);
        TestSupport::writeFile(validatorsPath(destination), oldValidators);
        server.setBody("list", freshContent);
        manager.setClock(clock);
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

    // Runs one download to its end and returns its report. With `passMs`, that much time passes
    // on the clock once the server has answered and the transfer waits: its reply let go of
    // (a retry), or with `inBody`, its body begun.
    DownloadReport run(const DownloadParams &p, std::int64_t passMs = 0, bool inBody = false)
    {
        int progressed = 0;
        QObject::connect(&downloader, &ResourceDownloader::progress,
                         [&](const DownloadParams &, qint64, qint64) { ++progressed; });
        std::optional<DownloadReport> report;
        int finishedCount = 0;
        QObject::connect(&downloader, &ResourceDownloader::reported,
                         [&](const DownloadParams &, const DownloadReport &r) { report = r; });
        QObject::connect(&downloader, &ResourceDownloader::finished,
                         [&](const DownloadParams &, ResultCode) { ++finishedCount; });
        downloader.download(p, 1, 0);
        if (passMs > 0) {
            const QString path = p.url.path();
            EXPECT_TRUE(TestSupport::waitUntil([&] {
                return finishedCount > 0
                    || (inBody ? progressed > 0
                               : server.requests(path) > 0
                                && manager.network().findChildren<QNetworkReply *>().isEmpty());
            }));
            clock.advance(passMs);
        }
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
    TestSupport::ManualClock clock;
    ResourceManager manager;
    ResourceDownloader downloader { manager };
};

struct Scenario : TestSupport::TableRow {
    const char *path; // on the server; "file:" rows name a local path under the test folder
    ResultCode code;
    const char *error; // part of the report's error; empty for success
    // The server saw this many requests for the path; -1: Qt may ask again once on its own when
    // the server closes the connection early.
    int requests = 1;
    std::function<void(DownloadParams &)> adjust = nullptr;
    std::int64_t passMs = 0; // time that passes once the server answered (see run)
    bool inBody = false;
};

void compressed(DownloadParams &p)
{
    p.flags |= Compressed;
}

class DownloadScenario
    : public DownloadTest
    , public testing::WithParamInterface<Scenario> { };

// Whatever the server does, the destination is the fresh body after a success and, byte for
// byte, the old cache and its validators after anything else, with no temporary file left.
TEST_P(DownloadScenario, leaves_the_destination_whole)
{
    const Scenario &s = GetParam();
    DownloadParams p = params(server.url(QString::fromLatin1(s.path)));
    if (s.adjust)
        s.adjust(p);
    const QtMessageHandler previous = qInstallMessageHandler(collectReplyWarnings);
    const DownloadReport report = run(p, s.passMs, s.inBody);
    // The replies dropped are gone, and Qt had nothing to say about them.
    EXPECT_TRUE(TestSupport::waitUntil(
        [&] { return manager.network().findChildren<QNetworkReply *>().isEmpty(); }));
    qInstallMessageHandler(previous);
    EXPECT_EQ(std::exchange(replyWarnings, {}), "");
    EXPECT_EQ(report.code, s.code) << report.error.toStdString();
    EXPECT_TRUE(report.error.contains(QLatin1String(s.error))) << report.error.toStdString();
    EXPECT_EQ(TestSupport::readFile(destination), s.code == Success ? freshContent : oldContent);
    if (s.code != Success) {
        EXPECT_EQ(TestSupport::readFile(validatorsPath(destination)), oldValidators);
    }
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    if (s.requests >= 0) {
        EXPECT_EQ(server.requests(QString::fromLatin1(s.path)), s.requests);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Downloader,
    DownloadScenario,
    testing::Values(
        Scenario { "good", "/file/list", Success, "" },
        Scenario { "redirected", "/redirect/list", Success, "" },
        Scenario { "retried_after_429", "/retry/1/list", Success, "", 2, nullptr, 1000 },
        Scenario { "not_found_is_not_retried", "/status/404", Failed, "HTTP 404" },
        Scenario { "server_error", "/status/500", Failed, "HTTP 500" },
        // Ended by the server closing, not by a length: still told as the server's answer.
        Scenario { "closed_404_names_the_status", "/bare/404", Failed, "HTTP 404 Not Found", -1 },
        Scenario { "closed_500_names_the_status", "/bare/500", Failed, "HTTP 500", -1 },
        Scenario { "retries_run_out", "/retry/9/list", Failed, "HTTP 429", 2,
                   [](DownloadParams &p) { p.maxRetries = 1; }, 1000 },
        Scenario { "retry_wait_beyond_the_limit", "/retry/1/list", Failed, "asked to wait", 1,
                   [](DownloadParams &p) { p.maxRetryDelayMs = 500; } },
        Scenario { "cut_body", "/cut", Failed, "" },
        Scenario { "stalled_body", "/stall", Failed, "no data for 400 ms", 1, nullptr, 400, true },
        // A byte now and then keeps a stall timer fed; the deadline by the announced size ends it.
        Scenario { "slow_body_meets_its_deadline", "/stall", Failed, "not done within 60 s", 1,
                   [](DownloadParams &p) { p.stallTimeoutMs = 3600 * 1000; }, deadlineMsFor(1000),
                   true },
        Scenario { "gzip", "/gzip/list", Success, "", 1, compressed },
        Scenario { "deflate", "/deflate/list", Success, "", 1, compressed },
        Scenario { "bare_deflate", "/rawdeflate/list", Success, "", 1, compressed },
        Scenario { "server_ignores_accept_encoding", "/file/list", Success, "", 1, compressed },
        // 60 KB on the wire that would inflate to 60 MB: stopped at the limit.
        Scenario { "gzip_bomb", "/bomb/60000000", Failed, "larger than the limit of 100000", 1,
                   compressed },
        Scenario { "refused_by_the_check", "/file/list", Failed, "the body was refused: no list", 1,
                   [](DownloadParams &p) {
                       p.check = [](const QString &path) {
                           return TestSupport::readFile(path) == freshContent ? "no list" : "";
                       };
                   } },
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

TEST_F(DownloadTest, a_compressed_list_is_kept_decompressed_and_revalidated)
{
    const QByteArray big = QByteArray("{\"items\": [") + QByteArray(200000, ' ') + "]}";
    server.setBody("list", big);
    DownloadParams p = params(server.url("/gzip/list"));
    p.flags |= Compressed;
    p.maxBytes = 1000000;
    const DownloadReport first = run(p);
    ASSERT_EQ(first.code, Success) << first.error.toStdString();
    EXPECT_EQ(TestSupport::readFile(destination), big);
    EXPECT_LT(first.wireBytes * 50, first.bytes);
    EXPECT_EQ(server.lastHeader("/gzip/list", "accept-encoding"), "gzip, deflate");
    const DownloadReport again = run(p);
    EXPECT_TRUE(again.notModified);
    EXPECT_EQ(TestSupport::readFile(destination), big);

    // Media is asked for as stored.
    p.flags = Resume;
    run(p);
    EXPECT_EQ(server.lastHeader("/gzip/list", "accept-encoding"), "identity");
}

// An install cut off part-way goes on from where it stopped when the server still has the same
// file, and starts over otherwise; the file is whole and right either way.
struct ResumeCase : TestSupport::TableRow {
    const char *path;
    bool resumed;
    char salt = 0; // of the file the server has at the end
    // What happens between the two halves.
    std::function<void(TestSupport::LoopbackHttpServer &, const QString &partial)> between
        = nullptr;
};

class Resuming
    : public DownloadTest
    , public testing::WithParamInterface<ResumeCase> { };

QByteArray pattern(int size, char salt)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>('a' + (i * 7 + salt) % 26);
    return bytes;
}

TEST_P(Resuming, ends_with_the_servers_whole_file)
{
    const ResumeCase &c = GetParam();
    server.setBody("item", pattern(300000, 0));
    const QString path = QString::fromLatin1(c.path);
    DownloadParams p = params(server.url(path));
    p.destination = folder.filePath("item.bin");
    p.flags = Resume;
    p.maxBytes = 400000;
    server.cutNextAfter(path, 200000);
    ASSERT_EQ(run(p).code, Failed);
    const QString partial = partialPath(p.destination);
    ASSERT_GT(QFileInfo(partial).size(), 0);
    if (c.between)
        c.between(server, partial);

    const DownloadReport report = run(p);
    ASSERT_EQ(report.code, Success) << report.error.toStdString();
    EXPECT_TRUE(TestSupport::readFile(p.destination) == pattern(300000, c.salt));
    EXPECT_EQ(report.resumedFrom > 0, c.resumed);
    if (c.resumed) {
        EXPECT_EQ(report.resumedFrom + report.wireBytes, 300000);
    }
    EXPECT_FALSE(QFileInfo::exists(partial));
    EXPECT_FALSE(QFileInfo::exists(validatorsPath(partial)));
}

INSTANTIATE_TEST_SUITE_P(
    Downloader,
    Resuming,
    testing::Values(ResumeCase { "continued", "/file/item", true },
                    ResumeCase { "server_without_ranges", "/norange/item", false },
                    ResumeCase { "changed_between_the_halves", "/file/item", false, 3,
                                 [](TestSupport::LoopbackHttpServer &server, const QString &) {
                                     server.setBody("item", pattern(300000, 3));
                                 } },
                    ResumeCase { "first_part_altered_on_disk", "/file/item", false, 0,
                                 [](TestSupport::LoopbackHttpServer &, const QString &partial) {
                                     QFile file(partial);
                                     ASSERT_TRUE(file.open(QIODevice::ReadWrite));
                                     file.seek(10);
                                     file.write("#");
                                 } }),
    TestSupport::tableRowName);

// Two editors on one data folder: the part one of them is writing is left alone by the other.
TEST_F(DownloadTest, a_part_another_download_holds_is_left_to_it)
{
    server.setBody("item", pattern(300000, 0));
    DownloadParams p = params(server.url("/file/item"));
    p.destination = folder.filePath("item.bin");
    p.flags = Resume;
    p.maxBytes = 400000;
    const QString partial = TestSupport::writeFile(partialPath(p.destination), "theirs");
    const int held = ::open(QFile::encodeName(partial).constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    const DownloadReport report = run(p);
    ::close(held);
    ASSERT_EQ(report.code, Success) << report.error.toStdString();
    EXPECT_TRUE(TestSupport::readFile(p.destination) == pattern(300000, 0));
    EXPECT_EQ(TestSupport::readFile(partial), QByteArray("theirs"));
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
