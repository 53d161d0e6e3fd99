// Where the virtual switch is and how fast its time runs: read once from the environment before the program's main,
// then taken out of it, so that the program's shell children run plain. Read-only afterwards.
#pragma once

#include <cstdint>

namespace vswitch {

struct preload_settings {
    char devices[108];    // the folder of the devices' sockets; empty: not attached
    std::uint64_t speed;  // sleeps are divided by this, at least 1
};

const preload_settings& settings();

// Microseconds that the calling thread asked to sleep, unscaled, since the last take_slept_us().
std::uint64_t take_slept_us();

// Sleeps for a wait of the switch on the machine's own clock, unscaled and uncounted.
void wait_a_moment();

}  // namespace vswitch
