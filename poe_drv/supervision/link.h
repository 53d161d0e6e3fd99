// Is a port's link up? Asks the link monitor library. Supervision thread; takes no lock.
#pragma once

#include <cstdint>

inline constexpr std::uint32_t link_down = 0;
inline constexpr std::uint32_t link_up = 1;

// Returns 0 with `link` set to link_up or link_down; 1 with `link` untouched when the link monitor cannot tell (which
// is said on standard output) or the port does not exist.
int poe_drv_port_status_get(std::uint8_t port, std::uint32_t& link);
