#include "poectl/text.h"

#include <algorithm>
#include <cctype>

#include "poectl/energy_text.h"
#include "poectl/words.h"

namespace poectl {

namespace {

using row = std::vector<std::string>;

constexpr const char* nothing_to_say = "-";

std::string word(std::string_view text) {
    return std::string(text);
}

std::string status_cell(std::uint32_t status) {
    return std::to_string(status) + " " + word(poe_client::status_name(status));
}

std::string class_cell(std::uint32_t status, std::uint8_t detected_class) {
    const auto known = known_class(status, detected_class);
    return known ? std::to_string(*known) : nothing_to_say;
}

std::string reported(std::uint8_t value) {
    return value == poe_client::not_reported ? nothing_to_say : std::to_string(value);
}

bool is_to_the_right(const std::string& cell) {
    return !cell.empty() && cell.find_first_not_of("0123456789.:-") == std::string::npos;
}

std::string power_cycle_lines(const std::vector<port_picture>& ports) {
    std::string lines;
    for (const auto& port : ports) {
        if (!port.cycle_pending) continue;
        lines += "Port " + std::to_string(panel_number(port.settings.port)) + " is being power-cycled: on again in " +
                 std::to_string(port.on_again_s) + " s.\n";
    }
    return lines;
}

std::string system_line(const system_picture& system) {
    const auto& status = system.status;
    return "PoE " + word(on_off(system.settings.enable)) + ": " + thousandths_as_tenths(status.consumed_mw) + " W of " +
           thousandths_as_tenths(status.total_mw) + " W used, " + thousandths_as_tenths(status.remaining_mw) +
           " W left; controller " + thousandths_as_tenths(status.temperature_mc) + " C; usage alarm at " +
           std::to_string(system.settings.threshold_percent) + " %" +
           (status.alarm_raised ? " RAISED" : ", not raised") + "\n";
}

std::string status_text(const picture& seen) {
    std::vector<row> rows{{"PORT", "ENABLED", "STATUS", "CLASS", "POWER W", "LIMIT W", "VOLTAGE V", "CURRENT mA",
                           "TEMPERATURE C", "PRIORITY", "SCHEDULE"}};
    for (const auto& [status, settings, cycle_pending, on_again_s] : seen.ports) {
        rows.push_back({std::to_string(panel_number(status.port)), word(on_off(status.enable)),
                        status_cell(status.status), class_cell(status.status, status.detected_class),
                        thousandths_as_tenths(status.power_mw), tenths(settings.power_limit_dw),
                        thousandths_as_tenths(status.voltage_mv), std::to_string(status.current_ma),
                        thousandths_as_tenths(status.temperature_mc), word(priority_name(settings.priority)),
                        status.schedule_enable == 0 ? "none" : word(on_off(status.schedule_on > 0)) + " period"});
    }
    return system_line(*seen.system) + "\n" + table(rows) + power_cycle_lines(seen.ports);
}

std::string port_text(const picture& seen) {
    const auto& [status, settings, cycle_pending, on_again_s] = seen.ports.front();
    std::string text =
        "Port " + std::to_string(panel_number(status.port)) + ": status " + status_cell(status.status) + "\n\n";
    text += table(
        {{"enabled", word(on_off(settings.enable))},
         {"power limit", tenths(settings.power_limit_dw) + " W"},
         {"priority", word(priority_name(settings.priority))},
         {"mode", std::to_string(settings.mode) + " "},
         {"schedule",
          word(on_off(settings.schedule_enable)) +
              (settings.schedule_enable == 0 ? "" : ", in an " + word(on_off(status.schedule_on > 0)) + " period")},
         {"off in a power-cycle", std::to_string(settings.re_enable_s) + " s"},
         {"switched off automatically", status.auto_off ? "yes" : "no"},
         {"power", thousandths_as_tenths(status.power_mw) + " W"},
         {"voltage", thousandths_as_tenths(status.voltage_mv) + " V"},
         {"current", std::to_string(status.current_ma) + " mA"},
         {"temperature", thousandths_as_tenths(status.temperature_mc) + " C"}});
    std::vector<row> pair_sets{
        {"PAIR SET", "STATUS", "CLASS", "POWER W", "VOLTAGE V", "CURRENT mA", "ERROR", "SUB-STATUS"}};
    for (std::size_t i = 0; i < status.pair_set.size(); i++) {
        const auto& pair_set = status.pair_set[i];
        pair_sets.push_back(
            {word(pair_set_name(i)), status_cell(pair_set.status), class_cell(pair_set.status, pair_set.detected_class),
             thousandths_as_tenths(pair_set.power_mw), thousandths_as_tenths(pair_set.voltage_mv),
             std::to_string(pair_set.current_ma), reported(pair_set.error_code), reported(pair_set.sub_status)});
    }
    text += "\n" + table(pair_sets) + "\nEvents since start:";
    for (const auto total : status.event_totals)
        text += " " + std::to_string(total);
    return text + "\n" + power_cycle_lines(seen.ports);
}

std::string system_text(const system_picture& system) {
    const auto& [status, settings] = system;
    return table({{"PoE", word(on_off(settings.enable))},
                  {"total power", thousandths_as_tenths(status.total_mw) + " W"},
                  {"consumed power", thousandths_as_tenths(status.consumed_mw) + " W"},
                  {"remaining power", thousandths_as_tenths(status.remaining_mw) + " W"},
                  {"controller temperature", thousandths_as_tenths(status.temperature_mc) + " C"},
                  {"usage alarm at", std::to_string(settings.threshold_percent) + " %"},
                  {"usage alarm", status.alarm_raised ? "raised" : "not raised"},
                  {"parameter 1", std::to_string(settings.parameter_1) + " "},
                  {"parameter 2", std::to_string(settings.parameter_2) + " "},
                  {"parameter 4", std::to_string(settings.parameter_4) + " "},
                  {"parameter 5", std::to_string(settings.parameter_5) + " "}});
}

std::string counters_text(const poe_client::communication_counters& counters) {
    return table(
        {{"COUNTER", "COUNT", "MEANING"},
         {"total", std::to_string(counters.total), "transactions begun"},
         {"rx_retry", std::to_string(counters.rx_retry), "attempts without an answer"},
         {"rx_timeout", std::to_string(counters.rx_timeout), "transactions given up"},
         {"rx_chksum_error", std::to_string(counters.rx_chksum_error), "answers with a wrong checksum"},
         {"tx_correctly_executed", std::to_string(counters.tx_correctly_executed), "answers without an error report"},
         {"tx_chksum_error", std::to_string(counters.tx_chksum_error), "the controller saw a wrong checksum"},
         {"tx_subject_byte_conflict", std::to_string(counters.tx_subject_byte_conflict), "always 0"},
         {"tx_wrong_data_byte_value", std::to_string(counters.tx_wrong_data_byte_value), "always 0"},
         {"undefined_key_value", std::to_string(counters.undefined_key_value),
          "the controller did not know the command"}});
}

}  // namespace

std::string table(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& cells : rows) {
        widths.resize(std::max(widths.size(), cells.size()));
        for (std::size_t i = 0; i < cells.size(); i++)
            widths[i] = std::max(widths[i], cells[i].size());
    }
    std::string text;
    for (const auto& cells : rows) {
        std::string line;
        for (std::size_t i = 0; i < cells.size(); i++) {
            const std::string padding(widths[i] - cells[i].size(), ' ');
            line += (i > 0 ? "  " : "") + (is_to_the_right(cells[i]) ? padding + cells[i] : cells[i] + padding);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::string as_text(const command& asked, const picture& seen, output to) {
    switch (asked.verb) {
        case verb::status:
            return status_text(seen);
        case verb::port_show:
            return port_text(seen);
        case verb::system_show:
            return system_text(*seen.system);
        case verb::bank_show:
            return table({{"bank limit", std::to_string(seen.bank->limit_w) + " W"},
                          {"second value", std::to_string(seen.bank->second) + " "}});
        case verb::counters:
            return counters_text(*seen.counters);
        case verb::queue:
            return "deepest set queue so far: " + std::to_string(*seen.deepest_queue) + "\n";
        case verb::energy_show:
            return energy_text(*seen.energy);
        case verb::energy_port:
            return to == output::terminal ? port_energy_plots(*seen.port_energy)
                                          : port_energy_columns(*seen.port_energy);
        default:
            return seen.done + "\n";
    }
}

}  // namespace poectl
