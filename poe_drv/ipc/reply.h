// One reply to one request. Main thread only; no lock is held while sending.
#pragma once

#include <cstring>

#include "ipc/protocol.h"

// A reply of one message's layout: all zeros but for the type byte.
template <typename message>
message blank_reply(std::uint8_t type) {
    message reply;
    std::memset(&reply, 0, sizeof reply);
    reply.envelope.type = type;
    return reply;
}

template <typename message>
message blank_reply(ipc_type type) {
    return blank_reply<message>(static_cast<std::uint8_t>(type));
}

// The reply to a request that changes something: the envelope alone.
struct acknowledgement_message {
    ipc_envelope envelope;  // 0
};
static_assert(wire_record<acknowledgement_message, 8>);

inline constexpr int send_failed = -1;

// Sends `length` bytes to the sender of a request, waiting at most 1 ms for room. Returns the send's result; -1 means
// that the reply is lost, which it also is when the sender has no name, one that is not a path, or the daemon's own.
int send_reply_bytes(int socket, const void* peer, const void* reply, int length);

template <typename message>
int send_reply(int socket, const void* peer, const message& reply) {
    return send_reply_bytes(socket, peer, &reply, static_cast<int>(sizeof reply));
}

int send_acknowledgement(int socket, const void* peer, ipc_type type, std::uint8_t result);
