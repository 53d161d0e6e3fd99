#include "supervision/usage.h"

#include <gtest/gtest.h>

namespace {

TEST(usage, is_the_consumed_share_of_the_limit_in_whole_percent) {
    EXPECT_EQ(usage_percent(0, 300000), 0);
    EXPECT_EQ(usage_percent(150000, 300000), 50);
    EXPECT_EQ(usage_percent(284999, 300000), 94);
    EXPECT_EQ(usage_percent(285000, 300000), 95);
    EXPECT_EQ(usage_percent(300000, 300000), 100);
    EXPECT_EQ(usage_percent(600000, 300000), 200);
}

TEST(usage, without_a_limit_is_nothing) {
    EXPECT_EQ(usage_percent(0, 0), 0);
    EXPECT_EQ(usage_percent(0xFFFFFFFF, 0), 0);
}

TEST(usage, is_computed_in_single_precision) {
    // 1 - 2^-32 is 1 in single precision.
    EXPECT_EQ(usage_percent(0xFFFFFFFE, 0xFFFFFFFF), 100);
    // 0.29 x 100 is 28.999... in double precision, 29 in single.
    EXPECT_EQ(usage_percent(29, 100), 29);
}

TEST(usage, beyond_what_an_integer_holds_saturates) {
    EXPECT_EQ(usage_percent(0xFFFFFFFF, 1), 0x7FFFFFFF);
    EXPECT_EQ(usage_percent(21474834, 1), 2147483392);
    EXPECT_EQ(usage_percent(21474836, 1), 0x7FFFFFFF);
    EXPECT_EQ(usage_percent(0xFFFFFFFF, 300), 1431655808);
}

TEST(usage_alarm_rule, holds_for_every_threshold_and_every_percentage_near_it) {
    for (int threshold = -128; threshold < 128; threshold++) {
        for (int percent = 0; percent < 256; percent++) {
            for (const bool raised : {false, true}) {
                const usage_alarm expected = percent < threshold ? usage_alarm::off
                                             : raised            ? usage_alarm::stays
                                                                 : usage_alarm::raise;
                ASSERT_EQ(decide_usage_alarm(percent, static_cast<std::int8_t>(threshold), raised), expected);
            }
        }
    }
}

TEST(usage_alarm_rule, fires_at_the_threshold_itself) {
    EXPECT_EQ(decide_usage_alarm(94, 95, false), usage_alarm::off);
    EXPECT_EQ(decide_usage_alarm(95, 95, false), usage_alarm::raise);
}

TEST(usage_alarm_rule, fires_without_usage_when_the_threshold_is_not_positive) {
    EXPECT_EQ(decide_usage_alarm(0, 0, false), usage_alarm::raise);
    EXPECT_EQ(decide_usage_alarm(0, -1, false), usage_alarm::raise);
}

}  // namespace
