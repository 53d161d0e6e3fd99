// How often the calling thread takes one of the daemon's locks.
#pragma once

#include "core/locks.h"

// Counts from its construction on, one count a thread at a time.
class lock_count {
  public:
    explicit lock_count(const poe_mutex& mutex);
    ~lock_count();
    lock_count(const lock_count&) = delete;
    lock_count& operator=(const lock_count&) = delete;

    int taken() const;
};
