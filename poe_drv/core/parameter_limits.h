// What a client may set a parameter to, besides keeping it. Known to the daemon, which refuses anything else, and to
// its clients, which can say so before they ask.
#pragma once

#include <cstdint>

inline constexpr std::int8_t highest_priority = 1;  // critical
inline constexpr std::int8_t lowest_priority = 3;   // low
inline constexpr std::int8_t highest_poe_mode = 4;  // the lowest is 0
inline constexpr std::int8_t lowest_re_enable_s = 5;
inline constexpr std::int8_t highest_re_enable_s = 60;
inline constexpr std::uint32_t lowest_power_limit = 10;  // tenths of a watt
inline constexpr std::uint32_t highest_power_limit = 900;
inline constexpr std::int8_t lowest_usage_threshold = 1;  // percent of the budget
inline constexpr std::int8_t highest_usage_threshold = 99;
