// Settings that all may be left out, but not all of them together.
#pragma once

#include "poectl/command_line.h"

namespace poectl {

template <typename... value>
bool none_given(const std::optional<value>&... values) {
    return (!values && ...);
}

inline bool changes_nothing(const poe_client::port_settings_change& c) {
    return none_given(c.enable, c.power_limit_dw, c.priority, c.mode, c.schedule_enable, c.re_enable_s);
}

inline bool changes_nothing(const poe_client::system_settings_change& c) {
    return none_given(c.enable, c.threshold_percent, c.parameter_1, c.parameter_2, c.parameter_4, c.parameter_5);
}

// Options of a change mean nothing where nothing is changed.
inline void demand_a_setting(const command& asked, verb shows) {
    if (asked.verb == shows && (asked.dry_run || !asked.wait_for_effect || asked.effect_timeout))
        throw CLI::ValidationError("--timeout, --no-wait and --dry-run", "are for a change");
}

template <typename change>
void demand_a_change(CLI::App& app, const change& asked) {
    app.callback([&app, &asked] {
        if (changes_nothing(asked)) throw CLI::ValidationError(app.get_name(), "give at least one setting");
    });
}

}  // namespace poectl
