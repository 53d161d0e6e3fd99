#include "poe_client/exchange.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "ipc/protocol.h"

namespace poe_client {

namespace {

using steady = std::chrono::steady_clock;

constexpr std::chrono::milliseconds longest_timeout = std::chrono::hours(24);  // far from the end of the clock
constexpr int most_foreign_replies_a_step = 16;                                // a stream of them does not keep us here

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

// 0, or why the socket has no name.
int name_socket(int socket, const std::string& path) {
    const auto name = address_of(path);
    if (!name) return errno != 0 ? errno : ENAMETOOLONG;
    return bind(socket, generic(*name), sizeof *name) == 0 ? 0 : errno;
}

}  // namespace

failure exchange::begin(const std::string& daemon_socket, datagram request, int attempts,
                        std::chrono::milliseconds timeout, judgement judge) {
    cancel();
    daemon_socket_ = daemon_socket;
    request_ = std::move(request);
    judge_ = std::move(judge);
    timeout_ = std::clamp(timeout, std::chrono::milliseconds(0), longest_timeout);
    attempts_left_ = attempts;
    return begin_attempt();
}

failure exchange::begin_attempt() {
    attempts_left_--;
    deadline_ = steady::now() + timeout_;
    sent_ = false;
    failure outcome = open_socket();
    if (outcome.kind == failure_kind::none) outcome = send_request();
    if (outcome.kind != failure_kind::none) cancel();
    return outcome;
}

failure exchange::open_socket() {
    const auto daemon = address_of(daemon_socket_);
    if (!daemon) return {failure_kind::no_daemon, ENAMETOOLONG};
    socket_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket_ < 0) return {failure_kind::own_socket, errno};
    // Connected before it has a name: nobody but the daemon ever gets a datagram in.
    if (connect(socket_, generic(*daemon), sizeof *daemon) != 0) return no_way_to_the_daemon(errno);
    int why = name_socket(socket_, folder_.new_socket_name(daemon_socket_));
    if (why == ENOENT && !folder_.path().empty()) {  // somebody tidied up where our folder was
        folder_.remove();
        why = name_socket(socket_, folder_.new_socket_name(daemon_socket_));
    }
    return why == 0 ? failure{} : failure{failure_kind::own_socket, why};
}

failure exchange::send_request() {
    while (send(socket_, request_.data(), request_.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) return {};  // the daemon's queue is full
        return no_way_to_the_daemon(errno);
    }
    sent_ = true;
    return {};
}

std::optional<failure> exchange::take_answer() {
    std::array<std::uint8_t, longest_message + 1> bytes;  // one more than any reply, to tell a longer one
    for (int foreign = 0; foreign < most_foreign_replies_a_step; foreign++) {
        const ssize_t length = recv(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (length < 0 && errno != EINTR) break;
        const verdict said =
            length < 0 ? verdict::foreign : judge_(received_bytes(bytes.data(), static_cast<std::size_t>(length)));
        if (said != verdict::foreign) return failure_of(said);
    }
    return std::nullopt;
}

std::optional<failure> exchange::step() {
    if (!sent_) {
        const failure outcome = send_request();
        if (outcome.kind != failure_kind::none) {
            cancel();
            return outcome;
        }
    }
    if (const auto outcome = take_answer()) {
        cancel();
        return outcome;
    }
    if (steady::now() < deadline_) return std::nullopt;
    cancel();
    if (attempts_left_ <= 0) return failure{failure_kind::timeout};
    const failure outcome = begin_attempt();
    return outcome.kind == failure_kind::none ? std::nullopt : std::optional(outcome);
}

void exchange::cancel() {
    if (socket_ < 0) return;
    close(std::exchange(socket_, -1));
    folder_.remove_socket();
}

short exchange::events() const {
    return sent_ ? POLLIN : POLLOUT;
}

}  // namespace poe_client
