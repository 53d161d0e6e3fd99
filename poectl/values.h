// What people write on the command line, read strictly: the whole text is the value, or it is bad usage with a reason.
// Pure.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "poe_client/types.h"
#include "poectl/command.h"

namespace poectl {

template <typename number>
struct parsed {
    number value{};
    std::string problem;  // empty: the value is good
    bool good() const { return problem.empty(); }
};

parsed<std::uint8_t> parse_port(std::string_view text);  // "1".."4", or an interface → 0..3
inline constexpr std::string_view all_ports_word = "all";
parsed<poe_client::port_bitmap> parse_ports(std::string_view text);  // "1,3", "2-4", "lan1", "all"
parsed<std::int8_t> parse_on_off(std::string_view text);
parsed<std::int8_t> parse_zero_or_one(std::string_view text);
parsed<std::int8_t> parse_priority(std::string_view text);  // critical, high, low, or 1, 2, 3
parsed<std::int8_t> parse_mode(std::string_view text);      // "90w", or its number
parsed<std::int8_t> parse_re_enable_s(std::string_view text);
parsed<std::int8_t> parse_threshold_percent(std::string_view text);
parsed<std::uint32_t> parse_limit_dw(std::string_view text);  // watts with at most one decimal
parsed<std::uint16_t> parse_bank_w(std::string_view text);    // whole watts
parsed<std::uint32_t> parse_minutes(std::string_view text);   // as many as the history holds
parsed<std::uint32_t> parse_timeout_ms(std::string_view text);
parsed<std::chrono::milliseconds> parse_seconds(std::string_view text);  // with at most three decimals
parsed<std::chrono::milliseconds> parse_interval(std::string_view text);
parsed<std::uint32_t> parse_event_count(std::string_view text);
parsed<std::uint32_t> parse_power_step_mw(std::string_view text);  // watts with at most one decimal
parsed<std::uint32_t> parse_count(std::string_view text);
parsed<power_threshold> parse_power_threshold(std::string_view text);  // "240", "240.5" or "80%"
parsed<output_format> parse_format(std::string_view text);
parsed<colour_choice> parse_colour(std::string_view text);
parsed<shell> parse_shell(std::string_view text);

}  // namespace poectl
