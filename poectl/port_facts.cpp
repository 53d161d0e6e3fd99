#include "poectl/port_facts.h"

#include "poectl/page_parts.h"
#include "poectl/words.h"

namespace poectl {

facts coded(std::int64_t code, std::string_view name) {
    return {{"code", code}, {"name", name}};
}

namespace {

facts reported(std::uint8_t value) {
    return value == poe_client::not_reported ? facts(nullptr) : facts(value);
}

facts status_facts(std::uint32_t status) {
    return coded(status, poe_client::status_name(status));
}

facts class_facts(std::uint32_t status, std::uint8_t detected_class) {
    const auto known = known_class(status, detected_class);
    return known ? facts(*known) : facts(nullptr);
}

template <typename number>
facts only_if(bool known, number value) {
    return known ? facts(value) : facts(nullptr);
}

facts pair_set_facts(std::size_t index, const poe_client::pair_set_status& pair_set, bool measured) {
    return {{"pair_set", pair_set_name(index)},
            {"status", status_facts(pair_set.status)},
            {"class", class_facts(pair_set.status, pair_set.detected_class)},
            {"error_code", reported(pair_set.error_code)},
            {"sub_status", reported(pair_set.sub_status)},
            {"power_mw", only_if(measured, pair_set.power_mw)},
            {"voltage_mv", only_if(measured, pair_set.voltage_mv)},
            {"current_ma", only_if(measured, pair_set.current_ma)}};
}

facts event_facts(const std::array<std::uint32_t, poe_client::event_total_count>& totals) {
    return {{"overloads", totals[0]},
            {"short_circuits", totals[1]},
            {"power_denials", totals[2]},
            {"disconnections", totals[3]},
            {"bad_signatures", totals[4]}};
}

}  // namespace

facts port_name_facts(std::size_t port) {
    return {{"port", panel_number(port)}, {"interface", interface_name(port)}};
}

facts port_facts(const port_reading& port) {
    const auto& [status, settings, cycle_pending, on_again_s] = port;
    const bool measured = is_measured(status);
    facts all = port_name_facts(status.port);
    all.update(
        facts{{"status", status_facts(status.status)},
              {"class", class_facts(status.status, status.detected_class)},
              {"error_code", reported(status.error_code)},
              {"sub_status", reported(status.sub_status)},
              {"port_type", status.port_type},
              {"auto_off", status.auto_off},
              {"power_mw", only_if(measured, status.power_mw)},
              {"voltage_mv", only_if(measured, status.voltage_mv)},
              {"current_ma", only_if(measured, status.current_ma)},
              {"temperature_mc", only_if(measured, status.temperature_mc)},
              {"pair_sets", facts::array({pair_set_facts(0, status.pair_set[0], measured),
                                          pair_set_facts(1, status.pair_set[1], measured)})},
              {"event_totals", event_facts(status.event_totals)},
              {"settings",
               {{"enabled", settings.enable != 0},
                {"limit_mw", std::uint64_t{settings.power_limit_dw} * mw_a_dw},
                {"priority", coded(settings.priority, priority_name(settings.priority))},
                {"mode", settings.mode},
                {"schedule_enabled", settings.schedule_enable != 0},
                {"re_enable_s", settings.re_enable_s}}},
              {"schedule_on", status.schedule_on > 0},
              {"power_cycle", {{"pending", cycle_pending}, {"on_again_s", only_if(cycle_pending, on_again_s)}}}});
    return all;
}

facts controller_facts(bool answers) {
    return {{"answers", answers}};
}

facts system_facts(const system_reading& system) {
    const auto& [status, settings] = system;
    const auto temperature_mc = known_temperature_mc(status);
    return {{"total_mw", status.total_mw},
            {"consumed_mw", status.consumed_mw},
            {"remaining_mw", status.remaining_mw},
            {"temperature_mc", only_if(temperature_mc.has_value(), temperature_mc.value_or(0))},
            {"alarm_raised", status.alarm_raised},
            {"settings",
             {{"enabled", settings.enable != 0},
              {"threshold_percent", settings.threshold_percent},
              {"parameter_1", settings.parameter_1},
              {"parameter_2", settings.parameter_2},
              {"parameter_4", settings.parameter_4},
              {"parameter_5", settings.parameter_5}}}};
}

void explain(picture& seen, const std::set<std::uint32_t>& statuses) {
    for (const auto status : statuses) {
        const auto& code = poe_client::status_code_of(status);
        seen.add("explanations", {{"code", status},
                                  {"name", code.name},
                                  {"meaning", code.meaning},
                                  {"cause", code.cause},
                                  {"remedy", code.remedy}});
        block heading;
        heading.rows.push_back({status_cell(status), ":"});
        block three = labels({{"  means", code.meaning}, {"  cause", code.cause}, {"  to do", code.remedy}});
        three.follows_on = true;
        seen.page.push_back(std::move(heading));
        seen.page.push_back(std::move(three));
    }
}

}  // namespace poectl
