// What the devices answer and when, whichever way they are attached: a call goes to the models, its delay is the time
// that a real bus would take. Lives on the event loop's thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "models/switch_model.h"
#include "wire.h"

namespace vswitch {

struct time_settings {
    std::uint32_t speed;       // the daemon's time runs this many times as fast
    std::uint32_t latency_us;  // real time that the controller takes to answer
};

// What one transaction takes on the model's clock, which is the daemon's: never nothing, so that its time goes on.
std::uint32_t model_latency_us(const time_settings& time);

class device_answers {
  public:
    device_answers(switch_model& model, time_settings time);

    void set_latency(std::uint32_t latency_us);
    const time_settings& time() const { return time_; }

    // Called before each transaction reaches the models, so that they see what the daemon did before it.
    void before_each_transaction(std::function<void()> call) { before_transaction_ = std::move(call); }

    // The reply, to be given after `delay`.
    device_reply answer(const device_request& request, std::chrono::microseconds& delay);

  private:
    switch_model& model_;
    time_settings time_;
    std::function<void()> before_transaction_ = [] {};
};

}  // namespace vswitch
