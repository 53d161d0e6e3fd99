// The allocator as the daemon sees it, in the test program's hands: it can be out of memory, and it remembers what was
// asked of it. One thread at a time switches the watch.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

struct memory_watch {
    bool out_of_memory = false;
    std::vector<std::size_t> requests;  // bytes asked for
    std::function<void()> on_request;
};

// Watches every allocation of the calling thread while `watch` lives.
class watched_memory {
  public:
    explicit watched_memory(memory_watch& watch);
    ~watched_memory();
    watched_memory(const watched_memory&) = delete;
    watched_memory& operator=(const watched_memory&) = delete;
};
