// One client's way to the daemon: ask, wait, take the one answer that is ours. One thread at a time.
//
// Every attempt has a local datagram socket of its own, with a name that is never used again, in a private folder
// (mode 0700) of this connection. So a late answer finds nobody and cannot be taken for the answer to a later question.
// The socket is connected to the daemon's: the kernel keeps everybody else's datagrams away. The folder goes with the
// connection, at exit(), and on the signals of remove_own_names_on_signals (own_names.h).
#pragma once

#include <chrono>
#include <functional>
#include <span>
#include <string>

#include "poe_client/codec.h"
#include "poe_client/own_names.h"
#include "poe_client/result.h"

namespace poe_client {

inline constexpr std::chrono::milliseconds default_timeout{1000};
inline constexpr const char* socket_path_variable = "POE_DRV_SOCKET";

// Where the daemon listens: `wanted` unless it is empty, else what the environment names, else the daemon's usual path.
std::string daemon_socket_path(const std::string& wanted = {});

class connection {
  public:
    // Opens nothing yet. `timeout` is for one attempt.
    explicit connection(std::string socket_path, std::chrono::milliseconds timeout = default_timeout)
        : socket_path_(std::move(socket_path)), timeout_(timeout) {}

    const std::string& socket_path() const { return socket_path_; }

    // Sends `request` and shows every datagram that comes back to `judge` until one is not foreign or the time is up.
    // With two attempts an unanswered request is sent once more.
    failure ask(received_bytes request, int attempts, const std::function<verdict(received_bytes)>& judge);

  private:
    failure ask_once(received_bytes request, const std::function<verdict(received_bytes)>& judge);

    std::string socket_path_;
    std::chrono::milliseconds timeout_;
    own_folder folder_;
};

}  // namespace poe_client
