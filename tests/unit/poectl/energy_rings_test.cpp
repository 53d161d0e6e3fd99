#include "poectl/verbs/energy_rings.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

using namespace poectl;

TEST(figures, are_rounded_to_thousandths) {
    EXPECT_EQ(thousandths_of(0.0F), 0);
    EXPECT_EQ(thousandths_of(5.3F), 5300);
    EXPECT_EQ(thousandths_of(0.0006F), 1);
    EXPECT_EQ(thousandths_of(0.0004F), 0);
    EXPECT_EQ(thousandths_of(-1.5F), -1500);
}

TEST(figures, that_are_no_numbers_or_beyond_all_bounds_are_unknown) {
    using limits = std::numeric_limits<float>;
    for (const float figure : {limits::quiet_NaN(), limits::infinity(), -limits::infinity(), limits::max(),
                               limits::lowest(), 1.1e12F, -1.1e12F}) {
        EXPECT_EQ(thousandths_of(figure), std::nullopt) << figure;
    }
    EXPECT_TRUE(thousandths_of(0.9e12F).has_value());
}

TEST(averages, that_are_not_valid_are_unknown_and_not_0) {
    EXPECT_EQ(known_mw(poe_client::energy_average{false, 0.0F}), std::nullopt);
    EXPECT_EQ(known_mw(poe_client::energy_average{true, 0.0F}), 0);
    EXPECT_EQ(known_mw(poe_client::energy_slot{false, 60, 4.0F}), std::nullopt);
    EXPECT_EQ(known_mw(poe_client::energy_slot{true, 60, 4.0F}), 4000);
}

TEST(slots, ended_a_period_after_each_other) {
    poe_client::port_energy port{};
    port.minutes_start_s = 1'000'000;
    port.half_hours_start_s = 2'000'000;
    port.two_hours_start_s = 3'000'000;
    port.minutes[0].valid = port.minutes[59].valid = true;
    port.half_hours[47].valid = true;
    port.two_hours[83].valid = true;
    const auto rings = rings_of(port);
    EXPECT_EQ(slot_time_s(rings[0], 0), 1'000'000);
    EXPECT_EQ(slot_time_s(rings[0], 59), 1'000'000 + 59 * 60);
    EXPECT_EQ(slot_time_s(rings[1], 47), 2'000'000 + 47 * 1800);
    EXPECT_EQ(slot_time_s(rings[2], 83), 3'000'000 + 83 * 7200);
    EXPECT_EQ(slot_time_s(rings[0], 1), std::nullopt) << "never written";
    EXPECT_EQ(rings[0].slots.size(), 60U);
    EXPECT_EQ(rings[1].slots.size(), 48U);
    EXPECT_EQ(rings[2].slots.size(), 84U);
}

TEST(slots, of_a_clock_that_starts_in_1970_have_times_all_the_same) {
    poe_client::port_energy port{};
    port.minutes_start_s = 120 - std::uint64_t{59 * 60};
    port.minutes[0].valid = port.minutes[59].valid = true;
    EXPECT_EQ(slot_time_s(rings_of(port)[0], 59), 120);
    EXPECT_EQ(slot_time_s(rings_of(port)[0], 0), 120 - 59 * 60);
}

}  // namespace
