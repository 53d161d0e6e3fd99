// The energy record as people read it. Times are in the time zone of this process (TZ). Pure otherwise.
#pragma once

#include <string>

#include "poectl/picture.h"

namespace poectl {

std::string energy_text(const energy_picture& energy);

std::string port_energy_columns(const poe_client::port_energy& port);
std::string port_energy_plots(const poe_client::port_energy& port);

}  // namespace poectl
