// The controller's reading commands.
#include "models/controller.h"
#include "models/readings.h"

namespace vswitch {

namespace {

// The one controller and firmware that the switch is fitted with.
constexpr std::uint8_t most_ports = 4;
constexpr std::uint8_t device_total = 1;
constexpr std::uint16_t device_identity = 57;
constexpr std::uint8_t firmware_version = 0x10;
constexpr std::uint8_t mcu_kind = 1;
constexpr std::uint8_t status_flags = 0b101;
constexpr std::uint8_t firmware_patch = 0x1A;
constexpr std::uint8_t first_device_address = 0x20;
constexpr std::uint8_t active_bank = 0;
constexpr std::uint32_t power_step_mw = 100;
constexpr std::uint8_t event_counters_wanted = 1;

void put_events(const event_counts& events, std::size_t at, frame& reply) {
    reply[at] = events[event::disconnected - 1];
    reply[at + 1] = events[event::overloaded - 1];
    reply[at + 2] = events[event::shorted - 1];
    reply[at + 3] = events[event::denied - 1];
    reply[at + 4] = events[event::bad_signature - 1];
}

}  // namespace

bool controller::answer_query(const frame& request, frame& reply) {
    const std::uint8_t key = request[key_at];
    const std::uint8_t index = request[data_at];
    const bool is_port = index < port_count;
    reply[data_at] = index;
    switch (key) {
        case command_key::global_status:
            reply[2] = 0;
            reply[3] = most_ports;
            reply[4] = device_total;
            put_word(reply, 5, device_identity);
            reply[7] = firmware_version;
            reply[8] = mcu_kind;
            reply[9] = status_flags;
            reply[10] = firmware_patch;
            return true;
        case command_key::global_power_status:
            put_power_status(reply);
            return true;
        case command_key::port_status:
            if (is_port) put_port_status(index, reply);
            return true;
        case command_key::port_group_status:
            put_group_status(index, reply);
            return true;
        case command_key::port_measurement:
            if (is_port) put_measurement(index, reply);
            return true;
        case command_key::event_counters:
            if (is_port) {
                // Reading clears, so that each event is told once.
                const bool clears = request[3] == event_counters_wanted;
                put_events(clears ? ports_[index].take_events() : ports_[index].events(), 3, reply);
            }
            return true;
        case command_key::event_status:
            reply[3] = static_cast<std::uint8_t>(port_count);
            for (std::size_t port = 0; port < port_count; port++) {
                const event_counts events = ports_[port].events();
                unsigned pending = 0;
                for (std::size_t at = 0; at < events.size(); at++)
                    pending |= (events[at] != 0 ? 1U : 0U) << at;
                reply[4 + port] = static_cast<std::uint8_t>(pending);
            }
            return true;
        case command_key::reset_reason:
            reply[3] = static_cast<std::uint8_t>(last_reset_);
            reply[4] = 0;
            return true;
        case command_key::port_basic:
            if (is_port) put_basic(index, reply);
            return true;
        case command_key::port_extended:
            if (is_port) put_extended(index, reply);
            return true;
        case command_key::global_parameters:
            // The comparator of the lower threshold rests one count below what it was set to.
            reply[2] = static_cast<std::uint8_t>(running_.lower_threshold - (running_.lower_threshold > 0 ? 1 : 0));
            reply[3] = 0;
            reply[7] = running_.upper_threshold;
            reply[8] = 0;
            return true;
        case command_key::power_management: {
            const std::uint8_t bank = request[selector_at];
            if (bank >= bank_count) return false;
            reply[selector_at] = bank;
            reply[2] = running_.method;
            put_word(reply, 3, running_.banks[bank].counts);
            put_word(reply, 5, running_.banks[bank].extra);
            put_word(reply, 7, 0);
            put_word(reply, 9, 0);
            return true;
        }
        case command_key::device_address:
            reply[3] = first_device_address;
            return true;
        case command_key::channel_status:
            if (is_port) put_channel_status(index, reply);
            return true;
        case command_key::channel_measurement:
            if (is_port) put_channel_measurement(index, reply);
            return true;
        default:
            reply[data_at] = unused_byte;
            return false;
    }
}

void controller::put_power_status(frame& reply) const {
    const std::uint32_t delivered = delivered_mw();
    const std::uint32_t budget = budget_mw();
    put_word(reply, 2, delivered / power_step_mw);
    put_word(reply, 4, (budget > delivered ? budget - delivered : 0) / power_step_mw);
    reply[6] = active_bank;
    put_word(reply, 7, voltage_counts(0));
}

void controller::put_port_status(std::size_t port, frame& reply) const {
    const unit_reading reading = ports_[port].port_reading();
    reply[3] = reading.state;
    const bool fault = reading.state == controller_state::fault;
    reply[4] = fault ? reading.error : nibbles(reading.power_class, reading.sub_status);
    reply[7] = ports_[port].type();
    if (reply[7] == pair_type::dual_signature) {
        reply[5] = nibbles(ports_[port].channel_reading(1).power_class, ports_[port].channel_reading(0).power_class);
    } else {
        reply[5] = reading.power_class;
    }
}

// Sixteen ports a group, a nibble each, two ports crossed in every two bytes.
void controller::put_group_status(std::uint8_t group, frame& reply) const {
    constexpr unsigned no_port = 0x0F;
    const auto state_of = [&](std::size_t port) -> unsigned {
        return group == 0 && port < port_count ? ports_[port].port_reading().state : no_port;
    };
    for (std::size_t pair = 0; pair < 4; pair++) {
        const std::size_t first = 4 * pair;
        reply[3 + 2 * pair] = nibbles(state_of(first + 2), state_of(first));
        reply[4 + 2 * pair] = nibbles(state_of(first + 1), state_of(first + 3));
    }
}

void controller::put_measurement(std::size_t port, frame& reply) const {
    const std::uint32_t load_mw = ports_[port].delivered_mw();
    const bool delivers = ports_[port].port_reading().state == controller_state::delivering;
    const unsigned counts = delivers ? voltage_counts(port) : 0;
    put_word(reply, 3, counts);
    put_word(reply, 5, milliamperes(load_mw, counts));
    put_word(reply, 7, temperature_counts(port));
    put_word(reply, 9, load_mw / power_step_mw);
}

// The enable byte is the stored one: a port that was switched on since is no part of the configuration.
void controller::put_basic(std::size_t port, frame& reply) const {
    const port_configuration& settings = running_.ports[port];
    reply[3] = stored_ ? stored_->ports[port].power_state : configuration{}.ports[port].power_state;
    reply[4] = settings.disconnect_mode;
    reply[5] = settings.detection_mode;
    reply[7] = settings.limit_mode;
    reply[8] = settings.inline_option;
}

void controller::put_extended(std::size_t port, frame& reply) const {
    const port_configuration& settings = running_.ports[port];
    reply[3] = settings.power_up_mode;
    reply[4] = 0;
    reply[5] = settings.limit_counts;
    reply[6] = settings.priority;
    reply[7] = 0;
    reply[8] = running_.active_matrix[port].a;
    reply[9] = running_.active_matrix[port].b;
}

void controller::put_channel_status(std::size_t port, frame& reply) const {
    const unit_reading a = ports_[port].channel_reading(0);
    const unit_reading b = ports_[port].channel_reading(1);
    reply[3] = a.sub_status;
    reply[4] = a.power_class;
    reply[5] = a.error;
    reply[6] = a.state;
    reply[7] = b.sub_status;
    reply[8] = b.power_class;
    reply[9] = b.error;
    reply[10] = b.state;
}

void controller::put_channel_measurement(std::size_t port, frame& reply) const {
    const std::size_t places[] = {3, 7};
    const power_port& one = ports_[port];
    const unsigned supply = voltage_counts(port);
    const unit_reading readings[] = {one.channel_reading(0), one.channel_reading(1)};
    const bool split = one.type() == pair_type::dual_signature;
    const unsigned whole = milliamperes(one.delivered_mw(), supply);
    for (std::size_t channel = 0; channel < 2; channel++) {
        const bool delivers = readings[channel].state == controller_state::delivering;
        unsigned current = split ? milliamperes(readings[channel].load_mw, supply) : whole;
        const bool shared = !split && one.device().four_pairs;
        if (shared) current = channel == 0 ? whole - whole / 2 : whole / 2;  // the halves add up to the whole
        put_word(reply, places[channel], delivers ? supply : 0);
        put_word(reply, places[channel] + 2, delivers ? current : 0);
    }
}

}  // namespace vswitch
