// The text of the statistics file: one line a port with its number, powered seconds and energy. Pure; whoever passes
// shared records holds the tick lock.
//
//   0, 86400, 1296000000
//   1, 0, 0
//   ...
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "stats/record.h"

// A number of each line's three, with its sign, is at most this long.
inline constexpr std::size_t longest_statistics_number = 20;
inline constexpr std::size_t longest_statistics_text = port_count * 4 * longest_statistics_number;

struct statistics_text {
    std::array<char, longest_statistics_text> bytes;
    std::size_t length;
};

// Four lines, in port order.
statistics_text compose_statistics_text(const port_stats_records& records);

struct statistics_line {
    std::uint32_t port;  // as it stands: not every number is a port's
    std::uint32_t powered_s;
    std::uint64_t energy_mws;
};

// The three numbers of a line, separated by a comma and any white space, whatever follows them. Numbers wrap around at
// their width, negative ones included. Nothing when there are not three.
std::optional<statistics_line> parse_statistics_line(std::string_view line);

// A line that is longer goes on as the next line.
inline constexpr std::size_t longest_statistics_line = 64;

// Adds the totals of every line of `text` to the record of the port that it names, wrapping around. Lines that do not
// parse add nothing; the totals of a port that there is no record for go nowhere.
void add_statistics_text(port_stats_records& records, std::string_view text);
