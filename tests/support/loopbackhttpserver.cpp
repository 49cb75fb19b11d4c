#include "loopbackhttpserver.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>

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

// Writes `total` bytes of a pattern (or forever when negative) as the peer takes them, so the
// server's own memory stays at one window whatever the body's size.
void streamPattern(QTcpSocket *socket, qint64 total)
{
    static const QByteArray block = [] {
        QByteArray b(64 * 1024, '\0');
        for (int i = 0; i < b.size(); ++i)
            b[i] = static_cast<char>('a' + i % 26);
        return b;
    }();
    auto sent = std::make_shared<qint64>(0);
    auto topUp = [socket, total, sent] {
        while (socket->bytesToWrite() < sendWindow && (total < 0 || *sent < total)) {
            const qint64 n
                = total < 0 ? block.size() : std::min<qint64>(block.size(), total - *sent);
            socket->write(block.constData(), n);
            *sent += n;
        }
        if (total >= 0 && *sent >= total && socket->bytesToWrite() == 0)
            socket->disconnectFromHost();
    };
    QObject::connect(socket, &QTcpSocket::bytesWritten, socket, topUp);
    topUp();
}

void respond(QTcpSocket *socket,
             const LoopbackHttpServer::Request &request,
             LoopbackHttpServer::State &state)
{
    const QByteArray &path = request.path;
    const QByteArray ifNoneMatch = request.headers.value("if-none-match");
    const QString key = QString::fromUtf8(path);
    QList<QByteArray> parts = path.split('/');
    parts.removeFirst();
    const QByteArray kind = parts.value(0);
    int seen = 0;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        seen = ++state.requests[key];
        state.ifNoneMatch[key] = ifNoneMatch;
    }
    auto finish = [socket](int code, const QByteArray &body,
                           QList<QPair<QByteArray, QByteArray>> headers = {}) {
        headers.append(qMakePair(QByteArray("Content-Length"), QByteArray::number(body.size())));
        headers.append(qMakePair(QByteArray("Connection"), QByteArray("close")));
        socket->write(head(code, headers) + body);
        socket->disconnectFromHost();
    };
    auto serveFile = [&](const QByteArray &name) {
        QByteArray body;
        bool found = false;
        {
            std::lock_guard<std::mutex> lock(state.mutex);
            found = state.bodies.contains(QString::fromUtf8(name));
            body = state.bodies.value(QString::fromUtf8(name));
        }
        if (!found)
            return finish(404, "no such file");
        const QByteArray etag
            = '"' + QCryptographicHash::hash(body, QCryptographicHash::Sha1).toHex() + '"';
        if (ifNoneMatch == etag)
            return finish(304, {}, { { "ETag", etag } });
        finish(200, body,
               { { "ETag", etag }, { "Last-Modified", "Mon, 02 Nov 2026 10:00:00 GMT" } });
    };

    if (kind == "file")
        return serveFile(parts.value(1));
    if (kind == "status")
        return finish(parts.value(1).toInt(), "status body");
    if (kind == "retry") {
        if (seen <= parts.value(1).toInt())
            return finish(429, "slow down", { { "Retry-After", "1" } });
        return serveFile(parts.value(2));
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
        return streamPattern(socket, -1);
    }
    if (kind == "loop")
        return finish(302, {}, { { "Location", "/loop" } });
    if (kind == "goto")
        return finish(302, {}, { { "Location", QByteArray::fromPercentEncoding(parts.value(1)) } });
    if (kind == "redirect")
        return finish(302, {}, { { "Location", "/file/" + parts.value(1) } });
    if (kind == "big") {
        const qint64 size = parts.value(1).toLongLong();
        socket->write(head(
            200, { { "Content-Length", QByteArray::number(size) }, { "Connection", "close" } }));
        return streamPattern(socket, size);
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
                            respond(socket, request, *state);
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

} // namespace TestSupport
