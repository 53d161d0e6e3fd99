// check: what a monitoring system wants to know, in the words and with the statuses of its plugins. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "poe_client/types.h"
#include "poectl/command.h"
#include "poectl/picture.h"
#include "poectl/problem.h"
#include "poectl/readings.h"

namespace poectl {

// The exit statuses of monitoring plugins, which `check` ends with in the place of poectl's own.
enum class plugin_state : std::uint8_t { ok = 0, warning = 1, critical = 2, unknown = 3 };

std::string_view name_of(plugin_state state);

// What a verb ends with when this process cannot do its part: to a monitoring system exit_internal would be a WARNING.
constexpr int internal_failure_of(verb which) {
    return which == verb::check ? static_cast<int>(plugin_state::unknown) : exit_internal;
}

struct check_finding {
    plugin_state state;
    std::string text;
};

// What the check looks at.
struct checked_switch {
    whole_reading all;
    controller_reading controller{};
};

// Transactions with the controller that came to nothing.
std::uint64_t failed_transactions(const poe_client::communication_counters& counters);

// A threshold in milliwatts.
std::uint64_t threshold_mw(const power_threshold& threshold, std::uint32_t total_mw);

std::vector<check_finding> findings_of(const checked_switch& seen, const check_thresholds& thresholds);
plugin_state worst_of(const std::vector<check_finding>& findings);

void depict_check(const checked_switch& seen, const check_thresholds& thresholds, picture& into);

// Nothing could be looked at.
void depict_unknown(const problem& why, picture& into);

// The line that a plugin says of bad usage.
std::string unknown_line(const std::string& why);

}  // namespace poectl
