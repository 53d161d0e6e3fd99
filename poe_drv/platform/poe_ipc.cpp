#include "platform/poe_ipc.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr std::size_t longest_name = sizeof sockaddr_un{}.sun_path;
constexpr std::size_t path_offset = offsetof(sockaddr_un, sun_path);
static_assert(longest_name == 108 && path_offset == 2);

// A file created under this mask is readable and writable by its owner and group only.
constexpr mode_t owner_and_group_only = 0117;

// What unread replies are charged to: room for 400 clients that ask and never read.
constexpr int send_buffer_size = 8 * 1024 * 1024;

constexpr std::int64_t ns_per_second = 1000000000;
constexpr std::int64_t ns_per_us = 1000;
constexpr std::int64_t retry_step_ns = 100 * ns_per_us;
constexpr std::int64_t longest_timeout_s = 1000000000;  // keeps the arithmetic within 64 bits

// Two daemons that start in the same moment look at a stale name one after the other; one that cannot have its turn
// within a fifth of a second, because somebody else holds the folder, goes on without.
constexpr int folder_lock_attempts = 20;
constexpr std::int64_t folder_lock_step_ns = 10000 * ns_per_us;

struct local_address {
    sockaddr_un name;
    socklen_t length;
};

// A path's zero belongs to the address unless all 108 bytes are used.
socklen_t address_length(std::size_t path_length) {
    return static_cast<socklen_t>(path_offset + path_length + (path_length < longest_name ? 1 : 0));
}

// The address of `path`, which has 1 to 108 bytes.
local_address address_of(const char* path, std::size_t path_length) {
    local_address address{};
    address.name.sun_family = AF_UNIX;
    std::memcpy(address.name.sun_path, path, path_length);
    address.length = address_length(path_length);
    return address;
}

const sockaddr* generic(const local_address& address) {
    return reinterpret_cast<const sockaddr*>(&address.name);
}

// Who a datagram goes to, where the caller has it.
struct destination {
    const sockaddr* name;
    socklen_t length;
};

void pause_ns(std::int64_t nanoseconds) {
    const timespec span{.tv_sec = static_cast<time_t>(nanoseconds / ns_per_second),
                        .tv_nsec = static_cast<long>(nanoseconds % ns_per_second)};
    nanosleep(&span, nullptr);
}

// Takes the advisory lock of the folder that `path` is in; closing the descriptor gives it back. -1 without the lock.
int lock_folder_of(const char* path, std::size_t path_length) {
    char folder[longest_name + 1] = ".";
    for (std::size_t i = path_length; i > 0; i--) {
        if (path[i - 1] != '/') continue;
        std::memcpy(folder, path, i);
        folder[i] = '\0';
        break;
    }
    const int descriptor = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return -1;
    for (int attempt = 0; attempt < folder_lock_attempts; attempt++) {
        if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
        pause_ns(folder_lock_step_ns);
    }
    close(descriptor);
    return -1;
}

int bind_for_owner_and_group(int descriptor, const local_address& address) {
    const mode_t previous = umask(owner_and_group_only);
    const int result = bind(descriptor, generic(address), address.length);
    const int error = errno;
    umask(previous);
    errno = error;
    return result;
}

// Whether the name is that of a socket nobody answers on any more.
bool is_stale(const local_address& address) {
    char path[longest_name + 1]{};
    std::memcpy(path, address.name.sun_path, longest_name);
    struct stat found {};
    if (lstat(path, &found) != 0 || !S_ISSOCK(found.st_mode)) return false;
    const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (probe < 0) return false;
    const bool refused = connect(probe, generic(address), address.length) != 0 && errno == ECONNREFUSED;
    close(probe);
    return refused;
}

bool take_name(int descriptor, const local_address& address) {
    if (bind_for_owner_and_group(descriptor, address) == 0) return true;
    if (errno != EADDRINUSE || !is_stale(address)) return false;
    char path[longest_name + 1]{};
    std::memcpy(path, address.name.sun_path, longest_name);
    return unlink(path) == 0 && bind_for_owner_and_group(descriptor, address) == 0;
}

// Beyond the system's limit where the process is allowed to, up to it otherwise.
void enlarge_send_buffer(int descriptor) {
    const int size = send_buffer_size;
    if (setsockopt(descriptor, SOL_SOCKET, SO_SNDBUFFORCE, &size, sizeof size) != 0) {
        setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    }
}

std::int64_t monotonic_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * ns_per_second + now.tv_nsec;
}

std::int64_t nanoseconds_of(const timeval& span) {
    if (span.tv_sec < 0 || span.tv_usec < 0) return 0;
    if (span.tv_sec >= longest_timeout_s) return longest_timeout_s * ns_per_second;
    return static_cast<std::int64_t>(span.tv_sec) * ns_per_second + static_cast<std::int64_t>(span.tv_usec) * ns_per_us;
}

// How full a send buffer is costs two system calls to ask. So it is asked only when what was sent since the last time
// may have filled half of it, or when it was another socket's that was asked for.
int last_asked_socket = -1;
std::int64_t bytes_until_asked = 0;

// The kernel charges a datagram's length and its own bookkeeping, rounded up to a power of two: never more than this.
constexpr std::int64_t largest_bookkeeping = 4096;
constexpr std::int64_t largest_charge(int length) {
    return 2 * std::int64_t{length} + largest_bookkeeping;
}

bool is_surely_less_than_half_full(int descriptor, int length) {
    const std::int64_t charge = largest_charge(length);
    if (last_asked_socket != descriptor || bytes_until_asked < charge) return false;
    bytes_until_asked -= charge;
    return true;
}

// Where it cannot be asked nothing counts as unread, so that no reply is held back for it; the next send asks again.
bool is_more_than_half_full(int descriptor, int length) {
    if (is_surely_less_than_half_full(descriptor, length)) return false;
    int unread = 0;
    int size = 0;
    socklen_t size_length = sizeof size;
    if (ioctl(descriptor, SIOCOUTQ, &unread) != 0) return false;
    if (getsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &size, &size_length) != 0) return false;
    bytes_until_asked = size / 2 - unread;
    last_asked_socket = descriptor;
    return unread > size / 2;
}

// Only the one that a datagram socket is connected to may send to it.
bool is_connected(const destination& client) {
    const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool refused = connect(probe, client.name, client.length) != 0 && errno == EPERM;
    close(probe);
    return refused;
}

// The kernel holds as many unread datagrams as the buffer has room for on behalf of a client that connected its socket
// to ours, and a few on behalf of any other. So connected clients share one half of the buffer, and the other half is
// kept.
bool is_kept_for_others(int descriptor, const destination& client, int length) {
    return is_more_than_half_full(descriptor, length) && is_connected(client);
}

bool may_pass_later(int error) {
    return error == EAGAIN || error == ENOBUFS || error == EINTR;
}

}  // namespace

int __poe_drv_ipc_socket_and_bind_init(int* socket_out, const char* path) {
    const std::size_t path_length = path == nullptr ? 0 : strnlen(path, longest_name + 1);
    if (path_length == 0 || path_length > longest_name) return -1;
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return -1;
    const int folder = lock_folder_of(path, path_length);
    const bool bound = take_name(descriptor, address_of(path, path_length));
    if (folder >= 0) close(folder);
    if (!bound) {
        close(descriptor);
        return -1;
    }
    enlarge_send_buffer(descriptor);
    last_asked_socket = -1;  // a closed socket's number may come again
    *socket_out = descriptor;
    return 0;
}

int __poe_drv_ipc_send(int socket, const void* peer, const void* data, int length, struct timeval* timeout) {
    if (peer == nullptr || length < 0) return -1;
    sa_family_t family = AF_UNSPEC;
    std::memcpy(&family, peer, sizeof family);
    if (family != AF_UNIX) return -1;
    const char* path = static_cast<const char*>(peer) + path_offset;
    const std::size_t path_length = strnlen(path, longest_name);
    if (path_length == 0) return -1;  // unnamed, or named outside the file system
    const destination client{.name = static_cast<const sockaddr*>(peer), .length = address_length(path_length)};
    if (is_kept_for_others(socket, client, length)) return -1;

    std::int64_t deadline_ns = 0;
    for (bool first = true;; first = false) {
        const ssize_t sent = sendto(socket, data, static_cast<std::size_t>(length), MSG_DONTWAIT | MSG_NOSIGNAL,
                                    client.name, client.length);
        if (sent >= 0) return static_cast<int>(sent);
        if (timeout == nullptr || !may_pass_later(errno)) return -1;
        const std::int64_t now_ns = monotonic_ns();
        if (first) deadline_ns = now_ns + nanoseconds_of(*timeout);
        if (now_ns >= deadline_ns) return -1;
        const std::int64_t left_ns = deadline_ns - now_ns;
        pause_ns(left_ns < retry_step_ns ? left_ns : retry_step_ns);
    }
}
