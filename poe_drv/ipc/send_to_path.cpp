#include "ipc/send_to_path.h"

#include <cstring>

#include "ipc/peer.h"
#include "ipc/reply.h"
#include "platform/poe_ipc.h"

int poe_drv_ipc_send_to_path(int socket, const char* path, const void* data, int length, timeval* timeout) {
    ipc_peer peer{};
    const std::size_t path_length = std::strlen(path);
    if (path_length > sizeof peer.path) return send_failed;
    peer.family = local_address_family;
    std::memcpy(peer.path, path, path_length);
    if (!has_path(peer)) return send_failed;
    return __poe_drv_ipc_send(socket, &peer, data, length, timeout);
}
