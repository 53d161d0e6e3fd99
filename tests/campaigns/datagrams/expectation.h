// What a client must get for a datagram, worked out from the bytes alone: a second table, written from the page on the
// client protocol and not from the daemon's code.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace campaign {

using bytes = std::vector<std::uint8_t>;

inline constexpr std::size_t ports = 4;
inline constexpr std::size_t longest_message = 2352;
inline constexpr std::size_t envelope = 8;

enum class outcome : std::uint8_t { silence, reply, rejection };

struct message_row {
    std::uint8_t type;
    std::size_t request;  // its length; 0 = any
    std::uint8_t reply_type;
    std::size_t reply;
    const char* size_error;  // said on standard error for any other length
    bool is_queued;          // applied later, when accepted
};

struct expectation {
    outcome what = outcome::silence;
    const message_row* row = nullptr;  // of a known type
    bool is_size_error = false;
    std::uint32_t port = 0;  // that the reply must echo, when one port was asked for
};

// Every message of the protocol.
std::span<const message_row> messages();

expectation expected_of(std::span<const std::uint8_t> datagram);

inline bool asks_for_one_port(std::uint8_t type) {
    return type == 1 || type == 6 || type == 17;
}

}  // namespace campaign
