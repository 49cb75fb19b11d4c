// Response bodies and headers come from any server. Whatever the bytes and however they are
// split into pieces, inflating them must not crash, must stop at the caller's limit, and must
// give the same bytes and the same verdict; the range and validator readers must not crash.
#include "downloader/inflater.h"
#include "downloader/transferpolicy.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

namespace {

constexpr std::int64_t limit = 1 << 20;

struct Outcome {
    QByteArray out;
    bool ok = false;
    bool finished = false;
};

Outcome inflate(Downloader::ContentCoding coding, const QByteArray &body, int piece)
{
    Downloader::Inflater inflater(coding);
    Outcome outcome;
    outcome.ok = true;
    QString error;
    for (int at = 0; outcome.ok && at < body.size(); at += piece) {
        outcome.ok = inflater.feed(
            body.constData() + at, std::min(piece, body.size() - at),
            [&](const char *data, std::int64_t size) {
                if (outcome.out.size() + size > limit)
                    return false;
                outcome.out.append(data, static_cast<int>(size));
                return true;
            },
            &error);
    }
    outcome.finished = inflater.finished();
    return outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 2)
        return 0;
    const auto coding = static_cast<Downloader::ContentCoding>(1 + data[0] % 2);
    const int piece = 1 + data[1];
    const QByteArray body(reinterpret_cast<const char *>(data + 2), static_cast<int>(size - 2));
    const Outcome whole = inflate(coding, body, body.size() + 1);
    const Outcome split = inflate(coding, body, piece);
    if (whole.out.size() > limit || whole.ok != split.ok || whole.finished != split.finished
        || (whole.ok && whole.out != split.out))
        std::abort();
    (void)Downloader::parseContentRange(body);
    (void)Downloader::parseValidators(body);
    (void)Downloader::contentCodingOf(body);
    return 0;
}
