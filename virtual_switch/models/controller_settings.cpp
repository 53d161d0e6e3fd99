// The controller's writing commands.
#include "models/controller.h"

namespace vswitch {

namespace {

constexpr std::uint8_t do_reset = 1;
constexpr std::uint8_t highest_mode = 7;
constexpr std::uint8_t highest_priority = 3;
constexpr std::uint8_t no_pair = 0xFF;

constexpr std::uint8_t result_of(bool good) {
    return good ? accepted : refused;
}

bool is_port_key(std::uint8_t key) {
    switch (key) {
        case command_key::port_power:
        case command_key::disconnect_mode:
        case command_key::power_up_mode:
        case command_key::detection_mode:
        case command_key::limit_mode:
        case command_key::port_limit:
        case command_key::port_priority:
        case command_key::inline_option:
            return true;
        default:
            return false;
    }
}

}  // namespace

bool controller::answer_setting(const frame& request, frame& reply) {
    const std::uint8_t key = request[key_at];
    if (is_port_key(key)) {
        set_port_pairs(request, reply);
        return true;
    }
    switch (key) {
        case command_key::all_ports_power:
        case command_key::global_reset:
        case command_key::power_method:
        case command_key::system_mask:
        case command_key::event_code:
            reply[2] = result_of(set_global(key, request[2]));
            return true;
        case command_key::power_bank:
            set_power_bank(request, reply);
            return true;
        case command_key::mapping_enable:
            enable_mapping(request, reply);
            return true;
        case command_key::pair_mapping:
            set_pair_mapping(request, reply);
            return true;
        case command_key::thresholds:
            running_.lower_threshold = request[2];
            running_.upper_threshold = request[4];
            reply[2] = accepted;
            return true;
        case command_key::configuration_store:
            return use_store(request, reply);
        default:
            return false;
    }
}

bool controller::set_global(std::uint8_t key, std::uint8_t value) {
    switch (key) {
        case command_key::all_ports_power:
            if (value > 1) return false;
            for (port_configuration& port : running_.ports)
                port.power_state = value;
            apply_running();
            return true;
        case command_key::global_reset:
            if (value != do_reset) return false;
            // Nothing stored, nothing to restore: what was programmed since the store was cleared stays.
            if (stored_) running_ = *stored_;
            temporary_matrix_ = port_matrix{};
            last_reset_ = reset_cause::commanded;
            restart_ports();
            return true;
        case command_key::power_method:
            if (value > method_dynamic) return false;
            running_.method = value;
            apply_running();
            return true;
        case command_key::system_mask:
            running_.mask = value;
            return true;
        case command_key::event_code:
            running_.event_code = value;
            return true;
        default:
            return false;
    }
}

bool controller::set_port(std::uint8_t key, std::uint8_t port, std::uint8_t value) {
    if (port >= port_count) return false;
    port_configuration& settings = running_.ports[port];
    const auto take = [value](std::uint8_t& setting, std::uint8_t highest) {
        if (value > highest) return false;
        setting = value;
        return true;
    };
    switch (key) {
        case command_key::port_power:
            return take(settings.power_state, 1);
        case command_key::port_limit:
            return take(settings.limit_counts, highest_limit_counts);
        case command_key::port_priority:
            return take(settings.priority, highest_priority);
        case command_key::disconnect_mode:
            return take(settings.disconnect_mode, highest_mode);
        case command_key::power_up_mode:
            return take(settings.power_up_mode, highest_mode);
        case command_key::detection_mode:
            return take(settings.detection_mode, highest_mode);
        case command_key::limit_mode:
            return take(settings.limit_mode, limit_mode_by_setting);
        case command_key::inline_option:
            return take(settings.inline_option, highest_mode);
        default:
            return false;
    }
}

// Four (port, value) pairs in, four (port, result) pairs out; an empty pair stays empty.
void controller::set_port_pairs(const frame& request, frame& reply) {
    for (std::size_t at = 2; at < 10; at += 2) {
        const std::uint8_t port = request[at];
        if (port == no_pair) continue;
        reply[at] = port;
        reply[at + 1] = result_of(set_port(request[key_at], port, request[at + 1]));
    }
    apply_running();
}

void controller::set_power_bank(const frame& request, frame& reply) {
    const std::uint8_t bank = request[2];
    reply[2] = bank;
    reply[3] = result_of(bank < bank_count);
    if (bank >= bank_count) return;
    running_.banks[bank] = {.counts = word_at(request, 3), .extra = word_at(request, 5)};
    apply_running();
}

// 0 begins a new temporary matrix with every port off; 1 makes it the active one.
void controller::enable_mapping(const frame& request, frame& reply) {
    const std::uint8_t enable = request[2];
    const bool good_count = request[3] >= 1 && request[3] <= port_count;
    const bool good_enable = enable == 0 || (enable == 1 && is_complete(temporary_matrix_));
    reply[2] = result_of(good_enable);
    reply[3] = result_of(good_count);
    if (!good_count || !good_enable) return;
    if (enable == 0) {
        temporary_matrix_ = port_matrix{};
        for (port_configuration& port : running_.ports)
            port.power_state = 0;
    } else {
        running_.active_matrix = temporary_matrix_;
    }
    apply_running();
}

void controller::set_pair_mapping(const frame& request, frame& reply) {
    const std::uint8_t port = request[2];
    const pair_mapping pairs{.a = request[5], .b = request[6]};
    const bool good_port = port < port_count && request[3] == 1;
    const bool good_device = request[4] == 0;
    const bool good_a = pairs.a < channel_count;
    const bool good_b = pairs.b < channel_count && pairs.b != pairs.a;
    reply[2] = port;
    reply[3] = result_of(good_port);
    reply[4] = result_of(good_device);
    reply[5] = result_of(good_a);
    reply[6] = result_of(good_b);
    reply[10] = accepted;
    if (good_port && good_device && good_a && good_b) temporary_matrix_[port] = pairs;
}

bool controller::use_store(const frame& request, frame& reply) {
    const std::uint8_t selector = request[selector_at];
    reply[selector_at] = selector;
    switch (selector) {
        case store_save:
            stored_ = running_;
            reply[2] = accepted;
            return true;
        case store_clear:
            stored_.reset();
            running_ = configuration{};
            temporary_matrix_ = port_matrix{};
            apply_running();
            reply[2] = accepted;
            return true;
        case store_version_save:
            for (std::size_t at = 0; at < version_size; at++)
                version_[at] = request[data_at + at];
            reply[2] = accepted;
            return true;
        case store_version_get:
            for (std::size_t at = 0; at < version_size; at++)
                reply[data_at + at] = version_[at];
            return true;
        default:
            return false;
    }
}

}  // namespace vswitch
