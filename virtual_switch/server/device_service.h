// The devices' sockets: what an attached program asks of them goes to the models, and the answer goes back when a real
// bus would have had it. Lives on the event loop's thread.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>

#include "server/device_answers.h"
#include "server/event_loop.h"
#include "unique_fd.h"
#include "wire.h"

namespace vswitch {

class device_service {
  public:
    device_service(event_loop& loop, device_answers& answers);
    ~device_service();
    device_service(const device_service&) = delete;
    device_service& operator=(const device_service&) = delete;

    // Puts the sockets into the world's device folder. Returns what went wrong, or nothing.
    std::string open_at(const std::filesystem::path& device_folder);

  private:
    struct connection {
        unique_fd socket;
        unsigned long serial;
    };

    void accept_one(const unique_fd& listener);
    void serve(int socket);
    void drop(int socket);
    void answer_later(int socket, const device_reply& reply, std::chrono::microseconds delay);

    event_loop& loop_;
    device_answers& answers_;
    std::map<std::string, unique_fd> listeners_;  // by path
    std::map<int, connection> connections_;
    unsigned long next_serial_ = 0;
};

}  // namespace vswitch
