#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QThread>
#include <QUrl>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

class QTcpServer;

namespace TestSupport {

// `body` deflated at the best level: windowBits 31 makes gzip, 15 a zlib stream, -15 bare deflate.
QByteArray compress(const QByteArray &body, int windowBits);

// A small HTTP/1.1 server on 127.0.0.1 with its own thread, serving the ways a download can go:
//   /file/NAME         the body set for NAME, with an ETag; "304" to a matching If-None-Match;
//                      "206" with the rest to "Range: bytes=N-" when If-Range is absent or matches
//   /gzip/NAME         as /file, gzip-compressed when the request accepts gzip
//   /deflate/NAME      as /file, as a zlib stream labelled "deflate", whatever the request asks
//   /rawdeflate/NAME   as /file, as bare deflate data labelled "deflate", likewise
//   /norange/NAME      as /file, always whole (a server that does no ranges)
//   /bomb/BYTES        a gzip body that inflates to BYTES zero bytes
//   /status/CODE       that status with a short body
//   /bare/CODE         that status with a body ended by closing, without a length
//   /retry/N/NAME      "429" with "Retry-After: 1" for the first N requests, then /file/NAME
//   /cut               announces 1000 bytes, sends 400 and closes
//   /stall             announces 1000 bytes, sends 100 and then nothing
//   /endless           a body without end (no length, the connection never closes)
//   /loop              a redirect to itself
//   /redirect/NAME     a redirect to /file/NAME
//   /big/BYTES         BYTES of a repeating pattern, written as the socket drains; ranges as /file
//   /goto/URL          a redirect to the percent-encoded absolute URL
// Any other path goes to the handler set with setHandler(), with the request's body; without one
// it is a 404.
// Every response closes its connection. Stopped and joined on destruction. With Tls it speaks
// https with a self-signed certificate for 127.0.0.1 (tests/support/data), which
// trustTestCertificate() adds to the process's default TLS configuration.
class LoopbackHttpServer {
public:
    enum class Scheme { Http, Tls };
    // `port` 0 takes a free one; another brings a server back where an earlier one was.
    explicit LoopbackHttpServer(Scheme scheme = Scheme::Http, quint16 port = 0);
    static void trustTestCertificate();
    ~LoopbackHttpServer();
    LoopbackHttpServer(const LoopbackHttpServer &) = delete;
    LoopbackHttpServer &operator=(const LoopbackHttpServer &) = delete;

    QUrl url(const QString &path) const;
    quint16 port() const { return m_port; }
    void setBody(const QString &name, const QByteArray &body);
    // Requests seen for a path, and the If-None-Match of the last one.
    int requests(const QString &path) const;
    QByteArray lastIfNoneMatch(const QString &path) const;
    // A header of the last request for a path (name in lower case).
    QByteArray lastHeader(const QString &path, const QByteArray &name) const;
    // The next response for `path` stops after `bytes` bytes of its body and closes, as a lost
    // connection would.
    void cutNextAfter(const QString &path, qint64 bytes);
    // Body bytes written for `path` so far, over every response.
    qint64 bodyBytesSent(const QString &path) const;

    struct Request {
        QByteArray method;
        QByteArray path;
        QMap<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
    };
    struct Reply {
        int status = 200;
        QList<QPair<QByteArray, QByteArray>> headers;
        QByteArray body;
        bool stall = false; // answer nothing and keep the connection open
    };
    using Handler = std::function<Reply(const Request &)>;
    // Called on the server's thread for every request no route above serves.
    void setHandler(Handler handler);

    struct State {
        mutable std::mutex mutex;
        QMap<QString, QByteArray> bodies;
        QMap<QString, int> requests;
        QMap<QString, QByteArray> ifNoneMatch;
        QMap<QString, QMap<QByteArray, QByteArray>> headers;
        QMap<QString, qint64> cutAfter;
        QMap<QString, qint64> sent;
        QMap<QByteArray, QByteArray> compressed; // by coding and body, made once
        Handler handler;
    };

private:
    std::shared_ptr<State> m_state;
    QThread m_thread;
    QTcpServer *m_server = nullptr;
    quint16 m_port = 0;
    Scheme m_scheme;
};

} // namespace TestSupport
