#include "poectl/messages.h"

#include <cerrno>
#include <cstring>

#include "poectl/exit_status.h"

namespace poectl {

using poe_client::failure_kind;

namespace {

std::string no_daemon_message(int why, const std::string& socket_path) {
    switch (why) {
        case ENOENT:
            return "no daemon: there is no socket at " + socket_path + ". Is poe_drv running?";
        case ECONNREFUSED:
            return "no daemon: nobody answers at " + socket_path + ". Start poe_drv again.";
        default:
            return "no daemon: cannot use the socket " + socket_path + ": " + std::strerror(why) +
                   ". Name poe_drv's socket with --socket.";
    }
}

}  // namespace

int exit_status_of(const poe_client::failure& failure) {
    switch (failure.kind) {
        case failure_kind::none:
            return exit_done;
        case failure_kind::no_daemon:
            return exit_no_daemon;
        case failure_kind::not_permitted:
            return exit_not_permitted;
        case failure_kind::timeout:
        case failure_kind::malformed:
            return exit_no_answer;
        case failure_kind::refused:
            return exit_refused;
        case failure_kind::own_socket:
            break;
    }
    return exit_internal;
}

std::string message_of(const poe_client::failure& failure, const std::string& socket_path,
                       std::chrono::milliseconds timeout) {
    switch (failure.kind) {
        case failure_kind::none:
            return {};
        case failure_kind::no_daemon:
            return no_daemon_message(failure.system_error, socket_path);
        case failure_kind::not_permitted:
            return "not permitted: this user may not talk to poe_drv at " + socket_path +
                   ". Use sudo or join the socket's group.";
        case failure_kind::timeout:
            return "no answer: poe_drv did not answer within " + std::to_string(timeout.count()) +
                   " ms. Try a longer --timeout; if that does not help, poe_drv hangs.";
        case failure_kind::malformed:
            return "no answer: what came back from " + socket_path +
                   " makes no sense. Are poectl and poe_drv of the same release?";
        case failure_kind::refused:
            return "refused: poe_drv does not take this value. Nothing was changed.";
        case failure_kind::own_socket:
            break;
    }
    return "cannot make a socket to be answered on: " + std::string(std::strerror(failure.system_error)) +
           ". Is the folder of the daemon's socket, or /tmp, writable?";
}

}  // namespace poectl
