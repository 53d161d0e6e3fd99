// vswitch run: a world, a server and the daemon in it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vswitch {

struct run_options {
    std::string world;    // its folder on the host; empty: a fresh one, removed at the end
    std::string control;  // its control socket; empty: in the world's folder
    std::uint32_t speed = 1;
    std::uint32_t latency_us = 2400;
    std::uint32_t seed = 1;
    bool stopped = false;              // the daemon waits for `vswitch start`
    bool stays = false;                // after the daemon has ended by itself
    bool ready_when_started = false;   // rather than when the daemon answers
    int ready_descriptor = -1;         // gets the line that says so; -1: standard output
    std::string daemon_log;            // gets the daemon's output; empty: where our own goes
    std::vector<std::string> kept;     // folders that must be reachable inside under their own path
    bool plain_files = false;          // no namespaces
    std::vector<std::string> command;  // the daemon and its arguments
};

// Returns the exit status.
int run(const run_options& options);

}  // namespace vswitch
