// What the daemon's records show of a change: for each thing that it is about what was, what is wanted and what is. A
// record alone proves little: a port that is switched on shows it in its status. Pure.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "poectl/picture.h"
#include "poectl/readings.h"

namespace poectl {

// What a change is judged by; each change looks only at what it is about.
struct change_records {
    whole_reading all{};
    poe_client::power_bank bank{};
    bool energy_kept = false;
    std::array<poe_client::port_energy, poe_client::port_count> energy{};
    poe_client::communication_counters counters{};
};

enum class proof : std::uint8_t {
    record,      // the daemon keeps it, and nobody else has to know
    controller,  // the daemon keeps it, and the controller has to know, which no record shows
    reading,     // read back from the controller
    never,       // the daemon takes the value and never shows it
};

// A value for programs, which is no object, and for people.
struct value_seen {
    facts value;
    std::string words;
};

// One thing that a change is about.
struct aim {
    std::optional<std::uint8_t> port;
    std::string_view setting;  // a key for programs
    std::string_view label;    // for people
    value_seen was, wanted, is;
    bool seen = false;
    proof proved_by = proof::record;
};

struct sight {
    std::vector<aim> aims;
    std::vector<std::string> notes;  // whole sentences for people, beside the values
};

// The daemon's rule: may this port have power?
bool should_deliver(const poe_client::system_settings& system, const poe_client::port_settings& port,
                    bool in_on_period);

// Does the status of a port show that it is switched on, or off?
bool shows_on(std::uint32_t status);
bool shows_off(std::uint32_t status);

bool delivers(const poe_client::port_status& port);

sight sight_of_port_change(std::uint8_t port, const poe_client::port_settings_change& change,
                           const change_records& before, const change_records& now);
sight sight_of_system_change(const poe_client::system_settings_change& change, const change_records& before,
                             const change_records& now);
sight sight_of_bank_change(std::uint16_t limit_w, const change_records& before, const change_records& now);
sight sight_of_schedule_change(poe_client::port_bitmap ports, bool on, const change_records& before,
                               const change_records& now);
sight sight_of_cycle(poe_client::port_bitmap ports, const change_records& before, const change_records& now);
sight sight_of_made_up_history(std::uint32_t minutes, const change_records& before, const change_records& now);
sight sight_of_energy_kept(bool wanted, const change_records& before, const change_records& now);
sight sight_of_energy_reset(poe_client::port_bitmap ports, const change_records& before, const change_records& now);

bool all_seen(const std::vector<aim>& aims);
bool more_can_come(const std::vector<aim>& aims);  // something is not seen that may still be

// Transactions with the controller that failed between two looks, when the change needed some that nothing else
// proves; else 0.
std::uint64_t doubtful_transactions(const std::vector<aim>& aims, const change_records& before,
                                    const change_records& now);

// "port 2 (lan2): status is disabled (0), wanted: searching or delivering"
std::string unseen_words(const std::vector<aim>& aims);

}  // namespace poectl
