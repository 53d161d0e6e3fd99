#include "ipc/reply.h"

#include <sys/time.h>

#include "core/paths.h"
#include "ipc/peer.h"
#include "platform/poe_ipc.h"

namespace {

constexpr suseconds_t longest_wait_us = 1000;

// A reply that a client's name led back to us is a request of ours, whose reply would come back too, and so on for
// ever.
bool is_our_own_name(const ipc_peer& peer) {
    return std::strncmp(peer.path, external_socket_path, sizeof peer.path) == 0;
}

bool can_be_answered(const ipc_peer& peer) {
    return has_path(peer) && !is_our_own_name(peer);
}

}  // namespace

int send_reply_bytes(int socket, const void* peer, const void* reply, int length) {
    if (peer == nullptr || !can_be_answered(record_from<ipc_peer>(peer))) return send_failed;
    timeval timeout{.tv_sec = 0, .tv_usec = longest_wait_us};
    return __poe_drv_ipc_send(socket, peer, reply, length, &timeout);
}

int send_acknowledgement(int socket, const void* peer, ipc_type type, std::uint8_t result) {
    auto reply = blank_reply<acknowledgement_message>(type);
    reply.envelope.result = result;
    return send_reply(socket, peer, reply);
}
