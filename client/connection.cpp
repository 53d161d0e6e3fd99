#include "poe_client/connection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "core/paths.h"

namespace poe_client {

namespace {

using steady = std::chrono::steady_clock;

struct descriptor {
    int number;
    explicit descriptor(int n) : number(n) {}
    ~descriptor() {
        if (number >= 0) close(number);
    }
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;
};

std::optional<sockaddr_un> address_of(const std::string& path) {
    sockaddr_un address{};
    if (path.empty() || path.size() >= sizeof address.sun_path) return std::nullopt;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

failure no_way_to_the_daemon(int why) {
    const bool forbidden = why == EACCES || why == EPERM;
    return {forbidden ? failure_kind::not_permitted : failure_kind::no_daemon, why};
}

// Waits for `events` until `deadline`. False when the time is up.
bool ready(int socket, short events, steady::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady::now()).count();
        pollfd watched{.fd = socket, .events = events, .revents = 0};
        const int count = poll(&watched, 1, static_cast<int>(std::clamp<std::int64_t>(left, 0, 1'000'000'000)));
        if (count > 0) return true;
        if (count == 0 && left <= 0) return false;
        if (count < 0 && errno != EINTR) return false;
    }
}

failure send_request(int socket, received_bytes request, steady::time_point deadline) {
    for (;;) {
        if (send(socket, request.data(), request.size(), MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) return {};
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS) return no_way_to_the_daemon(errno);
        if (!ready(socket, POLLOUT, deadline)) return {failure_kind::timeout};  // the daemon's queue stays full
    }
}

failure failure_of(verdict said) {
    switch (said) {
        case verdict::accepted:
            return {};
        case verdict::refused:
            return {failure_kind::refused};
        default:
            return {failure_kind::malformed};
    }
}

failure take_answer(int socket, const std::function<verdict(received_bytes)>& judge, steady::time_point deadline) {
    std::array<std::uint8_t, longest_message + 1> bytes;  // one more than any reply, to tell a longer one
    while (ready(socket, POLLIN, deadline)) {
        const ssize_t length = recv(socket, bytes.data(), bytes.size(), MSG_DONTWAIT);
        const verdict said =
            length < 0 ? verdict::foreign : judge(received_bytes(bytes.data(), static_cast<std::size_t>(length)));
        if (said != verdict::foreign) return failure_of(said);
        if (steady::now() >= deadline) break;  // a stream of foreign replies does not keep us here
    }
    return {failure_kind::timeout};
}

}  // namespace

std::string daemon_socket_path(const std::string& wanted) {
    if (!wanted.empty()) return wanted;
    const char* named = std::getenv(socket_path_variable);
    return named != nullptr && *named != '\0' ? named : external_socket_path;
}

failure connection::ask(received_bytes request, int attempts, const std::function<verdict(received_bytes)>& judge) {
    failure last{failure_kind::timeout};
    for (int attempt = 0; attempt < attempts && last.kind == failure_kind::timeout; attempt++) {
        last = ask_once(request, judge);
    }
    return last;
}

failure connection::ask_once(received_bytes request, const std::function<verdict(received_bytes)>& judge) {
    const auto deadline = steady::now() + timeout_;
    const auto daemon = address_of(socket_path_);
    if (!daemon) return {failure_kind::no_daemon, ENAMETOOLONG};
    const descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket.number < 0) return {failure_kind::own_socket, errno};
    // Connected before it has a name: nobody but the daemon ever gets a datagram in.
    if (connect(socket.number, generic(*daemon), sizeof *daemon) != 0) return no_way_to_the_daemon(errno);

    const auto name = address_of(folder_.new_socket_name(socket_path_));
    if (!name) return {failure_kind::own_socket, errno};
    if (bind(socket.number, generic(*name), sizeof *name) != 0) return {failure_kind::own_socket, errno};
    failure outcome = send_request(socket.number, request, deadline);
    if (outcome.kind == failure_kind::none) outcome = take_answer(socket.number, judge, deadline);
    folder_.remove_socket();
    return outcome;
}

}  // namespace poe_client
