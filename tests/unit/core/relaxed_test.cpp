#include "core/relaxed.h"

#include <cstdint>
#include <limits>
#include <thread>

#include <gtest/gtest.h>

namespace {

TEST(relaxed_value, it_starts_at_zero_or_at_what_it_is_given_and_keeps_what_it_is_set_to) {
    relaxed<std::int8_t> nothing;
    relaxed<std::uint32_t> given(77);
    EXPECT_EQ(nothing.get(), 0);
    EXPECT_EQ(given.get(), 77u);
    nothing.set(-128);
    given.set(0xFFFFFFFF);
    EXPECT_EQ(nothing.get(), -128);
    EXPECT_EQ(given.get(), 0xFFFFFFFFu);
}

TEST(relaxed_value, a_reader_beside_its_writer_sees_whole_values_only) {
    constexpr std::uint32_t one = 0x11111111;
    constexpr std::uint32_t other = 0xEEEEEEEE;
    relaxed<std::uint32_t> shared(one);
    relaxed<bool> done(false);
    int torn = 0;
    std::thread reader([&] {
        while (!done.get()) {
            const std::uint32_t seen = shared.get();
            if (seen != one && seen != other) torn++;
        }
    });
    for (int i = 0; i < 100000; i++)
        shared.set(i % 2 == 0 ? other : one);
    done.set(true);
    reader.join();
    EXPECT_EQ(torn, 0);
}

TEST(counter64, it_counts_one_by_one_from_zero) {
    counter64 counter;
    EXPECT_EQ(counter.get(), 0u);
    for (std::uint64_t count = 1; count <= 1000; count++) {
        counter.increment();
        ASSERT_EQ(counter.get(), count);
    }
}

TEST(counter64, it_carries_into_its_upper_half) {
    counter64 counter;
    counter.low.set(0xFFFFFFFE);
    counter.increment();
    EXPECT_EQ(counter.get(), 0xFFFFFFFFull);
    counter.increment();
    EXPECT_EQ(counter.get(), 0x100000000ull);
    counter.increment();
    EXPECT_EQ(counter.get(), 0x100000001ull);
    counter.low.set(0xFFFFFFFF);
    counter.increment();
    EXPECT_EQ(counter.get(), 0x200000000ull);
}

TEST(counter64, it_wraps_at_its_end) {
    counter64 counter;
    counter.low.set(0xFFFFFFFF);
    counter.high.set(0xFFFFFFFF);
    EXPECT_EQ(counter.get(), std::numeric_limits<std::uint64_t>::max());
    counter.increment();
    EXPECT_EQ(counter.get(), 0u);
}

TEST(counter64, clearing_clears_both_halves) {
    counter64 counter;
    counter.low.set(5);
    counter.high.set(6);
    counter.clear();
    EXPECT_EQ(counter.low.get(), 0u);
    EXPECT_EQ(counter.high.get(), 0u);
}

TEST(counter64, a_reader_beside_its_writer_is_at_most_one_carry_off) {
    counter64 counter;
    counter.low.set(0xFFFFFFFF - 5000);
    relaxed<bool> done(false);
    int strange = 0;
    std::thread reader([&] {
        while (!done.get()) {
            const std::uint64_t seen = counter.get();
            const bool before_or_after = seen >= 0xFFFFFFFFull - 5000 && seen <= 0x100000000ull + 5000;
            const bool one_carry_off = seen <= 5000 || seen >= 0x1FFFFFFFFull - 5000;
            if (!before_or_after && !one_carry_off) strange++;
        }
    });
    for (int i = 0; i < 10000; i++)
        counter.increment();
    done.set(true);
    reader.join();
    EXPECT_EQ(counter.get(), 0xFFFFFFFFull + 5000);
    EXPECT_EQ(strange, 0);
}

}  // namespace
