// What the command line asks for, as a value. Ports are 0..3 here, as everywhere but in front of a person.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "poe_client/connection.h"
#include "poe_client/types.h"

namespace poectl {

enum class verb {
    status,
    port_show,
    port_set,
    system_show,
    system_set,
    bank_show,
    bank_set,
    cycle,
    schedule,
    counters,
    queue,
    energy_show,
    energy_port,
    energy_reset,
    energy_keep,
    energy_inject
};

struct command {
    poectl::verb verb = verb::status;
    bool json = false;
    std::string socket_path;  // empty: environment, then the daemon's usual path
    std::chrono::milliseconds timeout = poe_client::default_timeout;

    std::uint8_t port = 0;                             // port_show, port_set, schedule, energy_port
    poe_client::port_settings_change port_change;      // port_set
    poe_client::system_settings_change system_change;  // system_set
    std::uint16_t bank_limit_w = 0;                    // bank_set
    poe_client::port_bitmap ports = 0;                 // cycle, energy_reset
    bool schedule_on = false;                          // schedule
    bool keep_in_flash = false;                        // energy_keep
    std::uint32_t history_minutes = 0;                 // energy_inject
};

}  // namespace poectl
