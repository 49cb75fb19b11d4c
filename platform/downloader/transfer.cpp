#include "downloader/transfer.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <glog/logging.h>

#include <zlib.h>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Downloader {

namespace {

// Bounds what Qt holds for a reply we have not read yet: with a slow disk the socket is left
// unread instead of the body piling up in memory.
constexpr qint64 replyBufferBytes = 512 * 1024;
constexpr qint64 chunkBytes = 256 * 1024;
// How much of a resumable body may go unrecorded: what a crash costs at most.
constexpr std::int64_t checkpointBytes = 8 * 1024 * 1024;

bool isRedirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

QString bytesText(std::int64_t bytes)
{
    return QString::number(bytes) + QStringLiteral(" bytes");
}

// The CRC-32 of the first `bytes` bytes of the file at `path`, never through a link; nothing
// when it cannot be read that far.
std::optional<quint32> crcOfStart(const QString &path, std::int64_t bytes)
{
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    struct stat st { };
    std::optional<quint32> result;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size >= bytes) {
        uLong crc = crc32(0L, Z_NULL, 0);
        static thread_local char buffer[chunkBytes];
        std::int64_t left = bytes;
        while (left > 0) {
            const ssize_t got
                = ::read(fd, buffer, static_cast<size_t>(std::min<std::int64_t>(left, chunkBytes)));
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            crc = crc32(crc, reinterpret_cast<const Bytef *>(buffer), static_cast<uInt>(got));
            left -= got;
        }
        if (left == 0)
            result = static_cast<quint32>(crc);
    }
    ::close(fd);
    return result;
}

} // namespace

Transfer::Transfer(QNetworkAccessManager &network,
                   Clock &clock,
                   DownloadParams params,
                   QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_clock(clock)
    , m_params(std::move(params))
    , m_current(m_params.url)
    , m_part(m_params.destination)
    , m_stall(clock)
    , m_deadline(clock)
    , m_retry(clock)
{
    connect(&m_stall, &ClockTimer::timeout, this, [this] {
        fail(QStringLiteral("no data for ") + QString::number(m_params.stallTimeoutMs)
             + QStringLiteral(" ms"));
    });
    connect(&m_deadline, &ClockTimer::timeout, this, [this] {
        fail(QStringLiteral("not done within ") + QString::number(m_deadlineMs / 1000)
             + QStringLiteral(" s"));
    });
    connect(&m_retry, &ClockTimer::timeout, this, &Transfer::startHttp);
}

Transfer::~Transfer()
{
    dropReply();
    if (m_sourceFd >= 0)
        ::close(m_sourceFd);
}

void Transfer::start()
{
    if (m_params.destination.isEmpty())
        return fail(QStringLiteral("no destination"));
    m_startedMs = m_clock.nowMs();
    armDeadline(0);
    const QString scheme = m_current.scheme().toLower();
    if (scheme == QLatin1String("file"))
        return startFile();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https")) {
        if (m_params.flags & Resume) {
            // Another editor on this data folder is fetching the same file: its part is left to
            // it, and this download goes to a file of its own.
            m_partialInUse = partialInUse(m_params.destination);
            if (!m_partialInUse)
                m_resumePoint = resumePointInPlace();
            m_resumeFrom = m_resumePoint ? m_resumePoint->size : 0;
        }
        return startHttp();
    }
    fail(QStringLiteral("unsupported address ") + m_current.toDisplayString());
}

void Transfer::cancel()
{
    fail(QStringLiteral("cancelled"), Cancel);
}

// A caller's own limit holds from the start; otherwise the limit follows the bytes that have
// come. Not the size a response announces: a hostile server could announce gigabytes to stretch
// its own deadline, then trickle.
void Transfer::armDeadline(std::int64_t bytes)
{
    if (m_params.deadlineMs > 0) {
        if (!m_deadline.isActive() && m_startedMs == m_clock.nowMs())
            m_deadline.start(m_deadlineMs = m_params.deadlineMs);
        return;
    }
    const std::int64_t limit = deadlineMsFor(bytes);
    if (limit <= m_deadlineMs && m_deadline.isActive())
        return;
    m_deadlineMs = limit;
    m_deadline.start(m_startedMs + limit - m_clock.nowMs());
}

// A partial body of an earlier download, when its record and its bytes still agree; else any
// such leftovers go and the download starts from the first byte.
std::optional<Validators> Transfer::resumePointInPlace()
{
    const QString part = partialPath(m_params.destination);
    QString error;
    const auto bytes = readRegularFile(validatorsPath(part), 4096, &error);
    std::optional<Validators> point = bytes ? parseValidators(*bytes) : std::nullopt;
    // A record taken before the first byte came keeps nothing worth a request for the rest.
    if (point
        && (!point->crc32 || point->size <= 0 || point->size > m_params.maxBytes
            || point->rangeValidator().isEmpty()))
        point.reset();
    if (point && crcOfStart(part, point->size) != point->crc32) {
        LOG(WARNING) << "The partial download " << part.toStdString()
                     << " no longer matches its record; starting over";
        point.reset();
    }
    if (!point && (bytes || QFileInfo::exists(part)))
        discardPartial(m_params.destination);
    return point;
}

std::optional<Validators> Transfer::validatorsInPlace() const
{
    if (!(m_params.flags & Revalidate))
        return std::nullopt;
    const QFileInfo destination(m_params.destination);
    if (!destination.isFile() || destination.isSymLink())
        return std::nullopt;
    QString error;
    const auto bytes = readRegularFile(validatorsPath(m_params.destination), 4096, &error);
    if (!bytes)
        return std::nullopt;
    auto validators = parseValidators(*bytes);
    if (!validators || validators->empty() || validators->size != destination.size())
        return std::nullopt;
    return validators;
}

// ---- http(s)

void Transfer::startHttp()
{
    dropReply();
    m_part.discard();
    m_status = 0;
    m_expected = -1;
    m_wire = 0;
    m_inflater.reset();
    m_bodyAccepted = false;

    QNetworkRequest request(m_current);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    // Set here, Qt leaves the body as it comes: the decompression is ours, bounded by the size
    // limit as it runs, where Qt's own would inflate a bomb whole.
    request.setRawHeader("Accept-Encoding",
                         (m_params.flags & Compressed) ? "gzip, deflate" : "identity");
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("editor-downloader/1"));
    m_askedConditionally = false;
    if (const auto validators = validatorsInPlace()) {
        if (!validators->etag.isEmpty())
            request.setRawHeader("If-None-Match", validators->etag);
        if (!validators->lastModified.isEmpty())
            request.setRawHeader("If-Modified-Since", validators->lastModified);
        m_askedConditionally = true;
    }
    if (m_resumeFrom > 0) {
        request.setRawHeader("Range", "bytes=" + QByteArray::number(qint64(m_resumeFrom)) + '-');
        request.setRawHeader("If-Range", m_resumePoint->rangeValidator());
    }
    m_reply = m_network.get(request);
    m_reply->setReadBufferSize(replyBufferBytes);
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &Transfer::onMetaData);
    connect(m_reply, &QNetworkReply::readyRead, this, &Transfer::onReadyRead);
    connect(m_reply, &QNetworkReply::finished, this, &Transfer::onFinished);
    m_stall.start(m_params.stallTimeoutMs);
}

// A response of 400 and up ends with Qt's own error once its body is in: an abort on top would
// report a second error, which Qt warns about, so such a reply is left to end by itself. Any
// other is aborted now, which tells Qt's network thread to let go of the request at once rather
// than on the loop pass that deletes the reply, a pass that never comes when the manager is
// being taken down; what that thread still holds when it stops is never freed.
void Transfer::dropReply()
{
    if (!m_reply)
        return;
    QNetworkReply *reply = m_reply;
    m_reply = nullptr;
    reply->disconnect(this);
    if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() < 400)
        reply->abort();
    reply->deleteLater();
}

void Transfer::onMetaData()
{
    if (m_done || !m_reply || m_status != 0)
        return;
    m_stall.start(m_params.stallTimeoutMs);
    m_status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const int status = m_status;
    if (status == 0) {
        // Not all headers yet; wait for the next change.
        return;
    }
    const QString reason
        = m_reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString();

    if (isRedirect(status)) {
        const QUrl target
            = m_current.resolved(QUrl::fromEncoded(m_reply->rawHeader("Location").trimmed()));
        if (++m_redirects > m_params.maxRedirects)
            return fail(QStringLiteral("more than ") + QString::number(m_params.maxRedirects)
                        + QStringLiteral(" redirects"));
        if (!redirectAllowed(m_current, target))
            return fail(QStringLiteral("refused the redirect from ") + m_current.toDisplayString()
                        + QStringLiteral(" to ") + target.toDisplayString());
        m_current = target;
        // Started from the event loop: this handler runs inside the reply being dropped.
        QTimer::singleShot(0, this, [this] {
            if (!m_done)
                startHttp();
        });
        dropReply();
        return;
    }
    if (status == 304) {
        if (m_askedConditionally)
            return succeedUnchanged();
        return fail(QStringLiteral("HTTP 304 to a request that was not conditional"));
    }
    if (status == 429 || status == 503) {
        const auto delay
            = retryDelayMs(status, m_reply->rawHeader("Retry-After"), m_retries, m_clock.utcNow());
        const QString refusal
            = QStringLiteral("HTTP ") + QString::number(status) + QStringLiteral(" ") + reason;
        if (m_retries >= m_params.maxRetries)
            return fail(refusal + QStringLiteral(" after ") + QString::number(m_retries)
                        + QStringLiteral(" retries"));
        if (*delay > m_params.maxRetryDelayMs)
            return fail(refusal + QStringLiteral(", asked to wait ")
                        + QString::number(*delay / 1000) + QStringLiteral(" s"));
        if (m_deadline.isActive() && *delay >= m_deadline.remainingMs())
            return fail(refusal + QStringLiteral(", no time left to wait"));
        ++m_retries;
        dropReply();
        m_stall.stop();
        m_retry.start(static_cast<int>(*delay));
        return;
    }
    if (status == 416 && m_resumeFrom > 0)
        return startOver(QStringLiteral("the server has no such part"));
    if (status < 200 || status >= 300)
        return fail(QStringLiteral("HTTP ") + QString::number(status) + QStringLiteral(" ")
                    + reason);
    m_bodyAccepted = acceptBody(status);
}

// Decides how a 2xx body is taken in: its coding, its size, and whether it continues the part
// in place, replaces it, or goes to a temporary file. False when the transfer ended or went on
// elsewhere.
bool Transfer::acceptBody(int status)
{
    const QByteArray encoding = m_reply->rawHeader("Content-Encoding");
    const auto coding = contentCodingOf(encoding);
    if (!coding) {
        fail(QStringLiteral("the body comes in the coding \"")
             + QString::fromLatin1(encoding.left(40))
             + QStringLiteral("\", which this downloader does not read"));
        return false;
    }
    const QVariant length = m_reply->header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid()) {
        m_expected = length.toLongLong();
        if (m_expected > m_params.maxBytes) {
            fail(QStringLiteral("the body of ") + bytesText(m_expected)
                 + QStringLiteral(" is larger than the limit of ") + bytesText(m_params.maxBytes));
            return false;
        }
    }
    Validators received;
    received.etag = m_reply->rawHeader("ETag");
    received.lastModified = m_reply->rawHeader("Last-Modified");

    std::int64_t keep = 0;
    if (status == 206) {
        if (m_resumeFrom <= 0) {
            fail(QStringLiteral("HTTP 206 to a request for the whole file"));
            return false;
        }
        const auto range = parseContentRange(m_reply->rawHeader("Content-Range"));
        // If-Range leaves the check to the server; one that answers with a part of another
        // version (or another part) is caught here.
        const bool sameVersion = (received.etag.isEmpty() || received.etag == m_resumePoint->etag)
            && (received.lastModified.isEmpty() || m_resumePoint->lastModified.isEmpty()
                || received.lastModified == m_resumePoint->lastModified);
        if (!range || range->first != m_resumeFrom || !sameVersion
            || *coding != ContentCoding::Identity) {
            startOver(QStringLiteral("the server's part does not continue the one in place"));
            return false;
        }
        if (range->total > m_params.maxBytes) {
            failDiscarding(QStringLiteral("the file of ") + bytesText(range->total)
                           + QStringLiteral(" is larger than the limit of ")
                           + bytesText(m_params.maxBytes));
            return false;
        }
        keep = m_resumeFrom;
        m_total = range->total;
        received = *m_resumePoint;
    } else {
        // The whole file again: the server's version changed, or it does not do ranges.
        m_total = *coding == ContentCoding::Identity ? m_expected : -1;
    }
    if (*coding != ContentCoding::Identity)
        m_inflater = std::make_unique<Inflater>(*coding);

    QString error;
    const bool resumable = (m_params.flags & Resume) && *coding == ContentCoding::Identity
        && !received.rangeValidator().isEmpty() && !m_partialInUse;
    if (!resumable) {
        if (!m_partialInUse
            && (m_resumeFrom > 0 || QFileInfo::exists(partialPath(m_params.destination))))
            discardPartial(m_params.destination);
        if (!m_part.open(&error)) {
            failLocally(error, DownloadReport::Local::CreateFile);
            return false;
        }
        return true;
    }
    if (!m_part.openResumable(keep, &error)) {
        // Taken by another download since the start: a whole body can still go to a file of
        // its own, the rest of one cannot.
        if (keep > 0 || !m_part.open(&error)) {
            failLocally(error, DownloadReport::Local::CreateFile);
            return false;
        }
        return true;
    }
    m_resumeFrom = keep;
    m_crc = keep > 0 ? *m_resumePoint->crc32 : static_cast<quint32>(crc32(0L, Z_NULL, 0));
    m_bodyValidators = received;
    // Recorded before the first byte: a crash from here on leaves a part the next run can use.
    m_checkpointed = -1;
    checkpoint();
    return true;
}

void Transfer::checkpoint()
{
    if (!m_part.isResumable() || m_part.size() == m_checkpointed)
        return;
    QString error;
    Validators point = m_bodyValidators;
    point.size = m_part.size();
    point.crc32 = m_crc;
    if (!m_part.sync(&error)
        || !writeFileAtomically(validatorsPath(partialPath(m_params.destination)),
                                serializeValidators(point), &error)) {
        LOG(WARNING) << "Cannot keep the partial download of " << m_params.destination.toStdString()
                     << ": " << error.toStdString();
        return;
    }
    m_checkpointed = m_part.size();
}

void Transfer::startOver(const QString &why)
{
    if (m_startedOver)
        return failDiscarding(why);
    LOG(WARNING) << "Download of " << m_params.url.toDisplayString().toStdString() << ": "
                 << why.toStdString() << "; starting over";
    m_startedOver = true;
    m_part.remove();
    discardPartial(m_params.destination);
    m_resumePoint.reset();
    m_resumeFrom = 0;
    // Started from the event loop: this runs inside the reply being dropped.
    QTimer::singleShot(0, this, [this] {
        if (!m_done)
            startHttp();
    });
    dropReply();
}

// One piece of the body as it crossed the network; false when the transfer ended on it.
bool Transfer::take(const char *data, std::int64_t size)
{
    m_wire += size;
    // The limit is on what reaches the disk, checked before each piece is written: a small
    // compressed body that inflates without end stops at the limit.
    const auto write = [this](const char *out, std::int64_t n) {
        if (m_part.size() + n > m_params.maxBytes) {
            failDiscarding(QStringLiteral("the body is larger than the limit of ")
                           + bytesText(m_params.maxBytes));
            return false;
        }
        QString error;
        if (!m_part.write(out, n, &error)) {
            failLocally(error, DownloadReport::Local::WriteFile);
            return false;
        }
        if (m_part.isResumable()) {
            m_crc = static_cast<quint32>(
                crc32(m_crc, reinterpret_cast<const Bytef *>(out), static_cast<uInt>(n)));
            if (m_part.size() - m_checkpointed >= checkpointBytes)
                checkpoint();
        }
        return true;
    };
    if (!m_inflater)
        return write(data, size);
    QString error;
    if (!m_inflater->feed(data, size, write, &error) && !m_done)
        failDiscarding(error);
    return !m_done;
}

void Transfer::onReadyRead()
{
    if (m_done || !m_reply)
        return;
    if (!m_bodyAccepted) {
        onMetaData();
        if (m_done || !m_bodyAccepted)
            return;
    }
    m_stall.start(m_params.stallTimeoutMs);
    char buffer[64 * 1024];
    for (;;) {
        const qint64 got = m_reply->read(buffer, sizeof buffer);
        if (got <= 0)
            break;
        if (!take(buffer, got))
            return;
    }
    armDeadline(m_wire);
    emit progress(m_part.size(), m_total);
}

void Transfer::onFinished()
{
    if (m_done || !m_reply)
        return;
    // An HTTP error may end the reply before its headers were looked at: the server's answer,
    // not Qt's word for the closed connection, is what the caller gets to see.
    if (m_status == 0)
        onMetaData();
    if (m_done || !m_reply)
        return; // redirected, retried or decided already
    if (m_reply->error() != QNetworkReply::NoError)
        return fail(m_reply->errorString());
    onReadyRead();
    if (m_done)
        return;
    if (!m_bodyAccepted)
        return fail(QStringLiteral("no response"));
    if (m_expected >= 0 && m_wire != m_expected)
        return fail(QStringLiteral("cut after ") + bytesText(m_wire) + QStringLiteral(" of ")
                    + QString::number(m_expected));
    if (m_inflater && !m_inflater->finished())
        return fail(QStringLiteral("the compressed body is cut after ") + bytesText(m_wire));
    Validators validators;
    validators.etag = m_reply->rawHeader("ETag");
    validators.lastModified = m_reply->rawHeader("Last-Modified");
    complete(validators);
}

// ---- file:

void Transfer::startFile()
{
    const QString source = m_current.toLocalFile();
    m_sourceFd = ::open(QFile::encodeName(source).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (m_sourceFd < 0)
        return fail(QStringLiteral("cannot open ") + source + QStringLiteral(": ")
                    + QString::fromLocal8Bit(std::strerror(errno)));
    struct stat st { };
    if (::fstat(m_sourceFd, &st) != 0 || !S_ISREG(st.st_mode))
        return fail(source + QStringLiteral(" is not a regular file"));
    if (st.st_size > m_params.maxBytes)
        return fail(QStringLiteral("the file of ") + bytesText(st.st_size)
                    + QStringLiteral(" is larger than the limit of ")
                    + bytesText(m_params.maxBytes));
    // A local file has no server to ask; its size and change time stand for an entity tag.
    m_sourceValidators.etag = QByteArray::number(static_cast<qlonglong>(st.st_size)) + '-'
        + QByteArray::number(static_cast<qlonglong>(st.st_mtim.tv_sec)) + '.'
        + QByteArray::number(static_cast<qlonglong>(st.st_mtim.tv_nsec));
    m_expected = st.st_size;
    armDeadline(st.st_size);
    if (const auto inPlace = validatorsInPlace()) {
        if (inPlace->etag == m_sourceValidators.etag)
            return succeedUnchanged();
    }
    QString error;
    if (!m_part.open(&error))
        return failLocally(error, DownloadReport::Local::CreateFile);
    copyFileChunk();
}

void Transfer::copyFileChunk()
{
    if (m_done)
        return;
    // One chunk per pass of the event loop: a large local file does not freeze the caller.
    static thread_local char buffer[chunkBytes];
    const ssize_t got = ::read(m_sourceFd, buffer, sizeof buffer);
    if (got < 0) {
        if (errno == EINTR || errno == EAGAIN) {
            QTimer::singleShot(0, this, &Transfer::copyFileChunk);
            return;
        }
        return fail(QStringLiteral("cannot read ") + m_current.toLocalFile() + QStringLiteral(": ")
                    + QString::fromLocal8Bit(std::strerror(errno)));
    }
    if (got == 0) {
        if (m_part.size() != m_expected)
            return fail(m_current.toLocalFile() + QStringLiteral(" changed while it was copied"));
        return complete(m_sourceValidators);
    }
    if (m_part.size() + got > m_params.maxBytes)
        return fail(QStringLiteral("the file is larger than the limit of ")
                    + bytesText(m_params.maxBytes));
    QString error;
    if (!m_part.write(buffer, got, &error))
        return failLocally(error, DownloadReport::Local::WriteFile);
    emit progress(m_part.size(), m_expected);
    QTimer::singleShot(0, this, &Transfer::copyFileChunk);
}

// ---- endings

void Transfer::complete(const Validators &received)
{
    QString error;
    if (!m_part.isOpen() && !m_part.open(&error))
        return failLocally(error, DownloadReport::Local::CreateFile);
    Validators validators = received;
    validators.size = m_part.size();
    const std::int64_t bytes = m_part.size();
    if (m_params.check) {
        if (const QString refusal = m_params.check(m_part.path()); !refusal.isEmpty())
            return failDiscarding(QStringLiteral("the body was refused: ") + refusal);
    }
    // The old validators go first: a crash between the two steps then costs one full download,
    // never a new file described by the old file's tag.
    const QString sidecar = validatorsPath(m_params.destination);
    QFile::remove(sidecar);
    if (!m_part.commit(&error))
        return failLocally(error, DownloadReport::Local::ReplaceFile);
    if ((m_params.flags & Revalidate) && !validators.empty()
        && !writeFileAtomically(sidecar, serializeValidators(validators), &error)) {
        LOG(WARNING) << "Cannot keep the validators of " << m_params.destination.toStdString()
                     << ": " << error.toStdString();
    }
    DownloadReport report;
    report.code = Success;
    report.bytes = bytes;
    report.wireBytes = m_wire;
    report.resumedFrom = m_resumeFrom;
    finish(report);
}

// Every way a transfer ends: nothing of it runs on, and its one report leaves.
void Transfer::finish(DownloadReport report)
{
    m_done = true;
    m_stall.stop();
    m_deadline.stop();
    m_retry.stop();
    dropReply();
    report.httpStatus = m_status;
    emit done(report);
}

void Transfer::succeedUnchanged()
{
    m_part.discard();
    DownloadReport report;
    report.code = Success;
    report.notModified = true;
    finish(report);
}

void Transfer::fail(const QString &error, ResultCode code)
{
    failLocally(error, DownloadReport::Local::None, code);
}

void Transfer::failDiscarding(const QString &error)
{
    if (m_done)
        return;
    m_part.remove();
    if ((m_params.flags & Resume) && !m_partialInUse)
        discardPartial(m_params.destination);
    fail(error);
}

void Transfer::failLocally(const QString &error, DownloadReport::Local local, ResultCode code)
{
    if (m_done)
        return;
    DownloadReport report;
    report.code = code;
    report.error = error;
    report.local = local;
    report.systemError = local == DownloadReport::Local::None ? 0 : m_part.lastError();
    report.wireBytes = m_wire;
    // What came of a resumable body is kept for the next try.
    checkpoint();
    m_part.discard();
    finish(report);
}

} // namespace Downloader
