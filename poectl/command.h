// What the command line asks for, as a value. Ports are 0..3 here, as everywhere but in front of a person.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "poe_client/connection.h"
#include "poe_client/types.h"
#include "poectl/look.h"

namespace poectl {

enum class verb : std::uint8_t {
    status,
    port_show,
    port_set,
    system_show,
    system_set,
    bank_show,
    bank_set,
    cycle,
    schedule_show,
    schedule_set,
    energy_show,
    energy_port,
    energy_reset,
    energy_keep,
    energy_inject,
    counters,
    check,
    doctor,
    watch,
    top,
    completion,
    suggest,
};

// Consumed power that `check` warns of: watts, or a share of the budget.
struct power_threshold {
    std::uint32_t amount = 0;  // thousandths of a watt, or of a percent
    bool is_percent = false;
    bool operator==(const power_threshold&) const = default;
};

struct check_thresholds {
    std::optional<power_threshold> power_warning = {}, power_critical = {};
    std::optional<std::uint32_t> errors_warning = {}, errors_critical = {};  // failed transactions with the controller
    poe_client::port_bitmap must_deliver = 0;
};

enum class shell : std::uint8_t { bash, zsh, fish };

struct command {
    poectl::verb verb = verb::status;
    output_format format = output_format::table;
    colour_choice colour = colour_choice::automatic;
    std::string socket_path;  // empty: environment, then the daemon's usual path
    std::chrono::milliseconds timeout = poe_client::default_timeout;

    // changes
    bool dry_run = false;
    bool wait_for_effect = true;
    std::optional<std::chrono::milliseconds> effect_timeout;  // none: as long as the change usually takes

    // watch, top
    std::uint64_t watch_count = 0;  // 0: no end
    std::optional<std::chrono::milliseconds> watch_for;
    std::chrono::milliseconds interval{1000};
    std::uint32_t power_step_mw = 1000;

    bool why = false;                                  // status, port_show
    std::uint8_t port = 0;                             // port_show, port_set, energy_port
    poe_client::port_settings_change port_change;      // port_set
    poe_client::system_settings_change system_change;  // system_set
    std::uint16_t bank_limit_w = 0;                    // bank_set
    poe_client::port_bitmap ports = 0;                 // cycle, schedule_set, energy_reset
    poe_client::port_bitmap named_ports = 0;           // cycle: those of `ports` that are not there by "all" alone
    bool only_powered = false;                         // cycle
    bool schedule_on = false;                          // schedule_set
    bool keep_in_flash = false;                        // energy_keep
    std::uint32_t history_minutes = 0;                 // energy_inject
    check_thresholds thresholds;                       // check
    shell completion_for = shell::bash;                // completion
    std::vector<std::string> words;                    // suggest
};

}  // namespace poectl
