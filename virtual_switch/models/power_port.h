// One port of the controller and the jack in front of it: detection, classification, power, faults, disconnection.
// A port has one supply unit, or two of their own when a dual-signature device is on it. Times are model time in
// microseconds; nothing happens but in run(), at the moment that due_us() announced, or in the call that causes it.
#pragma once

#include <array>
#include <cstdint>
#include <limits>

#include "models/configuration.h"
#include "models/powered_device.h"

namespace vswitch {

inline constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

inline constexpr std::uint64_t detection_us = 350000;
inline constexpr std::uint64_t classification_us = 100000;
inline constexpr std::uint64_t power_up_us = 50000;
inline constexpr std::uint64_t overload_us = 60000;       // an overload is borne this long
inline constexpr std::uint64_t short_circuit_us = 1000;   // a short only this long
inline constexpr std::uint64_t disconnect_us = 350000;    // without current for this long, the device is gone
inline constexpr std::uint64_t fault_delay_us = 1000000;  // until a faulty port is tried again

enum class unit_state { off, searching, classifying, waiting, powering_up, delivering, denied, faulted };

// The controller's own codes.
namespace controller_state {
inline constexpr std::uint8_t disabled = 0;
inline constexpr std::uint8_t searching = 1;
inline constexpr std::uint8_t delivering = 2;
inline constexpr std::uint8_t fault = 4;
inline constexpr std::uint8_t requesting = 6;
}  // namespace controller_state
namespace controller_error {
inline constexpr std::uint8_t short_circuit = 2;
inline constexpr std::uint8_t overload = 3;
inline constexpr std::uint8_t denied = 4;
}  // namespace controller_error
namespace found {  // the sub-status of a searching port
inline constexpr std::uint8_t nothing_yet = 0;
inline constexpr std::uint8_t resistance_too_low = 3;
inline constexpr std::uint8_t valid = 4;
inline constexpr std::uint8_t open_circuit = 6;
}  // namespace found
namespace pair_type {
inline constexpr std::uint8_t two_pairs = 0;
inline constexpr std::uint8_t four_pairs = 1;
inline constexpr std::uint8_t dual_signature = 2;
inline constexpr std::uint8_t none = 3;
}  // namespace pair_type

// Event counters as the daemon numbers them, 1 to 5.
namespace event {
inline constexpr std::size_t disconnected = 1;
inline constexpr std::size_t overloaded = 2;
inline constexpr std::size_t shorted = 3;
inline constexpr std::size_t bad_signature = 4;
inline constexpr std::size_t denied = 5;
}  // namespace event
inline constexpr std::size_t event_count = 5;
using event_counts = std::array<std::uint8_t, event_count>;  // counter n at n - 1

struct unit_reading {
    std::uint8_t state;       // controller_state
    std::uint8_t error;       // controller_error, 0xFF unless in fault
    std::uint8_t sub_status;  // 0xFF in fault
    std::uint8_t power_class;
    std::uint32_t load_mw;  // delivered
};

class power_port {
  public:
    // Whether both of the port's channels lead to this jack, and how the port is set.
    void configure(const port_configuration& settings, bool wired, std::uint64_t now_us);
    void plug(const powered_device& device, std::uint64_t now_us);
    void unplug(std::uint64_t now_us);
    void change(const powered_device& device, std::uint64_t now_us);  // the same device draws or breaks otherwise
    void switch_on(std::uint64_t now_us);
    void switch_off();

    std::uint64_t due_us() const;
    void run(std::uint64_t now_us);

    // The budget's view: units that want power or have it, and the verdict on each.
    bool wants_power(std::size_t unit) const;
    std::uint32_t demand_mw(std::size_t unit) const;  // what it draws or would draw, at most its limit
    std::uint32_t limit_mw(std::size_t unit) const;
    void grant(std::size_t unit, std::uint64_t now_us);
    void deny(std::size_t unit);

    const powered_device& device() const { return device_; }
    unit_state state(std::size_t unit) const { return units_.at(unit).state; }
    unit_reading port_reading() const;
    unit_reading channel_reading(std::size_t channel) const;  // 0 pair set A, 1 pair set B
    std::uint8_t type() const;
    std::uint32_t delivered_mw() const;

    void count_event(std::size_t counter, unsigned times = 1);
    event_counts events() const { return events_; }
    event_counts take_events();  // read and cleared

  private:
    enum class trouble { none, gone, shorted, overloaded };
    struct supply_unit {
        unit_state state = unit_state::off;
        std::uint64_t due = never;
        trouble ahead = trouble::none;  // what happens when a delivering unit is due
        std::uint8_t error = 0;
    };

    bool is_dual() const { return device_.kind == device_kind::dual_signature; }
    bool detects() const { return settings_.detection_mode != detection_off; }
    std::size_t units_in_use() const { return split_ ? 2 : 1; }
    std::uint32_t load_mw(std::size_t unit) const;
    trouble trouble_of(std::size_t unit) const;
    void search(std::uint64_t now_us);
    void finish_detection(std::uint64_t now_us);
    bool watch_delivering(std::uint64_t now_us);
    void watch(supply_unit& unit, std::size_t index, std::uint64_t now_us);
    void fail(supply_unit& unit, trouble cause, std::uint64_t now_us);
    void drop(std::uint64_t now_us);
    void run_unit(std::size_t index, std::uint64_t now_us);
    unit_reading reading_of(std::size_t unit) const;

    port_configuration settings_{};
    bool wired_ = false;
    powered_device device_{};
    signature found_ = signature::open;
    bool split_ = false;  // a dual-signature device was detected: two units of their own
    std::array<supply_unit, 2> units_{};
    event_counts events_{};
};

}  // namespace vswitch
