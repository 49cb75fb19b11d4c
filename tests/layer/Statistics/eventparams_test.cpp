#include "Statistics/eventparams.h"
#include "tablerow.h"

#include <QString>

#include <gtest/gtest.h>

#include <limits>

namespace {

struct RealCase : TestSupport::TableRow {
    double value;
    const char *text;
};

class RealFormatting : public ::testing::TestWithParam<RealCase> { };

// The reals must read exactly as Qt's "%1" with 'g' and six digits would write them.
TEST_P(RealFormatting, matches_qt_g_with_six_digits)
{
    EXPECT_EQ(Statistics::real(GetParam().value), GetParam().text);
    EXPECT_EQ(Statistics::real(GetParam().value),
              QString::number(GetParam().value, 'g', 6).toStdString());
}

INSTANTIATE_TEST_SUITE_P(Values,
                         RealFormatting,
                         ::testing::Values(RealCase { "zero", 0.0, "0" },
                                           RealCase { "half", 0.5, "0.5" },
                                           RealCase { "third", 1.0 / 3.0, "0.333333" },
                                           RealCase { "hundred", 100.0, "100" },
                                           RealCase { "million", 1234567.0, "1.23457e+06" },
                                           RealCase { "negative", -2.25, "-2.25" },
                                           RealCase { "tiny", 1e-5, "1e-05" }),
                         TestSupport::tableRowName);

TEST(EventParams, decimals_have_no_padding_or_grouping)
{
    EXPECT_EQ(Statistics::decimal(0), "0");
    EXPECT_EQ(Statistics::decimal(-42), "-42");
    EXPECT_EQ(Statistics::decimal(std::numeric_limits<std::int64_t>::min()),
              "-9223372036854775808");
    EXPECT_EQ(Statistics::decimal(std::numeric_limits<std::uint64_t>::max()),
              "18446744073709551615");
}

} // namespace
