// The kinds of cells: each function runs those of its units that are this process's share, and counts.
#pragma once

#include <cstdint>

namespace campaign {

struct share {
    std::uint64_t seed = 1;
    bool is_long = false;
    unsigned part = 0;  // of `parts`
    unsigned parts = 1;
    unsigned hours = 40;
    unsigned first_hour = 0;
    bool is_mine(std::uint64_t unit) const { return unit % parts == part; }
};

struct tally {
    std::uint64_t planned = 0;
    std::uint64_t run = 0;
    std::uint64_t faults = 0;
    std::uint64_t transactions = 0;
    std::uint64_t damaged_accepted = 0;  // damaged answers whose checksum is right all the same
    std::uint64_t pauses_with_clients_waiting = 0;
    std::uint64_t auto_offs = 0;
    std::uint64_t switched_off_by_a_run = 0;  // ports that delivered, by an old answer repeated over several transfers
    std::uint64_t whole_sweeps = 0;           // compared with the view of one who knows nothing of the past
};

// A command by itself: attempts, pauses, counters, marks, lines, and what its caller's record holds.
void run_command_cells(const share& mine, tally& counts);

// A command in the middle of a sweep or of a client's change.
void run_sweep_cells(const share& mine, tally& counts);
void run_change_cells(const share& mine, tally& counts);

// An hour of bursts, plugs, links and clients.
void run_hours(const share& mine, tally& counts);

}  // namespace campaign
