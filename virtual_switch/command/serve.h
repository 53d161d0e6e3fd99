// vswitch serve: the switch's two device files on a kernel that has CUSE, for a daemon that somebody else starts.
#pragma once

#include <cstdint>
#include <string>

namespace vswitch {

struct serve_options {
    std::string control;    // its control socket; empty: $VSWITCH_CONTROL, or in the registry's folder
    std::string trap_pipe;  // made and read; empty: somebody else does
    std::uint32_t latency_us = 2400;
    std::uint32_t seed = 1;
    int ready_descriptor = -1;  // gets the line that says so; -1: standard output
};

// Returns the exit status.
int serve(const serve_options& options);

}  // namespace vswitch
