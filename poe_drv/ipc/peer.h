// A client's address: what the receive delivers and a reply needs.
#pragma once

#include <cstddef>
#include <cstdint>

// A local-socket address as the kernel lays it out. A name of fewer than 108 bytes ends with a zero; a path that fills
// all 108 does not. A sender without a name has none of either; an abstract name begins with a zero.
struct ipc_peer {
    std::uint16_t family;  // 0
    char path[108];        // 2
};
static_assert(sizeof(ipc_peer) == 110 && offsetof(ipc_peer, path) == 2);

inline constexpr std::uint16_t local_address_family = 1;

// Can a datagram be sent to it? Not to a sender without a name, nor to one whose name is no path.
constexpr bool has_path(const ipc_peer& peer) {
    return peer.family == local_address_family && peer.path[0] != '\0';
}
