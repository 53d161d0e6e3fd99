// A client that measures: requests of one type to a datagram server, and how long each was on its way.
//   round_trips SERVER OWN_NAME TYPE LENGTH COUNT IN_FLIGHT CLIENTS
// CLIENTS sockets take turns, each with IN_FLIGHT requests that are not answered yet. Prints one JSON object.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <poll.h>
#include <unistd.h>

#include "clock.h"
#include "load/datagrams.h"
#include "load/percentiles.h"

namespace {

constexpr std::size_t longest_message = 2352;
constexpr int words_needed = 8;
constexpr int longest_wait_ms = 5000;  // a server that has not answered by then has lost the request

// Requests are answered in the order of their sending, so the moments of sending form a ring.
struct client {
    int socket;
    std::string name;
    std::vector<std::int64_t> sent_ns;
    std::size_t oldest = 0;
    std::size_t in_flight = 0;
};

client client_named(const std::string& name, std::size_t in_flight) {
    return {.socket = socket_named(name), .name = name, .sent_ns = std::vector<std::int64_t>(in_flight)};
}

void send_one(client& one, const sockaddr_un& server, const std::vector<unsigned char>& request) {
    one.sent_ns[(one.oldest + one.in_flight) % one.sent_ns.size()] = monotonic_ns();
    one.in_flight++;
    if (sendto(one.socket, request.data(), request.size(), 0, generic(server), sizeof server) < 0) {
        give_up("send");
    }
}

std::int64_t receive_one(client& one) {
    unsigned char reply[longest_message];
    if (recv(one.socket, reply, sizeof reply, 0) <= 0) give_up("receive");
    const std::int64_t taken_ns = monotonic_ns() - one.sent_ns[one.oldest];
    one.oldest = (one.oldest + 1) % one.sent_ns.size();
    one.in_flight--;
    return taken_ns;
}

void wait_for_the_first(const client& one) {
    pollfd waited{.fd = one.socket, .events = POLLIN, .revents = 0};
    if (poll(&waited, 1, longest_wait_ms) != 1) give_up("no answer");
}

}  // namespace

int main(int count_of_words, char** words) {
    if (count_of_words != words_needed) {
        std::fprintf(stderr, "usage: round_trips SERVER OWN_NAME TYPE LENGTH COUNT IN_FLIGHT CLIENTS\n");
        return 2;
    }
    const sockaddr_un server = address_of(words[1]);
    std::vector<unsigned char> request(std::strtoul(words[4], nullptr, 10));
    request.at(0) = static_cast<unsigned char>(std::strtoul(words[3], nullptr, 10));
    const std::size_t count = std::strtoul(words[5], nullptr, 10);
    const std::size_t in_flight = std::strtoul(words[6], nullptr, 10);
    std::vector<client> clients;
    for (std::size_t i = 0; i < std::strtoul(words[7], nullptr, 10); i++)
        clients.push_back(client_named(std::string(words[2]) + "." + std::to_string(i), in_flight));

    std::vector<std::int64_t> taken_ns;
    taken_ns.reserve(count);
    std::size_t sent = 0;
    const std::int64_t began_ns = monotonic_ns();
    for (std::size_t each = 0; each < in_flight; each++) {
        for (client& one : clients) {
            if (sent == count) break;
            send_one(one, server, request);
            sent++;
        }
    }
    wait_for_the_first(clients.front());
    while (taken_ns.size() < count) {
        for (client& one : clients) {
            if (one.in_flight == 0) continue;
            taken_ns.push_back(receive_one(one));
            if (sent == count) continue;
            send_one(one, server, request);
            sent++;
        }
    }
    const std::int64_t whole_ns = monotonic_ns() - began_ns;
    for (const client& one : clients)
        unlink(one.name.c_str());
    print_latencies(taken_ns, whole_ns);
}
