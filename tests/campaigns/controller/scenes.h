// What the switch looks like when a cell begins.
#pragma once

#include <array>

#include "models/controller.h"

namespace campaign {

struct scene {
    vswitch::controller chip;
    std::array<bool, 4> link_up;
    std::array<bool, 4> enabled;
};

// A controller as the daemon leaves it after its bring-up.
void program(vswitch::controller& chip);
void set_port(vswitch::controller& chip, unsigned port, unsigned key, unsigned value);

inline constexpr unsigned scene_count = 3;
scene make_scene(unsigned number, std::uint32_t seed);

}  // namespace campaign
