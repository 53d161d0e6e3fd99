// What each read command of the controller yields, decoded. The comments name the bytes of the answer.
#pragma once

#include <array>
#include <cstdint>

inline constexpr std::uint8_t not_reported = 0xFF;  // a detail that the controller's present state does not carry

struct global_status {
    std::uint8_t b3;
    std::uint8_t b4;
    std::uint16_t b5_b6;
    std::uint8_t b7_high, b7_low;  // nibbles
    std::uint8_t b8;
    std::array<std::uint8_t, 3> b9_flags;  // bits 0, 1, 2
    std::uint8_t b10_high, b10_low;        // nibbles
};

struct global_power_status {
    std::uint16_t b2_b3;
    std::uint16_t power_word;  // b4, b5
    std::uint8_t active_bank;  // b6
    std::uint16_t b7_b8;
};

struct port_status {
    std::uint8_t port;                     // b2
    std::uint8_t state;                    // b3
    std::uint8_t detail;                   // b4 when the state is 4
    std::uint8_t detail_low, detail_high;  // nibbles of b4 in every other state
    std::uint8_t second_detail;            // b5 unless b7 is 2
    std::uint8_t second_low, second_high;  // nibbles of b5 when b7 is 2
    std::uint8_t port_type;                // b7
};

struct port_group_status {
    std::array<std::uint8_t, 17> r;  // b2, then the nibbles of b3..b10 in the controller's own order
};

struct port_measurement {
    std::uint8_t port;          // b2
    std::uint16_t voltage;      // b3, b4; 0.1 V
    std::uint16_t current;      // b5, b6
    std::uint16_t temperature;  // b7, b8; 0.1 degree Celsius
    std::uint16_t power;        // b9, b10
};

struct port_mib_counters {
    std::array<std::uint8_t, 6> b2_to_b7;
};

struct port_event_status {
    std::uint8_t b2, b3;
    std::array<std::uint8_t, 6> b4_to_b9;
};

struct reset_reason {
    std::uint8_t b2, b3, b4;
    std::array<std::uint8_t, 12> nibbles;  // of b5..b10, each 15 or (n + 16) x 2
};

struct port_basic_cfg {
    std::uint8_t port;    // b2
    std::uint8_t enable;  // b3; 0 disabled, 1 enabled
    std::uint8_t b4, b5, b7, b8;
};

struct port_extended_cfg {
    std::uint8_t b2, b3, b4;
    float power_limit_w;         // b5 x 0.4
    std::uint8_t priority_code;  // b6; 3 critical, 2 high, 0 low
    std::uint8_t b7;
    std::uint8_t pair_a, pair_b;  // b8, b9; channels of the active matrix
};

struct global_parameters {
    std::uint16_t lower;  // b2; 0.1 V
    std::uint8_t b3;
    std::uint16_t upper;  // b7; 0.1 V
    std::uint8_t b8;
};

struct global_pm_cfg {
    std::uint8_t bank;         // b1
    std::uint8_t method;       // b2
    std::uint16_t bank_power;  // b3, b4; 0.1 W
    std::uint16_t b5_b6, b7_b8, b9_b10;
};

struct device_address {
    std::uint8_t b2;
    std::array<std::uint8_t, 8> b3_to_b10;
};

struct channel_status {
    std::uint8_t b2, b6, b5, b3, b4, b10, b9, b7, b8;  // in the record's order
};

struct channel_vol_cur {
    std::uint8_t channel;    // b2
    std::uint16_t voltage1;  // b3, b4; 0.1 V
    std::uint16_t raw1;      // b5, b6
    std::uint16_t voltage2;  // b7, b8; 0.1 V
    std::uint16_t raw2;      // b9, b10
};

struct chip_type_info {
    std::array<std::uint8_t, 12> nibbles;  // of b2..b7, high before low
};

struct cfg_version {
    std::array<std::uint8_t, 5> b2_to_b6;
};
