// A change of a port's settings: what the daemon takes, and how it is said. Pure.
#pragma once

#include <string>

#include "poe_client/types.h"

namespace poectl {

// The daemon takes a new mode or re-enable time only in company; the priority that the port has already is company that
// changes nothing.
bool needs_company(const poe_client::port_settings_change& change);
poe_client::port_settings_change in_company(poe_client::port_settings_change change,
                                            const poe_client::port_settings& current);

// "enable on, limit 15.4 W"
std::string words_of(const poe_client::port_settings_change& change);

}  // namespace poectl
