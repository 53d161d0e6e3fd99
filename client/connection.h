// One client's way to the daemon: ask, wait, take the one answer that is ours. One thread at a time; several
// connections may be used by several threads.
//
// Nothing is open between requests but, once a loop of the caller's own asked for it, descriptor(). Each request has a
// local datagram socket of its own in a private folder (mode 0700) of this connection, so nobody but the daemon can
// answer, and a late answer finds nobody. The folder goes with the connection, at exit(), and on signals when the
// program asks for that (own_names.h).
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "poe_client/api.h"
#include "poe_client/own_names.h"

namespace poe_client {

inline constexpr std::chrono::milliseconds default_timeout{1000};
inline constexpr const char* socket_path_variable = "POE_DRV_SOCKET";

// Where the daemon listens: `wanted` unless it is empty, else what the environment names, else the daemon's usual path.
POE_CLIENT_API std::string daemon_socket_path(const std::string& wanted = {});

class connection_state;

class POE_CLIENT_API connection {
  public:
    // Opens nothing yet. `timeout` is for one attempt: a query that is not answered is asked once more.
    explicit connection(std::string socket_path = daemon_socket_path(),
                        std::chrono::milliseconds timeout = default_timeout);
    connection(connection&&) noexcept;
    connection& operator=(connection&&) noexcept;
    ~connection();

    const std::string& socket_path() const;
    std::chrono::milliseconds timeout() const;
    void set_timeout(std::chrono::milliseconds timeout);  // for the requests that begin from now on

    // For a loop of the caller's own: readable whenever take() of the pending request (pending.h) has something to do.
    // The same for the life of the connection, but not in a child process. -1 when it cannot be made.
    int descriptor();

  private:
    friend struct connection_access;
    std::shared_ptr<connection_state> state_;
};

}  // namespace poe_client
