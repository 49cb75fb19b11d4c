#include "Statistics/eventparams.h"

#include <QString>

#include <gtest/gtest.h>

#include <limits>

namespace {

struct RealCase
{
    double value;
    const char *text;
};

class RealFormatting : public ::testing::TestWithParam<RealCase>
{};

// The reals must read exactly as Qt's "%1" with 'g' and six digits would write them.
TEST_P(RealFormatting, matches_qt_g_with_six_digits)
{
    EXPECT_EQ(Statistics::real(GetParam().value), GetParam().text);
    EXPECT_EQ(Statistics::real(GetParam().value),
              QString::number(GetParam().value, 'g', 6).toStdString());
}

INSTANTIATE_TEST_SUITE_P(Values, RealFormatting,
                         ::testing::Values(RealCase{0.0, "0"}, RealCase{0.5, "0.5"},
                                           RealCase{1.0 / 3.0, "0.333333"}, RealCase{100.0, "100"},
                                           RealCase{1234567.0, "1.23457e+06"},
                                           RealCase{-2.25, "-2.25"}, RealCase{1e-5, "1e-05"}));

TEST(EventParams, decimals_have_no_padding_or_grouping)
{
    EXPECT_EQ(Statistics::decimal(0), "0");
    EXPECT_EQ(Statistics::decimal(-42), "-42");
    EXPECT_EQ(Statistics::decimal(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(Statistics::decimal(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(EventParams, durations_drop_the_fraction)
{
    EXPECT_EQ(Statistics::seconds(MTime::fromMSec(1999)), "1");
    EXPECT_EQ(Statistics::millis(MTime::fromMSec(1999)), "1999");
}

TEST(EventParams, flags_use_the_shared_words)
{
    EXPECT_EQ(Statistics::flag(true), "true");
    EXPECT_EQ(Statistics::flag(false), "false");
}

TEST(EventParams, words_outside_the_table_fall_back)
{
    static const char *const table[] = {"ZERO", "ONE"};
    EXPECT_STREQ(Statistics::wordOf(table, 1), "ONE");
    EXPECT_STREQ(Statistics::wordOf(table, 2), "UNKNOWN");
    EXPECT_STREQ(Statistics::wordOf(table, -1), "UNKNOWN");
    EXPECT_STREQ(Statistics::wordOf(table, 7, ""), "");
}

} // namespace
