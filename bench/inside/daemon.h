// The daemon's rooms in this process, as they stand once the start is over, with four ports enabled; its supervision is
// called sweep by sweep.
#pragma once

#include "supervision/cycle.h"

namespace bench {

class daemon_inside {
  public:
    // `descriptor` is the controller's.
    explicit daemon_inside(int descriptor);

    // Passes until a sweep has ended.
    void sweep();

    // One pass; with something queued, one change is applied.
    void pass();

  private:
    supervision_state state_;
};

}  // namespace bench
