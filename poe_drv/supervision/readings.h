// What the controller says about the ports, as the polls read it: five transactions a powered port. The codes are the
// controller's own; the translation works on copies, so that a poll that fails leaves the last good answer to work
// from. Supervision thread only, no lock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/locks.h"
#include "core/records.h"

// What the port, and each of its pair sets, reports of itself.
struct reported_codes {
    std::uint8_t status;
    std::uint8_t sub_status;   // 255 when the status is a fault
    std::uint8_t error_code;   // 255 unless the status is a fault
    std::uint8_t power_class;  // 255 when the status is a fault
    bool operator==(const reported_codes&) const = default;
};

struct channel_reading {
    std::uint16_t voltage;  // 0.1 V
    std::uint16_t current;
    reported_codes codes;
    bool operator==(const channel_reading&) const = default;
};

inline constexpr std::size_t event_counter_count = 5;

struct port_reading {
    std::uint16_t voltage;  // 0.1 V
    std::uint16_t current;
    std::uint16_t power;        // kept, used nowhere
    std::uint16_t temperature;  // 0.1 degree Celsius
    reported_codes codes;
    std::uint8_t port_type;
    std::array<std::uint8_t, event_counter_count> event_counter;  // events since the previous poll
    std::array<channel_reading, pair_set_count> channel;          // pair set A, pair set B
    bool status_is_old;     // this poll's status read failed: the codes are an earlier poll's
    bool counters_are_old;  // this poll's counters could not be read: they are an earlier poll's, which counted them
    bool operator==(const port_reading&) const = default;
};

extern std::array<port_reading, port_count> llp_new GUARDED_BY(controller_user);

// Polls a powered port in full. What cannot be read stays as it was. Returns 0.
int port_read_info(std::uint8_t port) REQUIRES(controller_user);

// Polls an unpowered port: zeros, but for the temperature if it can be read.
void read_temperature_only(std::uint8_t port) REQUIRES(controller_user);
