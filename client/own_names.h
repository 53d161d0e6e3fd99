// The names that this process has in the file system, and how they go away: a folder of mode 0700 for each connection,
// with at most one socket in it. Making and removing: any thread, each folder by its one owner.
#pragma once

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

    std::string path_;           // empty: none made
    std::uint32_t sockets_ = 0;  // named so far
    int slot_ = -1;              // in the table that the signal handler walks; -1 = the table was full
};

// Removes every name of this process. Safe in a signal handler. Runs by itself at exit().
void remove_own_names();

// From now on SIGINT, SIGTERM and SIGHUP, where they are not ignored, remove every name before they end the process.
// For programs; a library has no business with its caller's signals.
void remove_own_names_on_signals();

}  // namespace poe_client
