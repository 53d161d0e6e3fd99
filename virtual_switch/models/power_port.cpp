#include "models/power_port.h"

#include <algorithm>
#include <stdexcept>

namespace vswitch {

namespace {
constexpr std::uint8_t not_given = 0xFF;
}

std::uint32_t power_port::limit_mw(std::size_t unit) const {
    std::uint32_t limit = port_cap_mw(settings_);
    if (is_dual()) limit /= 2;
    if (settings_.limit_mode != limit_mode_by_setting) limit = std::min(limit, class_power_mw(device_.power_class));
    return unit < units_in_use() ? limit : 0;
}

std::uint32_t power_port::load_mw(std::size_t unit) const {
    if (device_.broken == breakage::overload) return limit_mw(unit) + limit_mw(unit) / 2 + 1;
    return device_.load_mw.at(unit);
}

std::uint32_t power_port::demand_mw(std::size_t unit) const {
    return std::min(load_mw(unit), limit_mw(unit));
}

power_port::trouble power_port::trouble_of(std::size_t unit) const {
    if (device_.kind == device_kind::none || device_.broken == breakage::open) return trouble::gone;
    if (device_.broken == breakage::short_circuit) return trouble::shorted;
    if (load_mw(unit) > limit_mw(unit)) return trouble::overloaded;
    return trouble::none;
}

void power_port::configure(const port_configuration& settings, bool wired, std::uint64_t now_us) {
    const bool was_wired = wired_;
    const bool detected_before = detects();
    settings_ = settings;
    wired_ = wired;
    if (settings_.power_state == 0) {
        switch_off();
    } else if (units_[0].state == unit_state::off) {
        switch_on(now_us);
    } else if (was_wired != wired_) {
        drop(now_us);
    } else if (detected_before != detects() && units_[0].state == unit_state::searching) {
        search(now_us);
    } else {
        change(device_, now_us);
    }
}

void power_port::plug(const powered_device& device, std::uint64_t now_us) {
    device_ = device;
    drop(now_us);
}

void power_port::unplug(std::uint64_t now_us) {
    device_ = powered_device{};
    if (!watch_delivering(now_us)) drop(now_us);
}

void power_port::change(const powered_device& device, std::uint64_t now_us) {
    const bool another_signature = signature_of(device) != signature_of(device_);
    device_ = device;
    if (watch_delivering(now_us)) return;
    if (another_signature) drop(now_us);
}

void power_port::switch_on(std::uint64_t now_us) {
    settings_.power_state = 1;
    if (units_[0].state == unit_state::off) search(now_us);
}

void power_port::switch_off() {
    settings_.power_state = 0;
    for (supply_unit& unit : units_)
        unit = supply_unit{};
    split_ = false;
    found_ = signature::open;
}

void power_port::search(std::uint64_t now_us) {
    for (supply_unit& unit : units_)
        unit = supply_unit{.state = unit_state::searching};
    split_ = false;
    found_ = signature::open;
    if (wired_ && signature_of(device_) != signature::open) units_[0].due = now_us + detection_us;
}

// Whatever the port did, it does no more; a device that drew power counts as disconnected.
void power_port::drop(std::uint64_t now_us) {
    const bool carried_power =
        std::ranges::any_of(units_, [](const supply_unit& unit) { return unit.state == unit_state::delivering; });
    if (carried_power) count_event(event::disconnected);
    if (units_[0].state != unit_state::off) search(now_us);
}

void power_port::finish_detection(std::uint64_t now_us) {
    found_ = signature_of(device_);
    if (found_ == signature::bad && !detects()) found_ = signature::valid;
    units_[0].due = never;
    if (found_ == signature::bad) count_event(event::bad_signature);
    if (found_ != signature::valid) return;
    split_ = is_dual();
    for (std::size_t unit = 0; unit < units_in_use(); unit++) {
        units_[unit].state = unit_state::classifying;
        units_[unit].due = now_us + classification_us;
    }
}

// True when there is a delivering unit to watch.
bool power_port::watch_delivering(std::uint64_t now_us) {
    bool carries_power = false;
    for (std::size_t unit = 0; unit < units_in_use(); unit++) {
        if (units_[unit].state != unit_state::delivering) continue;
        carries_power = true;
        watch(units_[unit], unit, now_us);
    }
    return carries_power;
}

// A delivering unit: sees trouble coming, or passing.
void power_port::watch(supply_unit& unit, std::size_t index, std::uint64_t now_us) {
    const trouble ahead = trouble_of(index);
    if (ahead == unit.ahead) return;
    unit.ahead = ahead;
    switch (ahead) {
        case trouble::none:
            unit.due = never;
            break;
        case trouble::gone:
            unit.due = now_us + disconnect_us;
            break;
        case trouble::shorted:
            unit.due = now_us + short_circuit_us;
            break;
        case trouble::overloaded:
            unit.due = now_us + overload_us;
            break;
    }
}

void power_port::fail(supply_unit& unit, trouble cause, std::uint64_t now_us) {
    const bool shorted = cause == trouble::shorted;
    unit = supply_unit{.state = unit_state::faulted,
                       .due = now_us + fault_delay_us,
                       .error = shorted ? controller_error::short_circuit : controller_error::overload};
    count_event(shorted ? event::shorted : event::overloaded);
}

std::uint64_t power_port::due_us() const {
    return std::min(units_[0].due, units_[1].due);
}

void power_port::run(std::uint64_t now_us) {
    for (std::size_t unit = 0; unit < units_.size(); unit++) {
        if (units_[unit].due <= now_us) run_unit(unit, now_us);
    }
}

void power_port::run_unit(std::size_t index, std::uint64_t now_us) {
    supply_unit& unit = units_.at(index);
    unit.due = never;
    switch (unit.state) {
        case unit_state::off:
        case unit_state::waiting:
        case unit_state::denied:
            break;
        case unit_state::searching:
            finish_detection(now_us);
            break;
        case unit_state::classifying:
            unit.state = unit_state::waiting;
            break;
        case unit_state::powering_up:
            if (trouble_of(index) == trouble::shorted) {
                fail(unit, trouble::shorted, now_us);
            } else {
                unit.state = unit_state::delivering;
                unit.ahead = trouble::none;
                watch(unit, index, now_us);
            }
            break;
        case unit_state::delivering:
            if (unit.ahead == trouble::gone) {
                drop(now_us);
            } else if (unit.ahead != trouble::none) {
                fail(unit, unit.ahead, now_us);
            }
            break;
        case unit_state::faulted:
            if (trouble_of(index) == trouble::none) {
                unit = supply_unit{.state = unit_state::classifying, .due = now_us + detection_us + classification_us};
            } else if (trouble_of(index) == trouble::gone) {
                drop(now_us);
            } else {
                unit.due = now_us + fault_delay_us;
            }
            break;
    }
}

bool power_port::wants_power(std::size_t unit) const {
    switch (units_.at(unit).state) {
        case unit_state::waiting:
        case unit_state::powering_up:
        case unit_state::delivering:
        case unit_state::denied:
            return true;
        default:
            return false;
    }
}

void power_port::grant(std::size_t unit, std::uint64_t now_us) {
    supply_unit& one = units_.at(unit);
    if (one.state != unit_state::waiting && one.state != unit_state::denied) return;
    one = supply_unit{.state = unit_state::powering_up, .due = now_us + power_up_us};
}

void power_port::deny(std::size_t unit) {
    supply_unit& one = units_.at(unit);
    if (one.state == unit_state::denied) return;
    one = supply_unit{.state = unit_state::denied, .error = controller_error::denied};
    count_event(event::denied);
}

unit_reading power_port::reading_of(std::size_t unit) const {
    const supply_unit& one = units_.at(unit);
    unit_reading reading{.state = controller_state::disabled,
                         .error = not_given,
                         .sub_status = found::nothing_yet,
                         .power_class = static_cast<std::uint8_t>(device_.power_class),
                         .load_mw = 0};
    switch (one.state) {
        case unit_state::off:
            reading.power_class = 0;
            break;
        case unit_state::searching:
            reading.state = controller_state::searching;
            reading.sub_status = found_ == signature::bad ? found::resistance_too_low : found::open_circuit;
            reading.power_class = 0;
            break;
        case unit_state::classifying:
        case unit_state::waiting:
        case unit_state::powering_up:
            reading.state = controller_state::requesting;
            reading.sub_status = found::valid;
            break;
        case unit_state::delivering:
            reading.state = controller_state::delivering;
            reading.load_mw = one.ahead == trouble::gone ? 0 : load_mw(unit);
            break;
        case unit_state::denied:
        case unit_state::faulted:
            reading.state = controller_state::fault;
            reading.error = one.error;
            reading.sub_status = not_given;
            break;
    }
    return reading;
}

// Two units of their own: the port shows what is best of them, power before fault before request.
unit_reading power_port::port_reading() const {
    unit_reading a = reading_of(0);
    if (!split_) return a;
    const unit_reading b = reading_of(1);
    const auto rank = [](const unit_reading& one) {
        switch (one.state) {
            case controller_state::delivering:
                return 3;
            case controller_state::fault:
                return 2;
            case controller_state::requesting:
                return 1;
            default:
                return 0;
        }
    };
    const std::uint32_t both_mw = a.load_mw + b.load_mw;
    if (rank(b) > rank(a)) a = b;
    a.load_mw = both_mw;
    return a;
}

unit_reading power_port::channel_reading(std::size_t channel) const {
    if (channel > 1) throw std::out_of_range("channel of a port");
    if (split_) return reading_of(channel);
    unit_reading whole = reading_of(0);
    const bool shared = device_.four_pairs || whole.state == controller_state::disabled;
    if (channel == 1 && !shared) {
        whole = unit_reading{.state = controller_state::searching,
                             .error = not_given,
                             .sub_status = found::open_circuit,
                             .power_class = 0,
                             .load_mw = 0};
    } else if (device_.four_pairs) {
        whole.load_mw = channel == 0 ? whole.load_mw - whole.load_mw / 2 : whole.load_mw / 2;
    }
    return whole;
}

std::uint8_t power_port::type() const {
    const unit_state state = units_[0].state;
    if (device_.kind == device_kind::none || state == unit_state::off || state == unit_state::searching) {
        return pair_type::none;
    }
    if (split_) return pair_type::dual_signature;
    return device_.four_pairs ? pair_type::four_pairs : pair_type::two_pairs;
}

std::uint32_t power_port::delivered_mw() const {
    return port_reading().load_mw;
}

void power_port::count_event(std::size_t counter, unsigned times) {
    if (counter < 1 || counter > event_count) throw std::out_of_range("event counter");
    constexpr unsigned highest_count = 255;
    std::uint8_t& count = events_[counter - 1];
    count = static_cast<std::uint8_t>(std::min(highest_count, count + std::min(times, highest_count)));
}

event_counts power_port::take_events() {
    const event_counts taken = events_;
    events_ = event_counts{};
    return taken;
}

}  // namespace vswitch
