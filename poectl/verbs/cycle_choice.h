// Which ports a power-cycle touches. It ends with its ports switched on, whatever they were before: so it would bring
// back to life what somebody has disabled. Pure.
#pragma once

#include <string>
#include <vector>

#include "poectl/command.h"
#include "poectl/problem.h"
#include "poectl/verbs/change_page.h"
#include "poectl/verbs/effect.h"

namespace poectl {

struct cycle_choice {
    poe_client::port_bitmap ports = 0;
    poe_client::port_bitmap unpowered = 0, disabled = 0;  // left out
    poe_client::port_bitmap refused = 0;  // disabled, and named by somebody who perhaps does not know it
};

// A port whose power-cycle is pending counts as disabled in the daemon's records; it is going to be on again.
cycle_choice choose_ports(const command& asked, const change_records& now);

problem refusal_of_disabled(poe_client::port_bitmap ports);

// "ports 1 (lan1), 3 (lan3) deliver no power; port 4 (lan4) is disabled"
std::string why_none_is_left(const cycle_choice& choice);

// Sentences for people, and the same for programs.
std::vector<std::string> notes_of(const cycle_choice& choice);
std::vector<left_out_port> left_out_of(const cycle_choice& choice);

}  // namespace poectl
