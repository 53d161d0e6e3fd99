// Asks a server that may not be there yet until it answers, and tells when that was: first_answer SERVER CLIENT
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "floor/datagram_server.h"
#include "load/clock.h"

int main(int count, char** words) {
    if (count != 3) return EXIT_FAILURE;
    const int descriptor = socket_named(words[2]);
    sockaddr_un server{};
    server.sun_family = AF_UNIX;
    std::strncpy(server.sun_path, words[1], sizeof server.sun_path - 1);

    constexpr timespec moment{.tv_sec = 0, .tv_nsec = 20000};
    const unsigned char request[8]{};
    while (sendto(descriptor, request, sizeof request, 0, reinterpret_cast<const sockaddr*>(&server), sizeof server) <
           0) {
        nanosleep(&moment, nullptr);
    }
    unsigned char reply[64];
    if (recv(descriptor, reply, sizeof reply, 0) <= 0) return EXIT_FAILURE;
    std::printf("{\"answered_ns\": %lld}\n", static_cast<long long>(monotonic_ns()));
    return EXIT_SUCCESS;
}
