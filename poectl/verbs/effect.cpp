#include "poectl/verbs/effect.h"

#include <algorithm>

#include "poectl/page_parts.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/check.h"
#include "poectl/verbs/energy_rings.h"
#include "poectl/words.h"

namespace poectl {

using poe_client::bit_of_port;
using poe_client::port_bitmap;
using poe_client::port_count;

namespace {

constexpr std::uint32_t status_disabled = 0;
constexpr std::uint32_t status_searching = 2;
constexpr std::uint32_t status_requesting = 9;
constexpr std::uint32_t status_auto_off = 13;

value_seen yes_or_no(std::int64_t value) {
    return {value != 0, std::string(yes_no(value != 0))};
}

value_seen watts_of(std::uint32_t limit_dw) {
    return {std::uint64_t{limit_dw} * mw_a_dw, tenths(limit_dw) + " W"};
}

value_seen priority_of(std::int8_t priority) {
    return {priority_name(priority), std::string(priority_name(priority))};
}

value_seen number(std::int64_t value, const char* unit = "") {
    return {value, std::to_string(value) + unit};
}

value_seen percent(std::int8_t value) {
    return number(value, " %");
}

value_seen seconds(std::int8_t value) {
    return number(value, " s");
}

value_seen mode_of(std::int8_t mode) {
    return {mode, mode_words(mode)};
}

value_seen plain_number(std::int8_t value) {
    return number(value);
}

value_seen period(std::int8_t on) {
    return {on > 0, std::string(on_off(on > 0))};
}

value_seen status_value(std::uint32_t status) {
    return {poe_client::status_name(status), status_words(status)};
}

// A value that is wanted as it is given.
template <typename number, typename write>
aim value_aim(std::string_view setting, std::string_view label, number was, number wanted, number is, write as,
              proof proved_by = proof::record) {
    return {.port = {},
            .setting = setting,
            .label = label,
            .was = as(was),
            .wanted = as(wanted),
            .is = as(is),
            .seen = is == wanted,
            .proved_by = was == wanted ? proof::record : proved_by};
}

enum class port_shall : std::uint8_t { be_off, be_on, deliver };

port_shall be_on_if(bool on) {
    return on ? port_shall::be_on : port_shall::be_off;
}

value_seen wanted_status(port_shall what) {
    if (what == port_shall::deliver) return status_value(poe_client::status_delivering);
    return {nullptr, what == port_shall::be_on ? "searching or delivering" : "disabled"};
}

bool does(port_shall what, const poe_client::port_status& port) {
    if (what == port_shall::deliver) return shows_on(port.status) && delivers(port);
    return what == port_shall::be_on ? shows_on(port.status) : shows_off(port.status);
}

aim status_aim(std::uint8_t port, port_shall what, const change_records& before, const change_records& now) {
    const auto was = before.all.ports[port].status.status, is = now.all.ports[port].status.status;
    return {.port = port,
            .setting = "status",
            .label = "status",
            .was = status_value(was),
            .wanted = wanted_status(what),
            .is = status_value(is),
            .seen = does(what, now.all.ports[port].status),
            .proved_by = what == port_shall::be_off ? proof::record : proof::reading};
}

// A port that is on and has nothing to deliver to is as it shall be; still, somebody may have expected more.
void note_what_keeps_it_from_delivering(const poe_client::port_status& port, std::vector<std::string>& notes) {
    if (!shows_on(port.status) || delivers(port)) return;
    const std::string who = port_words(port.port) + " is on";
    const bool waits = port.status == status_searching || port.status == status_requesting;
    notes.push_back(waits ? who + "; no device has taken power yet."
                          : who + " and does not deliver: 'poectl port " + std::to_string(panel_number(port.port)) +
                                " --why' says why.");
}

std::string why_it_stays_off(std::uint8_t port, const poe_client::system_settings& system,
                             const poe_client::port_settings& settings) {
    const std::string who = port_words(port) + " stays off: ";
    if (system.enable == 0) return who + "PoE as a whole is disabled.";
    if (settings.enable == 0) return who + "it is disabled.";
    return who + "its schedule is in an off period.";
}

// A limit takes effect at once on what draws more.
std::string drew_more(const std::string& who, std::uint32_t drew_mw, const std::string& what_may_happen) {
    return who + " drew " + thousandths_as_tenths(drew_mw) + " W, more than this limit: the controller may " +
           what_may_happen;
}

poe_client::port_settings merged(poe_client::port_settings settings, const poe_client::port_settings_change& change) {
    settings.enable = change.enable.value_or(settings.enable);
    settings.schedule_enable = change.schedule_enable.value_or(settings.schedule_enable);
    return settings;
}

bool has_no_energy(const poe_client::port_energy& port) {
    const auto valid = [](const poe_client::energy_slot& slot) { return slot.valid; };
    return port.powered_s == 0 && !(port.energy_wh > 0) && std::ranges::none_of(port.minutes, valid) &&
           std::ranges::none_of(port.half_hours, valid) && std::ranges::none_of(port.two_hours, valid);
}

std::uint64_t filled_slots(const energy_ring& ring) {
    return static_cast<std::uint64_t>(std::ranges::count_if(ring.slots, &poe_client::energy_slot::valid));
}

std::int64_t recorded_minutes(const poe_client::port_energy& port) {
    std::uint64_t longest_s = 0;
    for (const auto& ring : rings_of(port))
        longest_s = std::max(longest_s, filled_slots(ring) * ring.period_s);
    return static_cast<std::int64_t>(longest_s / minute_s);
}

bool is_filled_for(std::uint32_t minutes, const poe_client::port_energy& port) {
    return std::ranges::all_of(rings_of(port), [minutes](const energy_ring& ring) {
        const std::uint64_t whole_periods = std::uint64_t{minutes} * minute_s / ring.period_s;
        return filled_slots(ring) == std::min<std::uint64_t>(whole_periods, ring.slots.size());
    });
}

value_seen energy_value(const poe_client::port_energy& port) {
    if (has_no_energy(port)) return {"empty", "empty"};
    return {"filled", std::to_string(port.powered_s) + " s powered, and its history"};
}

template <typename judge>
void for_each_port(port_bitmap ports, judge one) {
    for (std::uint8_t port = 0; port < port_count; port++) {
        if ((ports & bit_of_port(port)) != 0) one(port);
    }
}

}  // namespace

bool should_deliver(const poe_client::system_settings& system, const poe_client::port_settings& port,
                    bool in_on_period) {
    return system.enable != 0 && port.enable != 0 && (port.schedule_enable == 0 || in_on_period);
}

bool shows_on(std::uint32_t status) {
    return status != status_disabled && status != poe_client::status_not_read_yet;
}

bool shows_off(std::uint32_t status) {
    return status == status_disabled || status == status_auto_off;
}

bool delivers(const poe_client::port_status& port) {
    return port.status == poe_client::status_delivering || std::ranges::any_of(port.pair_set, [](const auto& one) {
               return one.status == poe_client::status_delivering;
           });
}

sight sight_of_port_change(std::uint8_t port, const poe_client::port_settings_change& change,
                           const change_records& before, const change_records& now) {
    const auto &was = before.all.ports[port].settings, &is = now.all.ports[port].settings;
    sight all;
    const auto add = [&](std::string_view setting, std::string_view label, auto member, const auto& wanted, auto as,
                         proof proved_by) {
        if (!wanted) return;
        all.aims.push_back(value_aim(setting, label, was.*member, *wanted, is.*member, as, proved_by));
        all.aims.back().port = port;
    };
    using settings = poe_client::port_settings;
    const bool switches_off = change.enable == std::int8_t{0};
    add("enabled", "enabled", &settings::enable, change.enable, yes_or_no,
        switches_off ? proof::controller : proof::record);
    add("limit_mw", "power limit", &settings::power_limit_dw, change.power_limit_dw, watts_of, proof::controller);
    add("priority", "priority", &settings::priority, change.priority, priority_of, proof::controller);
    add("mode", "mode", &settings::mode, change.mode, mode_of, proof::controller);
    add("schedule_enabled", "obeys its schedule", &settings::schedule_enable, change.schedule_enable, yes_or_no,
        proof::record);
    add("re_enable_s", "off in a power-cycle", &settings::re_enable_s, change.re_enable_s, seconds, proof::record);
    const std::uint32_t drew_mw = before.all.ports[port].status.power_mw;
    if (change.power_limit_dw && drew_mw > std::uint64_t{*change.power_limit_dw} * mw_a_dw && !switches_off)
        all.notes.push_back(drew_more(port_words(port), drew_mw, "switch it off, which 'poectl port ") +
                            std::to_string(panel_number(port)) + " --why' would show.");
    if (change.enable || change.schedule_enable) {
        const auto wanted = merged(is, change);
        const bool on = should_deliver(now.all.system.settings, wanted, now.all.ports[port].status.schedule_on > 0);
        all.aims.push_back(status_aim(port, be_on_if(on), before, now));
        if (!on && wanted.enable != 0) all.notes.push_back(why_it_stays_off(port, now.all.system.settings, wanted));
        if (on) note_what_keeps_it_from_delivering(now.all.ports[port].status, all.notes);
        if (wanted.enable == 0 && now.all.ports[port].cycle_pending)
            all.notes.push_back(port_words(port) + " is being power-cycled, which enables it in " +
                                std::to_string(now.all.ports[port].on_again_s) + " s, whatever is set before.");
    }
    return all;
}

sight sight_of_system_change(const poe_client::system_settings_change& change, const change_records& before,
                             const change_records& now) {
    const auto &was = before.all.system.settings, &is = now.all.system.settings;
    sight all;
    const auto add = [&](std::string_view setting, std::string_view label, auto member, const auto& wanted, auto as,
                         proof proved_by) {
        if (wanted) all.aims.push_back(value_aim(setting, label, was.*member, *wanted, is.*member, as, proved_by));
    };
    using settings = poe_client::system_settings;
    const bool switches_off = change.enable == std::int8_t{0};
    add("enabled", "PoE enabled", &settings::enable, change.enable, yes_or_no,
        switches_off ? proof::controller : proof::record);
    add("threshold_percent", "usage alarm at", &settings::threshold_percent, change.threshold_percent, percent,
        proof::record);
    add("parameter_1", "parameter 1", &settings::parameter_1, change.parameter_1, plain_number, proof::never);
    add("parameter_2", "parameter 2", &settings::parameter_2, change.parameter_2, plain_number, proof::record);
    add("parameter_4", "parameter 4", &settings::parameter_4, change.parameter_4, plain_number, proof::record);
    add("parameter_5", "parameter 5", &settings::parameter_5, change.parameter_5, plain_number, proof::record);
    if (!change.enable) return all;
    auto wanted = is;
    wanted.enable = *change.enable;
    for (std::uint8_t port = 0; port < port_count; port++) {
        const auto& reading = now.all.ports[port];
        all.aims.push_back(status_aim(
            port, be_on_if(should_deliver(wanted, reading.settings, reading.status.schedule_on > 0)), before, now));
    }
    return all;
}

sight sight_of_bank_change(std::uint16_t limit_w, const change_records& before, const change_records& now) {
    const auto as = [](std::uint16_t watts) { return number(watts, " W"); };
    sight all{.aims = {value_aim("limit_w", "bank limit", before.bank.limit_w, limit_w, now.bank.limit_w, as,
                                 proof::controller)},
              .notes = {}};
    const std::uint32_t drew_mw = before.all.system.status.consumed_mw;
    if (drew_mw > std::uint64_t{limit_w} * mw_a_w)
        all.notes.push_back(
            drew_more("All ports together", drew_mw, "switch ports off, which 'poectl status' would show."));
    return all;
}

sight sight_of_schedule_change(port_bitmap ports, bool on, const change_records& before, const change_records& now) {
    sight all;
    for_each_port(ports, [&](std::uint8_t port) {
        const auto& reading = now.all.ports[port];
        const auto wanted = static_cast<std::int8_t>(on);
        all.aims.push_back(value_aim("schedule_on", "schedule period", before.all.ports[port].status.schedule_on,
                                     wanted, reading.status.schedule_on, period));
        all.aims.back().port = port;
        if (reading.settings.schedule_enable == 0) {
            all.notes.push_back(port_words(port) + " does not obey its schedule: 'poectl port " +
                                std::to_string(panel_number(port)) + " set --schedule on' makes it.");
            return;
        }
        const bool delivers_then = should_deliver(now.all.system.settings, reading.settings, on);
        all.aims.push_back(status_aim(port, be_on_if(delivers_then), before, now));
        if (on && !delivers_then)
            all.notes.push_back(why_it_stays_off(port, now.all.system.settings, reading.settings));
    });
    return all;
}

// The tick of a port's entry is that of its latest power-cycle, and stays when the port is on again. A device that had
// power gets it again; until then whoever restarts it is not done.
sight sight_of_cycle(port_bitmap ports, const change_records& before, const change_records& now) {
    sight all;
    for_each_port(ports, [&](std::uint8_t port) {
        const auto &was = before.all.cycles.port[port], &is = now.all.cycles.port[port];
        const auto& reading = now.all.ports[port];
        const bool begun = is.pending || is.tick != was.tick;
        auto enabled = reading.settings;
        enabled.enable = 1;
        const bool on = should_deliver(now.all.system.settings, enabled, reading.status.schedule_on > 0);
        const std::string ended = on ? "on again" : "over";
        const std::string words = !begun       ? "not begun"
                                  : is.pending ? "off, " + ended + " in " + std::to_string(reading.on_again_s) + " s"
                                               : ended;
        all.aims.push_back({.port = port,
                            .setting = "power_cycle",
                            .label = "power-cycle",
                            .was = {was.pending ? "pending" : "none", was.pending ? "pending" : "none"},
                            .wanted = {"done", ended},
                            .is = {!begun       ? "none"
                                   : is.pending ? "pending"
                                                : "done",
                                   words},
                            .seen = begun && !is.pending && reading.settings.enable != 0,
                            .proved_by = proof::record});
        const bool delivered = delivers(before.all.ports[port].status);
        all.aims.push_back(status_aim(port, on && delivered ? port_shall::deliver : be_on_if(on), before, now));
        if (!on) all.notes.push_back(why_it_stays_off(port, now.all.system.settings, enabled));
        if (on && !delivered && begun && !is.pending) note_what_keeps_it_from_delivering(reading.status, all.notes);
    });
    return all;
}

sight sight_of_energy_kept(bool wanted, const change_records& before, const change_records& now) {
    return {.aims = {value_aim("kept_in_flash", "kept in flash", before.energy_kept, wanted, now.energy_kept,
                               [](bool kept) { return yes_or_no(kept); })},
            .notes = {}};
}

// A port that delivers counts on at once.
sight sight_of_energy_reset(port_bitmap ports, const change_records& before, const change_records& now) {
    sight all;
    for_each_port(ports, [&](std::uint8_t port) {
        const auto &was = before.energy[port], &is = now.energy[port];
        all.aims.push_back({.port = port,
                            .setting = "energy_record",
                            .label = "energy record",
                            .was = energy_value(was),
                            .wanted = {"empty", "empty"},
                            .is = energy_value(is),
                            .seen = has_no_energy(is) || is.powered_s < was.powered_s,
                            .proved_by = proof::record});
    });
    return all;
}

// Each ring of a port's history is filled as far as the minutes reach.
sight sight_of_made_up_history(std::uint32_t minutes, const change_records& before, const change_records& now) {
    sight all;
    for (std::uint8_t port = 0; port < port_count; port++) {
        const auto &was = before.energy[port], &is = now.energy[port];
        all.aims.push_back({.port = port,
                            .setting = "history_minutes",
                            .label = "history",
                            .was = number(recorded_minutes(was), " min"),
                            .wanted = number(minutes, " min"),
                            .is = number(recorded_minutes(is), " min"),
                            .seen = is_filled_for(minutes, is),
                            .proved_by = proof::record});
    }
    return all;
}

bool all_seen(const std::vector<aim>& aims) {
    return std::ranges::all_of(aims, &aim::seen);
}

bool more_can_come(const std::vector<aim>& aims) {
    return std::ranges::any_of(aims, [](const aim& one) { return !one.seen && one.proved_by != proof::never; });
}

std::uint64_t doubtful_transactions(const std::vector<aim>& aims, const change_records& before,
                                    const change_records& now) {
    const bool needs_some =
        std::ranges::any_of(aims, [](const aim& one) { return one.proved_by == proof::controller; });
    const std::uint64_t was = failed_transactions(before.counters), is = failed_transactions(now.counters);
    return needs_some && is > was ? is - was : 0;
}

std::string unseen_words(const std::vector<aim>& aims) {
    std::string words;
    for (const auto& one : aims) {
        if (one.seen) continue;
        words += (words.empty() ? "" : "; ") + (one.port ? port_words(*one.port) + ": " : "") + std::string(one.label) +
                 " is " + one.is.words + ", wanted: " + one.wanted.words;
    }
    return words;
}

}  // namespace poectl
