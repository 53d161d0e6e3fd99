#include "ipc/reception.h"

#include <algorithm>
#include <cstring>

#include <sys/select.h>
#include <sys/socket.h>

#include "ipc/peer.h"

namespace {

constexpr int received = 0;
constexpr int timed_out = -1;
constexpr int wait_failed = -2;
constexpr int receive_failed = -3;

int wait_until_readable(int socket, timeval* timeout) {
    // A descriptor outside the set's range cannot be waited for; putting it in would write past the set.
    if (socket < 0 || socket >= FD_SETSIZE) return wait_failed;
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(socket, &readable);
    const int ready = select(socket + 1, &readable, nullptr, nullptr, timeout);
    if (ready < 0) return wait_failed;
    return ready == 0 ? timed_out : received;
}

}  // namespace

int poe_drv_ipc_recv(int socket, void* peer_out, void* buffer, int* length, timeval* timeout) {
    const int waited = wait_until_readable(socket, timeout);
    if (waited != received) return waited;

    if (peer_out != nullptr) std::memset(peer_out, 0, sizeof(ipc_peer));
    ipc_peer address{};
    socklen_t address_length = sizeof address;
    const auto capacity = static_cast<std::size_t>(std::max(*length, 0));
    const ssize_t count = recvfrom(socket, buffer, capacity, 0, reinterpret_cast<sockaddr*>(&address), &address_length);
    if (count <= 0) return receive_failed;

    *length = static_cast<int>(count);
    if (peer_out != nullptr) {
        // For a name that fills the path the kernel reports one byte more than the address holds.
        std::memcpy(peer_out, &address, std::min<std::size_t>(address_length, sizeof address));
    }
    return received;
}
