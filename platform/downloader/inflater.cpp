#include "downloader/inflater.h"

#include <zlib.h>

#include <algorithm>

namespace Downloader {

namespace {

constexpr std::int64_t outputBytes = 64 * 1024;

// RFC 1950: the first two bytes of a zlib stream, read as a big-endian number, are a multiple
// of 31, and the method is deflate.
bool looksLikeZlib(unsigned char cmf, unsigned char flg)
{
    return (cmf & 0x0f) == 8 && (cmf >> 4) <= 7 && ((cmf << 8) | flg) % 31 == 0;
}

} // namespace

std::optional<ContentCoding> contentCodingOf(const QByteArray &header)
{
    const QByteArray value = header.trimmed().toLower();
    if (value.isEmpty() || value == "identity")
        return ContentCoding::Identity;
    if (value == "gzip" || value == "x-gzip")
        return ContentCoding::Gzip;
    if (value == "deflate")
        return ContentCoding::Deflate;
    return std::nullopt;
}

struct Inflater::State {
    ContentCoding coding;
    z_stream stream {};
    bool initialised = false;
    bool ended = false;
    // "deflate" is meant to be a zlib stream, yet some servers send the bare deflate data: the
    // first two bytes tell which, so they wait here until both have come.
    QByteArray head;
    QByteArray output = QByteArray(static_cast<int>(outputBytes), Qt::Uninitialized);

    ~State()
    {
        if (initialised)
            inflateEnd(&stream);
    }

    bool init(int windowBits, QString *error)
    {
        if (inflateInit2(&stream, windowBits) != Z_OK) {
            *error = QStringLiteral("cannot start the decompression");
            return false;
        }
        initialised = true;
        return true;
    }

    bool run(const unsigned char *data, std::int64_t size, const Sink &sink, QString *error)
    {
        while (size > 0) {
            if (ended) {
                // Gzip allows members one after another; the other formats end once.
                if (coding != ContentCoding::Gzip) {
                    *error = QStringLiteral("data after the end of the compressed body");
                    return false;
                }
                inflateReset(&stream);
                ended = false;
            }
            const auto chunk = static_cast<uInt>(std::min<std::int64_t>(size, 1 << 30));
            stream.next_in = const_cast<Bytef *>(data);
            stream.avail_in = chunk;
            do {
                stream.next_out = reinterpret_cast<Bytef *>(output.data());
                stream.avail_out = static_cast<uInt>(output.size());
                const int result = inflate(&stream, Z_NO_FLUSH);
                if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
                    *error = QStringLiteral("the compressed body is damaged")
                        + (stream.msg ? QStringLiteral(" (") + QString::fromLatin1(stream.msg)
                                   + QLatin1Char(')')
                                      : QString());
                    return false;
                }
                const std::int64_t produced = output.size() - stream.avail_out;
                if (produced > 0 && !sink(output.constData(), produced))
                    return false;
                if (result == Z_STREAM_END) {
                    ended = true;
                    break;
                }
                if (result == Z_BUF_ERROR && produced == 0)
                    break; // all input taken, more to come
            } while (stream.avail_in > 0 || stream.avail_out == 0);
            const std::int64_t used = chunk - stream.avail_in;
            if (used == 0 && !ended) {
                *error = QStringLiteral("the compressed body is damaged");
                return false;
            }
            data += used;
            size -= used;
        }
        return true;
    }
};

Inflater::Inflater(ContentCoding coding)
    : d(std::make_unique<State>())
{
    d->coding = coding;
}

Inflater::~Inflater() = default;

bool Inflater::feed(const char *data, std::int64_t size, const Sink &sink, QString *error)
{
    if (d->coding == ContentCoding::Identity)
        return sink(data, size);
    if (!d->initialised) {
        if (d->coding == ContentCoding::Gzip) {
            if (!d->init(15 + 16, error))
                return false;
        } else {
            const auto need = static_cast<std::int64_t>(2 - d->head.size());
            d->head.append(data, static_cast<int>(std::min(need, size)));
            data += std::min(need, size);
            size -= std::min(need, size);
            if (d->head.size() < 2)
                return true;
            const auto *h = reinterpret_cast<const unsigned char *>(d->head.constData());
            if (!d->init(looksLikeZlib(h[0], h[1]) ? 15 : -15, error))
                return false;
            const QByteArray head = std::move(d->head);
            if (!d->run(reinterpret_cast<const unsigned char *>(head.constData()), head.size(),
                        sink, error))
                return false;
        }
    }
    return d->run(reinterpret_cast<const unsigned char *>(data), size, sink, error);
}

bool Inflater::finished() const
{
    return d->coding == ContentCoding::Identity || d->ended;
}

} // namespace Downloader
