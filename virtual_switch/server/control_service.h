// The control socket: takes one verb a connection and sends its reply, at once or when the server has it. Lives on the
// event loop's thread.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "control.h"
#include "server/event_loop.h"
#include "unique_fd.h"

namespace vswitch {

struct control_reply {
    control_result result;
    std::string text;
    std::vector<int> descriptors = {};
};

// Called once; the connection ends with it.
using control_answer = std::function<void(const control_reply&)>;

struct control_request {
    std::vector<std::string> words;
    bool json;
    control_answer answer;
};

class control_service {
  public:
    control_service(event_loop& loop, std::function<void(const control_request&)> serve);
    ~control_service();
    control_service(const control_service&) = delete;
    control_service& operator=(const control_service&) = delete;

    // Returns what went wrong, or nothing. Refuses a path that a running virtual switch answers on.
    std::string open_at(const std::filesystem::path& path);

  private:
    void accept_one();
    void read_some(int socket);

    struct connection {
        unique_fd socket;
        std::string received;
    };

    event_loop& loop_;
    std::function<void(const control_request&)> serve_;
    std::filesystem::path path_;
    unique_fd listener_;
    std::map<int, connection> connections_;
};

}  // namespace vswitch
