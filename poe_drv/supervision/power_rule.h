// Should a port deliver power? Pure: knows nothing but its arguments.
#pragma once

#include <cstdint>

// 1 when the system and the port are enabled and the port is free of its schedule or inside an on period of it; else 0.
// Each argument counts as the byte that it is in the records.
constexpr int port_need_read_info_2(int system_enable, int port_enable, int schedule_enable, int schedule_state) {
    const auto is_set = [](int value) { return static_cast<std::uint8_t>(value) != 0; };
    if (!is_set(system_enable) || !is_set(port_enable)) return 0;
    return !is_set(schedule_enable) || is_set(schedule_state) ? 1 : 0;
}
