// While it lives, what the process writes to one of its descriptors is kept, write by write.
#pragma once

#include <array>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

class captured_lines {
  public:
    explicit captured_lines(int captured) : descriptor(captured), former(fcntl(captured, F_DUPFD_CLOEXEC, 3)) {
        std::array<int, 2> ends{};
        socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data());  // keeps writes apart
        reading = ends[0];
        dup2(ends[1], descriptor);
        close(ends[1]);
    }
    ~captured_lines() {
        dup2(former, descriptor);
        close(former);
        close(reading);
    }
    captured_lines(const captured_lines&) = delete;
    captured_lines& operator=(const captured_lines&) = delete;

    // What was written since the last call, one element a write.
    std::vector<std::string> take() const {
        std::vector<std::string> writes;
        std::array<char, 4096> buffer;
        for (;;) {
            const ssize_t length = recv(reading, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (length < 0) return writes;
            writes.emplace_back(buffer.data(), static_cast<std::size_t>(length));
        }
    }

  private:
    int descriptor;
    int former;
    int reading;
};
