#include "stats/averages.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "stats/stats_bench.h"

namespace {

// --- what a second adds ---

class a_second : public stats_bench {
  protected:
    port_stats mine{};
};

TEST_F(a_second, is_powered_when_any_of_the_three_status_words_says_delivering) {
    for (std::uint32_t port_status = 0; port_status < 16; port_status++) {
        for (std::uint32_t pair_a = 0; pair_a < 16; pair_a++) {
            for (std::uint32_t pair_b = 0; pair_b < 16; pair_b++) {
                port_stu seen{};
                seen.status = port_status;
                seen.channel[0].status = pair_a;
                seen.channel[1].status = pair_b;
                const bool expected = port_status == 1 || pair_a == 1 || pair_b == 1;
                ASSERT_EQ(sample_of(seen).powered, expected) << port_status << ' ' << pair_a << ' ' << pair_b;
            }
        }
    }
}

TEST_F(a_second, measures_both_pair_sets_and_not_the_ports_own_power) {
    port_stu seen{};
    seen.power_mw = 99999;
    seen.channel[0].power_mw = 12500;
    seen.channel[1].power_mw = 3;
    EXPECT_EQ(sample_of(seen).mw, 12503U);
}

TEST_F(a_second, wraps_when_the_pair_sets_together_overflow) {
    port_stu seen{};
    seen.channel[0].power_mw = 0xFFFFFFFF;
    seen.channel[1].power_mw = 3;
    EXPECT_EQ(sample_of(seen).mw, 2U);
}

TEST_F(a_second, counts_itself_its_power_and_its_energy) {
    count_second(mine, {.powered = true, .mw = 12503});
    EXPECT_EQ(mine.second_counter, 1);
    EXPECT_EQ(mine.powered_s, 1U);
    EXPECT_EQ(mine.minute_sum_mw, 12503U);
    EXPECT_EQ(mine.energy_mws, 12503U);
}

TEST_F(a_second, without_delivery_counts_but_is_not_powered_though_its_power_still_adds) {
    count_second(mine, {.powered = false, .mw = 5});
    EXPECT_EQ(mine.second_counter, 1);
    EXPECT_EQ(mine.powered_s, 0U);
    EXPECT_EQ(mine.energy_mws, 5U);
}

TEST_F(a_second, carries_energy_into_its_high_half_and_wraps_the_other_sums) {
    mine.energy_mws = 0xFFFFFFFF;
    mine.minute_sum_mw = 0xFFFFFFFF;
    mine.powered_s = 0xFFFFFFFF;
    count_second(mine, {.powered = true, .mw = 0xFFFFFFFF});
    EXPECT_EQ(mine.energy_mws, 0x1FFFFFFFEU);
    EXPECT_EQ(mine.minute_sum_mw, 0xFFFFFFFEU);
    EXPECT_EQ(mine.powered_s, 0U);
}

TEST_F(a_second, ends_a_minute_when_its_number_is_a_multiple_of_60) {
    for (int second = 1; second <= 604800; second++) {
        mine.second_counter = second;
        ASSERT_EQ(ends_a_minute(mine), second % 60 == 0) << second;
    }
}

// --- condensing ---

class condensing : public stats_bench {
  protected:
    port_stats mine{};
    slot_time now{.wall_clock_s = 1700000000, .uptime_s = 4242};

    void at_second(int second) {
        mine.second_counter = second;
        condense(mine, now);
    }
    static std::vector<std::size_t> written(std::span<const stats_slot> ring) {
        std::vector<std::size_t> indices;
        for (std::size_t i = 0; i < ring.size(); i++) {
            if (ring[i].valid == 1) indices.push_back(i);
        }
        return indices;
    }
    using slots = std::vector<std::size_t>;
};

TEST_F(condensing, second_60_writes_the_first_minute_slot_and_no_other) {
    mine.minute_sum_mw = 60 * 15400;
    at_second(60);
    EXPECT_EQ(written(mine.minutes), slots{0});
    EXPECT_EQ(written(mine.half_hours), slots{});
    EXPECT_EQ(written(mine.two_hours), slots{});
    EXPECT_EQ(mine.minutes[0].wall_clock_s, 1700000000);
    EXPECT_EQ(mine.minutes[0].uptime_s, 4242U);
    EXPECT_EQ(mine.minutes[0].average_w, 15.4F);
    EXPECT_EQ(mine.minute_sum_mw, 0U);
    EXPECT_EQ(mine.second_counter, 60);
}

TEST_F(condensing, a_minutes_average_keeps_what_is_below_a_watt) {
    mine.minute_sum_mw = 59;
    at_second(60);
    EXPECT_EQ(mine.minutes[0].average_w, 59.0F / 1000.0F / 60.0F);
}

TEST_F(condensing, second_3600_writes_the_last_minute_slot_and_3660_the_first_again) {
    at_second(3600);
    EXPECT_EQ(written(mine.minutes), slots{59});
    mine = {};
    at_second(3660);
    EXPECT_EQ(written(mine.minutes), slots{0});
}

TEST_F(condensing, every_boundary_of_the_week_writes_the_slots_that_end_there) {
    std::size_t minutes = 0;
    std::size_t half_hours = 0;
    std::size_t two_hours = 0;
    for (int second = 60; second <= 604800; second += 60) {
        mine = {};
        at_second(second);
        ASSERT_EQ(written(mine.minutes), slots{minutes++ % 60}) << second;
        ASSERT_EQ(written(mine.half_hours), second % 1800 == 0 ? slots{half_hours++ % 48} : slots{}) << second;
        ASSERT_EQ(written(mine.two_hours), second % 7200 == 0 ? slots{two_hours++ % 84} : slots{}) << second;
        ASSERT_EQ(mine.second_counter, second == 604800 ? 0 : second);
    }
    EXPECT_EQ(minutes, 10080U);
    EXPECT_EQ(half_hours, 336U);
    EXPECT_EQ(two_hours, 84U);
}

TEST_F(condensing, a_half_hour_averages_the_first_thirty_minutes_and_the_next_the_other_thirty) {
    for (std::size_t i = 0; i < 60; i++)
        mine.minutes[i].average_w = i < 30 ? 2.0F : 32.0F;
    mine.minutes[29].average_w = 5.0F;
    mine.minute_sum_mw = 5 * 60000;  // the minute that ends at 1800 belongs to slot 29
    at_second(1800);
    EXPECT_EQ(mine.half_hours[0].average_w, (29 * 2.0F + 5.0F) / 30.0F);
    mine.minute_sum_mw = 35 * 60000;
    at_second(3600);
    EXPECT_EQ(mine.half_hours[1].average_w, (29 * 32.0F + 35.0F) / 30.0F);
    EXPECT_EQ(mine.half_hours[0].uptime_s, 4242U);
    EXPECT_EQ(mine.half_hours[0].wall_clock_s, 1700000000);
}

TEST_F(condensing, two_hours_average_the_four_half_hours_that_they_span) {
    for (int hour_pair = 0; hour_pair < 84; hour_pair++) {
        for (std::size_t i = 0; i < 48; i++)
            mine.half_hours[i].average_w = static_cast<float>(i * i);
        for (stats_slot& minute : mine.minutes)
            minute.average_w = 0.0F;
        const auto first = static_cast<std::size_t>(hour_pair % 12) * 4;
        at_second((hour_pair + 1) * 7200);  // the fourth half hour is written anew from empty minutes
        const auto square = [&](std::size_t i) { return static_cast<float>((first + i) * (first + i)); };
        ASSERT_EQ(mine.two_hours[static_cast<std::size_t>(hour_pair)].average_w,
                  (square(0) + square(1) + square(2) + 0.0F) * 0.25F)
            << hour_pair;
    }
}

TEST_F(condensing, between_boundaries_nothing_is_written) {
    mine.minute_sum_mw = 7;
    for (const int second : {1, 59, 61, 1799, 1801, 604799}) {
        at_second(second);
        EXPECT_EQ(written(mine.minutes), slots{}) << second;
        EXPECT_EQ(mine.second_counter, second);
    }
    EXPECT_EQ(mine.minute_sum_mw, 7U);
}

TEST_F(condensing, a_wall_clock_before_1970_stays_negative) {
    now.wall_clock_s = -5;
    at_second(60);
    EXPECT_EQ(mine.minutes[0].wall_clock_s, -5);
}

// --- averaging ---

std::vector<stats_slot> full_ring(std::size_t count) {
    std::vector<stats_slot> ring(count);
    for (std::size_t i = 0; i < count; i++) {
        ring[i].valid = 1;
        ring[i].wall_clock_s = 1000000 + static_cast<std::int64_t>(i) * 60;
        ring[i].uptime_s = 5000 + static_cast<std::uint32_t>(i) * 60;
        ring[i].average_w = static_cast<float>(i);
    }
    return ring;
}

TEST(averaging, a_full_ring_has_the_mean_of_its_slots) {
    ring_average average{};
    calAvgWatt(full_ring(60), average);
    EXPECT_EQ(average.valid, 1U);
    EXPECT_EQ(average.average_w, 29.5F);
}

TEST(averaging, one_invalid_slot_anywhere_leaves_a_ring_without_an_average) {
    for (std::size_t missing = 0; missing < 60; missing++) {
        std::vector<stats_slot> ring = full_ring(60);
        ring[missing].valid = 0;
        ring_average average{.valid = 7, .average_w = 7.0F};
        calAvgWatt(ring, average);
        EXPECT_EQ(average.valid, 0U);
        EXPECT_EQ(average.average_w, 0.0F);
    }
}

TEST(averaging, an_empty_ring_has_no_average) {
    ring_average average{.valid = 7, .average_w = 7.0F};
    calAvgWatt({}, average);
    EXPECT_EQ(average.valid, 0U);
    EXPECT_EQ(average.average_w, 0.0F);
}

TEST(averaging, the_sum_is_taken_in_single_precision) {
    std::vector<stats_slot> ring = full_ring(3);
    ring[0].average_w = 16777216.0F;  // adding 1 to this is lost
    ring[1].average_w = 1.0F;
    ring[2].average_w = 1.0F;
    ring_average average{};
    calAvgWatt(ring, average);
    EXPECT_EQ(average.average_w, 16777216.0F / 3.0F);
}

// --- sorting ---

struct sorted_ring {
    std::vector<ring_entry> entries;
    std::uint64_t start;
    std::uint32_t returned;
};

sorted_ring sorted(const std::vector<stats_slot>& ring) {
    sorted_ring result{std::vector<ring_entry>(ring.size()), 0x5A5A5A5A5A5A5A5A, 0};
    result.returned = portStatsDataSorting(ring, result.entries, result.start);
    return result;
}

std::vector<float> averages_of(const sorted_ring& ring) {
    std::vector<float> averages;
    for (const ring_entry& entry : ring.entries)
        averages.push_back(entry.average_w);
    return averages;
}

TEST(sorting, a_ring_in_order_stays_in_order_and_starts_its_length_before_the_newest) {
    for (const auto& [count, period] : {std::pair{60U, 60U}, {48U, 1800U}, {84U, 7200U}}) {
        const std::vector<stats_slot> ring = full_ring(count);
        const sorted_ring result = sorted(ring);
        for (std::size_t i = 0; i < count; i++) {
            EXPECT_EQ(result.entries[i].valid, 1U);
            EXPECT_EQ(result.entries[i].uptime_s, ring[i].uptime_s);
            EXPECT_EQ(result.entries[i].average_w, ring[i].average_w);
        }
        EXPECT_EQ(result.start, 1000000 + (count - 1) * 60 - (count - 1) * std::uint64_t{period});
    }
}

TEST(sorting, a_count_that_is_no_rings_starts_at_the_greatest_time_itself) {
    for (const std::size_t count : {1U, 2U, 47U, 59U, 61U, 85U}) {
        EXPECT_EQ(sorted(full_ring(count)).start, 1000000 + (count - 1) * 60) << count;
    }
}

TEST(sorting, a_wrapped_ring_begins_at_its_oldest_slot) {
    for (std::size_t turn = 0; turn < 60; turn++) {
        std::vector<stats_slot> ring = full_ring(60);
        std::rotate(ring.begin(), ring.begin() + static_cast<std::ptrdiff_t>(turn), ring.end());
        const sorted_ring result = sorted(ring);
        for (std::size_t i = 0; i < 60; i++)
            EXPECT_EQ(result.entries[i].average_w, static_cast<float>(i)) << turn;
        EXPECT_EQ(result.start, 1000000U) << turn;
    }
}

TEST(sorting, a_partly_filled_ring_keeps_its_empty_slots_behind_and_starts_at_its_first) {
    std::vector<stats_slot> ring = full_ring(60);
    for (std::size_t i = 7; i < 60; i++)
        ring[i] = {};
    const sorted_ring result = sorted(ring);
    EXPECT_EQ(result.entries[6].valid, 1U);
    EXPECT_EQ(result.entries[7].valid, 0U);
    EXPECT_EQ(result.entries[7].uptime_s, 0U);
    EXPECT_EQ(result.start, 1000000U);
}

TEST(sorting, a_ring_with_an_invalid_first_slot_begins_at_slot_0_whatever_follows) {
    std::vector<stats_slot> ring = full_ring(60);
    ring[0].valid = 0;
    ring[30].uptime_s = 1;
    const sorted_ring result = sorted(ring);
    EXPECT_EQ(result.entries[0].valid, 0U);
    EXPECT_EQ(result.entries[30].uptime_s, 1U);
    EXPECT_EQ(result.start, 1000000U);  // the newest stands last: 59 minutes before it
}

TEST(sorting, slots_behind_the_first_invalid_one_are_not_looked_at_for_the_oldest) {
    std::vector<stats_slot> ring = full_ring(60);
    ring[10].valid = 0;
    ring[20].uptime_s = 1;
    EXPECT_EQ(averages_of(sorted(ring)), averages_of(sorted(full_ring(60))));
}

TEST(sorting, of_two_slots_with_the_least_uptime_the_lower_index_comes_first) {
    std::vector<stats_slot> ring = full_ring(60);
    ring[20].uptime_s = ring[40].uptime_s = 1;
    EXPECT_EQ(sorted(ring).entries[0].average_w, 20.0F);
}

TEST(sorting, of_two_slots_with_the_greatest_time_the_earlier_position_counts) {
    std::vector<stats_slot> ring = full_ring(60);
    ring[20].wall_clock_s = ring[40].wall_clock_s = 2000000;
    EXPECT_EQ(sorted(ring).start, 2000000U - 20 * 60);
}

TEST(sorting, the_position_of_the_greatest_time_is_that_in_the_output) {
    std::vector<stats_slot> ring = full_ring(60);
    ring[50].uptime_s = 1;            // oldest by uptime, so output position 0
    ring[55].wall_clock_s = 2000000;  // newest by the clock, so output position 5
    EXPECT_EQ(sorted(ring).start, 2000000U - 5 * 60);
}

TEST(sorting, the_time_of_an_invalid_slot_does_not_count) {
    std::vector<stats_slot> ring = full_ring(60);
    ring[30].valid = 0;
    ring[30].wall_clock_s = 9000000;
    EXPECT_EQ(sorted(ring).start, 1000000U);
}

TEST(sorting, an_empty_ring_starts_at_0) {
    const sorted_ring result = sorted(std::vector<stats_slot>(60));
    EXPECT_EQ(result.start, 0U);
    EXPECT_EQ(result.returned, 0U);
    for (const ring_entry& entry : result.entries)
        EXPECT_EQ(entry.valid, 0U);
}

TEST(sorting, times_before_1970_are_compared_as_signed_and_stored_as_they_wrap) {
    std::vector<stats_slot> ring = full_ring(60);
    for (std::size_t i = 0; i < 60; i++)
        ring[i].wall_clock_s = -100000 + static_cast<std::int64_t>(i) * 60;
    const sorted_ring result = sorted(ring);
    EXPECT_EQ(result.start, static_cast<std::uint64_t>(-100000));
    EXPECT_EQ(result.returned, static_cast<std::uint32_t>(-100000));
}

TEST(sorting, the_low_half_of_the_start_is_returned) {
    std::vector<stats_slot> ring = full_ring(1);
    ring[0].wall_clock_s = 0x1234567890;
    EXPECT_EQ(sorted(ring).start, 0x1234567890U);
    EXPECT_EQ(sorted(ring).returned, 0x34567890U);
}

TEST(sorting, no_slots_at_all_are_no_trouble) {
    const sorted_ring result = sorted({});
    EXPECT_EQ(result.start, 0U);
}

// --- against a second statement of the rules, over random histories ---

std::vector<stats_slot> random_ring(std::mt19937& random) {
    constexpr std::size_t counts[] = {60, 48, 84, 1, 2, 13};
    std::vector<stats_slot> ring(counts[random() % std::size(counts)]);
    const unsigned spread = random() % 2 == 0 ? 8 : 1000000;  // few values make ties
    const unsigned gaps = random() % 4;                       // none, few, many, all
    const std::size_t filled = random() % 3 == 0 ? random() % (ring.size() + 1) : ring.size();
    for (std::size_t i = 0; i < ring.size(); i++) {
        const bool gap = gaps == 3 || (gaps == 2 && random() % 2 == 0) || (gaps == 1 && random() % 20 == 0);
        ring[i].valid = i < filled && !gap ? 1 : 0;
        ring[i].uptime_s = static_cast<std::uint32_t>(random() % spread);
        ring[i].wall_clock_s = static_cast<std::int64_t>(random() % spread) - (random() % 8 == 0 ? 100 : 0);
        ring[i].average_w = static_cast<float>(random() % 90000) / 1000.0F;
    }
    return ring;
}

struct model_sorting {
    std::vector<stats_slot> order;
    std::uint64_t start = 0;

    explicit model_sorting(const std::vector<stats_slot>& ring) {
        const auto is_invalid = [](const stats_slot& slot) { return slot.valid == 0; };
        const auto run_end = std::find_if(ring.begin(), ring.end(), is_invalid);
        const auto oldest = std::min_element(ring.begin(), run_end,
                                             [](const auto& a, const auto& b) { return a.uptime_s < b.uptime_s; });
        const auto first = run_end == ring.begin() ? ring.begin() : oldest;
        order.assign(first, ring.end());
        order.insert(order.end(), ring.begin(), first);

        std::vector<std::pair<std::int64_t, long>> newest_first;
        for (std::size_t i = 0; i < order.size(); i++) {
            if (!is_invalid(order[i])) newest_first.push_back({-order[i].wall_clock_s, static_cast<long>(i)});
        }
        std::sort(newest_first.begin(), newest_first.end());
        if (newest_first.empty()) return;
        const long period = ring.size() == 60 ? 60 : ring.size() == 48 ? 1800 : ring.size() == 84 ? 7200 : 0;
        start = static_cast<std::uint64_t>(-newest_first.front().first - newest_first.front().second * period);
    }
};

TEST(sorting, agrees_with_a_model_over_random_rings) {
    for (unsigned seed = 0; seed < 20000; seed++) {
        std::mt19937 random{seed};
        const std::vector<stats_slot> ring = random_ring(random);
        const model_sorting model(ring);
        const sorted_ring result = sorted(ring);
        ASSERT_EQ(result.start, model.start) << "seed " << seed;
        ASSERT_EQ(result.returned, static_cast<std::uint32_t>(model.start)) << "seed " << seed;
        for (std::size_t i = 0; i < ring.size(); i++) {
            ASSERT_EQ(result.entries[i].valid, model.order[i].valid) << "seed " << seed << " entry " << i;
            ASSERT_EQ(result.entries[i].uptime_s, model.order[i].uptime_s) << "seed " << seed << " entry " << i;
            ASSERT_EQ(result.entries[i].average_w, model.order[i].average_w) << "seed " << seed << " entry " << i;
        }
    }
}

TEST(averaging, agrees_with_double_precision_over_random_rings) {
    int full = 0;
    for (unsigned seed = 0; seed < 20000; seed++) {
        std::mt19937 random{seed};
        const std::vector<stats_slot> ring = random_ring(random);
        double sum = 0;
        bool all_valid = true;
        for (const stats_slot& slot : ring) {
            sum += static_cast<double>(slot.average_w);
            all_valid = all_valid && slot.valid == 1;
        }
        ring_average average{};
        calAvgWatt(ring, average);
        ASSERT_EQ(average.valid, all_valid ? 1U : 0U) << "seed " << seed;
        const double expected = all_valid ? sum / static_cast<double>(ring.size()) : 0.0;
        ASSERT_NEAR(static_cast<double>(average.average_w), expected, expected * 4e-6) << "seed " << seed;
        full += all_valid ? 1 : 0;
    }
    EXPECT_GT(full, 1000);
}

// --- energy ---

TEST(energy, is_in_watt_hours_from_whole_watt_seconds) {
    EXPECT_EQ(energy_in_wh(0), 0.0F);
    EXPECT_EQ(energy_in_wh(999), 0.0F);
    EXPECT_EQ(energy_in_wh(1000), 1.0F / 3600.0F);
    EXPECT_EQ(energy_in_wh(1999), 1.0F / 3600.0F);
    EXPECT_EQ(energy_in_wh(3600000), 1.0F);
    EXPECT_EQ(energy_in_wh(54000000), 15.0F);
    EXPECT_FLOAT_EQ(energy_in_wh(0xFFFFFFFFFFFFFFFF), 5124095576030.43F);
}

}  // namespace
