// The load program for servers that answer on a stream, one request after the other:
//   stream_round_trips unix:PATH|tcp:PORT REQUEST REPLY_LENGTH COUNT
// A line end is added to the request. Prints one JSON object.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>

#include "clock.h"
#include "load/datagrams.h"
#include "load/percentiles.h"

namespace {

const std::string unix_prefix = "unix:";
const std::string tcp_prefix = "tcp:";

int connected_to_path(const std::string& path) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un server = address_of(path);
    if (connect(descriptor, generic(server), sizeof server) != 0) give_up(path.c_str());
    return descriptor;
}

int connected_to_port(unsigned long port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(static_cast<std::uint16_t>(port));
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) give_up("connect");
    const int at_once = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof at_once);
    return descriptor;
}

int connected_to(const std::string& server) {
    if (server.starts_with(unix_prefix)) return connected_to_path(server.substr(unix_prefix.size()));
    return connected_to_port(std::strtoul(server.c_str() + tcp_prefix.size(), nullptr, 10));
}

}  // namespace

int main(int count_of_words, char** words) {
    if (count_of_words != 5) {
        std::fprintf(stderr, "usage: stream_round_trips unix:PATH|tcp:PORT REQUEST REPLY_LENGTH COUNT\n");
        return 2;
    }
    const int server = connected_to(words[1]);
    const std::string request = std::string(words[2]) + "\r\n";
    std::vector<char> reply(std::strtoul(words[3], nullptr, 10));
    const std::size_t count = std::strtoul(words[4], nullptr, 10);
    std::vector<std::int64_t> taken_ns;
    taken_ns.reserve(count);
    const std::int64_t all_began_ns = monotonic_ns();
    while (taken_ns.size() < count) {
        const std::int64_t began_ns = monotonic_ns();
        if (send(server, request.data(), request.size(), MSG_NOSIGNAL) < 0) give_up("send");
        if (recv(server, reply.data(), reply.size(), MSG_WAITALL) != static_cast<ssize_t>(reply.size())) {
            give_up("receive");
        }
        taken_ns.push_back(monotonic_ns() - began_ns);
    }
    print_latencies(taken_ns, monotonic_ns() - all_began_ns);
}
