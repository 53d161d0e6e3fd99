// The private folder of one connection, mode 0700, with at most one socket in it. Making and removing: any thread, each
// folder by its one owner. A child process leaves its parent's folder alone and makes its own.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace poe_client {

class own_folder {
  public:
    own_folder() = default;
    own_folder(own_folder&& other) noexcept;
    own_folder& operator=(own_folder&& other) noexcept;
    ~own_folder() { remove(); }

    // A name for a new socket, different at every call; the folder is made first when there is none. The folder is
    // beside `daemon_socket` where that is possible, because both processes see that place, else in /tmp. Empty when
    // no folder can be made; errno says why.
    std::string new_socket_name(const std::string& daemon_socket);

    void remove_socket();
    void remove();

    const std::string& path() const { return path_; }

  private:
    bool make(const std::string& place);
    std::string socket_name() const;
    bool is_ours() const;
    void forget();

    std::string path_;           // empty: none made
    std::uint32_t sockets_ = 0;  // named so far
    int slot_ = -1;              // in the table that the signal handler walks; -1 = the table was full
    pid_t owner_ = 0;            // the process that made it
};

}  // namespace poe_client
