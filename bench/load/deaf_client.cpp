// A client that asks and never reads: deaf_client SERVER OWN_NAME EVERY_US
// Asks until its queue of replies is full, says so with a line, and then once in EVERY_US, until it is killed.
#include <ctime>
#include <string>

#include "load/datagrams.h"

namespace {

constexpr int more_than_a_queue_holds = 16;  // net.unix.max_dgram_qlen is 10
constexpr long between_first_requests_us = 3000;
constexpr long us_per_s = 1000000;
constexpr long ns_per_us = 1000;
constexpr unsigned char request[8] = {};

void pause_us(long microseconds) {
    const timespec span{.tv_sec = microseconds / us_per_s, .tv_nsec = microseconds % us_per_s * ns_per_us};
    nanosleep(&span, nullptr);
}

}  // namespace

int main(int count_of_words, char** words) {
    if (count_of_words != 4) {
        std::fprintf(stderr, "usage: deaf_client SERVER OWN_NAME EVERY_US\n");
        return 2;
    }
    const sockaddr_un server = address_of(words[1]);
    const int descriptor = socket_named(words[2]);
    const long every_us = std::strtol(words[3], nullptr, 10);
    for (int sent = 0;; sent++) {
        sendto(descriptor, request, sizeof request, MSG_DONTWAIT, generic(server), sizeof server);
        if (sent == more_than_a_queue_holds) {
            std::puts("full");
            std::fflush(stdout);
        }
        pause_us(sent < more_than_a_queue_holds ? between_first_requests_us : every_us);
    }
}
