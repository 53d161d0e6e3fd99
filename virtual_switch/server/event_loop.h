// One thread's loop over descriptors and times. Everything in the server happens in its callbacks, one after the other,
// so the models need no lock. A callback may watch, forget and schedule as it likes.
#pragma once

#include <chrono>
#include <functional>
#include <map>

namespace vswitch {

class event_loop {
  public:
    using clock = std::chrono::steady_clock;
    using callback = std::function<void()>;

    // Calls `ready` whenever `descriptor` can be read or has ended.
    void watch(int descriptor, callback ready);
    void forget(int descriptor);  // before the descriptor is closed

    void at(clock::time_point time, callback due);

    void run();  // until end()
    void end() { ended_ = true; }

  private:
    struct watcher {
        unsigned long serial;  // tells a descriptor from an earlier one with the same number
        callback ready;
    };

    void call_what_is_due();

    std::map<int, watcher> watchers_;
    std::multimap<clock::time_point, callback> timers_;
    unsigned long next_serial_ = 0;
    bool ended_ = false;
};

}  // namespace vswitch
