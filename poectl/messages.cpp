#include "poectl/messages.h"

#include <cerrno>
#include <cstring>

#include "poectl/exit_status.h"
#include "poectl/file_kind.h"

namespace poectl {

using poe_client::failure_kind;

namespace {

constexpr const char* name_the_socket = "name poe_drv's socket with --socket or POE_DRV_SOCKET";

problem no_daemon(int why, const std::string& socket_path) {
    problem one{.exit_status = exit_no_daemon,
                .what = "cannot reach the daemon",
                .why = "cannot use the socket " + socket_path + ": " + std::strerror(why),
                .advice = name_the_socket};
    // The system says the same of a socket without its process and of what is no socket.
    struct stat file {};
    const bool is_no_socket = why == ECONNREFUSED && stat(socket_path.c_str(), &file) == 0 && !S_ISSOCK(file.st_mode);
    if (is_no_socket) {
        one.why = socket_path + " is " + words_of_kind(file.st_mode) + ", not a socket";
    } else if (why == ENOENT) {
        one.why = "there is no socket at " + socket_path;
        one.advice = "start poe_drv; if it runs elsewhere, name its socket with --socket. 'poectl doctor' looks closer";
    } else if (why == ECONNREFUSED) {
        one.why = "nobody is behind the socket " + socket_path + "; poe_drv left it behind";
        one.advice = "start poe_drv again, and see its status file for why it ended";
    }
    return one;
}

// Of a socket in a folder that this user may not enter the system says no more than of the socket itself.
problem not_permitted(const std::string& socket_path) {
    struct stat file {};
    const bool is_hidden = stat(socket_path.c_str(), &file) != 0 && errno == EACCES;
    return {.exit_status = exit_not_permitted,
            .what = "not permitted",
            .why = "this user may not " + std::string(is_hidden ? "enter the folder of" : "write to") + " the socket " +
                   socket_path,
            .advice = is_hidden ? "use sudo; the group of the socket does not help here"
                                : "use sudo, or join the group of the socket"};
}

}  // namespace

problem problem_of(const poe_client::failure& failure, const std::string& socket_path,
                   std::chrono::milliseconds timeout) {
    switch (failure.kind) {
        case failure_kind::no_daemon:
            return no_daemon(failure.system_error, socket_path);
        case failure_kind::not_permitted:
            return not_permitted(socket_path);
        case failure_kind::timeout:
            return {
                .exit_status = exit_no_answer,
                .what = "no answer",
                .why = "poe_drv did not answer within " + std::to_string(timeout.count()) + " ms",
                .advice =
                    "a longer --answer-timeout; just started, poe_drv answers after seconds, with a silent controller "
                    "after minutes; if that does not help, it hangs: restart it, and send its settings again"};
        case failure_kind::malformed:
            return {.exit_status = exit_no_answer,
                    .what = "no answer",
                    .why = "what came back from " + socket_path + " makes no sense",
                    .advice = "see that poectl and poe_drv are of the same release ('poectl --version')"};
        case failure_kind::refused:
            return {.exit_status = exit_refused,
                    .what = "refused",
                    .why = "poe_drv does not take this request, or a value in it; nothing was changed",
                    .advice = "see that poectl and poe_drv are of the same release ('poectl --version')"};
        case failure_kind::own_socket:
        case failure_kind::none:
            break;
    }
    return {.exit_status = exit_internal,
            .what = "cannot make a socket to be answered on",
            .why = std::strerror(failure.system_error),
            .advice = "make the folder of the daemon's socket, or /tmp, writable and see that it is not full"};
}

std::string sentence_of(const problem& one) {
    return one.what + ": " + one.why + ".\nTry: " + one.advice + ".";
}

}  // namespace poectl
