#include "models/describe_json.h"

#include <nlohmann/json.hpp>

#include "models/commands.h"

namespace vswitch {

namespace {

using json = nlohmann::ordered_json;

const char* kind_name(device_kind kind) {
    switch (kind) {
        case device_kind::none:
            return "none";
        case device_kind::legacy:
            return "legacy";
        case device_kind::single_signature:
            return "single";
        case device_kind::dual_signature:
            return "dual";
    }
    return "none";
}

json device_json(const powered_device& device) {
    constexpr double watt_mw = 1000.0;
    return {{"kind", kind_name(device.kind)},
            {"class", device.power_class},
            {"pairs", device.kind == device_kind::dual_signature || device.four_pairs ? 4 : 2},
            {"load_w", total_load_mw(device) / watt_mw},
            {"broken", breakage_name(device.broken)}};
}

json port_json(const port_view& view) {
    json channels = json::array();
    for (const channel_view& one : view.channels) {
        channels.push_back({{"state", one.state},
                            {"class", one.power_class},
                            {"voltage_v", one.voltage_v},
                            {"current_ma", one.current_ma},
                            {"power_w", one.power_w}});
    }
    return {{"port", view.number},
            {"device", device_json(view.device)},
            {"power_on", view.powered_on},
            {"state", view.state},
            {"controller_state", view.controller_state},
            {"class", view.power_class},
            {"type", view.type},
            {"voltage_v", view.voltage_v},
            {"current_ma", view.current_ma},
            {"power_w", view.power_w},
            {"temperature_c", view.temperature_c},
            {"limit_w", view.limit_w},
            {"priority", view.priority},
            {"link", view.link_up ? "up" : "down"},
            {"led", led_name(view.led)},
            {"events", view.events},
            {"channels", channels}};
}

json ports_json(const switch_state& state) {
    json ports = json::array();
    for (std::size_t port = 0; port < port_count; port++)
        ports.push_back(port_json(view_port(state, port)));
    return ports;
}

json leds_json(const switch_state& state) {
    json leds = json::array();
    for (unsigned port = 0; port < port_count; port++)
        leds.push_back(led_name(state.registers.led(port)));
    return leds;
}

json registers_json(const switch_state& state) {
    json registers = json::object();
    for (const std::uint8_t reg : {inline_mode_register, led_register}) {
        registers[std::to_string(reg)] = state.registers.read(reg);
    }
    return registers;
}

json trap_list_json(const switch_state& state, std::size_t last) {
    json traps = json::array();
    const std::size_t skip = state.traps.size() > last ? state.traps.size() - last : 0;
    for (std::size_t at = skip; at < state.traps.size(); at++) {
        const trap_message& message = state.traps[at].message;
        json ports = json::array();
        for (std::size_t port = 0; port < port_count; port++) {
            const port_trap& one = message.ports[port];
            if (!one.reported) continue;
            ports.push_back({{"port", port + 1},
                             {"kind", one.kind},
                             {"kind_name", trap_kind_name(one.kind)},
                             {"status", one.status},
                             {"status_name", status_name(one.status)},
                             {"status_b", one.status_b},
                             {"status_b_name", status_name(one.status_b)}});
        }
        traps.push_back({{"at_us", state.traps[at].at_us},
                         {"text", trap_text(message)},
                         {"ports", ports},
                         {"usage_alarm", message.usage_alarm},
                         {"consumed_w", message.consumed_w},
                         {"bytes", message.bytes}});
    }
    return traps;
}

json counters_json(const switch_state& state) {
    const switch_counters& counters = state.counters;
    return {{"queries", counters.queries},
            {"settings", counters.settings},
            {"failed_ioctls", counters.failed_ioctls},
            {"undefined_keys", counters.undefined_keys},
            {"wrong_checksums", counters.wrong_checksums},
            {"faults_struck", counters.faults_struck},
            {"cpld_writes", counters.cpld_writes},
            {"cpld_reads", counters.cpld_reads},
            {"link_queries", counters.link_queries},
            {"traps", counters.traps},
            {"skipped_trap_bytes", state.trap_pipe.skipped_bytes()},
            {"daemon_starts", counters.daemon_starts},
            {"frames", state.log.total()}};
}

json configuration_json(const configuration& settings) {
    constexpr double bank_watt = 10.0;
    json ports = json::array();
    for (std::size_t port = 0; port < port_count; port++) {
        const port_configuration& one = settings.ports[port];
        ports.push_back({{"port", port + 1},
                         {"power_on", one.power_state != 0},
                         {"limit_w", one.limit_counts * 0.4},
                         {"priority", one.priority},
                         {"pair_a", settings.active_matrix[port].a},
                         {"pair_b", settings.active_matrix[port].b},
                         {"disconnect", one.disconnect_mode},
                         {"detection", one.detection_mode},
                         {"power_up", one.power_up_mode},
                         {"limit_mode", one.limit_mode},
                         {"inline_option", one.inline_option}});
    }
    json banks = json::array();
    for (const power_bank_configuration& bank : settings.banks)
        banks.push_back(bank.counts / bank_watt);
    return {{"method", settings.method},
            {"method_name", method_name(settings.method)},
            {"mask", settings.mask},
            {"event_code", settings.event_code},
            {"lower_threshold", settings.lower_threshold},
            {"upper_threshold", settings.upper_threshold},
            {"banks_w", banks},
            {"ports", ports}};
}

json both_configurations_json(const switch_state& state) {
    return {{"running", configuration_json(state.chip.running())},
            {"stored", state.chip.stored() ? configuration_json(*state.chip.stored()) : json(nullptr)}};
}

template <typename number>
json maybe(const std::optional<number>& value) {
    return value ? json(*value) : json(nullptr);
}

json faults_json(const switch_state& state) {
    json faults = json::array();
    for (const fault& one : state.faults.all()) {
        faults.push_back({{"kind", fault_name(one.kind)},
                          {"key", maybe(one.key)},
                          {"times", maybe(one.times)},
                          {"delay_us", one.delay_us},
                          {"text", fault_text(one)}});
    }
    json answers = json::array();
    for (const forced_answer& one : state.forced.all()) {
        answers.push_back({{"key", one.key},
                           {"selector", maybe(one.selector)},
                           {"port", one.port ? json(*one.port + 1) : json(nullptr)},
                           {"data", one.data}});
    }
    return {{"faults", faults}, {"answers", answers}};
}

json system_json(const switch_state& state) {
    constexpr double watt_mw = 1000.0;
    return {{"now_us", state.chip.now_us()},
            {"delivered_w", state.chip.delivered_mw() / watt_mw},
            {"budget_w", state.chip.budget_mw() / watt_mw},
            {"latency_us", state.latency_us},
            {"daemon_runs", state.daemon_runs}};
}

json values_json(const named_values& values) {
    json fields = json::object();
    for (const auto& [name, value] : values)
        fields[name] = value;
    return fields;
}

json frame_json(const frame_entry& entry) {
    return {
        {"number", entry.number},
        {"at_us", entry.at_us},
        {"command", command_name(entry.request)},
        {"key", entry.request[key_at]},
        {"wait", entry.wait},
        {"request", entry.request},
        {"request_fields", values_json(request_fields(entry.request))},
        {"answer", entry.answer},
        {"answer_fields", entry.result < 0 ? json::object() : values_json(answer_fields(entry.request, entry.answer))},
        {"result", entry.result},
        {"errno", entry.error},
        {"delay_us", entry.delay_us},
        {"fault", entry.fault != nullptr ? json(entry.fault) : json(nullptr)},
        {"dictated", entry.forced}};
}

// Words of an operator, which stand in messages and in the log, may be any bytes: what is not UTF-8 is replaced.
std::string text_of(const json& document) {
    return document.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

std::string show_json(const switch_state& state, subject what) {
    constexpr std::size_t all_traps = switch_state::most_traps;
    json document = {{"ok", true}, {"system", system_json(state)}};
    const bool all = what == subject::everything;
    if (all || what == subject::ports) document["ports"] = ports_json(state);
    if (all || what == subject::leds) document["leds"] = leds_json(state);
    if (all || what == subject::registers) document["registers"] = registers_json(state);
    if (all || what == subject::traps) document["traps"] = trap_list_json(state, all_traps);
    if (all || what == subject::counters) document["counters"] = counters_json(state);
    if (all || what == subject::configuration) document["configuration"] = both_configurations_json(state);
    if (all || what == subject::faults) document["faults"] = faults_json(state);
    return text_of(document);
}

std::string frames_json(const frame_log& log, const frame_choice& choice) {
    json frames = json::array();
    for (const frame_entry* entry : choose_frames(log, choice))
        frames.push_back(frame_json(*entry));
    json notes = json::array();
    for (const note_entry* note : choose_notes(log, choice)) {
        notes.push_back({{"at_us", note->at_us}, {"before_frame", note->before_frame}, {"text", note->text}});
    }
    return text_of({{"ok", true}, {"total", log.total()}, {"frames", frames}, {"notes", notes}});
}

std::string traps_json(const switch_state& state, std::size_t last) {
    return text_of({{"ok", true}, {"total", state.counters.traps}, {"traps", trap_list_json(state, last)}});
}

std::string message_json(bool ok, const std::string& text) {
    return text_of({{"ok", ok}, {ok ? "text" : "error", text}});
}

}  // namespace vswitch
