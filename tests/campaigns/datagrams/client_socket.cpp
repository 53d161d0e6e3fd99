#include "datagrams/client_socket.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace campaign {
namespace {

constexpr timeval patience{.tv_sec = 60, .tv_usec = 0};
constexpr std::size_t most_replies = 64;

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) give_up("too long for a socket's name: " + path);
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    return address;
}

}  // namespace

void give_up(const std::string& why) {
    std::fprintf(stderr, "%s: %s\n", why.c_str(), std::strerror(errno));
    std::_Exit(EXIT_FAILURE);
}

client_socket::client_socket(const std::string& daemon_path, const std::string& own_path, naming how)
    : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)), daemon_(address_of(daemon_path)) {
    if (socket_ < 0) give_up("socket");
    if (setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) != 0 ||
        setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience) != 0) {
        give_up("setsockopt");
    }
    if (how == naming::nameless) return;
    path_ = own_path;
    const sockaddr_un own = address_of(own_path);
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) give_up("bind " + own_path);
}

client_socket::~client_socket() {
    close(socket_);
    if (!path_.empty()) unlink(path_.c_str());
}

bool client_socket::send(std::span<const std::uint8_t> datagram) const {
    for (;;) {
        const ssize_t sent = sendto(socket_, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                                    reinterpret_cast<const sockaddr*>(&daemon_), sizeof daemon_);
        if (sent >= 0) return true;
        if (errno != EINTR) return false;
    }
}

long client_socket::receive(std::span<std::uint8_t> buffer) const {
    for (;;) {
        const ssize_t got = recv(socket_, buffer.data(), buffer.size(), MSG_TRUNC);
        if (got >= 0 || errno != EINTR) return got;
    }
}

long client_socket::receive_what_is_there(std::span<std::uint8_t> buffer) const {
    return recv(socket_, buffer.data(), buffer.size(), MSG_TRUNC | MSG_DONTWAIT);
}

std::size_t replies_that_fit() {
    std::ifstream limit("/proc/sys/net/unix/max_dgram_qlen");
    std::size_t count = 0;
    if (!(limit >> count) || count == 0) give_up("/proc/sys/net/unix/max_dgram_qlen");
    return std::min(count, most_replies);
}

}  // namespace campaign
