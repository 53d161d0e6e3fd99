#include "controller/settings.h"

#include "controller/command.h"
#include "core/records.h"
#include "platform/orv_com.h"

namespace {

// The line is part of the text.
constexpr said_by port_refused{.function = "_rtl_port_set", .line = 1517};

constexpr std::uint8_t high_byte(std::uint16_t word) {
    return static_cast<std::uint8_t>(word >> 8);
}
constexpr std::uint8_t low_byte(std::uint16_t word) {
    return static_cast<std::uint8_t>(word);
}

}  // namespace

int _rtl_global_set(std::uint8_t key, std::uint8_t value) {
    if (key == key_global_power_off) utilBitmapClearAll(&g_port_pwr_auto_off, sizeof g_port_pwr_auto_off);
    const std::uint32_t wait = key == key_global_reset ? driver_wait_slow : driver_wait;
    return setting<2>({__func__, __LINE__}, blank_request(key, no_selector, {value}), wait);
}

int _rtl_global_power_source_set(std::uint8_t bank, std::uint16_t power, std::uint16_t extra) {
    return setting<3>({__func__, __LINE__},
                      blank_request(key_power_source_set, no_selector,
                                    {bank, high_byte(power), low_byte(power), high_byte(extra), low_byte(extra)}));
}

int _rtl_port_mapping_enable_set(std::uint8_t enable, std::uint8_t count) {
    return setting<2, 3>({__func__, __LINE__}, blank_request(key_port_mapping_enable, no_selector, {enable, count}),
                         driver_wait_slow);
}

int _rtl_port_pair_mapping_set(std::uint8_t port, std::uint8_t count, std::uint8_t device, std::uint8_t pair_a,
                               std::uint8_t pair_b) {
    return setting<3, 4, 5, 6, 10>(
        {__func__, __LINE__}, blank_request(key_port_pair_mapping, no_selector, {port, count, device, pair_a, pair_b}));
}

int _rtl_global_parameters_set(std::uint16_t lower, std::uint16_t upper) {
    return setting<2>({__func__, __LINE__},
                      blank_request(key_parameters_set, no_selector,
                                    {lower_threshold_count(lower), unused_byte, upper_threshold_count(upper)}));
}

int _rtl_port_set(std::uint8_t key, const four_bytes& ports, const four_bytes& values) {
    controller_frame frame = blank_request(key, no_selector);
    for (std::size_t i = 0; i < ports.size(); i++) {
        frame.data[2 * i] = ports[i];
        frame.data[2 * i + 1] = values[i];
        if (key == key_port_power_state && ports[i] < port_count) utilBitmapClear(&g_port_pwr_auto_off, ports[i]);
    }

    int status = ask_controller({__func__, __LINE__}, driver_wait, frame);
    if (status != controller_ok) return status;
    for (std::size_t i = 0; i < ports.size(); i++) {
        if (frame.data[2 * i + 1] != result_refused) continue;
        say("[%s() , %d]: Port %d setup failed!!!\n", port_refused.function, port_refused.line, frame.data[2 * i]);
        status = controller_refused;
    }
    return status;
}

int _rtl_cfg_info_save() {
    return setting<2>({__func__, __LINE__}, blank_request(key_configuration_store, store_save));
}

int _rtl_cfg_info_clear() {
    return setting<2>({__func__, __LINE__}, blank_request(key_configuration_store, store_clear));
}

int _rtl_cfg_ver_save(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d, std::uint8_t e) {
    return setting<2>({__func__, __LINE__},
                      blank_request(key_configuration_store, store_save_version, {a, b, c, d, e}));
}
