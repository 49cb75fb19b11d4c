#include "util/mtime.h"

#include <gtest/gtest.h>

TEST(MTime, whole_seconds_drop_the_fraction)
{
    EXPECT_EQ(MTime::fromMSec(1999).toSec(), 1);
    EXPECT_EQ(MTime::fromMSec(-1999).toSec(), -1);
    EXPECT_EQ(MTime::fromSec(2.5).toMSec(), 2500);
}

TEST(MTime, clock_form_has_unbounded_hours)
{
    EXPECT_EQ(MTime::fromMSec(0).toClockString(), QStringLiteral("0:00:00.000"));
    EXPECT_EQ(MTime::fromMSec(3723004).toClockString(), QStringLiteral("1:02:03.004"));
    EXPECT_EQ(MTime::fromMSec(100LL * 3600 * 1000).toClockString(),
              QStringLiteral("100:00:00.000"));
    EXPECT_EQ(MTime::fromMSec(-1500).toClockString(), QStringLiteral("-0:00:01.500"));
}

TEST(MTime, time_of_day_is_null_outside_a_day)
{
    EXPECT_EQ(MTime::fromMSec(61000).toQTime(), QTime(0, 1, 1));
    EXPECT_FALSE(MTime::fromMSec(-1).toQTime().isValid());
    EXPECT_FALSE(MTime::fromMSec(24LL * 3600 * 1000).toQTime().isValid());
}
