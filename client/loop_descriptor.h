// The descriptor that a caller's own event loop watches: one for the life of a connection, readable whenever the
// request under way has something to do, be it an answer, room in the daemon's queue or the end of its time. One thread
// at a time.
#pragma once

#include <sys/types.h>

#include <chrono>

namespace poe_client {

class loop_descriptor {
  public:
    loop_descriptor() = default;
    loop_descriptor(const loop_descriptor&) = delete;
    loop_descriptor& operator=(const loop_descriptor&) = delete;
    ~loop_descriptor() { close_all(); }

    // Made at the first call, and again in a child process. -1 when it cannot be made; errno says why.
    int number();

    // From now on readable when `socket` (-1: none) has one of poll's `events`, or at `deadline`.
    void follow(int socket, short events, std::chrono::steady_clock::time_point deadline);

    // Not readable. Call it before the socket that is followed is closed.
    void rest();

  private:
    void close_all();

    int loop_ = -1;  // an epoll instance of the timer and the socket
    int timer_ = -1;
    int socket_ = -1;
    pid_t owner_ = 0;
};

}  // namespace poe_client
