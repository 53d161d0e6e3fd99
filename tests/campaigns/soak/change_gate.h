// Keeps the clients from accepting changes into the daemon's queue faster than it applies them: the queue has no bound,
// and while anything is in it no port is polled. The first client marks power bank requests with a number; once a query
// shows the mark, everything that was acknowledged before it is applied.
#pragma once

#include <atomic>
#include <cstdint>

namespace campaign {

class change_gate {
  public:
    // May one more change be sent? Counts it when it may.
    bool enter() {
        if (begun_.fetch_add(1) - applied_.load() < most_waiting) return true;
        begun_.fetch_sub(1);
        return false;
    }
    bool is_full() const { return begun_.load() - applied_.load() >= most_waiting; }

    // First client only: everything that is acknowledged before its marked request is sent ...
    void sends_mark() { acknowledged_at_mark_ = acknowledged.load(); }
    // ... is applied when it is.
    void reopen() { applied_.store(acknowledged_at_mark_); }

    std::atomic<std::uint64_t> acknowledged{0};

  private:
    static constexpr std::uint64_t most_waiting = 48;
    std::atomic<std::uint64_t> begun_{0};
    std::atomic<std::uint64_t> applied_{0};
    std::uint64_t acknowledged_at_mark_ = 0;
};

}  // namespace campaign
