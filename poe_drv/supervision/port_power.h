// The power rule on the stored parameters. Supervision thread; the parameter records need no lock.
#pragma once

#include <cstdint>

// 1 when the port is to be powered, and so to be read in full; else 0, as for a port that does not exist.
int port_need_read_info(std::uint8_t port);
