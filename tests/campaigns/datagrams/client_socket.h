// A client's named datagram socket. Every wait is bounded: what does not happen in time is a failure, never a hang.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include <sys/un.h>

namespace campaign {

enum class naming : std::uint8_t { named, nameless };

class client_socket {
  public:
    // Binds `own_path` (unless nameless) and talks to the daemon at `daemon_path`. Ends the program on failure.
    client_socket(const std::string& daemon_path, const std::string& own_path, naming how = naming::named);
    ~client_socket();
    client_socket(const client_socket&) = delete;
    client_socket& operator=(const client_socket&) = delete;

    // False when the daemon took nothing for the whole time.
    bool send(std::span<const std::uint8_t> datagram) const;

    // The length of the next reply, or -1 when none came in time.
    long receive(std::span<std::uint8_t> buffer) const;

    // The same without waiting.
    long receive_what_is_there(std::span<std::uint8_t> buffer) const;

  private:
    int socket_;
    std::string path_;
    sockaddr_un daemon_{};
};

// How many replies may be owed at once to a client that reads: one fewer than its socket holds.
std::size_t replies_that_fit();

[[noreturn]] void give_up(const std::string& why);

}  // namespace campaign
