#include "server/event_loop.h"

#include <algorithm>
#include <vector>

#include <poll.h>

namespace vswitch {

void event_loop::watch(int descriptor, callback ready) {
    watchers_[descriptor] = watcher{.serial = next_serial_++, .ready = std::move(ready)};
}

void event_loop::forget(int descriptor) {
    watchers_.erase(descriptor);
}

void event_loop::at(clock::time_point time, callback due) {
    timers_.emplace(time, std::move(due));
}

void event_loop::call_what_is_due() {
    while (!ended_ && !timers_.empty() && timers_.begin()->first <= clock::now()) {
        const callback due = std::move(timers_.begin()->second);
        timers_.erase(timers_.begin());
        due();
    }
}

void event_loop::run() {
    std::vector<pollfd> polls;
    std::vector<unsigned long> serials;
    while (!ended_) {
        polls.clear();
        serials.clear();
        for (const auto& [descriptor, one] : watchers_) {
            polls.push_back({.fd = descriptor, .events = POLLIN, .revents = 0});
            serials.push_back(one.serial);
        }
        timespec wait{};
        if (!timers_.empty()) {
            const auto left = std::max(timers_.begin()->first - clock::now(), clock::duration::zero());
            const auto whole = std::chrono::duration_cast<std::chrono::seconds>(left);
            wait.tv_sec = static_cast<time_t>(whole.count());
            wait.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - whole).count());
        }
        const int ready = ppoll(polls.data(), polls.size(), timers_.empty() ? nullptr : &wait, nullptr);
        call_what_is_due();
        for (std::size_t i = 0; ready > 0 && i < polls.size() && !ended_; i++) {
            if (polls[i].revents == 0) continue;
            const auto found = watchers_.find(polls[i].fd);
            if (found == watchers_.end() || found->second.serial != serials[i]) continue;
            const callback call = found->second.ready;
            call();
        }
    }
}

}  // namespace vswitch
