// status: the system and all ports.
#include "poectl/command_line.h"
#include "poectl/page_parts.h"
#include "poectl/pictures.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"

namespace poectl {

namespace {

block system_lines(const system_reading& system) {
    const auto& [status, settings] = system;
    const auto temperature_mc = known_temperature_mc(status);
    block lines;
    lines.rows.push_back(
        {"PoE ", cell(enabled_word(settings.enable), settings.enable != 0 ? tone::good : tone::bad), ": ",
         thousandths_as_tenths(status.consumed_mw) + " W of " + thousandths_as_tenths(status.total_mw) + " W used, " +
             thousandths_as_tenths(status.remaining_mw) + " W left; controller " +
             (temperature_mc ? thousandths_as_tenths(*temperature_mc) + " C" : "temperature unknown")});
    const std::string at = " at " + std::to_string(settings.threshold_percent) + " % of the budget";
    if (status.alarm_raised) {
        lines.rows.push_back({cell("Usage alarm RAISED" + at, tone::bad)});
    } else {
        lines.rows.push_back({"Usage alarm" + at + ": not raised"});
    }
    return lines;
}

block port_table(std::span<const port_reading> ports) {
    block table = table_of({{.heading = "PORT", .to_the_right = true},
                            {.heading = "INTERFACE", .leaves = 8},
                            {.heading = "ENABLED", .leaves = 9},
                            {.heading = "STATUS"},
                            {.heading = "CLASS", .to_the_right = true, .leaves = 7},
                            {.heading = "POWER W", .to_the_right = true},
                            {.heading = "LIMIT W", .to_the_right = true, .leaves = 6},
                            {.heading = "VOLTAGE V", .to_the_right = true, .leaves = 4},
                            {.heading = "CURRENT mA", .to_the_right = true, .leaves = 3},
                            {.heading = "TEMPERATURE C", .to_the_right = true, .leaves = 2},
                            {.heading = "PRIORITY", .leaves = 5},
                            {.heading = "SCHEDULE", .leaves = 1}});
    for (const auto& [status, settings, cycle_pending, on_again_s] : ports) {
        const bool known = is_measured(status);
        table.rows.push_back({std::to_string(panel_number(status.port)), interface_name(status.port),
                              yes_no(status.enable != 0), status_cell(status.status),
                              class_words(status.status, status.detected_class), known_tenths(known, status.power_mw),
                              tenths(settings.power_limit_dw), known_tenths(known, status.voltage_mv),
                              known ? std::to_string(status.current_ma) : unknown_cell,
                              known_tenths(known, status.temperature_mc), priority_name(settings.priority),
                              schedule_words(status.schedule_enable, status.schedule_on)});
    }
    return table;
}

}  // namespace

void add_status(command_line& line) {
    auto* status = line.add(line.app, "status", "the system and all ports", verb::status);
    status->group(group_look);
    status->add_flag("--why", line.asked.why, "what each status means, what usually causes it and what to do");
}

poe_client::failure show_status(const command& asked, poe_client::connection& daemon, picture& seen) {
    whole_reading all{};
    controller_reading controller{};
    const auto error = read_beside_controller(daemon, controller, [&] { return read_whole(daemon, all); });
    if (!succeeded(error)) return error;
    depict_status(all, asked.why, seen, controller.answers);
    return {};
}

void depict_status(const whole_reading& all, bool why, picture& seen, bool controller_answers) {
    seen.add("system", system_facts(all.system));
    std::set<std::uint32_t> statuses;
    for (const auto& port : all.ports) {
        seen.add("ports", port_facts(port));
        statuses.insert(port.status.status);
    }
    seen.page = {system_lines(all.system), port_table(all.ports), power_cycle_lines(all.ports)};
    add_controller(controller_answers, seen);
    if (why) explain(seen, statuses);
}

}  // namespace poectl
