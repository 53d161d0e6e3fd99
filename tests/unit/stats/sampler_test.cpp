#include "stats/sampler.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include <unistd.h>

#include "core/wire.h"
#include "ipc/handlers.h"
#include "stats/stats_bench.h"

namespace {

class sampling : public stats_bench {
  protected:
    power_sampler sampler{};

    void begin() { sampler = begin_power_sampling(); }
    void pass(int seconds) {
        for (int i = 0; i < seconds; i++)
            sample_one_second(sampler);
    }
};

// --- begin ---

TEST_F(sampling, begins_with_empty_records_and_statistics_off) {
    std::memset(&record(0), 0x5A, sizeof record(0));
    record(3).powered_s = 9;
    configuration() = {1, 1, {}, 77};
    the_world.monotonic = {123, 456};
    begin();
    for (std::size_t port = 0; port < port_count; port++) {
        const port_stats empty{};
        EXPECT_EQ(std::memcmp(&record(port), &empty, sizeof empty), 0) << port;
    }
    const port_stats_cfg off{};
    EXPECT_EQ(std::memcmp(&configuration(), &off, sizeof off), 0);
    EXPECT_EQ(sampler.start.seconds, 123);
    EXPECT_EQ(sampler.start.nanoseconds, 456);
    EXPECT_EQ(sampler.offset.seconds, 0);
    EXPECT_EQ(sampler.offset.nanoseconds, 0);
}

// --- one second of one port ---

TEST_F(sampling, a_second_of_a_port_adds_its_power_to_that_port_alone) {
    deliver(2, 10000, 5400);
    sample_port(sampler, 2);
    EXPECT_EQ(record(2).second_counter, 1);
    EXPECT_EQ(record(2).powered_s, 1U);
    EXPECT_EQ(record(2).energy_mws, 15400U);
    EXPECT_EQ(record(2).minute_sum_mw, 15400U);
    for (const std::size_t port : {0U, 1U, 3U})
        EXPECT_EQ(record(port).second_counter, 0) << port;
}

TEST_F(sampling, a_port_that_does_not_exist_is_no_trouble) {
    sample_port(sampler, 4);
    sample_port(sampler, static_cast<std::size_t>(-1));
    for (std::size_t port = 0; port < port_count; port++)
        EXPECT_EQ(record(port).second_counter, 0);
}

TEST_F(sampling, a_port_is_powered_while_its_status_says_delivering) {
    status(0).status = 1;
    pass(1);
    EXPECT_EQ(record(0).powered_s, 1U);
    status(0).status = 2;
    pass(1);
    EXPECT_EQ(record(0).powered_s, 1U);
}

TEST_F(sampling, a_port_is_powered_while_one_of_its_pair_sets_delivers) {
    status(1).channel[0].status = 1;
    status(2).channel[1].status = 1;
    status(3).port_class = 1;
    pass(3);
    EXPECT_EQ(record(0).powered_s, 0U);
    EXPECT_EQ(record(1).powered_s, 3U);
    EXPECT_EQ(record(2).powered_s, 3U);
    EXPECT_EQ(record(3).powered_s, 0U);
}

TEST_F(sampling, the_clocks_are_read_at_a_minute_boundary_only) {
    the_world.uptime_s = 500;
    the_world.wall_clock_s = 1000;
    pass(60);
    the_world.uptime_s = 501;
    pass(59);
    EXPECT_EQ(sampler.minute_uptime_s, 500U);
    EXPECT_EQ(record(3).minutes[0].uptime_s, 500U);
    EXPECT_EQ(record(3).minutes[0].wall_clock_s, 1000);
    pass(1);
    EXPECT_EQ(sampler.minute_uptime_s, 501U);
    EXPECT_EQ(record(3).minutes[1].uptime_s, 501U);
}

TEST_F(sampling, every_port_reads_the_clocks_at_its_own_minute_boundary) {
    pass(30);
    {
        const tick_lock held;
        clear_port_stats(0);
    }
    the_world.uptime_s = 530;
    the_world.wall_clock_s = 1030;
    pass(30);
    EXPECT_EQ(sampler.minute_uptime_s, 530U);
    the_world.uptime_s = 560;
    the_world.wall_clock_s = 1060;
    pass(30);
    EXPECT_EQ(sampler.minute_uptime_s, 560U);
    EXPECT_EQ(record(0).minutes[0].uptime_s, 560U);
    EXPECT_EQ(record(0).minutes[0].wall_clock_s, 1060);
    for (const std::size_t port : {1U, 2U, 3U}) {
        EXPECT_EQ(record(port).minutes[0].uptime_s, 530U) << port;
        EXPECT_EQ(record(port).minutes[0].wall_clock_s, 1030) << port;
    }
}

TEST_F(sampling, a_cleared_port_begins_its_own_week_anew) {
    pass(90);
    {
        const tick_lock held;
        clear_port_stats(1);
    }
    pass(60);
    EXPECT_EQ(record(0).second_counter, 150);
    EXPECT_EQ(record(1).second_counter, 60);
    EXPECT_EQ(record(1).minutes[0].valid, 1);
    EXPECT_EQ(record(1).minutes[1].valid, 0);
}

// --- a week, and the beginning of the next ---

struct model_slot {
    bool valid = false;
    std::int64_t wall_clock_s = 0;
    std::uint32_t uptime_s = 0;
    double average_w = 0;
};

// One port's history in double precision, straight from its samples: no ring is condensed from another.
struct model_history {
    std::vector<std::uint64_t> energy_mws{0};  // after each second
    std::uint32_t powered_s = 0;
    std::vector<model_slot> minutes = std::vector<model_slot>(60);
    std::vector<model_slot> half_hours = std::vector<model_slot>(48);
    std::vector<model_slot> two_hours = std::vector<model_slot>(84);

    void second(bool powered, std::uint32_t mw) {
        energy_mws.push_back(energy_mws.back() + mw);
        powered_s += powered ? 1 : 0;
    }
    void close(std::vector<model_slot>& ring, std::size_t span_s, std::size_t number, std::int64_t wall,
               std::uint32_t up) {
        const std::uint64_t spent = energy_mws.back() - energy_mws[energy_mws.size() - 1 - span_s];
        ring[number % ring.size()] = {true, wall, up,
                                      static_cast<double>(spent) / 1000.0 / static_cast<double>(span_s)};
    }
};

bool agrees(std::span<const stats_slot> ring, const std::vector<model_slot>& model, std::string& difference) {
    for (std::size_t i = 0; i < ring.size(); i++) {
        const bool same =
            (ring[i].valid == 1) == model[i].valid && ring[i].wall_clock_s == model[i].wall_clock_s &&
            ring[i].uptime_s == model[i].uptime_s &&
            std::abs(static_cast<double>(ring[i].average_w) - model[i].average_w) <= model[i].average_w * 3e-6;
        if (same) continue;
        std::ostringstream text;
        text << "slot " << i << " of " << ring.size() << ": " << int{ring[i].valid} << ' ' << ring[i].wall_clock_s
             << ' ' << ring[i].uptime_s << ' ' << ring[i].average_w << ", the model has " << model[i].valid << ' '
             << model[i].wall_clock_s << ' ' << model[i].uptime_s << ' ' << model[i].average_w;
        difference = text.str();
        return false;
    }
    return true;
}

class a_week_of_seconds : public sampling {
  protected:
    std::array<model_history, port_count> model;
    std::mt19937 random{20260101};
    static constexpr std::uint32_t boot_uptime_s = 12345;
    static constexpr std::int32_t boot_wall_clock_s = 1700000000;
    std::uint32_t second = 0;

    a_week_of_seconds() {
        // The clocks follow the sleeps, as in the world outside.
        the_world.uptime_s = boot_uptime_s;
        the_world.wall_clock_s = boot_wall_clock_s;
        the_world.monotonic = {boot_uptime_s, 600000000};
        the_world.sleep_for = [](const system_time& span, system_time&) {
            the_world.uptime_s += static_cast<std::uint32_t>(span.seconds);
            the_world.wall_clock_s += static_cast<std::int32_t>(span.seconds);
            the_world.monotonic.seconds += span.seconds;
            return span.seconds == 1 && span.nanoseconds == 0 ? 0 : EINVAL;
        };
        begin();
    }

    void change_the_load() {
        for (std::size_t port = 0; port < port_count; port++) {
            if (random() % 50 != 0) continue;
            const bool on = random() % 4 != 0;
            port_stu& seen = status(port);
            seen.status = on && random() % 2 == 0 ? 1 : 6;
            seen.channel[0].status = on && random() % 2 == 0 ? 1 : 4;
            seen.channel[1].status = on && random() % 2 == 0 ? 1 : 0;
            seen.channel[0].power_mw = on ? static_cast<std::uint32_t>(random() % 45001) : 0;
            seen.channel[1].power_mw = on ? static_cast<std::uint32_t>(random() % 45001) : 0;
        }
    }

    void one_second() {
        change_the_load();
        second++;
        for (std::size_t port = 0; port < port_count; port++) {
            const port_stu& seen = status(port);
            model[port].second(seen.status == 1 || seen.channel[0].status == 1 || seen.channel[1].status == 1,
                               seen.channel[0].power_mw + seen.channel[1].power_mw);
            const std::uint32_t up = the_world.uptime_s;
            const std::int64_t wall = the_world.wall_clock_s;
            if (second % 60 == 0) model[port].close(model[port].minutes, 60, second / 60 - 1, wall, up);
            if (second % 1800 == 0) model[port].close(model[port].half_hours, 1800, second / 1800 - 1, wall, up);
            if (second % 7200 == 0) model[port].close(model[port].two_hours, 7200, second / 7200 - 1, wall, up);
        }
        sample_one_second(sampler);
    }

    testing::AssertionResult records_agree() {
        std::string difference;
        for (std::size_t port = 0; port < port_count; port++) {
            const port_stats& mine = record(port);
            if (mine.second_counter != static_cast<std::int32_t>(second % 604800)) difference = "second counter";
            if (mine.powered_s != model[port].powered_s) difference = "powered seconds";
            if (mine.energy_mws != model[port].energy_mws.back()) difference = "energy";
            if (!difference.empty() || !agrees(mine.minutes, model[port].minutes, difference) ||
                !agrees(mine.half_hours, model[port].half_hours, difference) ||
                !agrees(mine.two_hours, model[port].two_hours, difference)) {
                return testing::AssertionFailure() << "second " << second << ", port " << port << ": " << difference;
            }
        }
        return testing::AssertionSuccess();
    }

    void run_to(std::uint32_t last) {
        while (second < last) {
            one_second();
            if (second % 60 != 0) continue;
            ASSERT_TRUE(records_agree());
        }
        ASSERT_TRUE(records_agree());
    }
};

TEST_F(a_week_of_seconds, and_the_week_after_agree_with_double_precision_at_every_minute) {
    for (const std::uint32_t boundary : {59U, 60U, 61U, 1799U, 1800U, 1801U, 3599U, 3600U, 3660U, 7199U, 7200U, 7201U,
                                         86399U, 86400U, 93600U, 604799U}) {
        run_to(boundary);
        if (HasFatalFailure()) return;
    }
    EXPECT_EQ(record(0).second_counter, 604799);
    EXPECT_EQ(record(0).two_hours[83].valid, 0);

    run_to(604800);
    EXPECT_EQ(record(0).second_counter, 0);
    EXPECT_EQ(record(0).two_hours[83].valid, 1);
    const std::int64_t end_of_week = record(0).two_hours[83].wall_clock_s;
    EXPECT_EQ(end_of_week, boot_wall_clock_s + 604799);

    run_to(604860);  // rings are overwritten in place, beginning at their first slots
    EXPECT_EQ(record(0).second_counter, 60);
    EXPECT_EQ(record(0).minutes[0].wall_clock_s, end_of_week + 60);
    EXPECT_EQ(record(0).minutes[1].wall_clock_s, end_of_week - 58 * 60);
    run_to(604800 + 1800);
    EXPECT_EQ(record(0).half_hours[0].wall_clock_s, end_of_week + 1800);
    run_to(604800 + 7200 + 60);
    EXPECT_EQ(record(0).two_hours[0].wall_clock_s, end_of_week + 7200);
    EXPECT_EQ(record(0).two_hours[1].wall_clock_s, boot_wall_clock_s + 2 * 7200 - 1);
    run_to(604800 + 86400);
}

TEST_F(a_week_of_seconds, saves_the_file_once_in_every_hour_of_uptime_at_the_first_minute_boundary_in_it) {
    configuration().enable = 1;
    configuration().saved_hour = 3;  // of 12345 seconds
    std::vector<std::uint32_t> saved_at;
    the_world.witness = [&](const std::string& line) {
        if (line.starts_with("replace ")) saved_at.push_back(the_world.uptime_s);
    };
    deliver(2, 30000, 0);
    for (int i = 0; i < 604800; i++)
        sample_one_second(sampler);
    std::vector<std::uint32_t> expected;
    std::uint32_t hour = 3;
    for (std::uint32_t up = boot_uptime_s + 59; up < boot_uptime_s + 604800; up += 60) {
        if (up / 3600 != hour) expected.push_back(up);
        hour = up / 3600;
    }
    EXPECT_EQ(saved_at, expected);
    EXPECT_EQ(saved_at.size(), 168U);
    EXPECT_EQ(configuration().saved_hour, hour);
    const std::uint64_t last_second = saved_at.back() - boot_uptime_s + 1;
    EXPECT_EQ(file(), "0, 0, 0\n1, 0, 0\n2, " + std::to_string(last_second) + ", " +
                          std::to_string(last_second * 30000) + "\n3, 0, 0\n");
}

// --- the hourly save ---

TEST_F(sampling, nothing_is_saved_while_statistics_are_off) {
    the_world.uptime_s = 7200;
    pass(120);
    EXPECT_EQ(saves(), 0U);
}

TEST_F(sampling, nothing_is_saved_before_a_minute_boundary_told_the_uptime) {
    configuration().enable = 1;
    the_world.uptime_s = 7200;
    pass(59);
    EXPECT_EQ(saves(), 0U);
    pass(1);
    EXPECT_EQ(saves(), 1U);
    EXPECT_EQ(configuration().saved_hour, 2U);
}

TEST_F(sampling, a_pass_in_the_same_hour_does_not_save_again) {
    configuration().enable = 1;
    the_world.uptime_s = 7200;
    pass(60);
    the_world.uptime_s = 10799;
    pass(120);
    EXPECT_EQ(saves(), 1U);
    the_world.uptime_s = 10800;
    pass(60);
    EXPECT_EQ(saves(), 2U);
}

TEST_F(sampling, the_save_comes_after_the_fourth_port) {
    configuration().enable = 1;
    the_world.uptime_s = 7200;
    for (std::size_t port = 0; port < port_count; port++)
        deliver(port, 1000, 0);
    pass(60);
    EXPECT_EQ(file(), "0, 60, 60000\n1, 60, 60000\n2, 60, 60000\n3, 60, 60000\n");
}

TEST_F(sampling, a_file_that_cannot_be_written_is_tried_again_after_every_pass) {
    configuration().enable = 1;
    the_world.uptime_s = 7200;
    the_world.files_cannot_be_written = true;
    pass(63);
    EXPECT_EQ(saves(), 4U);
    EXPECT_EQ(configuration().saved_hour, 0U);
    the_world.files_cannot_be_written = false;
    pass(5);
    EXPECT_EQ(saves(), 5U);
    EXPECT_EQ(configuration().saved_hour, 2U);
    EXPECT_TRUE(file_exists());
}

TEST_F(sampling, the_file_is_saved_under_the_tick_lock_and_the_wait_is_without_it) {
    configuration().enable = 1;
    the_world.uptime_s = 7200;
    bool held_while_saving = false;
    bool held_while_sleeping = false;
    the_world.witness = [&](const std::string&) { held_while_saving = tick_lock_is_held(); };
    the_world.sleep_for = [&](const system_time&, system_time&) {
        held_while_sleeping = held_while_sleeping || tick_lock_is_held();
        return 0;
    };
    pass(60);
    EXPECT_EQ(saves(), 1U);
    EXPECT_TRUE(held_while_saving);
    EXPECT_FALSE(held_while_sleeping);
}

TEST_F(sampling, a_save_that_a_client_asked_for_is_not_repeated_before_the_first_minute_boundary) {
    begin();
    configuration() = {1, 1, {}, 2};
    the_world.uptime_s = 7200;
    pass(120);
    EXPECT_EQ(saves(), 0U);
}

// --- the pace ---

class pace : public sampling {
  protected:
    std::vector<system_time> slept;

    // A sleep that returns `late_ns` after its deadline.
    void sleep_late_by(std::int64_t late_ns) {
        the_world.sleep_for = [this, late_ns](const system_time& span, system_time&) {
            slept.push_back(span);
            if (span.seconds < 0) return EINVAL;
            advance(span.seconds * 1000000000 + span.nanoseconds + late_ns);
            return 0;
        };
    }
    static void advance(std::int64_t ns) {
        const std::int64_t total = the_world.monotonic.nanoseconds + ns;
        the_world.monotonic.seconds += total / 1000000000;
        the_world.monotonic.nanoseconds = total % 1000000000;
    }
    static void expect_now(std::int64_t seconds, std::int64_t nanoseconds) {
        EXPECT_EQ(the_world.monotonic.seconds, seconds);
        EXPECT_EQ(the_world.monotonic.nanoseconds, nanoseconds);
    }
    void expect_slept(std::size_t nth, std::int64_t seconds, std::int64_t nanoseconds) const {
        ASSERT_LT(nth, slept.size());
        EXPECT_EQ(slept[nth].seconds, seconds) << "sleep " << nth;
        EXPECT_EQ(slept[nth].nanoseconds, nanoseconds) << "sleep " << nth;
    }
    void begin_at(std::int64_t seconds, std::int64_t nanoseconds) {
        the_world.monotonic = {seconds, nanoseconds};
        begin();
    }
};

TEST_F(pace, a_pass_that_takes_no_time_sleeps_a_whole_second) {
    sleep_late_by(0);
    begin_at(100, 250000000);
    wait_for_next_second(sampler);
    expect_slept(0, 1, 0);
    expect_now(101, 250000000);
}

TEST_F(pace, the_time_of_a_pass_comes_off_its_sleep) {
    sleep_late_by(0);
    begin_at(100, 250000000);
    advance(300000000);
    wait_for_next_second(sampler);
    expect_slept(0, 0, 700000000);
    expect_now(101, 250000000);
}

TEST_F(pace, a_hundred_thousand_late_sleeps_do_not_add_up) {
    sleep_late_by(1700000);
    begin_at(100, 999999999);
    for (int i = 0; i < 100000; i++) {
        advance(12345);
        wait_for_next_second(sampler);
    }
    expect_now(100101, 1699999);
    EXPECT_EQ(sampler.offset.seconds, 100000);
}

TEST_F(pace, an_interrupted_sleep_goes_on_with_what_is_left) {
    begin_at(100, 0);
    the_world.sleep_for = [this](const system_time& span, system_time& left) {
        slept.push_back(span);
        if (slept.size() == 3) {
            advance(span.nanoseconds);
            return 0;
        }
        left = {0, slept.size() == 1 ? 800000000 : 300000000};
        advance(span.seconds * 1000000000 + span.nanoseconds - left.nanoseconds);
        return EINTR;
    };
    wait_for_next_second(sampler);
    ASSERT_EQ(slept.size(), 3U);
    expect_slept(0, 1, 0);
    expect_slept(1, 0, 800000000);
    expect_slept(2, 0, 300000000);
    expect_now(101, 0);
}

TEST_F(pace, any_other_failure_ends_the_wait_early_and_the_next_deadline_stands) {
    begin_at(100, 0);
    for (const int failure : {EINVAL, EFAULT, EAGAIN}) {
        slept.clear();
        the_world.sleep_for = [&](const system_time& span, system_time&) {
            slept.push_back(span);
            return failure;
        };
        wait_for_next_second(sampler);
        EXPECT_EQ(slept.size(), 1U) << failure;
    }
    sleep_late_by(0);
    wait_for_next_second(sampler);
    expect_now(104, 0);
}

TEST_F(pace, an_overrun_is_caught_up_without_sleeping_and_the_beat_is_kept) {
    sleep_late_by(0);
    begin_at(100, 500000000);
    advance(3200000000);  // three deadlines and a fifth of a second
    for (int i = 0; i < 3; i++)
        wait_for_next_second(sampler);
    expect_now(103, 700000000);
    expect_slept(0, -3, 800000000);
    expect_slept(2, -1, 800000000);
    wait_for_next_second(sampler);
    expect_slept(3, 0, 800000000);
    expect_now(104, 500000000);
}

TEST_F(pace, every_pass_is_the_four_ports_then_one_wait) {
    sleep_late_by(0);
    begin_at(100, 0);
    pass(5);
    EXPECT_EQ(slept.size(), 5U);
    for (std::size_t port = 0; port < port_count; port++)
        EXPECT_EQ(record(port).second_counter, 5);
}

// --- the thread ---

class sampling_thread : public sampling {};

TEST_F(sampling_thread, clears_the_records_and_then_samples_for_ever) {
    record(0).powered_s = 1000;
    configuration().enable = 1;
    deliver(1, 2000, 0);
    the_world.sleep_for = [](const system_time& span, system_time&) {
        static int sleeps = 0;
        the_world.monotonic.seconds += span.seconds;
        if (++sleeps < 3600) return 0;
        const bool right = record(0).powered_s == 0 && record(1).powered_s == 3600 && record(1).energy_mws == 7200000 &&
                           record(1).half_hours[1].average_w == 2.0F && configuration().enable == 0;
        _exit(right ? 42 : 1);
    };
    EXPECT_EXIT(poe_power_usage_with_thread(nullptr), testing::ExitedWithCode(42), "");
}

TEST_F(sampling_thread, leaves_every_reply_a_consistent_record_beside_it) {
    for (std::size_t port = 0; port < port_count; port++)
        deliver(port, 1000, 0);  // a watt: a watt-second a second
    the_world.sleep_for = [](const system_time&, system_time&) { return 0; };
    std::thread beside([this] { pass(20000); });
    const auto peer = peer_named("/tmp/client");
    for (int i = 0; i < 300; i++) {
        poe_drv_ipc_reply_get_all_port_statistics(3, peer.data(), nullptr, 0);
        std::this_thread::yield();
    }
    beside.join();
    for (const sent_reply& reply : the_world.replies) {
        for (std::size_t entry = 40; entry < 168; entry += 32) {
            const std::uint32_t powered_s = record_from<le32>(&reply.bytes[entry]);
            const float energy_wh = record_from<lef32>(&reply.bytes[entry + 4]);
            ASSERT_EQ(energy_wh, static_cast<float>(powered_s) / 3600.0F);
        }
    }
}

}  // namespace
