#include "command/client.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>

#include "command/exit_status.h"
#include "command/registry.h"
#include "control.h"
#include "sockets.h"

namespace vswitch {

std::filesystem::path find_control(const std::string& named, std::string& problem) {
    if (!named.empty()) return named;
    const char* variable = std::getenv("VSWITCH_CONTROL");
    if (variable != nullptr && *variable != '\0') return variable;
    const std::vector<std::filesystem::path> running = running_switches(registry_folder());
    if (running.size() == 1) return running.front();
    if (running.empty()) {
        problem = "no virtual switch runs; start one with: vswitch run";
    } else {
        problem = "several virtual switches run; choose one with --control:";
        for (const auto& control : running)
            problem += "\n  " + control.native();
    }
    return {};
}

verb_reply ask(const std::filesystem::path& control, const std::vector<std::string>& words, bool json) {
    const unique_fd socket = connect_to(control, SOCK_STREAM);
    if (!socket.is_open()) {
        return {.exit_status = exit_no_switch,
                .text = "no virtual switch answers at " + control.native() + ": " + std::strerror(errno)};
    }
    std::string request = json ? answer_in_json : answer_in_text;
    request += '\0';
    for (const std::string& word : words)
        request += word + '\0';
    verb_reply reply{.exit_status = exit_no_switch, .text = {}};
    if (!send_all(socket.get(), request) || shutdown(socket.get(), SHUT_WR) != 0 ||
        !receive_all(socket.get(), reply.text, reply.descriptors) || reply.text.empty()) {
        reply.text = "the virtual switch at " + control.native() + " ended without an answer";
        return reply;
    }
    const bool is_done = static_cast<control_result>(reply.text.front()) == control_result::done;
    reply.exit_status = is_done ? exit_done : exit_refused;
    reply.text.erase(0, 1);
    return reply;
}

}  // namespace vswitch
