// Is a reply the one that is owed? Its type, length, result and port, then whether its content can be true: values
// within their ranges, sums that add up within one reply, counts that never run backwards from one reply to the next.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "datagrams/expectation.h"

namespace campaign {

// What one client has seen so far.
struct client_memory {
    std::array<std::uint64_t, 9> counts{};
    std::uint32_t deepest_queue = 0;
    std::uint32_t tick = 0;
    std::array<std::uint32_t, ports> limits{};  // of the ports that were asked for one by one
    std::uint16_t bank_mark = 0;                // the second number of the last power bank
};

// Empty when nothing is wrong.
std::string what_is_wrong(const expectation& expected, std::span<const std::uint8_t> reply, client_memory& memory);

}  // namespace campaign
