// port N [show|set ...]: one port.
#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/page_parts.h"
#include "poectl/pictures.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/change.h"
#include "poectl/verbs/demand.h"
#include "poectl/verbs/port_change.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;

namespace {

std::string reported(std::uint8_t value) {
    return value == poe_client::not_reported ? unknown_cell : std::to_string(value);
}

std::string with_unit(const std::string& figure, const char* unit) {
    return figure == unknown_cell ? figure : figure + " " + unit;
}

std::string mode_with_meaning(std::int8_t mode) {
    const auto* known = power_mode_of(mode);
    return mode_words(mode) + (known == nullptr ? "" : ": " + std::string(known->meaning));
}

choices mode_choices() {
    choices names;
    for (const auto& mode : power_modes)
        names.emplace_back(mode.name);
    return names;
}

block settings_list(const port_reading& port) {
    const auto& settings = port.settings;
    const std::string period = schedule_words(settings.schedule_enable, port.status.schedule_on);
    return labels({{cell("Settings", tone::heading)},
                   {"  enabled", yes_no(settings.enable != 0)},
                   {"  power limit", tenths(settings.power_limit_dw) + " W"},
                   {"  priority", priority_name(settings.priority)},
                   {"  mode", mode_with_meaning(settings.mode)},
                   {"  schedule", settings.schedule_enable == 0 ? "not obeyed" : "obeyed, in an " + period},
                   {"  off in a power-cycle", std::to_string(settings.re_enable_s) + " s"}});
}

block measured_list(const poe_client::port_status& status) {
    const bool known = is_measured(status);
    return labels({{cell("Measured", tone::heading)},
                   {"  class of the device", class_words(status.status, status.detected_class)},
                   {"  power", with_unit(known_tenths(known, status.power_mw), "W")},
                   {"  voltage", with_unit(known_tenths(known, status.voltage_mv), "V")},
                   {"  current", known ? std::to_string(status.current_ma) + " mA" : unknown_cell},
                   {"  temperature", with_unit(known_tenths(known, status.temperature_mc), "C")},
                   {"  switched off by itself", yes_no(status.auto_off)}});
}

block events_list(const poe_client::port_status& status) {
    const auto& totals = status.event_totals;
    return labels({{cell("Since the daemon started", tone::heading)},
                   {"  overloads", std::to_string(totals[0])},
                   {"  short circuits", std::to_string(totals[1])},
                   {"  power denials", std::to_string(totals[2])},
                   {"  disconnections", std::to_string(totals[3])},
                   {"  bad signatures", std::to_string(totals[4])}});
}

block pair_set_table(const poe_client::port_status& status) {
    block table = table_of({{.heading = "PAIR SET"},
                            {.heading = "STATUS"},
                            {.heading = "CLASS", .to_the_right = true, .leaves = 5},
                            {.heading = "POWER W", .to_the_right = true},
                            {.heading = "VOLTAGE V", .to_the_right = true, .leaves = 4},
                            {.heading = "CURRENT mA", .to_the_right = true, .leaves = 3},
                            {.heading = "ERROR", .to_the_right = true, .leaves = 2},
                            {.heading = "SUB-STATUS", .to_the_right = true, .leaves = 1}});
    const bool known = is_measured(status);
    for (std::size_t i = 0; i < status.pair_set.size(); i++) {
        const auto& pair_set = status.pair_set[i];
        table.rows.push_back({pair_set_name(i), status_cell(pair_set.status),
                              class_words(pair_set.status, pair_set.detected_class),
                              known_tenths(known, pair_set.power_mw), known_tenths(known, pair_set.voltage_mv),
                              known ? std::to_string(pair_set.current_ma) : unknown_cell, reported(pair_set.error_code),
                              reported(pair_set.sub_status)});
    }
    return table;
}

block headline(const poe_client::port_status& status) {
    std::string who = port_words(status.port);
    who.front() = 'P';
    block line;
    line.rows.push_back({who + ": ", status_cell(status.status)});
    return line;
}

}  // namespace

void add_port(command_line& line) {
    auto& asked = line.asked;
    auto* port = line.add(line.app, "port", "one port: show all about it, or set how it works", verb::port_show);
    port->group(group_look);
    line.add_port_choice(*port, asked.port)->required();
    auto* show = line.add(*port, "show", "settings and status", verb::port_show);
    for (auto* one : {port, show})
        one->add_flag("--why", asked.why, "what the status means, what usually causes it and what to do");
    auto* set = line.add(*port, "set", "change settings; what is not named stays", verb::port_set);
    auto& change = asked.port_change;
    line.add_choice(*set, "--enable", change.enable, parse_on_off, "may the port deliver power?", on_or_off());
    line.add_value(*set, "--limit", change.power_limit_dw, parse_limit_dw, "power limit, 1.0 to 90.0 watts", "W");
    line.add_choice(*set, "--priority", change.priority, parse_priority, "who keeps power when the budget is short",
                    {"critical", "high", "low"});
    line.add_choice(*set, "--mode", change.mode, parse_mode, "what the port may draw; its number, 0 to 4, does as well",
                    mode_choices());
    line.add_choice(*set, "--schedule", change.schedule_enable, parse_on_off, "does the port obey its schedule?",
                    on_or_off());
    line.add_value(*set, "--re-enable", change.re_enable_s, parse_re_enable_s, "off time of a power-cycle, 5 to 60 s",
                   "S");
    demand_a_change(*set, change);
    add_waiting(line, *set, "10 s");
    port->callback([&asked] {
        if (asked.why && asked.verb == verb::port_set) throw CLI::ValidationError("--why", "is for show");
    });
    port->require_subcommand(0, 1);
}

failure show_port(const command& asked, connection& daemon, picture& seen) {
    port_reading port{};
    controller_reading controller{};
    const failure error =
        read_beside_controller(daemon, controller, [&] { return read_port(daemon, asked.port, port); });
    if (!succeeded(error)) return error;
    depict_port(port, asked.why, seen, controller.answers);
    return {};
}

void depict_port(const port_reading& port, bool why, picture& seen, bool controller_answers) {
    seen.add("ports", port_facts(port));
    seen.page = {headline(port.status),       power_cycle_lines(std::span(&port, 1)),
                 settings_list(port),         measured_list(port.status),
                 pair_set_table(port.status), events_list(port.status)};
    add_controller(controller_answers, seen);
    if (why) {
        const auto& pair_sets = port.status.pair_set;
        explain(seen, {port.status.status, pair_sets[0].status, pair_sets[1].status});
    }
}

failure set_port(const command& asked, connection& daemon, picture& seen) {
    change_records before;
    const failure error = look_at_ports(daemon, before);
    if (!succeeded(error)) return error;
    const std::uint8_t port = asked.port;
    const auto change = in_company(asked.port_change, before.all.ports[port].settings);
    const planned_change planned{
        .words = port_words(port) + " " + words_of(asked.port_change),
        .ports = poe_client::bit_of_port(port),
        .request = poe_client::encode_set_port(port, change),
        .send = [&](connection& to) { return poe_client::set_port(to, port, change); },
        .look = look_at_ports,
        .judge = [&](const auto& was,
                     const auto& is) { return sight_of_port_change(port, asked.port_change, was, is); },
        .look_with = "poectl port " + std::to_string(panel_number(port))};
    return carry_out(asked, daemon, planned, before, seen);
}

}  // namespace poectl
