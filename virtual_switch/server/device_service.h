// The devices' sockets: what an attached program asks of them goes to the models, and the answer goes back when a real
// bus would have had it. Lives on the event loop's thread.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>

#include "models/switch_model.h"
#include "server/event_loop.h"
#include "unique_fd.h"
#include "wire.h"

namespace vswitch {

struct time_settings {
    std::uint32_t speed;       // the daemon's time runs this many times as fast
    std::uint32_t latency_us;  // real time that the controller takes to answer
};

// What one transaction takes on the model's clock, which is the daemon's: never nothing, so that its time goes on.
std::uint32_t model_latency_us(const time_settings& time);

class device_service {
  public:
    device_service(event_loop& loop, switch_model& model, time_settings time);
    ~device_service();
    device_service(const device_service&) = delete;
    device_service& operator=(const device_service&) = delete;

    // Puts the sockets into the world's device folder. Returns what went wrong, or nothing.
    std::string open_at(const std::filesystem::path& device_folder);

    void set_latency(std::uint32_t latency_us);
    const time_settings& time() const { return time_; }

    // Called before each transaction reaches the models, so that they see what the daemon did before it.
    void before_each_transaction(event_loop::callback call) { before_transaction_ = std::move(call); }

  private:
    struct connection {
        unique_fd socket;
        unsigned long serial;
    };

    void accept_one(const unique_fd& listener);
    void serve(int socket);
    void drop(int socket);
    void answer_later(int socket, const device_reply& reply, std::chrono::microseconds delay);
    device_reply answer(const device_request& request, std::chrono::microseconds& delay);

    event_loop& loop_;
    switch_model& model_;
    time_settings time_;
    event_loop::callback before_transaction_ = [] {};
    std::map<std::string, unique_fd> listeners_;  // by path
    std::map<int, connection> connections_;
    unsigned long next_serial_ = 0;
};

}  // namespace vswitch
