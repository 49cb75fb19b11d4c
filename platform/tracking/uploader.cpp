#include "tracking/uploader.h"

#include "tracking/eventstore.h"
#include "tracking/sqlite.h"

#include "util/fs.h"

#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUuid>

#include <fcntl.h>
#include <glog/logging.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

#include <random>
#include <stdexcept>
#include <thread>

namespace Vantel::Tracking {

namespace {

using namespace std::chrono_literals;
using Sqlite::Statement;

constexpr int BusyTimeoutMs = 5000;
// A collector's answer is a short status; anything longer is read and let go.
constexpr int MaxResponseBytes = 64 * 1024;

class SteadyClock : public UploadClock {
public:
    TimePoint now() const override { return std::chrono::steady_clock::now(); }
    void waitUntil(std::condition_variable &wake,
                   std::unique_lock<std::mutex> &lock,
                   TimePoint deadline) override
    {
        wake.wait_until(lock, deadline);
    }
};

// The choice the user made, beside the store: the collector and the folder's random instance id.
struct UploadConfig {
    QString collector;
    QString instanceId;
};

UploadConfig readConfig(const QString &path)
{
    UploadConfig config;
    try {
        const QJsonObject object
            = QJsonDocument::fromJson(FS::readRegularFile(path, 64 * 1024)).object();
        config.collector = object.value(QLatin1String("collector")).toString();
        config.instanceId = object.value(QLatin1String("instanceId")).toString();
    } catch (const FS::Error &e) {
        if (!e.notFound())
            LOG(WARNING) << "usage upload: " << e.what() << "; nothing is sent";
    }
    if (!config.collector.isEmpty()) {
        try {
            collectorUrl(config.collector);
        } catch (const std::invalid_argument &e) {
            LOG(WARNING) << "usage upload: the collector kept in " << path.toStdString()
                         << " is no usable address (" << e.what() << "); nothing is sent";
            config.collector.clear();
        }
    }
    return config;
}

void writeConfig(const QString &path, const UploadConfig &config)
{
    const QJsonObject object { { QStringLiteral("collector"), config.collector },
                               { QStringLiteral("instanceId"), config.instanceId } };
    FS::writeFileAtomically(path, QJsonDocument(object).toJson());
}

// What one round of the thread came to.
enum class Outcome {
    Nothing, // no event to send
    Sent, // a 2xx; more may wait
    Dropped, // a 400: the batch is counted as rejected and passed over
    Split, // a 413: the batch is halved and sent again at once
    Retry, // a retryable status or a failed connection
    Failed, // a status that must not be retried: nothing more this run
    Busy, // another editor of this data folder is sending
    Aborted, // stopped by pause or shutdown
};

// The upload's own rows in the store's database: the read position, the counts, the last result
// and the salt of the records' ids. In the same file as the events, so a store set aside as
// damaged takes its position along and its successor starts from its own first event.
constexpr const char *CreateTable
    = "CREATE TABLE IF NOT EXISTS upload(key TEXT PRIMARY KEY, value) WITHOUT ROWID";

struct Persisted {
    qint64 cursor = 0;
    qint64 sent = 0;
    qint64 rejected = 0;
    std::string result = "none";
    std::string error;
    Otlp::UidSalt salt;
    bool hasSalt = false;
};

Persisted readPersisted(sqlite3 *db)
{
    Persisted p;
    Statement exists(db, "SELECT count(*) FROM sqlite_schema WHERE name = 'upload'");
    if (exists.single() == 0)
        return p;
    Statement select(db, "SELECT key, value FROM upload");
    while (select.step()) {
        const std::string key = Sqlite::columnText(select.get(), 0);
        const qint64 value = sqlite3_column_int64(select.get(), 1);
        if (key == "cursor")
            p.cursor = value;
        else if (key == "sent")
            p.sent = value;
        else if (key == "rejected")
            p.rejected = value;
        else if (key == "result")
            p.result = Sqlite::columnText(select.get(), 1);
        else if (key == "error")
            p.error = Sqlite::columnText(select.get(), 1);
        else if (key == "salt_high")
            p.salt.high = static_cast<std::uint64_t>(value), p.hasSalt = true;
        else if (key == "salt_low")
            p.salt.low = static_cast<std::uint64_t>(value);
    }
    return p;
}

// Events after `cursor`: the ids in the table are one unbroken run.
qint64 pendingAfter(sqlite3 *db, qint64 cursor)
{
    Statement range(db, "SELECT coalesce(max(id), 0), coalesce(min(id), 0) FROM events");
    if (!range.step())
        return 0;
    const qint64 newest = sqlite3_column_int64(range.get(), 0);
    const qint64 oldest = sqlite3_column_int64(range.get(), 1);
    return newest == 0 ? 0 : newest - std::max(cursor, oldest - 1);
}

} // namespace

std::shared_ptr<UploadClock> steadyUploadClock()
{
    static const auto clock = std::make_shared<SteadyClock>();
    return clock;
}

QUrl collectorUrl(const QString &text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    if (!url.isValid())
        throw std::invalid_argument("not an address: " + url.errorString().toStdString());
    const QString scheme = url.scheme().toLower();
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
        throw std::invalid_argument("the address must begin with http:// or https://");
    if (url.host().isEmpty())
        throw std::invalid_argument("the address names no host");
    if (url.hasFragment())
        throw std::invalid_argument("the address may not have a fragment (#...)");
    return url;
}

std::string shownUrl(const QUrl &url)
{
    QUrl shown = url.adjusted(QUrl::RemoveUserInfo | QUrl::RemoveQuery | QUrl::RemoveFragment);
    std::string text = shown.toString().toStdString();
    if (url.hasQuery())
        text += "?...";
    return text;
}

struct Round {
    Outcome outcome = Outcome::Nothing;
    std::optional<std::chrono::seconds> retryAfter;
};

class Uploader::Impl {
public:
    Impl(std::shared_ptr<EventStore> store, UploaderOptions options);
    ~Impl();

    void start();
    void run();
    Round round(QNetworkAccessManager &network, const QUrl &collector);
    Round send(QNetworkAccessManager &network,
               const QUrl &collector,
               const std::string &json,
               int events,
               qint64 lastId);
    void ensureDatabase();
    bool ensureLock();
    // Keeps the counts and the last result; with `position`, the read position too.
    void persist(bool position);
    // Sets the last result (under the mutex) and keeps it.
    void report(const char *result, const std::string &error, bool position = false);
    void abortInFlight();
    bool active() const { return !collector.isEmpty() && !paused && !halted && store->isEnabled(); }
    // Until the thread has finished a round begun after the call and does not go straight on,
    // or until `deadline`.
    void waitSettled(std::unique_lock<std::mutex> &lock,
                     std::chrono::steady_clock::time_point deadline,
                     const std::function<bool()> &cancelled = {});

    const std::shared_ptr<EventStore> store;
    UploaderOptions options;
    std::shared_ptr<UploadClock> clock;
    QString configPath;
    QString lockPath;
    Otlp::Resource resource;

    mutable std::mutex mutex;
    std::condition_variable wakeThread;
    std::condition_variable changed;
    QUrl collector;
    bool paused = false;
    bool halted = false; // a status that must not be retried: nothing more until asked again
    bool stopping = false;
    bool kick = false;
    bool inFlight = false;
    bool goesOn = false; // the thread starts its next round at once
    quint64 generation = 0; // a round begun under an older one changes nothing
    quint64 rounds = 0;
    int failures = 0;
    UploadClock::TimePoint due {};
    QNetworkReply *reply = nullptr;
    std::thread thread;

    // Shared with status(); the thread writes it under the mutex.
    Persisted state;
    qint64 requests = 0;

    // The thread's own.
    Sqlite::Database db;
    int lockFd = -1;
    int batchLimit = 1;
    std::mt19937 random { std::random_device {}() };
    bool warnedParams = false;
};

Uploader::Impl::Impl(std::shared_ptr<EventStore> store, UploaderOptions options)
    : store(std::move(store))
    , options(std::move(options))
    , clock(this->options.clock ? this->options.clock : steadyUploadClock())
{
    const QDir folder = QFileInfo(this->store->path()).absoluteDir();
    configPath = folder.filePath(QStringLiteral("upload.json"));
    lockPath = folder.filePath(QStringLiteral("upload.lock"));
    resource = this->options.resource;
    batchLimit = std::max(this->options.maxBatchEvents, 1);
    const UploadConfig config = readConfig(configPath);
    resource.instanceId = config.instanceId.toStdString();
    if (!config.collector.isEmpty())
        collector = collectorUrl(config.collector);
    try {
        if (this->store->isAvailable() && QFileInfo::exists(this->store->path())) {
            const Sqlite::Database reader = Sqlite::open(
                this->store->path(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, BusyTimeoutMs);
            state = readPersisted(reader.get());
        }
    } catch (const std::exception &e) {
        LOG(WARNING) << "usage upload: cannot read where the upload stands: " << e.what();
    }
    if (!collector.isEmpty())
        start();
}

Uploader::Impl::~Impl()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
        abortInFlight();
    }
    wakeThread.notify_all();
    if (thread.joinable())
        thread.join();
}

void Uploader::Impl::start()
{
    if (!thread.joinable() && store->isAvailable())
        thread = std::thread(&Impl::run, this);
}

void Uploader::Impl::abortInFlight()
{
    // Queued to the thread that owns the reply; a reply deleted first takes the call with it.
    if (reply)
        QMetaObject::invokeMethod(reply, &QNetworkReply::abort, Qt::QueuedConnection);
}

void Uploader::Impl::waitSettled(std::unique_lock<std::mutex> &lock,
                                 std::chrono::steady_clock::time_point deadline,
                                 const std::function<bool()> &cancelled)
{
    const quint64 begun = rounds;
    const auto settled = [&] {
        return stopping || !active() || !thread.joinable()
            || (rounds > begun && !goesOn && !kick && !inFlight);
    };
    while (!settled() && std::chrono::steady_clock::now() < deadline) {
        if (cancelled && cancelled())
            return;
        changed.wait_until(lock, std::min(deadline, std::chrono::steady_clock::now() + 100ms));
    }
}

void Uploader::Impl::run()
{
    pthread_setname_np(pthread_self(), "uploader");
    QNetworkAccessManager network;
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopping) {
        if (!active()) {
            // Idle: the store may do as it likes with its file.
            db.reset();
            changed.notify_all();
            wakeThread.wait(lock);
            continue;
        }
        if (!kick && clock->now() < due) {
            clock->waitUntil(wakeThread, lock, due);
            continue;
        }
        kick = false;
        const QUrl target = collector;
        const quint64 begun = generation;
        inFlight = true;
        lock.unlock();
        Round result;
        try {
            result = round(network, target);
        } catch (const std::exception &e) {
            LOG(WARNING) << "usage upload: " << e.what();
            db.reset();
            report("retrying", e.what());
            result.outcome = Outcome::Retry;
        }
        lock.lock();
        inFlight = false;
        ++rounds;
        goesOn = false;
        const auto now = clock->now();
        if (begun == generation) {
            switch (result.outcome) {
            case Outcome::Sent:
            case Outcome::Dropped:
            case Outcome::Split:
                failures = 0;
                goesOn = true;
                due = now;
                break;
            case Outcome::Nothing:
                failures = 0;
                due = now + options.pollInterval;
                break;
            case Outcome::Retry: {
                ++failures;
                const double jitter = std::uniform_real_distribution<double>(0, 1)(random);
                due = now
                    + (result.retryAfter ? std::chrono::milliseconds(
                           std::min(*result.retryAfter, Otlp::MaxRetryAfter))
                                         : Otlp::backoffDelay(failures, jitter));
                break;
            }
            case Outcome::Busy:
                due = now + options.pollInterval;
                break;
            case Outcome::Failed:
                halted = true;
                break;
            case Outcome::Aborted:
                break;
            }
        }
        changed.notify_all();
    }
    db.reset();
    if (lockFd >= 0)
        ::close(lockFd);
    lockFd = -1;
    changed.notify_all();
}

void Uploader::Impl::ensureDatabase()
{
    if (db)
        return;
    db = Sqlite::open(store->path(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, BusyTimeoutMs);
    Sqlite::exec(db.get(), CreateTable, "creating the upload table");
    Persisted stored = readPersisted(db.get());
    if (!stored.hasSalt) {
        std::random_device device;
        const auto word = [&] { return (std::uint64_t(device()) << 32) | device(); };
        stored.salt = { word(), word() };
        stored.hasSalt = true;
        Statement insert(db.get(),
                         "INSERT OR REPLACE INTO upload VALUES('salt_high', ?), ('salt_low', ?)");
        insert.bind(1, static_cast<qint64>(stored.salt.high));
        insert.bind(2, static_cast<qint64>(stored.salt.low));
        insert.run();
    }
    std::lock_guard<std::mutex> lock(mutex);
    state = stored;
}

bool Uploader::Impl::ensureLock()
{
    if (lockFd >= 0)
        return true;
    const QByteArray path = QFile::encodeName(lockPath);
    const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
        throw std::runtime_error("cannot open " + lockPath.toStdString());
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return false;
    }
    lockFd = fd;
    return true;
}

void Uploader::Impl::report(const char *result, const std::string &error, bool position)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        state.result = result;
        state.error = error;
    }
    try {
        persist(position);
    } catch (const std::exception &e) {
        // The batch goes again next time: sent twice rather than lost.
        LOG(WARNING) << "usage upload: cannot keep where the upload stands: " << e.what();
        db.reset();
    }
}

void Uploader::Impl::persist(bool position)
{
    if (!db)
        return;
    Persisted now;
    {
        std::lock_guard<std::mutex> lock(mutex);
        now = state;
    }
    Statement write(db.get(),
                    position ? "INSERT OR REPLACE INTO upload VALUES('result', ?), ('error', ?), "
                               "('sent', ?), ('rejected', ?), ('cursor', ?)"
                             : "INSERT OR REPLACE INTO upload VALUES('result', ?), ('error', ?)");
    write.bind(1, now.result);
    write.bind(2, now.error);
    if (position) {
        write.bind(3, now.sent);
        write.bind(4, now.rejected);
        write.bind(5, now.cursor);
    }
    write.run();
}

Round Uploader::Impl::round(QNetworkAccessManager &network, const QUrl &target)
{
    ensureDatabase();
    if (!ensureLock()) {
        std::lock_guard<std::mutex> lock(mutex);
        state.result = "retrying";
        state.error = "another editor on this data folder is sending";
        return { Outcome::Busy, {} };
    }
    qint64 cursor = 0;
    Otlp::Resource sender;
    {
        std::lock_guard<std::mutex> lock(mutex);
        cursor = state.cursor;
        sender = resource;
    }
    Otlp::LogsWriter writer(sender);
    Statement select(db.get(),
                     "SELECT id, name, params, time, session FROM events "
                     "WHERE id > ? ORDER BY id LIMIT ?");
    select.bind(1, cursor);
    select.bind(2, static_cast<qint64>(batchLimit));
    const qint64 observedNs = QDateTime::currentMSecsSinceEpoch() * 1'000'000;
    qint64 lastId = cursor;
    const auto text = [&](int column) {
        const auto *data
            = reinterpret_cast<const char *>(sqlite3_column_blob(select.get(), column));
        return std::string_view(
            data ? data : "", static_cast<std::size_t>(sqlite3_column_bytes(select.get(), column)));
    };
    while (select.step()) {
        const qint64 id = sqlite3_column_int64(select.get(), 0);
        const qint64 timeMs = sqlite3_column_int64(select.get(), 3);
        const std::size_t mark = writer.size();
        const std::string uid = Otlp::recordUid(state.salt, id, timeMs);
        if (!writer.add(text(1), text(2), timeMs, text(4), uid, observedNs)
            && !std::exchange(warnedParams, true)) {
            LOG(WARNING) << "usage upload: event " << id
                         << " has unreadable parameters; it is sent without them";
        }
        if (writer.records() > 1 && static_cast<qint64>(writer.size()) > options.maxBatchBytes) {
            writer.dropLast(mark);
            break;
        }
        lastId = id;
    }
    select = Statement();
    const int events = writer.records();
    if (events == 0) {
        std::lock_guard<std::mutex> lock(mutex);
        if (state.result == "none")
            state.result = "ok";
        return { Outcome::Nothing, {} };
    }
    return send(network, target, writer.finish(), events, lastId);
}

Round Uploader::Impl::send(QNetworkAccessManager &network,
                           const QUrl &collector,
                           const std::string &json,
                           int events,
                           qint64 lastId)
{
    QUrl url = collector;
    QString path = url.path();
    while (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    url.setPath(path + QStringLiteral("/v1/logs"));
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    // Followed redirects would carry the events somewhere the user did not name, and an https
    // address must never end up on http: a redirect is a failure that says where it pointed.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    request.setTransferTimeout(static_cast<int>(options.requestTimeout.count()));
    QByteArray body;
    if (static_cast<qint64>(json.size()) > options.gzipAbove) {
        body = Otlp::gzip(json);
        request.setRawHeader("Content-Encoding", "gzip");
    } else {
        body = QByteArray(json.data(), static_cast<int>(json.size()));
    }

    QNetworkReply *sent = nullptr;
    {
        // Posted under the lock, so pause() either comes first and nothing is posted, or finds
        // the reply to abort.
        std::lock_guard<std::mutex> lock(mutex);
        if (stopping || paused || this->collector != collector)
            return { Outcome::Aborted, {} };
        sent = network.post(request, body);
        ++requests;
        reply = sent;
    }
    QByteArray answer;
    const auto readSome = [&] {
        if (!sent->isOpen())
            return;
        // read-check: the collector's answer on the network, kept within MaxResponseBytes.
        const QByteArray chunk = sent->readAll();
        if (answer.size() < MaxResponseBytes)
            answer += chunk.left(MaxResponseBytes - answer.size());
    };
    QObject::connect(sent, &QNetworkReply::readyRead, sent, readSome);
    if (!sent->isFinished()) {
        QEventLoop loop;
        QObject::connect(sent, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    readSome();
    {
        std::lock_guard<std::mutex> lock(mutex);
        reply = nullptr;
    }
    const int status = sent->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QNetworkReply::NetworkError error = sent->error();
    QString errorText = sent->errorString();
    const QByteArray retryAfter = sent->rawHeader("Retry-After");
    const QByteArray location = sent->rawHeader("Location");
    delete sent;
    if (!collector.password().isEmpty())
        errorText.replace(collector.password(), QStringLiteral("***"));

    if (status == 0) {
        if (error == QNetworkReply::OperationCanceledError) {
            std::lock_guard<std::mutex> lock(mutex);
            if (stopping || paused)
                return { Outcome::Aborted, {} };
        }
        report("retrying", errorText.toStdString());
        return { Outcome::Retry, {} };
    }
    const std::string http = "HTTP " + std::to_string(status);
    if (status >= 200 && status < 300) {
        const Otlp::ExportResponse response = Otlp::parseExportResponse(answer);
        const qint64 refused = std::min<qint64>(response.rejectedLogRecords, events);
        {
            std::lock_guard<std::mutex> lock(mutex);
            state.cursor = lastId;
            state.sent += events - refused;
            state.rejected += refused;
        }
        std::string note;
        if (refused > 0 || !response.errorMessage.empty()) {
            note = "the collector refused " + std::to_string(refused) + " of "
                + std::to_string(events) + " events"
                + (response.errorMessage.empty() ? "" : ": " + response.errorMessage);
        }
        report("ok", note, true);
        return { Outcome::Sent, {} };
    }
    if (status == 413) {
        if (events > 1) {
            batchLimit = std::max(events / 2, 1);
            report("retrying", http + ": the batch is too large; sending it in halves");
            return { Outcome::Split, {} };
        }
        {
            std::lock_guard<std::mutex> lock(mutex);
            state.cursor = lastId;
            state.rejected += 1;
        }
        report("rejected", http + ": one event is larger than the collector takes", true);
        return { Outcome::Dropped, {} };
    }
    if (status == 400) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            state.cursor = lastId;
            state.rejected += events;
        }
        report("rejected",
               http + ": the collector refused " + std::to_string(events)
                   + " events: " + Otlp::failureMessage(answer),
               true);
        return { Outcome::Dropped, {} };
    }
    if (Otlp::isRetryableStatus(status)) {
        report("retrying", http + ": " + Otlp::failureMessage(answer));
        return { Outcome::Retry,
                 Otlp::parseRetryAfter(retryAfter, QDateTime::currentDateTimeUtc()) };
    }
    std::string reason = http + ": " + Otlp::failureMessage(answer);
    if (status >= 300 && status < 400) {
        reason = http + ": the collector sends the events elsewhere ("
            + shownUrl(url.resolved(QUrl::fromEncoded(location)))
            + "); name that address if it is the right one";
    }
    LOG(WARNING) << "usage upload to " << shownUrl(collector) << " failed: " << reason
                 << "; nothing more is sent in this run";
    report("failed", reason);
    return { Outcome::Failed, {} };
}

Uploader::Uploader(std::shared_ptr<EventStore> store, UploaderOptions options)
    : d(std::make_unique<Impl>(std::move(store), std::move(options)))
{
}

Uploader::~Uploader() = default;

void Uploader::setCollector(const QString &text)
{
    const QUrl url = collectorUrl(text);
    UploadConfig config = readConfig(d->configPath);
    config.collector = url.toString(QUrl::FullyEncoded);
    // Made once per data folder: it tells the collector two runs came from one installation and
    // says nothing about the machine or the user.
    if (config.instanceId.isEmpty())
        config.instanceId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    try {
        writeConfig(d->configPath, config);
    } catch (const FS::Error &e) {
        throw std::runtime_error(std::string("cannot keep the collector: ") + e.what());
    }
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        d->resource.instanceId = config.instanceId.toStdString();
        d->collector = url;
        ++d->generation;
        d->abortInFlight();
        d->halted = false;
        d->failures = 0;
        d->kick = true;
    }
    d->start();
    d->wakeThread.notify_all();
}

void Uploader::clearCollector()
{
    UploadConfig config = readConfig(d->configPath);
    if (!config.collector.isEmpty()) {
        config.collector.clear();
        try {
            writeConfig(d->configPath, config);
        } catch (const FS::Error &e) {
            throw std::runtime_error(std::string("cannot forget the collector: ") + e.what());
        }
    }
    std::unique_lock<std::mutex> lock(d->mutex);
    d->collector = QUrl();
    ++d->generation;
    d->abortInFlight();
    d->wakeThread.notify_all();
    d->changed.wait(lock, [&] { return !d->inFlight; });
}

void Uploader::pause()
{
    std::unique_lock<std::mutex> lock(d->mutex);
    d->paused = true;
    ++d->generation;
    d->abortInFlight();
    d->wakeThread.notify_all();
    d->changed.wait(lock, [&] { return !d->inFlight; });
}

void Uploader::resume()
{
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        d->paused = false;
        d->kick = true;
    }
    d->wakeThread.notify_all();
}

void Uploader::wake()
{
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        // A retry wait stands: new events do not make a failing collector well.
        if (d->failures > 0)
            return;
        d->kick = true;
    }
    d->wakeThread.notify_all();
}

UploadStatus Uploader::status() const
{
    UploadStatus status;
    qint64 cursor = 0;
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        status.collector = d->collector.isEmpty() ? std::string() : shownUrl(d->collector);
        status.sent = d->state.sent;
        status.rejected = d->state.rejected;
        status.result = d->state.result;
        status.error = d->state.error;
        status.requests = d->requests;
        cursor = d->state.cursor;
        if (d->failures > 0 && !d->halted && status.result == "retrying") {
            status.retryIn = std::chrono::duration_cast<std::chrono::milliseconds>(
                std::max(d->due - d->clock->now(), UploadClock::TimePoint::duration::zero()));
        }
    }
    if (!d->store->isEnabled())
        status.result = "off";
    try {
        if (d->store->isAvailable() && QFileInfo::exists(d->store->path())) {
            const Sqlite::Database reader = Sqlite::open(
                d->store->path(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, BusyTimeoutMs);
            status.pending = pendingAfter(reader.get(), cursor);
        }
    } catch (const std::exception &e) {
        status.error = e.what();
    }
    return status;
}

UploadStatus Uploader::flush(std::chrono::milliseconds wait, const std::function<bool()> &cancelled)
{
    d->store->flush();
    {
        std::unique_lock<std::mutex> lock(d->mutex);
        if (!d->collector.isEmpty() && !d->paused && d->store->isEnabled()) {
            auto deadline = std::chrono::steady_clock::now() + wait;
            d->halted = false;
            d->start();
            // A round already under way is this flush's attempt when it fails; when it succeeds,
            // the events committed since it read are sent by the rounds after it.
            if (d->inFlight) {
                d->changed.wait_until(lock, deadline, [&] { return !d->inFlight; });
                if (d->failures > 0 || d->halted)
                    deadline = std::chrono::steady_clock::now();
            }
            d->kick = std::chrono::steady_clock::now() < deadline;
            d->wakeThread.notify_all();
            if (d->kick)
                d->waitSettled(lock, deadline, cancelled);
        }
    }
    return status();
}

void Uploader::finish(std::chrono::milliseconds grace)
{
    std::unique_lock<std::mutex> lock(d->mutex);
    if (!d->active() || d->failures > 0 || !d->thread.joinable())
        return;
    d->kick = true;
    d->wakeThread.notify_all();
    d->waitSettled(lock, std::chrono::steady_clock::now() + grace);
}

} // namespace Vantel::Tracking
