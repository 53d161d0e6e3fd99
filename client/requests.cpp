#include "poe_client/requests.h"

namespace poe_client {

namespace {

constexpr int query_attempts = 2;
constexpr int setting_attempts = 1;

template <typename answer, typename... arguments>
result<answer> query(connection& daemon, const datagram& request,
                     decoded<answer> (*decode)(received_bytes, arguments...), arguments... details) {
    result<answer> outcome;
    outcome.error = daemon.ask(request, query_attempts, [&](received_bytes reply) {
        const auto received = decode(reply, details...);
        if (received.said == verdict::accepted) outcome.value = received.value;
        return received.said;
    });
    return outcome;
}

failure setting(connection& daemon, const datagram& request) {
    const auto type = static_cast<ipc_type>(request.front());
    return daemon.ask(request, setting_attempts,
                      [type](received_bytes reply) { return decode_acknowledgement(reply, type).said; });
}

}  // namespace

result<system_settings> get_system_settings(connection& daemon) {
    return query(daemon, encode_get_system_settings(), decode_system_settings);
}
result<port_settings> get_port_settings(connection& daemon, std::uint8_t port) {
    return query(daemon, encode_get_port_settings(port), decode_port_settings, port);
}
result<std::array<port_settings, port_count>> get_all_port_settings(connection& daemon) {
    return query(daemon, encode_get_all_port_settings(), decode_all_port_settings);
}
result<system_status> get_system_status(connection& daemon) {
    return query(daemon, encode_get_system_status(), decode_system_status);
}
result<port_status> get_port_status(connection& daemon, std::uint8_t port) {
    return query(daemon, encode_get_port_status(port), decode_port_status, port);
}
result<std::array<port_status, port_count>> get_all_port_status(connection& daemon) {
    return query(daemon, encode_get_all_port_status(), decode_all_port_status);
}
result<whole_status> get_whole_status(connection& daemon) {
    return query(daemon, encode_get_whole_status(), decode_whole_status);
}
result<communication_counters> get_communication_counters(connection& daemon) {
    return query(daemon, encode_get_communication_counters(), decode_communication_counters);
}
result<std::uint32_t> get_deepest_queue(connection& daemon) {
    return query(daemon, encode_get_deepest_queue(), decode_deepest_queue);
}
result<power_bank> get_power_bank(connection& daemon) {
    return query(daemon, encode_get_power_bank(), decode_power_bank);
}
result<power_cycles> get_power_cycles(connection& daemon) {
    return query(daemon, encode_get_power_cycles(), decode_power_cycles);
}
result<bool> get_energy_recording(connection& daemon) {
    return query(daemon, encode_get_energy_recording(), decode_energy_recording);
}
result<port_energy> get_port_energy(connection& daemon, std::uint8_t port) {
    return query(daemon, encode_get_port_energy(port), decode_port_energy, port);
}
result<energy_summary> get_energy_summary(connection& daemon) {
    return query(daemon, encode_get_energy_summary(), decode_energy_summary);
}

failure clear_energy(connection& daemon, port_bitmap ports) {
    return setting(daemon, encode_clear_energy(ports));
}
failure set_system(connection& daemon, const system_settings_change& change) {
    return setting(daemon, encode_set_system(change));
}
failure set_port(connection& daemon, std::uint8_t port, const port_settings_change& change) {
    return setting(daemon, encode_set_port(port, change));
}
failure set_all_ports(connection& daemon, const std::array<port_settings_change, port_count>& changes) {
    return setting(daemon, encode_set_all_ports(changes));
}
failure set_all_ports_same(connection& daemon, const port_settings_change& change) {
    return setting(daemon, encode_set_all_ports_same(change));
}
failure set_schedule(connection& daemon, std::uint8_t port, schedule_state state) {
    return setting(daemon, encode_set_schedule(port, state));
}
failure set_all_schedules(connection& daemon, const std::array<schedule_state, port_count>& states) {
    return setting(daemon, encode_set_all_schedules(states));
}
failure set_power_bank(connection& daemon, const power_bank& bank) {
    return setting(daemon, encode_set_power_bank(bank));
}
failure power_cycle(connection& daemon, port_bitmap ports) {
    return setting(daemon, encode_power_cycle(ports));
}
failure set_energy_recording(connection& daemon, bool enable) {
    return setting(daemon, encode_set_energy_recording(enable));
}
failure inject_energy_history(connection& daemon, std::uint32_t minutes) {
    return setting(daemon, encode_inject_energy_history(minutes));
}

}  // namespace poe_client
