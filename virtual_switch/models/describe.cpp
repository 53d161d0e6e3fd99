#include "models/describe.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "models/commands.h"
#include "models/readings.h"

namespace vswitch {

namespace {

[[gnu::format(printf, 1, 2)]] std::string print(const char* format, ...) {
    char text[512];
    std::va_list values;
    va_start(values, format);
    const int length = std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return std::string(text, std::min(static_cast<std::size_t>(std::max(length, 0)), sizeof text - 1));
}

std::string state_text(const unit_reading& reading) {
    switch (reading.state) {
        case controller_state::disabled:
            return "off";
        case controller_state::searching:
            return reading.sub_status == found::resistance_too_low ? "bad signature" : "searching";
        case controller_state::delivering:
            return "delivering";
        case controller_state::requesting:
            return "powering up";
        default:
            break;
    }
    switch (reading.error) {
        case controller_error::short_circuit:
            return "short circuit";
        case controller_error::overload:
            return "overload";
        case controller_error::denied:
            return "over budget";
        default:
            return "fault";
    }
}

const char* type_text(std::uint8_t type) {
    switch (type) {
        case pair_type::two_pairs:
            return "2 pairs";
        case pair_type::four_pairs:
            return "4 pairs";
        case pair_type::dual_signature:
            return "dual";
        default:
            return "-";
    }
}

std::string seconds_text(std::uint64_t us) {
    constexpr std::uint64_t second_us = 1000000;
    constexpr std::uint64_t millisecond_us = 1000;
    return print("%7llu.%03llu", static_cast<unsigned long long>(us / second_us),
                 static_cast<unsigned long long>(us % second_us / millisecond_us));
}

std::string ports_text(const switch_state& state) {
    std::size_t widest = std::string("pair set A").size();
    for (std::size_t port = 0; port < port_count; port++) {
        widest = std::max(widest, device_text(state.chip.port(port).device()).size());
    }
    const int width = static_cast<int>(widest);
    std::string text = print("Port  %-*s  Power  State           Class  Type     Voltage  Current    Power     Limit",
                             width, "Device") +
                       "  Prio  Link  LED\n";
    for (std::size_t port = 0; port < port_count; port++) {
        const port_view view = view_port(state, port);
        text += print("%-4u  %-*s  %-5s  %-14s  %5u  %-7s  %5.1f V  %4u mA  %5.1f W  %6.1f W  %4u  %-4s  %s\n",
                      view.number, width, device_text(view.device).c_str(), view.powered_on ? "on" : "off",
                      view.state.c_str(), view.power_class, view.type, view.voltage_v, view.current_ma, view.power_w,
                      view.limit_w, view.priority, view.link_up ? "up" : "down", led_name(view.led));
        if (view.device.kind != device_kind::dual_signature) continue;
        for (unsigned channel = 0; channel < 2; channel++) {
            const channel_view& one = view.channels[channel];
            text += print("      %-*s  %-5s  %-14s  %5u  %-7s  %5.1f V  %4u mA  %5.1f W\n", width,
                          channel == 0 ? "pair set A" : "pair set B", "", one.state.c_str(), one.power_class, "",
                          one.voltage_v, one.current_ma, one.power_w);
        }
    }
    constexpr double watt_mw = 1000.0;
    text += print("\nDelivered %.1f W of %.1f W. Daemon %s. Model time %s s.\n", state.chip.delivered_mw() / watt_mw,
                  state.chip.budget_mw() / watt_mw, state.daemon_runs ? "running" : "not running",
                  seconds_text(state.chip.now_us()).c_str());
    return text;
}

std::string leds_text(const switch_state& state) {
    std::string text;
    for (unsigned port = 0; port < port_count; port++) {
        text += print("LED %u: %s\n", port + 1, led_name(state.registers.led(port)));
    }
    return text;
}

std::string registers_text(const switch_state& state) {
    return print("CPLD register %2u (inline mode): 0x%02x\nCPLD register %2u (LEDs):        0x%02x\n",
                 inline_mode_register, state.registers.read(inline_mode_register), led_register,
                 state.registers.read(led_register));
}

std::string counters_text(const switch_state& state) {
    const switch_counters& counters = state.counters;
    const std::pair<const char*, std::uint64_t> rows[] = {
        {"controller queries", counters.queries},      {"controller settings", counters.settings},
        {"failed ioctls", counters.failed_ioctls},     {"undefined keys", counters.undefined_keys},
        {"wrong checksums", counters.wrong_checksums}, {"faults struck", counters.faults_struck},
        {"CPLD writes", counters.cpld_writes},         {"CPLD reads", counters.cpld_reads},
        {"link queries", counters.link_queries},       {"traps", counters.traps},
        {"daemon starts", counters.daemon_starts}};
    std::string text;
    for (const auto& [name, value] : rows)
        text += print("%-20s %10llu\n", name, static_cast<unsigned long long>(value));
    return text;
}

std::string one_configuration_text(const configuration& settings) {
    constexpr double bank_watt = 10.0;
    std::string text =
        print("  method %s, mask %u, event code %u, thresholds %u and %u counts\n", method_name(settings.method),
              settings.mask, settings.event_code, settings.lower_threshold, settings.upper_threshold);
    text += "  banks";
    for (const power_bank_configuration& bank : settings.banks)
        text += print(" %.1f W", bank.counts / bank_watt);
    text += "\n";
    for (std::size_t port = 0; port < port_count; port++) {
        const port_configuration& one = settings.ports[port];
        text += print(
            "  port %zu: power %s, limit %.1f W, priority %u, channels %u and %u, disconnect %u, detection %u, "
            "power-up %u,"
            " limit mode %u, option %u\n",
            port + 1, one.power_state != 0 ? "on" : "off", one.limit_counts * 0.4, one.priority,
            settings.active_matrix[port].a, settings.active_matrix[port].b, one.disconnect_mode, one.detection_mode,
            one.power_up_mode, one.limit_mode, one.inline_option);
    }
    return text;
}

std::string configuration_text(const switch_state& state) {
    std::string text = "Running configuration\n" + one_configuration_text(state.chip.running());
    if (!state.chip.stored()) return text + "Stored configuration: none\n";
    return text + "Stored configuration\n" + one_configuration_text(*state.chip.stored());
}

std::string faults_text(const switch_state& state) {
    std::string text;
    for (const fault& one : state.faults.all())
        text += "fault: " + fault_text(one) + "\n";
    for (const forced_answer& one : state.forced.all()) {
        text += print("answer of key 0x%02X", one.key);
        if (one.selector) text += print(", selector %u", *one.selector);
        if (one.port) text += print(", port %u", *one.port + 1U);
        text += ":";
        for (const std::uint8_t byte : one.data)
            text += print(" %02x", byte);
        text += "\n";
    }
    return text.empty() ? "no faults, no dictated answers\n" : text;
}

std::string frame_text(const frame_entry& entry) {
    std::string text =
        print("%6llu %s  ", static_cast<unsigned long long>(entry.number), seconds_text(entry.at_us).c_str());
    text += hex_text(entry.request) + "  " + command_name(entry.request);
    const std::string asked = values_text(request_fields(entry.request));
    if (!asked.empty()) text += " " + asked;
    text += "\n" + std::string(20, ' ');
    if (entry.result < 0) {
        text += print("ioctl fails with errno %d", entry.error);
    } else {
        text += hex_text(entry.answer) + "  " + values_text(answer_fields(entry.request, entry.answer));
    }
    if (entry.fault != nullptr) text += std::string(" [fault: ") + entry.fault + "]";
    if (entry.forced) text += " [dictated]";
    return text + "\n";
}

std::string note_text(const note_entry& note) {
    return print("     - %s  ", seconds_text(note.at_us).c_str()) + note.text + "\n";
}

}  // namespace

const char* method_name(std::uint8_t method) {
    switch (method) {
        case method_none:
            return "none";
        case method_static:
            return "static";
        case method_dynamic_priority:
            return "dynamic with priority";
        case method_dynamic:
            return "dynamic";
        default:
            return "undefined";
    }
}

std::optional<subject> subject_of(const std::string& word) {
    constexpr std::pair<const char*, subject> names[] = {{"all", subject::everything},
                                                         {"ports", subject::ports},
                                                         {"leds", subject::leds},
                                                         {"registers", subject::registers},
                                                         {"traps", subject::traps},
                                                         {"counters", subject::counters},
                                                         {"configuration", subject::configuration},
                                                         {"config", subject::configuration},
                                                         {"faults", subject::faults}};
    for (const auto& [name, what] : names) {
        if (word == name) return what;
    }
    return std::nullopt;
}

port_view view_port(const switch_state& state, std::size_t port) {
    constexpr double watt_mw = 1000.0;
    constexpr double tenth = 10.0;
    const power_port& one = state.chip.port(port);
    const port_configuration& settings = state.chip.running().ports.at(port);
    const unit_reading reading = one.port_reading();
    const unsigned supply = state.chip.voltage_counts(port);
    const auto voltage = [supply](const unit_reading& of) {
        return of.state == controller_state::delivering ? tenth_volts(supply) / tenth : 0.0;
    };
    port_view view{.number = static_cast<unsigned>(port + 1),
                   .device = one.device(),
                   .powered_on = settings.power_state != 0,
                   .state = state_text(reading),
                   .controller_state = reading.state,
                   .power_class = reading.power_class,
                   .type = type_text(one.type()),
                   .voltage_v = voltage(reading),
                   .current_ma = milliamperes(reading.load_mw, supply),
                   .power_w = reading.load_mw / watt_mw,
                   .temperature_c = 125.0 - (static_cast<double>(state.chip.temperature_counts(port)) - 120.0) * 1.25,
                   .limit_w = settings.limit_counts * limit_step_mw / watt_mw,
                   .priority = settings.priority,
                   .link_up = state.links.is_up(port),
                   .led = state.registers.led(static_cast<unsigned>(port)),
                   .events = one.events(),
                   .channels = {}};
    for (std::size_t channel = 0; channel < 2; channel++) {
        const unit_reading half = one.channel_reading(channel);
        view.channels[channel] = {.state = state_text(half),
                                  .power_class = half.power_class,
                                  .voltage_v = voltage(half),
                                  .current_ma = milliamperes(half.load_mw, supply),
                                  .power_w = half.load_mw / watt_mw};
    }
    return view;
}

std::vector<const frame_entry*> choose_frames(const frame_log& log, const frame_choice& choice) {
    std::vector<const frame_entry*> chosen;
    for (const frame_entry& entry : log.frames()) {
        if (entry.number <= choice.after) continue;
        if (choice.key && *choice.key != entry.request[key_at]) continue;
        if (choice.settings_only && is_query(entry.request)) continue;
        chosen.push_back(&entry);
    }
    if (choice.first) {
        chosen.resize(std::min(chosen.size(), *choice.first));
    } else if (choice.last && chosen.size() > *choice.last) {
        chosen.erase(chosen.begin(), chosen.end() - static_cast<std::ptrdiff_t>(*choice.last));
    }
    return chosen;
}

std::vector<const note_entry*> choose_notes(const frame_log& log, const frame_choice& choice) {
    std::vector<const note_entry*> chosen;
    if (!choice.with_notes) return chosen;
    for (const note_entry& note : log.notes()) {
        if (note.before_frame > choice.after) chosen.push_back(&note);
    }
    return chosen;
}

std::string frames_text(const frame_log& log, const frame_choice& choice) {
    const std::vector<const frame_entry*> frames = choose_frames(log, choice);
    const std::vector<const note_entry*> notes = choose_notes(log, choice);
    std::string text;
    auto note = notes.begin();
    if (!frames.empty() && choice.last) {
        note = std::find_if(notes.begin(), notes.end(),
                            [&](const note_entry* one) { return one->before_frame >= frames.front()->number; });
    }
    for (const frame_entry* entry : frames) {
        for (; note != notes.end() && (*note)->before_frame <= entry->number; ++note)
            text += note_text(**note);
        text += frame_text(*entry);
    }
    for (; note != notes.end(); ++note)
        text += note_text(**note);
    return text.empty() ? "no frames\n" : text;
}

std::string traps_text(const switch_state& state, std::size_t last) {
    std::string text;
    const std::size_t skip = state.traps.size() > last ? state.traps.size() - last : 0;
    for (std::size_t at = skip; at < state.traps.size(); at++) {
        text += seconds_text(state.traps[at].at_us) + "  " + trap_text(state.traps[at].message) + "\n";
    }
    return text.empty() ? "no traps\n" : text;
}

std::string show_text(const switch_state& state, subject what) {
    constexpr std::size_t recent_traps = 10;
    constexpr std::size_t all_traps = switch_state::most_traps;
    switch (what) {
        case subject::ports:
            return ports_text(state);
        case subject::leds:
            return leds_text(state);
        case subject::registers:
            return registers_text(state);
        case subject::traps:
            return traps_text(state, all_traps);
        case subject::counters:
            return counters_text(state);
        case subject::configuration:
            return configuration_text(state);
        case subject::faults:
            return faults_text(state);
        case subject::everything:
            break;
    }
    return ports_text(state) + "\n" + registers_text(state) + "\nLatest traps\n" + traps_text(state, recent_traps) +
           "\n" + counters_text(state) + "\n" + faults_text(state);
}

}  // namespace vswitch
