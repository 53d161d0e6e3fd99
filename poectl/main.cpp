// poectl: one command, asked and shown.
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "poectl/arguments.h"
#include "poectl/exit_status.h"
#include "poectl/run.h"
#include "poectl/terminal.h"
#include "poectl/verbs/check.h"
#include "poectl/verbs/verbs.h"

namespace {

int complain(const std::string& what, int status) {
    std::fputs(("poectl: " + what + "\n").c_str(), stderr);
    return status;
}

// A closed pipe or a full disk is a failure that a script hears of. `besides` is what it must know all the same.
int print(const std::string& text, int status, int status_of_failure = poectl::exit_internal,
          const char* besides = "") {
    errno = 0;
    if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return status;
    return complain(std::string("cannot write to standard output: ") + std::strerror(errno) + besides +
                        ".\nTry: see that nobody closes the pipe early and that the disk is not full.",
                    status_of_failure);
}

int carry_out(const poectl::command& asked) {
    const auto how = poectl::look_of_standard_output(asked);
    if (const auto perform = poectl::entry_of(asked.verb).perform) return perform(asked, how);
    const auto ended = poectl::run(asked, how);
    const bool has_changed = poectl::is_change(asked.verb) && ended.status == poectl::exit_done && !asked.dry_run;
    const int status = print(ended.out, ended.status, poectl::internal_failure_of(asked.verb),
                             has_changed ? "; what was asked for is done or accepted" : "");
    return ended.err.empty() ? status : complain(ended.err, status);
}

int carry_out_line(int count, char** arguments) {
    const auto parsed = poectl::parse_arguments({arguments + (count > 0 ? 1 : 0), arguments + count});
    if (parsed.go_on) return carry_out(parsed.asked);
    const int status = print(parsed.help, parsed.status);
    return parsed.complaint.empty() ? status : complain(parsed.complaint, status);
}

}  // namespace

int main(int count, char** arguments) {
    poe_client::remove_own_names_on_signals();
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return carry_out_line(count, arguments);
    } catch (const std::exception& fault) {
        return complain(std::string("internal failure: ") + fault.what(), poectl::exit_internal);
    }
}
