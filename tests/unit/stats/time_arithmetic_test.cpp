#include "stats/time_arithmetic.h"

#include <random>

#include <gtest/gtest.h>

namespace {

// Wide enough for twice the seconds that these tests use.
std::int64_t nanoseconds_of(const system_time& time) {
    constexpr std::int64_t billion = 1000000000;
    return time.seconds * billion + time.nanoseconds;
}
bool is_normal(const system_time& time) {
    return time.nanoseconds >= 0 && time.nanoseconds < 1000000000;
}

TEST(time_arithmetic, a_sum_below_a_second_carries_nothing) {
    system_time a{5, 999999998};
    _nanoadd(a, {3, 1}, nullptr);
    EXPECT_EQ(a.seconds, 8);
    EXPECT_EQ(a.nanoseconds, 999999999);
}

TEST(time_arithmetic, a_sum_of_exactly_a_second_carries) {
    system_time a{5, 999999999};
    _nanoadd(a, {3, 1}, nullptr);
    EXPECT_EQ(a.seconds, 9);
    EXPECT_EQ(a.nanoseconds, 0);
}

TEST(time_arithmetic, a_sum_goes_into_the_output_when_there_is_one_and_leaves_the_first_term_alone) {
    system_time a{5, 600000000};
    system_time out{};
    _nanoadd(a, {1, 500000000}, &out);
    EXPECT_EQ(a.seconds, 5);
    EXPECT_EQ(a.nanoseconds, 600000000);
    EXPECT_EQ(out.seconds, 7);
    EXPECT_EQ(out.nanoseconds, 100000000);
}

TEST(time_arithmetic, a_difference_is_the_second_less_the_first) {
    system_time out{};
    _nanodiff({5, 100}, {7, 300}, out);
    EXPECT_EQ(out.seconds, 2);
    EXPECT_EQ(out.nanoseconds, 200);
}

TEST(time_arithmetic, a_difference_borrows_a_second_when_the_nanoseconds_go_negative) {
    system_time out{};
    _nanodiff({5, 300}, {7, 100}, out);
    EXPECT_EQ(out.seconds, 1);
    EXPECT_EQ(out.nanoseconds, 999999800);
}

TEST(time_arithmetic, a_difference_to_an_earlier_time_has_negative_seconds_and_forward_nanoseconds) {
    system_time out{};
    _nanodiff({7, 500}, {7, 400}, out);
    EXPECT_EQ(out.seconds, -1);
    EXPECT_EQ(out.nanoseconds, 999999900);
}

TEST(time_arithmetic, a_difference_may_be_written_over_one_of_its_terms) {
    system_time time{5, 300};
    _nanodiff(time, {7, 100}, time);
    EXPECT_EQ(time.seconds, 1);
    EXPECT_EQ(time.nanoseconds, 999999800);
}

TEST(time_arithmetic, sums_and_differences_agree_with_plain_nanoseconds) {
    std::mt19937 random{1};
    std::uniform_int_distribution<std::int64_t> seconds{-100000, 4000000000};
    std::uniform_int_distribution<std::int64_t> nanoseconds{0, 999999999};
    for (int i = 0; i < 20000; i++) {
        system_time a{seconds(random), nanoseconds(random)};
        const system_time b{seconds(random),
                            i % 7 == 0 ? (1000000000 - a.nanoseconds) % 1000000000 : nanoseconds(random)};
        system_time sum{};
        system_time difference{};
        _nanoadd(a, b, &sum);
        _nanodiff(a, b, difference);
        ASSERT_TRUE(nanoseconds_of(sum) == nanoseconds_of(a) + nanoseconds_of(b)) << "case " << i;
        ASSERT_TRUE(nanoseconds_of(difference) == nanoseconds_of(b) - nanoseconds_of(a)) << "case " << i;
        ASSERT_TRUE(is_normal(sum) && is_normal(difference)) << "case " << i;
    }
}

TEST(time_arithmetic, the_difference_of_two_timevals_is_in_seconds) {
    EXPECT_DOUBLE_EQ(diff_timeval_to_double({10, 250000}, {12, 750000}), 2.5);
    EXPECT_DOUBLE_EQ(diff_timeval_to_double({10, 750000}, {12, 250000}), 1.5);
    EXPECT_DOUBLE_EQ(diff_timeval_to_double({12, 250000}, {10, 750000}), -1.5);
    EXPECT_DOUBLE_EQ(diff_timeval_to_double({3, 1}, {3, 1}), 0.0);
}

}  // namespace
