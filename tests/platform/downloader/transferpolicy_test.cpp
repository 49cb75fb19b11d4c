#include "downloader/transferpolicy.h"
#include "tablerow.h"

#include <gtest/gtest.h>

namespace {

using namespace Downloader;

struct RedirectRow : TestSupport::TableRow {
    const char *from;
    const char *to;
    bool allowed;
};

class RedirectRule : public testing::TestWithParam<RedirectRow> { };

TEST_P(RedirectRule, decides)
{
    EXPECT_EQ(
        redirectAllowed(QUrl(QLatin1String(GetParam().from)), QUrl(QLatin1String(GetParam().to))),
        GetParam().allowed);
}

INSTANTIATE_TEST_SUITE_P(
    Downloader,
    RedirectRule,
    testing::Values(RedirectRow { "http_to_https", "http://a/x", "https://b/y", true },
                    RedirectRow { "https_to_https", "https://a/x", "https://b/y", true },
                    RedirectRow { "https_to_http", "https://a/x", "http://a/x", false },
                    RedirectRow { "https_to_http_upper_case", "HTTPS://a/x", "HTTP://a/x", false },
                    RedirectRow { "to_file", "http://a/x", "file:///etc/passwd", false },
                    RedirectRow { "to_ftp", "http://a/x", "ftp://a/x", false },
                    RedirectRow { "to_no_host", "http://a/x", "http:///x", false }),
    TestSupport::tableRowName);

struct RetryRow : TestSupport::TableRow {
    int status;
    const char *retryAfter;
    int attempt;
    std::optional<std::int64_t> delay;
};

class RetryRule : public testing::TestWithParam<RetryRow> { };

TEST_P(RetryRule, waits)
{
    const QDateTime now(QDate(2026, 11, 2), QTime(10, 0, 0), Qt::UTC);
    EXPECT_EQ(retryDelayMs(GetParam().status, GetParam().retryAfter, GetParam().attempt, now),
              GetParam().delay);
}

INSTANTIATE_TEST_SUITE_P(
    Downloader,
    RetryRule,
    testing::Values(RetryRow { "seconds", 429, "7", 0, 7000 },
                    RetryRow { "http_date", 503, "Mon, 02 Nov 2026 10:00:30 GMT", 0, 30000 },
                    RetryRow { "date_in_the_past", 503, "Mon, 02 Nov 2026 09:00:00 GMT", 0, 0 },
                    RetryRow { "backoff_doubles", 429, "", 2, 4000 },
                    RetryRow { "garbage_header_backs_off", 429, "soon", 0, 1000 },
                    RetryRow { "negative_backs_off", 429, "-5", 1, 2000 },
                    RetryRow { "not_found_is_final", 404, "1", 0, std::nullopt },
                    RetryRow { "server_error_is_final", 500, "1", 0, std::nullopt }),
    TestSupport::tableRowName);

struct RangeRow : TestSupport::TableRow {
    const char *header;
    std::optional<std::int64_t> first; // and total = first + 100 when set
};

class ContentRangeRule : public testing::TestWithParam<RangeRow> { };

TEST_P(ContentRangeRule, reads_only_a_whole_bytes_range)
{
    const auto range = parseContentRange(GetParam().header);
    ASSERT_EQ(range.has_value(), GetParam().first.has_value());
    if (range) {
        EXPECT_EQ(range->first, *GetParam().first);
        EXPECT_EQ(range->total, *GetParam().first + 100);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Downloader,
    ContentRangeRule,
    testing::Values(RangeRow { "rest", "bytes 40-139/140", 40 },
                    RangeRow { "whole", "bytes 0-99/100", 0 },
                    RangeRow { "unknown_size", "bytes 40-139/*", std::nullopt },
                    RangeRow { "last_beyond_total", "bytes 40-140/140", std::nullopt },
                    RangeRow { "backwards", "bytes 50-40/140", std::nullopt },
                    RangeRow { "other_unit", "items 40-139/140", std::nullopt },
                    RangeRow { "garbage", "bytes x-y/z", std::nullopt }),
    TestSupport::tableRowName);

TEST(Deadline, follows_the_size_and_ends_a_trickle)
{
    EXPECT_EQ(deadlineMsFor(0), 60000);
    EXPECT_EQ(deadlineMsFor(-1), 60000);
    EXPECT_EQ(deadlineMsFor(16 * 1024 * 60), 120000);
    // 200 MB at the floor pace: under four hours, far more than any real install needs.
    EXPECT_EQ(deadlineMsFor(200LL * 1024 * 1024), 60000 + 12800 * 1000);
}

TEST(Validators, survive_a_round_trip_and_refuse_header_injection)
{
    Validators validators { "\"abc\"", "Mon, 02 Nov 2026 10:00:00 GMT", 42, std::nullopt };
    const auto back = parseValidators(serializeValidators(validators));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->etag, validators.etag);
    EXPECT_EQ(back->lastModified, validators.lastModified);
    EXPECT_EQ(back->size, 42);
    validators.crc32 = 0xFFFFFFFFu;
    EXPECT_EQ(parseValidators(serializeValidators(validators))->crc32, 0xFFFFFFFFu);
    // Only a strong tag may join two halves; a weak one gives way to the date.
    EXPECT_EQ(validators.rangeValidator(), "\"abc\"");
    validators.etag = "W/\"abc\"";
    EXPECT_EQ(validators.rangeValidator(), validators.lastModified);
    validators.etag = "\"x\"\r\nCookie: y";
    EXPECT_FALSE(parseValidators(serializeValidators(validators)));
    EXPECT_FALSE(parseValidators("[1]"));
}

} // namespace
