#include "kernel_refusals.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr std::size_t most_errors = 4;

struct ends {
    std::array<int, most_errors> errors;
    std::size_t count;
    std::size_t next;
};

// Calls are made before any constructor of this program has run.
constexpr std::size_t kernel_calls = 8;
constinit std::array<ends, kernel_calls> ends_of_calls{};
constinit std::array<std::atomic<int>, kernel_calls> calls{};
constinit std::optional<netlink_message> waiting_message;
constinit std::optional<std::size_t> most_of_next_read;

// Whether the call fails, with errno set.
bool is_refused(kernel_call call) {
    calls[static_cast<std::size_t>(call)]++;
    ends& planned = ends_of_calls[static_cast<std::size_t>(call)];
    if (planned.next >= planned.count) return false;
    const int error = planned.errors[planned.next++];
    if (error != 0) errno = error;
    return error != 0;
}

ssize_t deliver(const netlink_message& message, void* buffer, std::size_t capacity, sockaddr* sender) {
    struct {
        nlmsghdr header;
        union {
            ifinfomsg link;
            nlmsgerr failure;
        };
    } bytes{};
    bytes.header.nlmsg_len = sizeof bytes;
    bytes.header.nlmsg_type = message.type;
    bytes.header.nlmsg_seq = message.sequence;
    if (message.type == NLMSG_ERROR) {
        bytes.failure.error = message.error;
    } else {
        bytes.link.ifi_flags = message.flags;
    }
    const sockaddr_nl from{.nl_family = AF_NETLINK, .nl_pad = 0, .nl_pid = message.sender, .nl_groups = 0};
    const std::size_t length = std::min(capacity, sizeof bytes);
    std::memcpy(buffer, &bytes, length);
    std::memcpy(sender, &from, sizeof from);
    return static_cast<ssize_t>(length);
}

}  // namespace

void next_calls_end(kernel_call call, std::initializer_list<int> errors) {
    ends& planned = ends_of_calls[static_cast<std::size_t>(call)];
    planned = {};
    for (const int error : errors)
        planned.errors.at(planned.count++) = error;
}

void next_read_gives_at_most(std::size_t bytes) {
    most_of_next_read = bytes;
}

int calls_made(kernel_call call) {
    return calls[static_cast<std::size_t>(call)];
}

void next_message_is(const netlink_message& message) {
    waiting_message = message;
}

bool everything_was_handed_out() {
    const bool all =
        !waiting_message && !most_of_next_read &&
        std::ranges::all_of(ends_of_calls, [](const ends& planned) { return planned.next == planned.count; });
    waiting_message.reset();
    most_of_next_read.reset();
    ends_of_calls = {};
    return all;
}

extern "C" {

int bind(int descriptor, const sockaddr* name, socklen_t length) noexcept {
    return is_refused(kernel_call::bind) ? -1 : static_cast<int>(syscall(SYS_bind, descriptor, name, length));
}

int getsockopt(int descriptor, int level, int name, void* value, socklen_t* length) noexcept {
    if (is_refused(kernel_call::getsockopt)) return -1;
    return static_cast<int>(syscall(SYS_getsockopt, descriptor, level, name, value, length));
}

int lstat(const char* path, struct stat* found) noexcept {
    return is_refused(kernel_call::lstat) ? -1 : fstatat(AT_FDCWD, path, found, AT_SYMLINK_NOFOLLOW);
}

ssize_t read(int descriptor, void* buffer, std::size_t capacity) {
    if (is_refused(kernel_call::read)) return -1;
    const std::size_t most = std::min(capacity, most_of_next_read.value_or(capacity));
    most_of_next_read.reset();
    return syscall(SYS_read, descriptor, buffer, most);
}

ssize_t recvfrom(int descriptor, void* buffer, std::size_t capacity, int flags, sockaddr* sender, socklen_t* length) {
    if (is_refused(kernel_call::recvfrom)) return -1;
    if (!waiting_message) return syscall(SYS_recvfrom, descriptor, buffer, capacity, flags, sender, length);
    const netlink_message message = *waiting_message;
    waiting_message.reset();
    return deliver(message, buffer, capacity, sender);
}

ssize_t sendto(int descriptor, const void* data, std::size_t size, int flags, const sockaddr* to, socklen_t length) {
    return is_refused(kernel_call::sendto) ? -1 : syscall(SYS_sendto, descriptor, data, size, flags, to, length);
}

int socket(int domain, int type, int protocol) noexcept {
    return is_refused(kernel_call::socket) ? -1 : static_cast<int>(syscall(SYS_socket, domain, type, protocol));
}

int unlink(const char* path) noexcept {
    return is_refused(kernel_call::unlink) ? -1 : static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

}  // extern "C"
