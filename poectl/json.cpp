#include "poectl/json.h"

#include <nlohmann/json.hpp>

#include "poectl/energy_rings.h"
#include "poectl/words.h"

namespace poectl {

namespace {

using json = nlohmann::ordered_json;

json coded(std::int64_t code, std::string_view name) {
    return {{"code", code}, {"name", name}};
}

json status_of(std::uint32_t status) {
    return coded(status, poe_client::status_name(status));
}

json reported(std::uint8_t value) {
    return value == poe_client::not_reported ? json(nullptr) : json(value);
}

json class_of(std::uint32_t status, std::uint8_t detected_class) {
    const auto known = known_class(status, detected_class);
    return known ? json(*known) : json(nullptr);
}

json pair_set_json(std::size_t index, const poe_client::pair_set_status& pair_set) {
    return {{"pair_set", pair_set_name(index)},
            {"status", status_of(pair_set.status)},
            {"class", class_of(pair_set.status, pair_set.detected_class)},
            {"error_code", reported(pair_set.error_code)},
            {"sub_status", reported(pair_set.sub_status)},
            {"power_mw", pair_set.power_mw},
            {"voltage_mv", pair_set.voltage_mv},
            {"current_ma", pair_set.current_ma}};
}

json port_json(const port_picture& port) {
    const auto& [status, settings, cycle_pending, on_again_s] = port;
    return {{"port", panel_number(status.port)},
            {"status", status_of(status.status)},
            {"class", class_of(status.status, status.detected_class)},
            {"error_code", reported(status.error_code)},
            {"sub_status", reported(status.sub_status)},
            {"port_type", status.port_type},
            {"auto_off", status.auto_off},
            {"power_mw", status.power_mw},
            {"voltage_mv", status.voltage_mv},
            {"current_ma", status.current_ma},
            {"temperature_mc", status.temperature_mc},
            {"pair_sets", json::array({pair_set_json(0, status.pair_set[0]), pair_set_json(1, status.pair_set[1])})},
            {"event_totals", status.event_totals},
            {"settings",
             {{"enabled", settings.enable != 0},
              {"limit_mw", std::uint64_t{settings.power_limit_dw} * mw_a_dw},
              {"priority", coded(settings.priority, priority_name(settings.priority))},
              {"mode", settings.mode},
              {"schedule_enabled", settings.schedule_enable != 0},
              {"re_enable_s", settings.re_enable_s}}},
            {"schedule_on", status.schedule_on > 0},
            {"power_cycle",
             {{"pending", cycle_pending}, {"on_again_s", cycle_pending ? json(on_again_s) : json(nullptr)}}}};
}

json system_json(const system_picture& system) {
    const auto& [status, settings] = system;
    return {{"total_mw", status.total_mw},
            {"consumed_mw", status.consumed_mw},
            {"remaining_mw", status.remaining_mw},
            {"temperature_mc", status.temperature_mc},
            {"alarm_raised", status.alarm_raised},
            {"settings",
             {{"enabled", settings.enable != 0},
              {"threshold_percent", settings.threshold_percent},
              {"parameter_1", settings.parameter_1},
              {"parameter_2", settings.parameter_2},
              {"parameter_4", settings.parameter_4},
              {"parameter_5", settings.parameter_5}}}};
}

json ports_json(const std::vector<port_picture>& ports) {
    json list = json::array();
    for (const auto& port : ports)
        list.push_back(port_json(port));
    return list;
}

json counters_json(const poe_client::communication_counters& counters) {
    return {{"total", counters.total},
            {"rx_retry", counters.rx_retry},
            {"rx_timeout", counters.rx_timeout},
            {"rx_chksum_error", counters.rx_chksum_error},
            {"tx_correctly_executed", counters.tx_correctly_executed},
            {"tx_chksum_error", counters.tx_chksum_error},
            {"tx_subject_byte_conflict", counters.tx_subject_byte_conflict},
            {"tx_wrong_data_byte_value", counters.tx_wrong_data_byte_value},
            {"undefined_key_value", counters.undefined_key_value}};
}

template <typename number>
json or_null(const std::optional<number>& value) {
    return value ? json(*value) : json(nullptr);
}

void add_figures(json& into, const poe_client::energy_figures& figures) {
    into["powered_s"] = figures.powered_s;
    into["energy_mwh"] = or_null(thousandths_of(figures.energy_wh));
    into["averages"] = {{"hour_mw", or_null(known_mw(figures.minutes))},
                        {"day_mw", or_null(known_mw(figures.half_hours))},
                        {"week_mw", or_null(known_mw(figures.two_hours))}};
}

json energy_json(const energy_picture& energy) {
    json whole{{"kept_in_flash", energy.kept_in_flash}, {"totals", json::object()}, {"ports", json::array()}};
    add_figures(whole["totals"], energy.summary.totals);
    for (std::size_t port = 0; port < energy.summary.port.size(); port++) {
        json one{{"port", panel_number(port)}};
        add_figures(one, energy.summary.port[port]);
        whole["ports"].push_back(one);
    }
    return whole;
}

json ring_json(const energy_ring& ring) {
    json slots = json::array();
    for (std::size_t i = 0; i < ring.slots.size(); i++) {
        const auto& slot = ring.slots[i];
        slots.push_back({{"time_s", or_null(slot_time_s(ring, i))},
                         {"uptime_s", slot.valid ? json(slot.uptime_s) : json(nullptr)},
                         {"average_mw", or_null(known_mw(slot))}});
    }
    return {{"period_s", ring.period_s}, {"slots", slots}};
}

json port_energy_json(const poe_client::port_energy& port) {
    json rings = json::object();
    for (const auto& ring : rings_of(port))
        rings[std::string(ring.name)] = ring_json(ring);
    return {{"port", panel_number(port.port)},
            {"powered_s", port.powered_s},
            {"energy_mwh", or_null(thousandths_of(port.energy_wh))},
            {"rings", rings}};
}

json contents(const command& asked, const picture& seen) {
    json whole{{"schema_version", schema_version}};
    switch (asked.verb) {
        case verb::status:
            whole["system"] = system_json(*seen.system);
            whole["ports"] = ports_json(seen.ports);
            break;
        case verb::port_show:
            whole["ports"] = ports_json(seen.ports);
            break;
        case verb::system_show:
            whole["system"] = system_json(*seen.system);
            break;
        case verb::bank_show:
            whole["bank"] = {{"limit_w", seen.bank->limit_w}, {"second", seen.bank->second}};
            break;
        case verb::counters:
            whole["counters"] = counters_json(*seen.counters);
            break;
        case verb::queue:
            whole["queue"] = {{"deepest", *seen.deepest_queue}};
            break;
        case verb::energy_show:
            whole["energy"] = energy_json(*seen.energy);
            break;
        case verb::energy_port:
            whole["energy"] = {{"ports", json::array({port_energy_json(*seen.port_energy)})}};
            break;
        default:
            whole["accepted"] = true;
            whole["message"] = seen.done;
    }
    return whole;
}

}  // namespace

std::string as_json(const command& asked, const picture& seen) {
    constexpr int indent = 2;
    return contents(asked, seen).dump(indent) + "\n";
}

}  // namespace poectl
