#include "poectl/run.h"

#include "poe_client/requests.h"
#include "poectl/words.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;
using poe_client::result;

namespace {

bool succeeded(const failure& error) {
    return error.kind == poe_client::failure_kind::none;
}

// Puts an answer where it belongs, or hands the failure on.
template <typename answer>
failure take(result<answer> outcome, answer& into) {
    if (outcome.ok()) into = outcome.value;
    return outcome.error;
}

port_picture picture_of(const poe_client::port_status& status, const poe_client::port_settings& settings,
                        const poe_client::power_cycles& cycles) {
    const auto& cycle = cycles.port[settings.port];
    return {.status = status,
            .settings = settings,
            .cycle_pending = cycle.pending,
            .on_again_s = poe_client::seconds_until_on(cycles.now_tick, cycle, settings.re_enable_s)};
}

failure see_status(connection& daemon, picture& seen) {
    poe_client::whole_status status{};
    std::array<poe_client::port_settings, poe_client::port_count> settings{};
    poe_client::power_cycles cycles{};
    system_picture system{};
    failure error = take(get_whole_status(daemon), status);
    if (succeeded(error)) error = take(get_all_port_settings(daemon), settings);
    if (succeeded(error)) error = take(get_power_cycles(daemon), cycles);
    if (succeeded(error)) error = take(get_system_settings(daemon), system.settings);
    if (!succeeded(error)) return error;
    system.status = status.system;
    seen.system = system;
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        seen.ports.push_back(picture_of(status.port[port], settings[port], cycles));
    }
    return {};
}

failure see_port(connection& daemon, std::uint8_t port, picture& seen) {
    poe_client::port_status status{};
    poe_client::port_settings settings{};
    poe_client::power_cycles cycles{};
    failure error = take(get_port_status(daemon, port), status);
    if (succeeded(error)) error = take(get_port_settings(daemon, port), settings);
    if (succeeded(error)) error = take(get_power_cycles(daemon), cycles);
    if (succeeded(error)) seen.ports.push_back(picture_of(status, settings, cycles));
    return error;
}

failure see_system(connection& daemon, picture& seen) {
    system_picture system{};
    failure error = take(get_system_status(daemon), system.status);
    if (succeeded(error)) error = take(get_system_settings(daemon), system.settings);
    if (succeeded(error)) seen.system = system;
    return error;
}

failure change_port(connection& daemon, const command& asked) {
    auto change = asked.port_change;
    if (needs_company(change)) {
        poe_client::port_settings current{};
        const failure error = take(get_port_settings(daemon, asked.port), current);
        if (!succeeded(error)) return error;
        change = in_company(change, current);
    }
    return set_port(daemon, asked.port, change);
}

// The bank's second value is kept for other programs: it goes back as it is.
failure change_bank(connection& daemon, std::uint16_t limit_w) {
    poe_client::power_bank bank{};
    const failure error = take(get_power_bank(daemon), bank);
    if (!succeeded(error)) return error;
    bank.limit_w = limit_w;
    return set_power_bank(daemon, bank);
}

template <typename answer>
failure see(result<answer> outcome, std::optional<answer>& into) {
    if (outcome.ok()) into = outcome.value;
    return outcome.error;
}

failure see_energy(connection& daemon, picture& seen) {
    energy_picture energy{};
    failure error = take(get_energy_recording(daemon), energy.kept_in_flash);
    if (succeeded(error)) error = take(get_energy_summary(daemon), energy.summary);
    if (succeeded(error)) seen.energy = energy;
    return error;
}

failure carry_out(const command& asked, connection& daemon, picture& seen) {
    switch (asked.verb) {
        case verb::status:
            return see_status(daemon, seen);
        case verb::port_show:
            return see_port(daemon, asked.port, seen);
        case verb::system_show:
            return see_system(daemon, seen);
        case verb::bank_show:
            return see(get_power_bank(daemon), seen.bank);
        case verb::counters:
            return see(get_communication_counters(daemon), seen.counters);
        case verb::queue:
            return see(get_deepest_queue(daemon), seen.deepest_queue);
        case verb::port_set:
            return change_port(daemon, asked);
        case verb::system_set:
            return set_system(daemon, asked.system_change);
        case verb::bank_set:
            return change_bank(daemon, asked.bank_limit_w);
        case verb::cycle:
            return power_cycle(daemon, asked.ports);
        case verb::energy_show:
            return see_energy(daemon, seen);
        case verb::energy_port:
            return see(get_port_energy(daemon, asked.port), seen.port_energy);
        case verb::energy_reset:
            return clear_energy(daemon, asked.ports);
        case verb::energy_keep:
            return set_energy_recording(daemon, asked.keep_in_flash);
        case verb::energy_inject:
            return inject_energy_history(daemon, asked.history_minutes);
        case verb::schedule:
            break;
    }
    return set_schedule(daemon, asked.port, std::int8_t{asked.schedule_on});
}

std::string port_words(const poe_client::port_settings_change& change) {
    std::string words;
    const auto add = [&words](const std::string& what) { words += (words.empty() ? "" : ", ") + what; };
    if (change.enable) add("enable " + std::string(on_off(*change.enable)));
    if (change.power_limit_dw) add("limit " + tenths(*change.power_limit_dw) + " W");
    if (change.priority) add("priority " + std::string(priority_name(*change.priority)));
    if (change.mode) add("mode " + std::to_string(*change.mode));
    if (change.schedule_enable) add("schedule " + std::string(on_off(*change.schedule_enable)));
    if (change.re_enable_s) add("re-enable " + std::to_string(*change.re_enable_s) + " s");
    return words;
}

std::string system_words(const poe_client::system_settings_change& change) {
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

std::string port_list(poe_client::port_bitmap ports) {
    std::string list;
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        if ((ports & poe_client::bit_of_port(port)) == 0) continue;
        list += (list.empty() ? "" : ", ") + std::to_string(panel_number(port));
    }
    return list;
}

}  // namespace

bool needs_company(const poe_client::port_settings_change& change) {
    return !change.enable && !change.priority && !change.schedule_enable && !change.power_limit_dw;
}

poe_client::port_settings_change in_company(poe_client::port_settings_change change,
                                            const poe_client::port_settings& current) {
    if (needs_company(change)) change.priority = current.priority;
    return change;
}

std::string done_sentence(const command& asked) {
    const std::string port = "port " + std::to_string(panel_number(asked.port));
    switch (asked.verb) {
        case verb::port_set:
            return "accepted: " + port + " " + port_words(asked.port_change);
        case verb::system_set:
            return "accepted: system " + system_words(asked.system_change);
        case verb::bank_set:
            return "accepted: bank limit " + std::to_string(asked.bank_limit_w) + " W";
        case verb::cycle:
            return "accepted: power-cycle of port " + port_list(asked.ports);
        case verb::schedule:
            return "accepted: " + port + " schedule period " + std::string(on_off(asked.schedule_on));
        case verb::energy_reset:
            return "accepted: energy reset of port " + port_list(asked.ports);
        case verb::energy_keep:
            return "accepted: keeping energy in flash " + std::string(on_off(asked.keep_in_flash));
        case verb::energy_inject:
            return "accepted: made-up energy history of " + std::to_string(asked.history_minutes) + " min";
        default:
            return {};
    }
}

failure run(const command& asked, connection& daemon, picture& seen) {
    const failure error = carry_out(asked, daemon, seen);
    if (succeeded(error)) seen.done = done_sentence(asked);
    return error;
}

}  // namespace poectl
