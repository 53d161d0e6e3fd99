// Made-up power history, so that a display can be tried without waiting a week. Pure; whoever passes a shared record
// holds the tick lock.
//
// A slot's watts depend on its port and its index alone: each port has two patterns, one for even and one for odd
// slots, that climb for a dozen slots and begin again.
#pragma once

#include <cstddef>
#include <cstdint>

#include "stats/averages.h"
#include "stats/record.h"

// Slots of each ring that a history of so many minutes fills: never more than the ring has.
struct history_extent {
    std::size_t minutes;
    std::size_t half_hours;
    std::size_t two_hours;
};
history_extent history_extent_of(std::uint32_t minutes);

// The average that a slot of a port's ring gets, in watts.
float made_up_watts(std::size_t port, std::size_t slot);

// Replaces a port's record by history that ends now: slot 0 is the oldest, the last one filled is now's. Uptimes stop
// at 0 for what lies before the boot.
void make_up_history(port_stats& record, std::size_t port, const history_extent& extent, const slot_time& now);
