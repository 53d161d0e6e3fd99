// How a datagram that was received is judged as an answer to one request.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace poe_client {

using datagram = std::vector<std::uint8_t>;
using received_bytes = std::span<const std::uint8_t>;

enum class verdict {
    accepted,
    refused,    // the answer to this request, with the result byte 1
    foreign,    // no answer to this request: another type, length or port
    malformed,  // the answer to this request by type and length, with contents that no daemon sends
};

// Keeps the answer, too, when it is accepted.
using judgement = std::function<verdict(received_bytes)>;

}  // namespace poe_client
