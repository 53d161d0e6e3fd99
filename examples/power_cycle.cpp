// Power-cycles a port and waits until it is on again, in a loop that has other work, too: here, Ctrl-D ends it.
//   power_cycle 2      the port with number 2 on the panel
#include <poe_client/requests.h>

#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

using namespace poe_client;

namespace {

constexpr int look_again_ms = 200;

int complain(const char* what, const failure& why) {
    std::fprintf(stderr, "power_cycle: %s failed: %s\n", what, failure_text(why.kind).data());
    if (why.system_error != 0) std::fprintf(stderr, "power_cycle: %s\n", std::strerror(why.system_error));
    return EXIT_FAILURE;
}

}  // namespace

int main(int count, char** arguments) {
    const int panel_number = count == 2 ? std::atoi(arguments[1]) : 0;
    if (panel_number < 1 || panel_number > static_cast<int>(port_count)) {
        std::fprintf(stderr, "usage: power_cycle PORT   (1 to 4)\n");
        return EXIT_FAILURE;
    }
    const auto port = static_cast<std::size_t>(panel_number - 1);

    remove_own_names_on_signals();
    connection daemon;
    const auto before = get_power_cycles(daemon);
    if (!before.ok()) return complain("asking", before.error);
    const failure asked = power_cycle(daemon, bit_of_port(port));
    if (asked.kind != failure_kind::none) return complain("power-cycling", asked);
    std::printf("port %d: accepted\n", panel_number);

    // Accepted is not done: ask until the daemon has begun this power-cycle and ended it.
    std::optional<pending<power_cycles>> question;
    for (;;) {
        pollfd watched[]{{daemon.descriptor(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
        const bool nothing_happened = poll(watched, 2, question ? -1 : look_again_ms) == 0;
        char typed = 0;
        if (watched[1].revents != 0 && read(STDIN_FILENO, &typed, 1) <= 0) return EXIT_FAILURE;
        if (!question && nothing_happened) question = begin_get_power_cycles(daemon);
        if (!question) continue;
        const auto answer = question->take();
        if (!answer) continue;
        if (!answer->ok()) return complain("asking", answer->error);
        question.reset();
        const power_cycle_state& now = answer->value.port[port];
        if (now.tick != before.value.port[port].tick && !now.pending) break;
    }
    std::printf("port %d: on again\n", panel_number);
    return EXIT_SUCCESS;
}
