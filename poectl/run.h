// Carries a command out: asks the daemon what the command needs and gathers the answers.
#pragma once

#include "poe_client/connection.h"
#include "poe_client/result.h"
#include "poectl/command.h"
#include "poectl/picture.h"

namespace poectl {

// Stops at the first failure; `seen` means something only without one.
poe_client::failure run(const command& asked, poe_client::connection& daemon, picture& seen);

// The daemon takes a new mode or re-enable time only in company; the priority that the port has already is company that
// changes nothing. Pure.
bool needs_company(const poe_client::port_settings_change& change);
poe_client::port_settings_change in_company(poe_client::port_settings_change change,
                                            const poe_client::port_settings& current);

// What was accepted, as a sentence. Pure.
std::string done_sentence(const command& asked);

}  // namespace poectl
