// A daemon made of a script: it listens on a real local datagram socket in a temporary folder of its own and answers as
// a test tells it. Its thread runs from construction to destruction; a test's script runs on that thread.
#pragma once

#include <sys/un.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vectors/vectors.h"

using message = std::vector<std::uint8_t>;

// A folder that is gone, with all that is in it, at the end of the test.
class temporary_folder {
  public:
    temporary_folder();
    ~temporary_folder();
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;
    std::vector<std::string> entries() const;

    std::string path;
};

struct served_request {
    message bytes;
    std::string client;  // the name of the socket that it came from
};

class fake_daemon {
  public:
    // `script` gets each request and its number, from 0, and gives the replies, none or several.
    using script = std::function<std::vector<message>(const message& request, std::size_t number)>;

    explicit fake_daemon(script answers);
    ~fake_daemon();
    fake_daemon(const fake_daemon&) = delete;
    fake_daemon& operator=(const fake_daemon&) = delete;

    std::string socket_path() const { return folder.path + "/daemon"; }
    std::vector<served_request> requests();

    // One datagram to a client's name from the daemon's own socket. False when nobody has that name.
    bool send_to(const std::string& client, const message& bytes);

    temporary_folder folder;

  private:
    void serve();

    script answers_;
    int socket_ = -1;
    int stop_ = -1;
    std::mutex mutex_;
    std::vector<served_request> requests_;
    std::thread thread_;
};

// Answers every query from the known messages, by type; settings are accepted, or refused when `result` is 1.
fake_daemon::script healthy(std::uint8_t result = 0);

// As healthy(), with a controller: one more of its answers is counted whenever the counters are asked for, from the
// request with this number on.
fake_daemon::script with_controller(std::size_t from = 0);

// Bytes as a table of offsets, for failures that can be read.
std::string hex(const message& bytes);

testing::AssertionResult same_bytes(const message& actual, const message& expected);
