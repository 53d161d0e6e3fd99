#include "poectl/readings.h"

#include <thread>

#include "poe_client/codec.h"
#include "poe_client/requests.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;

namespace {

port_reading combined(const poe_client::port_status& status, const poe_client::port_settings& settings,
                      const poe_client::power_cycles& cycles) {
    const auto& cycle = cycles.port[settings.port];
    return {.status = status,
            .settings = settings,
            .cycle_pending = cycle.pending,
            .on_again_s = poe_client::seconds_until_on(cycles.now_tick, cycle, settings.re_enable_s)};
}

}  // namespace

failure read_whole(connection& daemon, whole_reading& into) {
    poe_client::whole_status status{};
    std::array<poe_client::port_settings, poe_client::port_count> settings{};
    poe_client::power_cycles cycles{};
    poe_client::system_settings system{};
    failure error = take(get_whole_status(daemon), status);
    if (succeeded(error)) error = take(get_all_port_settings(daemon), settings);
    if (succeeded(error)) error = take(get_power_cycles(daemon), cycles);
    if (succeeded(error)) error = take(get_system_settings(daemon), system);
    if (!succeeded(error)) return error;
    into.cycles = cycles;
    into.system = {.status = status.system, .settings = system};
    for (std::size_t port = 0; port < poe_client::port_count; port++)
        into.ports[port] = combined(status.port[port], settings[port], cycles);
    return {};
}

failure read_port(connection& daemon, std::uint8_t port, port_reading& into) {
    poe_client::port_status status{};
    poe_client::port_settings settings{};
    poe_client::power_cycles cycles{};
    failure error = take(get_port_status(daemon, port), status);
    if (succeeded(error)) error = take(get_port_settings(daemon, port), settings);
    if (succeeded(error)) error = take(get_power_cycles(daemon), cycles);
    if (succeeded(error)) into = combined(status, settings, cycles);
    return error;
}

failure read_system(connection& daemon, system_reading& into) {
    system_reading system{};
    failure error = take(get_system_status(daemon), system.status);
    if (succeeded(error)) error = take(get_system_settings(daemon), system.settings);
    if (succeeded(error)) into = system;
    return error;
}

failure read_whether_controller_answers(connection& daemon, const poe_client::communication_counters& before,
                                        bool& into, std::chrono::milliseconds patience) {
    using steady = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds pause{20};
    const auto until = steady::now() + patience;
    for (;;) {
        poe_client::communication_counters now{};
        const failure error = take(get_communication_counters(daemon), now);
        if (!succeeded(error)) return error;
        into = now.tx_correctly_executed != before.tx_correctly_executed;
        if (into || steady::now() >= until) return {};
        std::this_thread::sleep_for(pause);
    }
}

}  // namespace poectl
