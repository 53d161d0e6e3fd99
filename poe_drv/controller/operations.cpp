#include "controller/operations.h"

#include <algorithm>
#include <type_traits>

#include "controller/queries.h"
#include "controller/settings.h"
#include "controller/status.h"
#include "core/cpld.h"
#include "core/records.h"
#include "platform/orv_com.h"

namespace {

constexpr std::uint8_t bank_count = 8;
constexpr std::uint8_t first_bank = 0;
constexpr std::uint8_t ports_per_device = 4;
constexpr std::uint8_t mappings_per_request = 1;
constexpr int tenths = 10;
constexpr float tenths_of_a_watt = 10.0F;
constexpr std::uint32_t mw_per_limit_step = 400;
constexpr std::uint8_t measured_for_temperature = 0;  // the port whose temperature stands for the system's

template <typename number>
void hand_out(number* output, std::type_identity_t<number> value) {
    if (output != nullptr) *output = value;
}

// --- codes ---

constexpr std::uint8_t power_off = 0;
constexpr std::uint8_t power_on = 1;
constexpr std::uint8_t power_unknown = 0xFF;

constexpr std::uint8_t power_state_code(std::uint8_t state) {
    return state == power_off || state == power_on ? state : power_unknown;
}

struct priority_row {
    std::uint8_t priority;
    std::uint8_t code;  // the controller's
};
constexpr std::array priorities{
    priority_row{.priority = 1, .code = 3},
    priority_row{.priority = 2, .code = 2},
    priority_row{.priority = 3, .code = 0},
};
constexpr std::uint8_t lowest_priority_code = 0;

constexpr std::uint8_t priority_code(std::uint8_t priority) {
    for (const priority_row& row : priorities) {
        if (row.priority == priority) return row.code;
    }
    return lowest_priority_code;
}

constexpr std::uint8_t limit_code(std::uint32_t milliwatts) {
    return static_cast<std::uint8_t>(milliwatts / mw_per_limit_step);
}

// --- port settings ---

// The same value for one port, sent as the first pair, or for every port.
int set_one_port(std::uint8_t key, std::uint8_t port, std::uint8_t value) REQUIRES(controller_user) {
    return _rtl_port_set(key, {port, empty_pair, empty_pair, empty_pair}, {value, empty_pair, empty_pair, empty_pair});
}

int set_ports(std::uint8_t key, std::uint8_t port, std::uint8_t value) REQUIRES(controller_user) {
    if (port != all_ports) return set_one_port(key, port, value);
    return _rtl_port_set(key, {0, 1, 2, 3}, {value, value, value, value});
}

// --- inline mode ---

constexpr std::uint8_t not_sent = 0xFF;
constexpr std::array<std::uint8_t, 5> inline_mode_keys{key_inline_mode_08, key_inline_mode_0f, key_inline_mode_0c,
                                                       key_inline_mode_12, key_inline_mode_18};
struct inline_mode_row {
    std::array<std::uint8_t, inline_mode_keys.size()> values;  // in the order of the keys, which is that of sending
    bool cpld_bit;                                             // of the port in the CPLD's inline-mode register
};
// clang-format off
constexpr std::array inline_modes{
    inline_mode_row{.values = {0, 2, 0, 1, not_sent}, .cpld_bit = false},    // mode 0
    inline_mode_row{.values = {0, 2, 3, 1, not_sent}, .cpld_bit = false},    // mode 1
    inline_mode_row{.values = {0, 2, 6, 1, not_sent}, .cpld_bit = true},     // mode 2
    inline_mode_row{.values = {0, 2, 6, 2, not_sent}, .cpld_bit = true},     // mode 3
    inline_mode_row{.values = {2, 0, 6, 2, 3},        .cpld_bit = true},     // mode 4
};
// clang-format on

int send_inline_mode(std::uint8_t port, const inline_mode_row& row) REQUIRES(controller_user) {
    int status = controller_ok;
    for (std::size_t i = 0; i < inline_mode_keys.size(); i++) {
        if (row.values[i] == not_sent) continue;
        keep_failure(status, set_ports(inline_mode_keys[i], port, row.values[i]));
    }
    return status;
}

}  // namespace

// --- reading ---

int poe_get_port_measurements(std::uint8_t port, std::uint16_t* voltage, std::uint16_t* current, std::uint16_t* power,
                              std::uint16_t*, std::uint16_t* temperature) {
    port_measurement measurement{};
    const int status = _rtl_port_measurement_get(port, measurement);
    if (status != controller_ok) return status;
    hand_out(voltage, measurement.voltage);
    hand_out(current, measurement.current);
    hand_out(power, measurement.power);
    hand_out(temperature, measurement.temperature);
    return status;
}

int poe_get_new_port_status(std::uint8_t port, std::uint8_t*, std::uint8_t*, std::uint8_t* state, std::uint8_t* detail,
                            std::uint8_t* low, std::uint8_t* high, std::uint8_t* pair_mode, std::uint8_t* mib1,
                            std::uint8_t* mib2, std::uint8_t* mib3, std::uint8_t* mib4, std::uint8_t* mib5,
                            int* mib_result) {
    port_status port_now{};
    int status = _rtl_port_status_get(port, port_now);
    if (status == controller_ok) {
        hand_out(state, port_now.state);
        hand_out(detail, port_now.detail);
        hand_out(low, port_now.detail_low);
        hand_out(high, port_now.detail_high);
        hand_out(pair_mode, port_now.port_type);
    }

    port_mib_counters counters{};
    const int counters_status = _rtl_port_mib_counter_get(port, counters);
    if (counters_status == controller_ok) {
        const auto& [b2, b3, b4, b5, b6, b7] = counters.b2_to_b7;
        hand_out(mib1, b3);
        hand_out(mib2, b4);
        hand_out(mib3, b5);
        hand_out(mib4, b7);
        hand_out(mib5, b6);
    }
    hand_out(mib_result, counters_status);
    keep_failure(status, counters_status);
    return status;
}

int poe_get_channel_measurements(std::uint8_t channel, std::uint16_t* voltage1, std::uint16_t* raw1,
                                 std::uint16_t* voltage2, std::uint16_t* raw2) {
    channel_vol_cur measurement{};
    const int status = _rtl_port_channel_vol_cur_get(channel, measurement);
    if (status != controller_ok) return status;
    hand_out(voltage1, measurement.voltage1);
    hand_out(raw1, measurement.raw1);
    hand_out(voltage2, measurement.voltage2);
    hand_out(raw2, measurement.raw2);
    return status;
}

int poe_get_new_channel_status(std::uint8_t channel, std::uint8_t* o1, std::uint8_t* o2, std::uint8_t* o3,
                               std::uint8_t* o4, std::uint8_t* o5, std::uint8_t* o6, std::uint8_t* o7,
                               std::uint8_t* o8) {
    channel_status channel_now{};
    const int status = _rtl_channel_status_get(channel, channel_now);
    if (status != controller_ok) return status;
    hand_out(o1, channel_now.b6);
    hand_out(o2, channel_now.b5);
    hand_out(o3, channel_now.b3);
    hand_out(o4, channel_now.b4);
    hand_out(o5, channel_now.b10);
    hand_out(o6, channel_now.b9);
    hand_out(o7, channel_now.b7);
    hand_out(o8, channel_now.b8);
    return status;
}

int poe_get_pm_method(std::uint8_t* method) {
    global_pm_cfg cfg{};
    const int status = _rtl_global_pm_cfg_get(first_bank, cfg);
    if (status == controller_ok) hand_out(method, cfg.method);
    return status;
}

int poe_get_power_banks(std::uint8_t bank, std::uint16_t* power, std::uint16_t* upper, std::uint16_t* lower) {
    global_pm_cfg cfg{};
    int status = _rtl_global_pm_cfg_get(bank, cfg);
    if (status == controller_ok) hand_out(power, cfg.bank_power / tenths);

    global_parameters parameters{};
    const int parameters_status = _rtl_global_parameters_get(parameters);
    if (parameters_status == controller_ok) {
        hand_out(upper, parameters.upper);
        hand_out(lower, parameters.lower);
    }
    keep_failure(status, parameters_status);
    return status;
}

int poe_get_physical_port_number_from_active_matrix(std::uint8_t port, std::uint8_t* pair_a, std::uint8_t* pair_b) {
    port_extended_cfg cfg{};
    const int status = _rtl_port_extended_cfg_get(port, cfg);
    if (status != controller_ok) return status;
    hand_out(pair_a, cfg.pair_a);
    hand_out(pair_b, cfg.pair_b);
    return status;
}

int poe_get_all_port_enable_disable(std::uint8_t* states, std::uint8_t count) {
    int status = controller_ok;
    const std::uint8_t ports = std::min<std::uint8_t>(count, port_count);
    for (std::uint8_t port = 0; port < ports; port++) {
        port_basic_cfg cfg{};
        const int step = _rtl_port_basic_cfg_get(port, cfg);
        const bool known = cfg.enable == power_off || cfg.enable == power_on;
        if (step == controller_ok && known && states != nullptr) states[port] = cfg.enable;
        keep_failure(status, step);
    }
    return status;
}

int poe_get_system_measurments(std::uint8_t* bank, std::uint16_t* bank_power, std::uint16_t* power_word, std::uint16_t*,
                               std::uint16_t* temperature) {
    global_power_status power{};  // bank 0 unless the controller names another
    int status = _rtl_global_power_status_get(power);
    if (status == controller_ok) {
        hand_out(bank, power.active_bank);
        hand_out(power_word, power.power_word);
    }

    global_pm_cfg cfg{};
    const int cfg_status = _rtl_global_pm_cfg_get(power.active_bank, cfg);
    if (cfg_status == controller_ok) hand_out(bank_power, cfg.bank_power);
    keep_failure(status, cfg_status);

    port_measurement measurement{};  // temperature 0 when it cannot be read
    _rtl_port_measurement_get(measured_for_temperature, measurement);
    hand_out(temperature, measurement.temperature);
    return status;
}

int poe_get_software_version(std::uint8_t* o0, std::uint8_t* o1, std::uint16_t* o2, std::uint8_t* o3, std::uint8_t* o4,
                             std::uint8_t* o5, std::uint8_t* o6, std::uint8_t* o7, std::uint8_t* o8) {
    global_status global{};
    const int status = _rtl_global_status_get(global);
    if (status != controller_ok) return status;
    const auto whole = [](std::uint8_t high, std::uint8_t low) { return static_cast<std::uint8_t>(high << 4 | low); };
    hand_out(o0, global.b3);
    hand_out(o1, global.b4);
    hand_out(o2, global.b5_b6);
    hand_out(o3, whole(global.b7_high, global.b7_low));
    hand_out(o4, global.b8);
    hand_out(o5, global.b9_flags[0]);
    hand_out(o6, global.b9_flags[1]);
    hand_out(o7, global.b9_flags[2]);
    hand_out(o8, whole(global.b10_high, global.b10_low));
    return status;
}

int poe_get_port_priority(std::uint8_t port, std::uint8_t* priority) {
    port_extended_cfg cfg{};
    const int status = _rtl_port_extended_cfg_get(port, cfg);
    if (status != controller_ok) return status;
    for (const priority_row& row : priorities) {
        if (row.code == cfg.priority_code) hand_out(priority, row.priority);
    }
    return status;
}

int poe_get_port_power_limit(std::uint8_t port, std::uint32_t* limit) {
    port_extended_cfg cfg{};
    const int status = _rtl_port_extended_cfg_get(port, cfg);
    if (status == controller_ok) hand_out(limit, static_cast<std::uint32_t>(cfg.power_limit_w * tenths_of_a_watt));
    return status;
}

// --- writing ---

int poe_save_system_settings() {
    return _rtl_cfg_info_save();
}

int poe_set_pm_method(std::uint8_t method) {
    return _rtl_global_set(key_pm_method, method);
}

int poe_set_system_mask(std::uint8_t mask) {
    return _rtl_global_set(key_system_mask, mask);
}

int poe_set_temporary_matrix(std::uint8_t port, std::uint8_t pair_a, std::uint8_t pair_b) {
    const std::uint8_t device = port / ports_per_device;
    return _rtl_port_pair_mapping_set(port, mappings_per_request, device, pair_a, pair_b);
}

int poe_program_global_matrix(std::uint8_t enable) {
    return _rtl_port_mapping_enable_set(enable, static_cast<std::uint8_t>(port_count));
}

int poe_set_power_banks(std::uint8_t bank, std::uint16_t watts, std::uint16_t upper, std::uint16_t lower) {
    const auto power = static_cast<std::uint16_t>(watts * tenths);
    int status = controller_ok;
    if (bank == all_ports) {
        for (std::uint8_t each = 0; each < bank_count; each++) {
            keep_failure(status, _rtl_global_power_source_set(each, power, 0));
        }
    } else {
        status = _rtl_global_power_source_set(bank, power, 0);
    }
    keep_failure(status, _rtl_global_parameters_set(lower, upper));
    return status;
}

int poe_set_port_power_state(std::uint8_t port, std::uint8_t state) {
    return set_one_port(key_port_power_state, port, power_state_code(state));
}

int poe_set_port_priority(std::uint8_t port, std::uint8_t priority) {
    return set_ports(key_port_priority, port, priority_code(priority));
}

int poe_set_power_limit_for_channels(std::uint8_t port, std::uint32_t milliwatts) {
    return set_ports(key_port_power_limit, port, limit_code(milliwatts));
}

int poe_set_port_parameters(std::uint8_t port, std::uint8_t enable, std::uint32_t milliwatts, std::uint8_t priority) {
    int status = set_ports(key_port_power_state, port, enable == power_on ? power_on : power_off);
    keep_failure(status, poe_set_power_limit_for_channels(port, milliwatts));
    keep_failure(status, poe_set_port_priority(port, priority));
    return status;
}

int poe_set_inline_mode(std::uint8_t port, std::uint8_t mode) {
    const inline_mode_row* row = mode < inline_modes.size() ? &inline_modes[mode] : nullptr;
    const int status = row != nullptr ? send_inline_mode(port, *row) : controller_ok;

    unsigned char mask = 0;
    unsigned char value = 0;
    for (std::uint8_t each = 0; each < port_count; each++) {
        if (port != each && port != all_ports) continue;
        utilBitmapSet(&mask, each);
        if (row != nullptr && row->cpld_bit) utilBitmapSet(&value, each);
    }
    __poe_drv_cpld_write_mask(cpld_inline_mode_register, value, mask);
    return status;
}

int poe_set_enable_disable_channels(std::uint8_t port, std::uint8_t enable, std::uint8_t mode) {
    int status = set_ports(key_port_power_state, port, power_state_code(enable));
    keep_failure(status, poe_set_inline_mode(port, mode));
    return status;
}
