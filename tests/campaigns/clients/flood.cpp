// As many datagrams as the daemon takes, from a client that never reads and one without a name, until standard input
// ends and so many were sent. Started by `run`.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <unistd.h>

#include "datagrams/client_socket.h"
#include "datagrams/generator.h"

namespace {

using namespace campaign;

// What changes nothing: a flood of changes would be applied, one after the other, instead of polling.
bytes harmless(random_stream& random) {
    for (;;) {
        bytes datagram = anything(random);
        const expectation expected = expected_of(datagram);
        const bool is_query = expected.row == nullptr || expected.row->type <= 18;
        if (is_query || expected.what != outcome::reply) return datagram;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: flood DAEMON-SOCKET FOLDER SEED DATAGRAMS\n");
        return 2;
    }
    const std::size_t wanted = std::strtoull(argv[4], nullptr, 10);
    std::atomic<bool> is_over{false};
    std::atomic<std::size_t> sent{0};
    std::atomic<bool> is_refused{false};
    const auto pour = [&](naming how, std::uint64_t number) {
        const client_socket client(argv[1], std::string(argv[2]) + "/flood", how);
        random_stream random = stream_of(std::strtoull(argv[3], nullptr, 10), number);
        while (!is_over.load() || sent.load() < wanted) {
            if (!client.send(harmless(random))) {
                is_refused.store(true);
                return;
            }
            sent++;
        }
    };
    std::thread deaf(pour, naming::named, 1);
    std::thread nameless(pour, naming::nameless, 2);
    char nothing = 0;
    while (read(STDIN_FILENO, &nothing, 1) > 0) {
    }
    is_over.store(true);
    deaf.join();
    nameless.join();
    std::printf("{\"sent\": %zu, \"refused\": %s}\n", sent.load(), is_refused.load() ? "true" : "false");
    return is_refused.load() ? 1 : 0;
}
