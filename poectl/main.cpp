// poectl: one command, asked and shown. The daemon's answers are all in before the first byte is printed, so the names
// of this process are gone by then, however the output ends.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "poectl/arguments.h"
#include "poectl/exit_status.h"
#include "poectl/json.h"
#include "poectl/messages.h"
#include "poectl/run.h"
#include "poectl/text.h"

namespace {

int complain(const std::string& what, int status) {
    std::fputs(("poectl: " + what + "\n").c_str(), stderr);
    return status;
}

int print(const std::string& text) {
    const bool printed = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    return printed ? poectl::exit_done : complain("cannot write to standard output", poectl::exit_internal);
}

int carry_out(const poectl::command& asked) {
    poectl::picture seen;
    {
        poe_client::connection daemon(poe_client::daemon_socket_path(asked.socket_path), asked.timeout);
        const auto failure = poectl::run(asked, daemon, seen);
        if (failure.kind != poe_client::failure_kind::none) {
            return complain(poectl::message_of(failure, daemon.socket_path(), asked.timeout),
                            poectl::exit_status_of(failure));
        }
    }
    const auto to = isatty(STDOUT_FILENO) != 0 ? poectl::output::terminal : poectl::output::columns;
    return print(asked.json ? as_json(asked, seen) : as_text(asked, seen, to));
}

}  // namespace

int main(int count, char** arguments) {
    poe_client::remove_own_names_on_signals();
    const auto parsed = poectl::parse_arguments({arguments + (count > 0 ? 1 : 0), arguments + count});
    if (!parsed.complaint.empty()) return complain(parsed.complaint, parsed.status);
    if (!parsed.go_on) return print(parsed.help);
    return carry_out(parsed.asked);
}
