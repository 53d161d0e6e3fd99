// system [show|set ...]: PoE as a whole.
#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/page_parts.h"
#include "poectl/pictures.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/change.h"
#include "poectl/verbs/demand.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;

namespace {

std::string words_of(const poe_client::system_settings_change& change) {
    std::string words;
    const auto add = [&words](const std::string& what) { words += (words.empty() ? "" : ", ") + what; };
    const auto parameter = [&add](int number, const std::optional<std::int8_t>& value) {
        if (value) add("parameter " + std::to_string(number) + " " + std::to_string(*value));
    };
    if (change.enable) add("enable " + std::string(on_off(*change.enable)));
    if (change.threshold_percent) add("threshold " + std::to_string(*change.threshold_percent) + " %");
    parameter(1, change.parameter_1);
    parameter(2, change.parameter_2);
    parameter(4, change.parameter_4);
    parameter(5, change.parameter_5);
    return words;
}

}  // namespace

void add_system(command_line& line) {
    auto& asked = line.asked;
    auto* system =
        line.add(line.app, "system", "PoE as a whole: show budget and alarm, or set them", verb::system_show);
    system->group(group_look);
    line.add(*system, "show", "settings and status", verb::system_show);
    auto* set = line.add(*system, "set", "change settings; what is not named stays", verb::system_set);
    auto& change = asked.system_change;
    const choices zero_or_one{"0", "1"};
    line.add_choice(*set, "--enable", change.enable, parse_on_off, "PoE as a whole", on_or_off());
    line.add_value(*set, "--threshold", change.threshold_percent, parse_threshold_percent,
                   "usage alarm, 1 to 99 percent of the budget", "PERCENT");
    line.add_choice(*set, "--parameter-1", change.parameter_1, parse_zero_or_one,
                    "accepted by the daemon, which keeps its own", zero_or_one);
    line.add_choice(*set, "--parameter-2", change.parameter_2, parse_zero_or_one, "kept for other programs",
                    zero_or_one);
    line.add_choice(*set, "--parameter-4", change.parameter_4, parse_zero_or_one, "kept for other programs",
                    zero_or_one);
    line.add_choice(*set, "--parameter-5", change.parameter_5, parse_zero_or_one, "kept for other programs",
                    zero_or_one);
    demand_a_change(*set, change);
    add_waiting(line, *set, "10 s");
    system->require_subcommand(0, 1);
}

failure show_system(const command&, connection& daemon, picture& seen) {
    system_reading system{};
    controller_reading controller{};
    const failure error = read_beside_controller(daemon, controller, [&] { return read_system(daemon, system); });
    if (!succeeded(error)) return error;
    depict_system(system, seen, controller.answers);
    return {};
}

void depict_system(const system_reading& system, picture& seen, bool controller_answers) {
    const auto& [status, settings] = system;
    const auto temperature_mc = known_temperature_mc(status);
    seen.add("system", system_facts(system));
    seen.page = {labels(
        {{"PoE", cell(enabled_word(settings.enable), settings.enable != 0 ? tone::good : tone::bad)},
         {"budget", thousandths_as_tenths(status.total_mw) + " W"},
         {"consumed power", thousandths_as_tenths(status.consumed_mw) + " W"},
         {"remaining power", thousandths_as_tenths(status.remaining_mw) + " W"},
         {"controller temperature", temperature_mc ? thousandths_as_tenths(*temperature_mc) + " C" : unknown_cell},
         {"usage alarm at", std::to_string(settings.threshold_percent) + " % of the budget"},
         {"usage alarm", status.alarm_raised ? cell("RAISED", tone::bad) : cell("not raised")},
         {"parameter 1", std::to_string(settings.parameter_1)},
         {"parameter 2", std::to_string(settings.parameter_2)},
         {"parameter 4", std::to_string(settings.parameter_4)},
         {"parameter 5", std::to_string(settings.parameter_5)}})};
    add_controller(controller_answers, seen);
}

failure set_system(const command& asked, connection& daemon, picture& seen) {
    const auto& change = asked.system_change;
    return carry_out(asked, daemon,
                     {.words = "system " + words_of(change),
                      .ports = 0,
                      .request = poe_client::encode_set_system(change),
                      .send = [&](connection& to) { return poe_client::set_system(to, change); },
                      .look = look_at_ports,
                      .judge = [&](const auto& was, const auto& is) { return sight_of_system_change(change, was, is); },
                      .look_with = "poectl system"},
                     seen);
}

}  // namespace poectl
