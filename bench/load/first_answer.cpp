// Asks a server that may not be there yet until it answers, and tells when that was: first_answer SERVER CLIENT
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "clock.h"
#include "load/datagrams.h"

int main(int count, char** words) {
    if (count != 3) return EXIT_FAILURE;
    const int descriptor = socket_named(words[2]);
    const sockaddr_un server = address_of(words[1]);

    constexpr timespec moment{.tv_sec = 0, .tv_nsec = 20000};
    const unsigned char request[8]{};
    while (sendto(descriptor, request, sizeof request, 0, generic(server), sizeof server) < 0) {
        nanosleep(&moment, nullptr);
    }
    unsigned char reply[64];
    if (recv(descriptor, reply, sizeof reply, 0) <= 0) return EXIT_FAILURE;
    std::printf("{\"answered_ns\": %lld}\n", static_cast<long long>(monotonic_ns()));
    return EXIT_SUCCESS;
}
