// What each subject's values look like: typed values into facts and a page. Pure; each is in its subject's file in
// verbs/. `seen` has its verb's empty sections.
#pragma once

#include <array>
#include <cstdint>

#include "poe_client/types.h"
#include "poectl/picture.h"
#include "poectl/readings.h"

namespace poectl {

using all_port_status = std::array<poe_client::port_status, poe_client::port_count>;

void depict_status(const whole_reading& all, bool why, picture& seen, bool controller_answers = true);
void depict_port(const port_reading& port, bool why, picture& seen, bool controller_answers = true);
void depict_system(const system_reading& system, picture& seen, bool controller_answers = true);
void depict_bank(const poe_client::power_bank& bank, picture& seen);
void depict_schedule(const all_port_status& ports, picture& seen);
void depict_counters(const poe_client::communication_counters& counters, std::uint32_t deepest_queue, picture& seen);
void depict_energy(bool kept_in_flash, const poe_client::energy_summary& summary, picture& seen);
void depict_port_energy(const poe_client::port_energy& port, picture& seen);

}  // namespace poectl
