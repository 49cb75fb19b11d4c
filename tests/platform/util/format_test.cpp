#include "util/format.h"

#include <gtest/gtest.h>

TEST(Format, resolution_is_width_x_height)
{
    EXPECT_EQ(Format::videoResolution(QSize(1920, 1080)), QStringLiteral("1920x1080"));
    EXPECT_EQ(Format::videoResolution(QSize()), QStringLiteral("0x0"));
}

TEST(Format, frame_rate_keeps_two_decimals_without_trailing_zeros)
{
    EXPECT_EQ(Format::videoFrameRate({ 30000, 1001 }), QStringLiteral("29.97"));
    EXPECT_EQ(Format::videoFrameRate({ 25, 1 }), QStringLiteral("25"));
    EXPECT_EQ(Format::videoFrameRate({ 25, 2 }), QStringLiteral("12.5"));
    EXPECT_EQ(Format::videoFrameRate({ 0, 1 }), QStringLiteral("0"));
}
