// One port's parameters as clients send and receive them: 12 bytes in the clients' order.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/wire.h"

// In a client's record these stand for "keep what is stored".
inline constexpr std::int8_t keep_value = -1;
inline constexpr std::uint32_t keep_power_limit = 0xFFFFFFFF;

struct port_parameter_block {
    std::uint8_t Port_Number;     //  0  0..3
    std::int8_t Port_Enable;      //  1  -1, 0, 1
    std::int8_t Power_Priority;   //  2  -1, 1 critical, 2 high, 3 low
    std::int8_t Schedule_Enable;  //  3  -1, 0, 1
    std::int8_t PoE_Mode;         //  4  -1, 0..4
    std::int8_t Re_Enable_Val;    //  5  -1, 5..60 seconds
    std::uint8_t reserved[2];     //  6  zero in replies, ignored in requests
    le32 Power_Limit_Val;         //  8  tenths of a watt, 10..900, or 0xFFFFFFFF
};
static_assert(wire_record<port_parameter_block, 12> && offsetof(port_parameter_block, Power_Limit_Val) == 8);
