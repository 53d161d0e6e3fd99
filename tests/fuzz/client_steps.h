// What happens to a daemon in the target of client datagrams, step by step, and the requests of the wire as a table of
// this target's own. Shared with the program that writes the first inputs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace fuzz::client {

enum class happening : std::uint8_t {
    datagram,      // who asks, then the datagram
    passes,        // of the supervision thread: one more than the byte says
    time,          // 4 bytes: ticks go by
    device,        // port, what (below), class, 2 bytes load in hundredths of a watt
    links,         // bit n: the link of port n is up
    surroundings,  // bits, below
    clock,         // 4 bytes: the tick is set, as if so much time had passed since the start
    count
};

// Who asks: the byte before a datagram.
enum class asker : std::uint8_t { named, other_name, longest_name, nameless, abstract_name, of_another_family, count };

// What the surroundings do from now on.
inline constexpr std::uint8_t sends_fail = 1;
inline constexpr std::uint8_t traps_are_welcome = 2;
inline constexpr std::uint8_t flash_is_full = 4;
inline constexpr std::uint8_t nobody_reads_traps = 8;
inline constexpr std::uint8_t statistics_file_is_there = 16;

inline constexpr int any = -1;

struct request_row {
    std::uint8_t type;
    int length;  // of the request
    std::uint8_t reply_type;
    std::size_t reply_length;
};

// clang-format off
inline constexpr std::array requests{
    request_row{  0,  any,   0,   16}, request_row{  1,   20,   1,   20}, request_row{  2,  any,   2,   56},
    request_row{  5,  any,   5,   28}, request_row{  6,  100, 134,  100}, request_row{  7,  any,   1,  376},
    request_row{ 11,  any,  11,  396}, request_row{ 12,  any,  12,   80}, request_row{ 13,  any,  13,   12},
    request_row{ 14,  any,  14,   12}, request_row{ 15,  any,  15,   44}, request_row{ 16,  any,  16,    9},
    request_row{ 17, 2352,  17, 2352}, request_row{ 18,  any,  18,  168}, request_row{ 83,    9,  83,    8},
    request_row{128,   16, 128,    8}, request_row{129,   20, 129,    8}, request_row{130,   56, 130,    8},
    request_row{132,   20, 132,    8}, request_row{137,   12, 137,    8}, request_row{138,   24, 138,    8},
    request_row{142,   12, 142,    8}, request_row{143,    9, 143,    8}, request_row{144,    9, 144,    8},
    request_row{148,   12, 148,    8},
};
// clang-format on

constexpr const request_row* row_of(std::uint8_t type) {
    for (const request_row& row : requests) {
        if (row.type == type) return &row;
    }
    return nullptr;
}

}  // namespace fuzz::client
