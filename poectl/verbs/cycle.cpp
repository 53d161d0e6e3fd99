// cycle PORTS: off and, after each port's re-enable time, on again.
#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"

namespace poectl {

void add_cycle(command_line& line) {
    auto* cycle =
        line.add(line.app, "cycle", "switch ports off and, after their re-enable time, on again", verb::cycle);
    cycle->group(group_change);
    line.add_ports_choice(*cycle, line.asked.ports)->required();
}

poe_client::failure cycle(const command& asked, poe_client::connection& daemon, picture& seen) {
    const auto error = power_cycle(daemon, asked.ports);
    if (succeeded(error)) tell_accepted(seen, asked.ports, "accepted: power-cycle of " + ports_words(asked.ports));
    return error;
}

}  // namespace poectl
