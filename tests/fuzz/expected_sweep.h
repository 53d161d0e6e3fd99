// The road of a reading, walked a second time: from the attempts that the controller saw to the records, traps, LEDs,
// counters and flash marks that must come of them. Written from what the daemon promises, with tables and arithmetic
// of its own.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fuzz.h"

namespace fuzz::answer {

using frame = std::array<std::uint8_t, 12>;

// One attempt as the device saw it.
struct seen_attempt {
    frame request;
    frame answer;
    bool failed;
};

struct expected_channel {
    unsigned voltage = 0, current = 0;  // voltage in tenths of a volt
    unsigned status = 0, sub_status = 0, error = 0, power_class = 0;
};

struct expected_reading {
    unsigned voltage = 0, current = 0, temperature = 0;
    unsigned status = 0, sub_status = 0, error = 0, power_class = 0, type = 0;
    std::array<unsigned, 6> event{};  // counters by their numbers, 1 to 5
    std::array<expected_channel, 2> channel{};
    bool status_is_old = false;
    bool events_are_old = false;
};

struct expected_channel_record {
    std::uint32_t power_class = 0, error = 0, sub_status = 0, tick = 0, status = 0, voltage = 0, current = 0, power = 0;
};

struct expected_record {
    std::uint32_t power_class = 0, sub_status = 0, error = 0, tick = 0, status = 11, voltage = 0, current = 0;
    std::uint32_t power = 0, temperature = 0, type = 0;
    std::array<expected_channel_record, 2> channel{};
    std::array<std::uint32_t, 5> totals{};
};

struct expected_counters {
    std::uint64_t total = 0, retry = 0, timeout = 0, damaged = 0, executed = 0, refused_checksum = 0, undefined_key = 0;
};

// What stands around the daemon during a pass.
struct surroundings_now {
    std::array<bool, 4> link_up{};
    bool link_monitor_fails = false;
    bool cpld_fails = false;
    bool traps_are_welcome = false;
};

struct expected_sweep {
    // --- what the daemon is told and sees; set from outside ---
    bool system_enabled = true;
    std::array<bool, 4> port_enabled{};
    int threshold = 95;
    surroundings_now around;
    std::uint32_t tick = 0;

    // --- what must come of it ---
    std::array<expected_record, 4> record;
    std::uint32_t total_mw = 300000, consumed_mw = 0, remaining_mw = 300000, supply = 0;
    bool alarm = false;
    std::array<bool, 4> auto_off{}, lit{}, blinking{};
    expected_counters counters;
    std::map<std::string, std::string> marks;  // flash files
    std::size_t pauses = 0;
    std::size_t port = 0;  // to be polled next
    bool starting_up = false, reporting = false;

    // Of the last pass:
    std::vector<std::vector<std::uint8_t>> traps;
    std::vector<std::array<std::uint8_t, 3>> register_writes;
    std::vector<std::string> shown;  // lines on standard output
    std::size_t lines_of_trouble = 0;
    std::size_t link_queries = 0;

    // One pass, with every attempt that the device saw in it; all of them are used up.
    void pass(const std::vector<seen_attempt>& attempts);

  private:
    std::optional<frame> transaction(std::uint8_t key, std::uint8_t selector, std::optional<std::uint8_t> first_byte,
                                     std::optional<std::uint8_t> second_byte = {});
    void write_marks();
    void switch_port(std::size_t number, bool on);
    bool link_now(std::size_t number, bool before);
    void poll(std::size_t number);
    void poll_temperature(std::size_t number);
    void end_sweep();
    void collect();
    bool collect_port(std::size_t number);
    bool translate(expected_reading& reading, std::size_t number, int channel);
    bool report(std::size_t number, const expected_reading& reading);
    void show_led(std::size_t number, bool now_lit, bool now_blinking);
    void log_event(std::size_t number, unsigned kind, unsigned status);

    std::deque<seen_attempt> left_;
    std::array<expected_reading, 4> reading_;
    unsigned limit_ = 3000;
    bool last_link_ = false;
    std::array<std::uint8_t, 16> trap_{};
    std::map<std::string, bool> marked_;
};

}  // namespace fuzz::answer
