#include "stats/made_up_history.h"

#include <cstring>
#include <set>

#include "stats/stats_bench.h"

namespace {

struct extent_case {
    std::uint32_t minutes;
    std::size_t minute_slots, half_hour_slots, two_hour_slots;
};

constexpr extent_case extents[] = {
    {0, 0, 0, 0},
    {1, 1, 0, 0},
    {29, 29, 0, 0},
    {30, 30, 1, 0},
    {59, 59, 1, 0},
    {60, 60, 2, 0},
    {61, 60, 2, 0},
    {119, 60, 3, 0},
    {120, 60, 4, 1},
    {239, 60, 7, 1},
    {240, 60, 8, 2},
    {1439, 60, 47, 11},
    {1440, 60, 48, 12},
    {1441, 60, 48, 12},
    {2880, 60, 48, 24},
    {10079, 60, 48, 83},
    {10080, 60, 48, 84},
    {10081, 60, 48, 84},
    {71582788, 60, 48, 84},  // 2^32 seconds
    {71582789, 60, 48, 84},
    {0x80000000, 60, 48, 84},
    {0xFFFFFFFF, 60, 48, 84},
};

constexpr slot_time now{.wall_clock_s = 1700000000, .uptime_s = 900000};

port_stats history(std::size_t port, std::uint32_t minutes, const slot_time& at = now) {
    port_stats record{};
    make_up_history(record, port, history_extent_of(minutes), at);
    return record;
}

std::size_t valid_slots(std::span<const stats_slot> ring) {
    return static_cast<std::size_t>(
        std::count_if(ring.begin(), ring.end(), [](const auto& slot) { return slot.valid == 1; }));
}

void expect_ring(std::span<const stats_slot> ring, std::size_t filled, std::uint32_t period, std::size_t port) {
    for (std::size_t i = 0; i < ring.size(); i++) {
        const stats_slot& slot = ring[i];
        if (i >= filled) {
            const stats_slot empty{};
            ASSERT_EQ(std::memcmp(&slot, &empty, sizeof slot), 0) << i;
            continue;
        }
        const std::int64_t age = static_cast<std::int64_t>((filled - 1 - i) * period);
        ASSERT_EQ(slot.valid, 1) << i;
        ASSERT_EQ(slot.wall_clock_s, 1700000000 - age) << i;
        ASSERT_EQ(slot.uptime_s, 900000 - age) << i;
        ASSERT_EQ(slot.average_w, made_up_watts(port, i)) << i;
    }
}

TEST(made_up_history, fills_as_many_slots_as_the_minutes_span_and_never_more_than_a_ring_has) {
    for (const extent_case& expected : extents) {
        const history_extent extent = history_extent_of(expected.minutes);
        EXPECT_EQ(extent.minutes, expected.minute_slots) << expected.minutes;
        EXPECT_EQ(extent.half_hours, expected.half_hour_slots) << expected.minutes;
        EXPECT_EQ(extent.two_hours, expected.two_hour_slots) << expected.minutes;
    }
}

TEST(made_up_history, every_number_of_minutes_up_to_beyond_a_week_fills_what_it_spans) {
    for (std::uint32_t minutes = 0; minutes <= 11000; minutes++) {
        const history_extent extent = history_extent_of(minutes);
        ASSERT_EQ(extent.minutes, std::min<std::size_t>(minutes, 60)) << minutes;
        ASSERT_EQ(extent.half_hours, std::min<std::size_t>(minutes / 30, 48)) << minutes;
        ASSERT_EQ(extent.two_hours, std::min<std::size_t>(minutes / 120, 84)) << minutes;
    }
}

TEST(made_up_history, ends_now_and_goes_back_a_span_a_slot) {
    for (const extent_case& expected : extents) {
        for (std::size_t port = 0; port < port_count; port++) {
            const port_stats record = history(port, expected.minutes);
            expect_ring(record.minutes, expected.minute_slots, 60, port);
            expect_ring(record.half_hours, expected.half_hour_slots, 1800, port);
            expect_ring(record.two_hours, expected.two_hour_slots, 7200, port);
        }
    }
}

TEST(made_up_history, replaces_the_whole_record) {
    port_stats record;
    std::memset(&record, 0x5A, sizeof record);
    make_up_history(record, 0, history_extent_of(0), now);
    const port_stats empty{};
    EXPECT_EQ(std::memcmp(&record, &empty, sizeof record), 0);
}

TEST(made_up_history, is_the_same_every_time) {
    const port_stats once = history(2, 10080);
    const port_stats again = history(2, 10080);
    EXPECT_EQ(std::memcmp(&once, &again, sizeof once), 0);
}

TEST(made_up_history, each_port_has_its_own_watts_in_every_slot) {
    for (std::size_t slot = 0; slot < 84; slot++) {
        std::set<float> different;
        for (std::size_t port = 0; port < port_count; port++)
            different.insert(made_up_watts(port, slot));
        EXPECT_EQ(different.size(), port_count) << "slot " << slot;
    }
}

TEST(made_up_history, even_and_odd_slots_follow_two_patterns) {
    for (std::size_t port = 0; port < port_count; port++) {
        for (std::size_t slot = 0; slot + 1 < 84; slot++) {
            EXPECT_NE(made_up_watts(port, slot), made_up_watts(port, slot + 1)) << port << ' ' << slot;
        }
        // Within a climb, each parity climbs evenly on its own, and the two are not one line.
        const float even_step = made_up_watts(port, 2) - made_up_watts(port, 0);
        EXPECT_EQ(made_up_watts(port, 4) - made_up_watts(port, 2), even_step);
        EXPECT_NE(made_up_watts(port, 1) - made_up_watts(port, 0), even_step / 2);
    }
}

TEST(made_up_history, stays_within_what_a_port_can_deliver) {
    for (std::size_t port = 0; port < port_count; port++) {
        for (std::size_t slot = 0; slot < 84; slot++) {
            EXPECT_GT(made_up_watts(port, slot), 1.0F);
            EXPECT_LT(made_up_watts(port, slot), 90.0F);
        }
    }
}

TEST(made_up_history, a_port_beyond_the_last_looks_like_the_last) {
    EXPECT_EQ(made_up_watts(4, 3), made_up_watts(3, 3));
    EXPECT_EQ(made_up_watts(static_cast<std::size_t>(-1), 8), made_up_watts(3, 8));
}

TEST(made_up_history, uptime_stops_at_the_boot_and_the_ring_keeps_its_order) {
    const port_stats record = history(0, 10080, {.wall_clock_s = 1700000000, .uptime_s = 10000});
    EXPECT_EQ(record.two_hours[83].uptime_s, 10000U);
    EXPECT_EQ(record.two_hours[82].uptime_s, 2800U);
    EXPECT_EQ(record.two_hours[81].uptime_s, 0U);
    EXPECT_EQ(record.two_hours[0].uptime_s, 0U);
    std::array<ring_entry, 84> entries{};
    std::uint64_t start = 0;
    portStatsDataSorting(record.two_hours, entries, start);
    EXPECT_EQ(start, 1700000000U - 83U * 7200U);
    EXPECT_EQ(entries[83].uptime_s, 10000U);
}

TEST(made_up_history, wall_clock_times_before_1970_are_negative) {
    const port_stats record = history(0, 60, {.wall_clock_s = 30, .uptime_s = 900000});
    EXPECT_EQ(record.minutes[58].wall_clock_s, -30);
    const port_stats earliest = history(0, 10080, {.wall_clock_s = INT32_MIN, .uptime_s = 900000});
    EXPECT_EQ(earliest.two_hours[0].wall_clock_s, std::int64_t{INT32_MIN} - 83 * 7200);
}

TEST(made_up_history, an_extent_beyond_the_rings_fills_the_rings) {
    port_stats record{};
    make_up_history(record, 0, {.minutes = 1000, .half_hours = 1000, .two_hours = 1000}, now);
    EXPECT_EQ(valid_slots(record.minutes), 60U);
    EXPECT_EQ(valid_slots(record.half_hours), 48U);
    EXPECT_EQ(valid_slots(record.two_hours), 84U);
}

}  // namespace
