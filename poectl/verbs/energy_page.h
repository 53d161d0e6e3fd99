// The energy record as people read it. Times are in the time zone of this process (TZ). Pure otherwise.
#pragma once

#include <vector>

#include "poe_client/types.h"
#include "poectl/picture.h"

namespace poectl {

std::vector<block> energy_page(bool kept_in_flash, const poe_client::energy_summary& summary);

// Plots for a terminal, columns for anything else.
std::vector<block> port_energy_page(const poe_client::port_energy& port);

}  // namespace poectl
