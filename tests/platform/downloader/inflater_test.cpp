#include "downloader/inflater.h"

#include "loopbackhttpserver.h"
#include "tablerow.h"

#include <QByteArray>

#include <gtest/gtest.h>

namespace {

using namespace Downloader;

using TestSupport::compress;

const QByteArray text = QByteArray("{\"items\": [") + QByteArray(300000, 'x') + "]}";

struct Stream : TestSupport::TableRow {
    ContentCoding coding;
    QByteArray body;
    bool whole; // decodes to `text` and ends where its format ends
};

class Inflating : public testing::TestWithParam<Stream> { };

// Fed in one piece or one byte at a time, a stream gives the same bytes and the same verdict.
TEST_P(Inflating, gives_the_same_result_however_the_body_is_split)
{
    for (const int piece : { 1 << 30, 1 }) {
        Inflater inflater(GetParam().coding);
        QByteArray out;
        QString error;
        bool ok = true;
        const QByteArray &body = GetParam().body;
        for (int at = 0; ok && at < body.size(); at += piece)
            ok = inflater.feed(
                body.constData() + at, std::min(piece, body.size() - at),
                [&](const char *d, std::int64_t n) {
                    EXPECT_LE(n, 64 * 1024);
                    out.append(d, static_cast<int>(n));
                    return true;
                },
                &error);
        EXPECT_EQ(ok && inflater.finished(), GetParam().whole) << piece << error.toStdString();
        if (GetParam().whole) {
            EXPECT_TRUE(out == text);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Downloader,
    Inflating,
    testing::Values(Stream { "gzip", ContentCoding::Gzip, compress(text, 31), true },
                    Stream { "two_gzip_members", ContentCoding::Gzip,
                             compress(text.left(1000), 31) + compress(text.mid(1000), 31), true },
                    Stream { "zlib_deflate", ContentCoding::Deflate, compress(text, 15), true },
                    Stream { "bare_deflate", ContentCoding::Deflate, compress(text, -15), true },
                    Stream { "cut_gzip", ContentCoding::Gzip, compress(text, 31).chopped(9),
                             false },
                    Stream { "garbage_after_deflate", ContentCoding::Deflate,
                             compress(text, 15) + "tail", false },
                    Stream { "not_gzip", ContentCoding::Gzip, "<html>Bad gateway</html>", false },
                    Stream { "empty", ContentCoding::Gzip, "", false }),
    TestSupport::tableRowName);

TEST(ContentCoding, reads_what_it_can_undo_and_nothing_else)
{
    EXPECT_EQ(contentCodingOf(""), ContentCoding::Identity);
    EXPECT_EQ(contentCodingOf(" GZIP "), ContentCoding::Gzip);
    EXPECT_EQ(contentCodingOf("x-gzip"), ContentCoding::Gzip);
    EXPECT_EQ(contentCodingOf("deflate"), ContentCoding::Deflate);
    EXPECT_FALSE(contentCodingOf("br"));
    EXPECT_FALSE(contentCodingOf("gzip, gzip"));
}

} // namespace
