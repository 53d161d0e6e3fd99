// What the switch looks like from outside, as text for people. Ports are 1 to 4.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "models/switch_state.h"

namespace vswitch {

enum class subject { everything, ports, leds, registers, traps, counters, configuration, faults };
std::optional<subject> subject_of(const std::string& word);

// Which frames of the log to show.
struct frame_choice {
    std::optional<std::size_t> first{};  // the oldest so many; else
    std::optional<std::size_t> last{};   // the newest so many; else all
    std::optional<std::uint8_t> key{};
    std::uint64_t after = 0;     // only frames with a higher number
    bool settings_only = false;  // no frames that only read
    bool with_notes = false;
};

struct channel_view {
    std::string state;
    unsigned power_class;
    double voltage_v;
    unsigned current_ma;
    double power_w;
};

struct port_view {
    unsigned number;
    powered_device device;
    bool powered_on;  // allowed to deliver
    std::string state;
    unsigned controller_state;
    unsigned power_class;
    const char* type;
    double voltage_v;
    unsigned current_ma;
    double power_w;
    double temperature_c;
    double limit_w;
    unsigned priority;
    bool link_up;
    led_state led;
    event_counts events;
    channel_view channels[2];
};

port_view view_port(const switch_state& state, std::size_t port);
std::vector<const frame_entry*> choose_frames(const frame_log& log, const frame_choice& choice);
std::vector<const note_entry*> choose_notes(const frame_log& log, const frame_choice& choice);
const char* method_name(std::uint8_t method);

std::string show_text(const switch_state& state, subject what);
std::string frames_text(const frame_log& log, const frame_choice& choice);
std::string traps_text(const switch_state& state, std::size_t last);

}  // namespace vswitch
