#include "loopbackhttpserver.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>

#include <zlib.h>

#include <algorithm>
#include <stdexcept>

namespace TestSupport {

namespace {

constexpr qint64 sendWindow = 1 << 20;

QByteArray reasonOf(int code)
{
    switch (code) {
    case 200:
        return "OK";
    case 206:
        return "Partial Content";
    case 302:
        return "Found";
    case 304:
        return "Not Modified";
    case 404:
        return "Not Found";
    case 429:
        return "Too Many Requests";
    case 500:
        return "Internal Server Error";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

QByteArray head(int code, const QList<QPair<QByteArray, QByteArray>> &headers)
{
    QByteArray text = "HTTP/1.1 " + QByteArray::number(code) + ' ' + reasonOf(code) + "\r\n";
    for (const auto &header : headers)
        text += header.first + ": " + header.second + "\r\n";
    return text + "\r\n";
}

// The pattern /big serves: the byte at offset o is 'a' + (o % 65536) % 26.
char patternByte(qint64 offset)
{
    return static_cast<char>('a' + (offset % (64 * 1024)) % 26);
}

// Writes the pattern from `from` to `to` (or forever when `to` is negative) as the peer takes
// it, so the server's own memory stays at one window whatever the body's size.
void streamPattern(QTcpSocket *socket,
                   qint64 from,
                   qint64 to,
                   const QString &key,
                   std::shared_ptr<LoopbackHttpServer::State> state)
{
    static const QByteArray block = [] {
        QByteArray b(64 * 1024, '\0');
        for (int i = 0; i < b.size(); ++i)
            b[i] = patternByte(i);
        return b;
    }();
    auto at = std::make_shared<qint64>(from);
    auto topUp = [socket, to, at, key, state] {
        while (socket->bytesToWrite() < sendWindow && (to < 0 || *at < to)) {
            const qint64 offset = *at % block.size();
            const qint64 n
                = std::min<qint64>(block.size() - offset, to < 0 ? block.size() : to - *at);
            socket->write(block.constData() + offset, n);
            *at += n;
            std::lock_guard<std::mutex> lock(state->mutex);
            state->sent[key] += n;
        }
        if (to >= 0 && *at >= to && socket->bytesToWrite() == 0)
            socket->disconnectFromHost();
    };
    QObject::connect(socket, &QTcpSocket::bytesWritten, socket, topUp);
    topUp();
}

// A gzip stream of `bytes` zero bytes, made without holding them.
QByteArray gzipOfZeros(qint64 bytes)
{
    z_stream stream {};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 31, 9, Z_DEFAULT_STRATEGY);
    static const QByteArray zeros(1 << 20, '\0');
    QByteArray out;
    QByteArray buffer(1 << 16, '\0');
    do {
        const qint64 n = std::min<qint64>(bytes, zeros.size());
        bytes -= n;
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(zeros.constData()));
        stream.avail_in = static_cast<uInt>(n);
        do {
            stream.next_out = reinterpret_cast<Bytef *>(buffer.data());
            stream.avail_out = static_cast<uInt>(buffer.size());
            deflate(&stream, bytes == 0 ? Z_FINISH : Z_NO_FLUSH);
            out.append(buffer.constData(), buffer.size() - static_cast<int>(stream.avail_out));
        } while (stream.avail_out == 0);
    } while (bytes > 0);
    deflateEnd(&stream);
    return out;
}

// The first byte a "Range: bytes=N-" asks for, when the If-Range (if any) names `etag`; else -1.
qint64 rangeStart(const QMap<QByteArray, QByteArray> &headers, const QByteArray &etag)
{
    const QByteArray range = headers.value("range");
    if (!range.startsWith("bytes=") || !range.endsWith('-'))
        return -1;
    if (headers.contains("if-range") && headers.value("if-range") != etag)
        return -1;
    bool ok = false;
    const qint64 start = range.mid(6, range.size() - 7).toLongLong(&ok);
    return ok ? start : -1;
}

void respond(QTcpSocket *socket,
             const LoopbackHttpServer::Request &request,
             const std::shared_ptr<LoopbackHttpServer::State> &statePointer)
{
    LoopbackHttpServer::State &state = *statePointer;
    const QByteArray &path = request.path;
    const QMap<QByteArray, QByteArray> &headers = request.headers;
    const QByteArray ifNoneMatch = headers.value("if-none-match");
    const QString key = QString::fromUtf8(path);
    QList<QByteArray> parts = path.split('/');
    parts.removeFirst();
    const QByteArray kind = parts.value(0);
    int seen = 0;
    qint64 cut = -1;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        seen = ++state.requests[key];
        state.ifNoneMatch[key] = ifNoneMatch;
        state.headers[key] = headers;
        cut = state.cutAfter.contains(key) ? state.cutAfter.take(key) : -1;
    }
    auto send = [socket, key, statePointer, cut](int code, const QByteArray &body,
                                                 QList<QPair<QByteArray, QByteArray>> headers) {
        headers.append(qMakePair(QByteArray("Content-Length"), QByteArray::number(body.size())));
        headers.append(qMakePair(QByteArray("Connection"), QByteArray("close")));
        const QByteArray sent = cut >= 0 ? body.left(static_cast<int>(cut)) : body;
        {
            std::lock_guard<std::mutex> lock(statePointer->mutex);
            statePointer->sent[key] += sent.size();
        }
        socket->write(head(code, headers) + sent);
        socket->disconnectFromHost();
    };
    auto finish = [&send](int code, const QByteArray &body,
                          QList<QPair<QByteArray, QByteArray>> extra = {}) {
        send(code, body, std::move(extra));
    };
    auto serveFile = [&](const QByteArray &name, const QByteArray &coding, bool ranges) {
        QByteArray body;
        bool found = false;
        {
            std::lock_guard<std::mutex> lock(state.mutex);
            found = state.bodies.contains(QString::fromUtf8(name));
            body = state.bodies.value(QString::fromUtf8(name));
        }
        if (!found)
            return finish(404, "no such file");
        QByteArray etag
            = '"' + QCryptographicHash::hash(body, QCryptographicHash::Sha1).toHex() + '"';
        QList<QPair<QByteArray, QByteArray>> extra
            = { { "Last-Modified", "Mon, 02 Nov 2026 10:00:00 GMT" } };
        // gzip as nginx does it, for a client that asks; deflate as a server that sends it to
        // everyone.
        if (!coding.isEmpty()
            && (coding != "gzip" || headers.value("accept-encoding").contains("gzip"))) {
            // As nginx does: a weak tag for a body it compressed itself.
            etag = "W/" + etag;
            const QByteArray cacheKey = coding + ':' + etag;
            std::lock_guard<std::mutex> lock(state.mutex);
            auto it = state.compressed.find(cacheKey);
            if (it == state.compressed.end()) {
                QByteArray packed = compress(body,
                                             coding == "gzip"          ? 31
                                                 : coding == "deflate" ? 15
                                                                       : -15);
                it = state.compressed.insert(cacheKey, packed);
            }
            body = *it;
            extra.append({ "Content-Encoding", coding == "rawdeflate" ? "deflate" : coding });
        }
        extra.append({ "ETag", etag });
        if (ifNoneMatch == etag)
            return finish(304, {}, { { "ETag", etag } });
        const qint64 start = ranges && coding.isEmpty() ? rangeStart(headers, etag) : -1;
        if (start > 0 && start < body.size()) {
            extra.append({ "Content-Range",
                           "bytes " + QByteArray::number(start) + '-'
                               + QByteArray::number(body.size() - 1) + '/'
                               + QByteArray::number(body.size()) });
            return finish(206, body.mid(static_cast<int>(start)), extra);
        }
        finish(200, body, extra);
    };

    if (kind == "file")
        return serveFile(parts.value(1), {}, true);
    if (kind == "norange")
        return serveFile(parts.value(1), {}, false);
    if (kind == "gzip" || kind == "deflate" || kind == "rawdeflate")
        return serveFile(parts.value(1), kind, false);
    if (kind == "bomb") {
        return finish(200, gzipOfZeros(parts.value(1).toLongLong()),
                      { { "Content-Encoding", "gzip" } });
    }
    if (kind == "status")
        return finish(parts.value(1).toInt(), "status body");
    if (kind == "bare") {
        // No length: the body ends where the server closes, as many small servers answer.
        socket->write(head(parts.value(1).toInt(), { { "Connection", "close" } }) + "gone");
        return socket->disconnectFromHost();
    }
    if (kind == "retry") {
        if (seen <= parts.value(1).toInt())
            return finish(429, "slow down", { { "Retry-After", "1" } });
        return serveFile(parts.value(2), {}, true);
    }
    if (kind == "cut") {
        socket->write(head(200, { { "Content-Length", "1000" }, { "Connection", "close" } })
                      + QByteArray(400, 'c'));
        return socket->disconnectFromHost();
    }
    if (kind == "stall") {
        socket->write(head(200, { { "Content-Length", "1000" } }) + QByteArray(100, 's'));
        return;
    }
    if (kind == "endless") {
        socket->write(head(200, { { "Connection", "close" } }));
        return streamPattern(socket, 0, -1, key, statePointer);
    }
    if (kind == "loop")
        return finish(302, {}, { { "Location", "/loop" } });
    if (kind == "goto")
        return finish(302, {}, { { "Location", QByteArray::fromPercentEncoding(parts.value(1)) } });
    if (kind == "redirect")
        return finish(302, {}, { { "Location", "/file/" + parts.value(1) } });
    if (kind == "big") {
        const qint64 size = parts.value(1).toLongLong();
        const QByteArray etag = "\"big-" + QByteArray::number(size) + '"';
        const qint64 start = rangeStart(headers, etag);
        QList<QPair<QByteArray, QByteArray>> extra
            = { { "ETag", etag }, { "Connection", "close" } };
        const bool partial = start > 0 && start < size;
        const qint64 from = partial ? start : 0;
        extra.append({ "Content-Length", QByteArray::number(size - from) });
        if (partial)
            extra.append({ "Content-Range",
                           "bytes " + QByteArray::number(from) + '-' + QByteArray::number(size - 1)
                               + '/' + QByteArray::number(size) });
        socket->write(head(partial ? 206 : 200, extra));
        return streamPattern(socket, from, cut >= 0 ? std::min(size, from + cut) : size, key,
                             statePointer);
    }
    LoopbackHttpServer::Handler handler;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        handler = state.handler;
    }
    if (!handler)
        return finish(404, "unknown path");
    const LoopbackHttpServer::Reply reply = handler(request);
    if (!reply.stall)
        finish(reply.status, reply.body, reply.headers);
}

QByteArray testData(const char *name)
{
    QFile file(QStringLiteral(EDITOR_TEST_SUPPORT_DATA "/") + QLatin1String(name));
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error(std::string("cannot read the test file ") + name);
    return file.readAll();
}

class TlsServer : public QTcpServer {
protected:
    void incomingConnection(qintptr handle) override
    {
        auto *socket = new QSslSocket(this);
        if (!socket->setSocketDescriptor(handle)) {
            delete socket;
            return;
        }
        socket->setLocalCertificate(QSslCertificate(testData("loopback-cert.pem")));
        socket->setPrivateKey(QSslKey(testData("loopback-key.pem"), QSsl::Rsa));
        socket->startServerEncryption();
        addPendingConnection(socket);
    }
};

} // namespace

QByteArray compress(const QByteArray &body, int windowBits)
{
    z_stream stream {};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, windowBits, 9, Z_DEFAULT_STRATEGY);
    QByteArray out(static_cast<int>(deflateBound(&stream, static_cast<uLong>(body.size()))), '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(body.constData()));
    stream.avail_in = static_cast<uInt>(body.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(static_cast<int>(stream.total_out));
    deflateEnd(&stream);
    return out;
}

void LoopbackHttpServer::trustTestCertificate()
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.addCaCertificate(QSslCertificate(testData("loopback-cert.pem")));
    QSslConfiguration::setDefaultConfiguration(configuration);
}

LoopbackHttpServer::LoopbackHttpServer(Scheme scheme, quint16 port)
    : m_state(std::make_shared<State>())
    , m_scheme(scheme)
{
    m_thread.start();
    // The server and its sockets live in the thread, so a client blocked in the test's own loop
    // never holds up the server (and the other way round).
    m_server = scheme == Scheme::Tls ? new TlsServer : new QTcpServer;
    m_server->moveToThread(&m_thread);
    bool listening = false;
    QMetaObject::invokeMethod(
        m_server,
        [this, &listening, port] {
            listening = m_server->listen(QHostAddress::LocalHost, port);
            m_port = m_server->serverPort();
            auto state = m_state;
            QObject::connect(m_server, &QTcpServer::newConnection, m_server, [this, state] {
                while (QTcpSocket *socket = m_server->nextPendingConnection()) {
                    QObject::connect(socket, &QTcpSocket::disconnected, socket,
                                     &QObject::deleteLater);
                    auto buffer = std::make_shared<QByteArray>();
                    auto answered = std::make_shared<bool>(false);
                    QObject::connect(
                        socket, &QTcpSocket::readyRead, socket, [socket, buffer, answered, state] {
                            // One request per connection; what follows it is ignored.
                            if (*answered) {
                                socket->readAll();
                                return;
                            }
                            *buffer += socket->readAll();
                            const int end = buffer->indexOf("\r\n\r\n");
                            if (end < 0)
                                return;
                            const QList<QByteArray> lines = buffer->left(end).split('\n');
                            const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
                            Request request;
                            request.method = first.value(0);
                            request.path = first.value(1);
                            for (const QByteArray &line : lines.mid(1)) {
                                const int colon = line.indexOf(':');
                                if (colon > 0) {
                                    request.headers.insert(line.left(colon).trimmed().toLower(),
                                                           line.mid(colon + 1).trimmed());
                                }
                            }
                            const qint64 length
                                = request.headers.value("content-length").toLongLong();
                            if (buffer->size() - end - 4 < length)
                                return;
                            request.body = buffer->mid(end + 4, static_cast<int>(length));
                            *buffer = QByteArray();
                            *answered = true;
                            respond(socket, request, state);
                        });
                }
            });
        },
        Qt::BlockingQueuedConnection);
    if (!listening)
        throw std::runtime_error("cannot listen on 127.0.0.1");
}

LoopbackHttpServer::~LoopbackHttpServer()
{
    QMetaObject::invokeMethod(
        m_server,
        [this] {
            m_server->close();
            delete m_server; // and with it every open connection
        },
        Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

QUrl LoopbackHttpServer::url(const QString &path) const
{
    return QUrl(QStringLiteral("%1://127.0.0.1:%2%3")
                    .arg(m_scheme == Scheme::Tls ? QStringLiteral("https") : QStringLiteral("http"))
                    .arg(m_port)
                    .arg(path));
}

void LoopbackHttpServer::setBody(const QString &name, const QByteArray &body)
{
    std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->bodies.insert(name, body);
}

int LoopbackHttpServer::requests(const QString &path) const
{
    std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->requests.value(path);
}

void LoopbackHttpServer::setHandler(Handler handler)
{
    std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->handler = std::move(handler);
}

QByteArray LoopbackHttpServer::lastIfNoneMatch(const QString &path) const
{
    std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->ifNoneMatch.value(path);
}

QByteArray LoopbackHttpServer::lastHeader(const QString &path, const QByteArray &name) const
{
    std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->headers.value(path).value(name);
}

void LoopbackHttpServer::cutNextAfter(const QString &path, qint64 bytes)
{
    std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->cutAfter.insert(path, bytes);
}

qint64 LoopbackHttpServer::bodyBytesSent(const QString &path) const
{
    std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->sent.value(path);
}

} // namespace TestSupport
