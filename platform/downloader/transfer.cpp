#include "downloader/transfer.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <glog/logging.h>

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

bool isRedirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

QString bytesText(std::int64_t bytes)
{
    return QString::number(bytes) + QStringLiteral(" bytes");
}

} // namespace

Transfer::Transfer(QNetworkAccessManager &network, DownloadParams params, QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_params(std::move(params))
    , m_current(m_params.url)
    , m_part(m_params.destination)
{
    m_stall.setSingleShot(true);
    m_deadline.setSingleShot(true);
    m_retry.setSingleShot(true);
    connect(&m_stall, &QTimer::timeout, this, [this] {
        fail(QStringLiteral("no data for ") + QString::number(m_params.stallTimeoutMs)
             + QStringLiteral(" ms"));
    });
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        fail(QStringLiteral("not done within ") + QString::number(m_params.deadlineMs)
             + QStringLiteral(" ms"));
    });
    connect(&m_retry, &QTimer::timeout, this, &Transfer::startHttp);
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
    if (m_params.deadlineMs > 0)
        m_deadline.start(m_params.deadlineMs);
    const QString scheme = m_current.scheme().toLower();
    if (scheme == QLatin1String("file"))
        return startFile();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https"))
        return startHttp();
    fail(QStringLiteral("unsupported address ") + m_current.toDisplayString());
}

void Transfer::cancel()
{
    fail(QStringLiteral("cancelled"), Cancel);
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
    m_bodyAccepted = false;

    QNetworkRequest request(m_current);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    // Asking for the body as stored keeps the size limit and the length check about the bytes
    // that reach the disk (and keeps a compressed bomb out of memory).
    request.setRawHeader("Accept-Encoding", "identity");
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("editor-downloader/1"));
    m_askedConditionally = false;
    if (const auto validators = validatorsInPlace()) {
        if (!validators->etag.isEmpty())
            request.setRawHeader("If-None-Match", validators->etag);
        if (!validators->lastModified.isEmpty())
            request.setRawHeader("If-Modified-Since", validators->lastModified);
        m_askedConditionally = true;
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
        const auto delay = retryDelayMs(status, m_reply->rawHeader("Retry-After"), m_retries,
                                        QDateTime::currentDateTimeUtc());
        const QString refusal
            = QStringLiteral("HTTP ") + QString::number(status) + QStringLiteral(" ") + reason;
        if (m_retries >= m_params.maxRetries)
            return fail(refusal + QStringLiteral(" after ") + QString::number(m_retries)
                        + QStringLiteral(" retries"));
        if (*delay > m_params.maxRetryDelayMs)
            return fail(refusal + QStringLiteral(", asked to wait ")
                        + QString::number(*delay / 1000) + QStringLiteral(" s"));
        if (m_deadline.isActive() && *delay >= m_deadline.remainingTime())
            return fail(refusal + QStringLiteral(", no time left to wait"));
        ++m_retries;
        dropReply();
        m_stall.stop();
        m_retry.start(static_cast<int>(*delay));
        return;
    }
    if (status < 200 || status >= 300)
        return fail(QStringLiteral("HTTP ") + QString::number(status) + QStringLiteral(" ")
                    + reason);

    const QVariant length = m_reply->header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid()) {
        m_expected = length.toLongLong();
        if (m_expected > m_params.maxBytes)
            return fail(QStringLiteral("the body of ") + bytesText(m_expected)
                        + QStringLiteral(" is larger than the limit of ")
                        + bytesText(m_params.maxBytes));
    }
    QString error;
    if (!m_part.open(&error))
        return failLocally(error, DownloadReport::Local::CreateFile);
    m_bodyAccepted = true;
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
        if (m_part.size() + got > m_params.maxBytes)
            return fail(QStringLiteral("the body is larger than the limit of ")
                        + bytesText(m_params.maxBytes));
        QString error;
        if (!m_part.write(buffer, got, &error))
            return failLocally(error, DownloadReport::Local::WriteFile);
    }
    emit progress(m_part.size(), m_expected);
}

void Transfer::onFinished()
{
    if (m_done || !m_reply)
        return;
    if (m_reply->error() == QNetworkReply::NoError && m_status == 0)
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
    if (m_expected >= 0 && m_part.size() != m_expected)
        return fail(QStringLiteral("cut after ") + bytesText(m_part.size()) + QStringLiteral(" of ")
                    + QString::number(m_expected));
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

void Transfer::failLocally(const QString &error, DownloadReport::Local local, ResultCode code)
{
    if (m_done)
        return;
    DownloadReport report;
    report.code = code;
    report.error = error;
    report.local = local;
    report.systemError = local == DownloadReport::Local::None ? 0 : m_part.lastError();
    m_part.discard();
    finish(report);
}

} // namespace Downloader
