#include "poe_client/requests.h"

#include "poe_client/codec.h"
#include "poe_client/connection_state.h"

namespace poe_client {

namespace {

constexpr int query_attempts = 2;
constexpr int setting_attempts = 1;

// A question, and the place where its judge puts the answer.
template <typename answer>
struct prepared {
    question asked;
    std::shared_ptr<answer> value;
};

template <typename answer, typename... arguments>
prepared<answer> query(datagram request, decoded<answer> (*decode)(received_bytes, arguments...),
                       arguments... details) {
    auto value = std::make_shared<answer>();
    judgement judge = [=](received_bytes reply) {
        const auto received = decode(reply, details...);
        if (received.said == verdict::accepted) *value = received.value;
        return received.said;
    };
    return {{std::move(request), query_attempts, std::move(judge)}, std::move(value)};
}

prepared<acknowledgement> setting(datagram request) {
    const auto type = static_cast<ipc_type>(request.front());
    judgement judge = [type](received_bytes reply) { return decode_acknowledgement(reply, type).said; };
    return {{std::move(request), setting_attempts, std::move(judge)}, std::make_shared<acknowledgement>()};
}

template <typename answer>
result<answer> ask(connection& daemon, prepared<answer> what) {
    const failure outcome = connection_access::state(daemon)->ask(std::move(what.asked));
    return {outcome, std::move(*what.value)};
}

template <typename answer>
pending<answer> begin(connection& daemon, prepared<answer> what) {
    return {pending_request(connection_access::state(daemon), std::move(what.asked)), std::move(what.value)};
}

// --- what each message asks, and who understands the answer ---

auto system_settings_query() {
    return query(encode_get_system_settings(), decode_system_settings);
}
auto port_settings_query(std::uint8_t port) {
    return query(encode_get_port_settings(port), decode_port_settings, port);
}
auto all_port_settings_query() {
    return query(encode_get_all_port_settings(), decode_all_port_settings);
}
auto system_status_query() {
    return query(encode_get_system_status(), decode_system_status);
}
auto port_status_query(std::uint8_t port) {
    return query(encode_get_port_status(port), decode_port_status, port);
}
auto all_port_status_query() {
    return query(encode_get_all_port_status(), decode_all_port_status);
}
auto whole_status_query() {
    return query(encode_get_whole_status(), decode_whole_status);
}
auto communication_counters_query() {
    return query(encode_get_communication_counters(), decode_communication_counters);
}
auto deepest_queue_query() {
    return query(encode_get_deepest_queue(), decode_deepest_queue);
}
auto power_bank_query() {
    return query(encode_get_power_bank(), decode_power_bank);
}
auto power_cycles_query() {
    return query(encode_get_power_cycles(), decode_power_cycles);
}
auto energy_recording_query() {
    return query(encode_get_energy_recording(), decode_energy_recording);
}
auto port_energy_query(std::uint8_t port) {
    return query(encode_get_port_energy(port), decode_port_energy, port);
}
auto energy_summary_query() {
    return query(encode_get_energy_summary(), decode_energy_summary);
}

}  // namespace

result<system_settings> get_system_settings(connection& daemon) {
    return ask(daemon, system_settings_query());
}
result<port_settings> get_port_settings(connection& daemon, std::uint8_t port) {
    return ask(daemon, port_settings_query(port));
}
result<std::array<port_settings, port_count>> get_all_port_settings(connection& daemon) {
    return ask(daemon, all_port_settings_query());
}
result<system_status> get_system_status(connection& daemon) {
    return ask(daemon, system_status_query());
}
result<port_status> get_port_status(connection& daemon, std::uint8_t port) {
    return ask(daemon, port_status_query(port));
}
result<std::array<port_status, port_count>> get_all_port_status(connection& daemon) {
    return ask(daemon, all_port_status_query());
}
result<whole_status> get_whole_status(connection& daemon) {
    return ask(daemon, whole_status_query());
}
result<communication_counters> get_communication_counters(connection& daemon) {
    return ask(daemon, communication_counters_query());
}
result<std::uint32_t> get_deepest_queue(connection& daemon) {
    return ask(daemon, deepest_queue_query());
}
result<power_bank> get_power_bank(connection& daemon) {
    return ask(daemon, power_bank_query());
}
result<power_cycles> get_power_cycles(connection& daemon) {
    return ask(daemon, power_cycles_query());
}
result<bool> get_energy_recording(connection& daemon) {
    return ask(daemon, energy_recording_query());
}
result<port_energy> get_port_energy(connection& daemon, std::uint8_t port) {
    return ask(daemon, port_energy_query(port));
}
result<energy_summary> get_energy_summary(connection& daemon) {
    return ask(daemon, energy_summary_query());
}

failure clear_energy(connection& daemon, port_bitmap ports) {
    return ask(daemon, setting(encode_clear_energy(ports))).error;
}
failure set_system(connection& daemon, const system_settings_change& change) {
    return ask(daemon, setting(encode_set_system(change))).error;
}
failure set_port(connection& daemon, std::uint8_t port, const port_settings_change& change) {
    return ask(daemon, setting(encode_set_port(port, change))).error;
}
failure set_all_ports(connection& daemon, const std::array<port_settings_change, port_count>& changes) {
    return ask(daemon, setting(encode_set_all_ports(changes))).error;
}
failure set_all_ports_same(connection& daemon, const port_settings_change& change) {
    return ask(daemon, setting(encode_set_all_ports_same(change))).error;
}
failure set_schedule(connection& daemon, std::uint8_t port, schedule_state state) {
    return ask(daemon, setting(encode_set_schedule(port, state))).error;
}
failure set_all_schedules(connection& daemon, const std::array<schedule_state, port_count>& states) {
    return ask(daemon, setting(encode_set_all_schedules(states))).error;
}
failure set_power_bank(connection& daemon, const power_bank& bank) {
    return ask(daemon, setting(encode_set_power_bank(bank))).error;
}
failure power_cycle(connection& daemon, port_bitmap ports) {
    return ask(daemon, setting(encode_power_cycle(ports))).error;
}
failure set_energy_recording(connection& daemon, bool enable) {
    return ask(daemon, setting(encode_set_energy_recording(enable))).error;
}
failure inject_energy_history(connection& daemon, std::uint32_t minutes) {
    return ask(daemon, setting(encode_inject_energy_history(minutes))).error;
}

pending<system_settings> begin_get_system_settings(connection& daemon) {
    return begin(daemon, system_settings_query());
}
pending<port_settings> begin_get_port_settings(connection& daemon, std::uint8_t port) {
    return begin(daemon, port_settings_query(port));
}
pending<std::array<port_settings, port_count>> begin_get_all_port_settings(connection& daemon) {
    return begin(daemon, all_port_settings_query());
}
pending<system_status> begin_get_system_status(connection& daemon) {
    return begin(daemon, system_status_query());
}
pending<port_status> begin_get_port_status(connection& daemon, std::uint8_t port) {
    return begin(daemon, port_status_query(port));
}
pending<std::array<port_status, port_count>> begin_get_all_port_status(connection& daemon) {
    return begin(daemon, all_port_status_query());
}
pending<whole_status> begin_get_whole_status(connection& daemon) {
    return begin(daemon, whole_status_query());
}
pending<communication_counters> begin_get_communication_counters(connection& daemon) {
    return begin(daemon, communication_counters_query());
}
pending<std::uint32_t> begin_get_deepest_queue(connection& daemon) {
    return begin(daemon, deepest_queue_query());
}
pending<power_bank> begin_get_power_bank(connection& daemon) {
    return begin(daemon, power_bank_query());
}
pending<power_cycles> begin_get_power_cycles(connection& daemon) {
    return begin(daemon, power_cycles_query());
}
pending<bool> begin_get_energy_recording(connection& daemon) {
    return begin(daemon, energy_recording_query());
}
pending<port_energy> begin_get_port_energy(connection& daemon, std::uint8_t port) {
    return begin(daemon, port_energy_query(port));
}
pending<energy_summary> begin_get_energy_summary(connection& daemon) {
    return begin(daemon, energy_summary_query());
}

pending<acknowledgement> begin_clear_energy(connection& daemon, port_bitmap ports) {
    return begin(daemon, setting(encode_clear_energy(ports)));
}
pending<acknowledgement> begin_set_system(connection& daemon, const system_settings_change& change) {
    return begin(daemon, setting(encode_set_system(change)));
}
pending<acknowledgement> begin_set_port(connection& daemon, std::uint8_t port, const port_settings_change& change) {
    return begin(daemon, setting(encode_set_port(port, change)));
}
pending<acknowledgement> begin_set_all_ports(connection& daemon,
                                             const std::array<port_settings_change, port_count>& changes) {
    return begin(daemon, setting(encode_set_all_ports(changes)));
}
pending<acknowledgement> begin_set_all_ports_same(connection& daemon, const port_settings_change& change) {
    return begin(daemon, setting(encode_set_all_ports_same(change)));
}
pending<acknowledgement> begin_set_schedule(connection& daemon, std::uint8_t port, schedule_state state) {
    return begin(daemon, setting(encode_set_schedule(port, state)));
}
pending<acknowledgement> begin_set_all_schedules(connection& daemon,
                                                 const std::array<schedule_state, port_count>& states) {
    return begin(daemon, setting(encode_set_all_schedules(states)));
}
pending<acknowledgement> begin_set_power_bank(connection& daemon, const power_bank& bank) {
    return begin(daemon, setting(encode_set_power_bank(bank)));
}
pending<acknowledgement> begin_power_cycle(connection& daemon, port_bitmap ports) {
    return begin(daemon, setting(encode_power_cycle(ports)));
}
pending<acknowledgement> begin_set_energy_recording(connection& daemon, bool enable) {
    return begin(daemon, setting(encode_set_energy_recording(enable)));
}
pending<acknowledgement> begin_inject_energy_history(connection& daemon, std::uint32_t minutes) {
    return begin(daemon, setting(encode_inject_energy_history(minutes)));
}

}  // namespace poe_client
