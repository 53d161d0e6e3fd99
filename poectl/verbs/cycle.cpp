// cycle PORTS...: off and, after each port's re-enable time, on again.
#include <algorithm>
#include <bit>

#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/verbs/change.h"
#include "poectl/verbs/change_page.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"

namespace poectl {

using poe_client::bit_of_port;
using poe_client::connection;
using poe_client::failure;
using poe_client::port_bitmap;

namespace {

port_bitmap delivering_among(port_bitmap ports, const change_records& records) {
    port_bitmap some = 0;
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        const bool stays = (ports & bit_of_port(port)) != 0 && delivers(records.all.ports[port].status);
        if (stays) some = static_cast<port_bitmap>(some | bit_of_port(port));
    }
    return some;
}

// As long as the longest of them is off, and the usual time to be seen on again.
std::chrono::milliseconds patience_for(port_bitmap ports, const change_records& records) {
    std::chrono::seconds longest{0};
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        if ((ports & bit_of_port(port)) == 0) continue;
        longest = std::max(longest, std::chrono::seconds(records.all.ports[port].settings.re_enable_s));
    }
    return longest + usual_patience;
}

void tell_that_none_delivers(const command& asked, picture& seen) {
    const sight none;
    depict_change({.ended = asked.dry_run ? outcome::would_be_sent : outcome::done,
                   .words = "no power-cycle: " + ports_words(asked.ports) +
                            (std::has_single_bit(asked.ports) ? " delivers no power" : " deliver no power"),
                   .request = {},
                   .seen = none},
                  seen);
}

}  // namespace

void add_cycle(command_line& line) {
    auto& asked = line.asked;
    auto* cycle =
        line.add(line.app, "cycle", "switch ports off and, after their re-enable time, on again", verb::cycle);
    cycle->group(group_change);
    line.add_port_list(*cycle, asked.ports)->required();
    cycle->add_flag("--only-powered", asked.only_powered, "leave out ports that deliver no power");
    add_waiting(line, *cycle, "the longest re-enable time and 10 s");
}

failure cycle(const command& asked, connection& daemon, picture& seen) {
    change_records before;
    const failure error = look_at_ports(daemon, before);
    if (!succeeded(error)) return error;
    const port_bitmap ports = asked.only_powered ? delivering_among(asked.ports, before) : asked.ports;
    if (ports == 0) {
        tell_that_none_delivers(asked, seen);
        return {};
    }
    const auto left_out = static_cast<port_bitmap>(asked.ports & ~ports);
    planned_change change{.words = "power-cycle of " + ports_words(ports),
                          .ports = ports,
                          .request = poe_client::encode_power_cycle(ports),
                          .send = [ports](connection& to) { return power_cycle(to, ports); },
                          .look = look_at_ports,
                          .judge = [ports](const auto& was, const auto& is) { return sight_of_cycle(ports, was, is); },
                          .patience = patience_for(ports, before)};
    if (left_out != 0)
        change.notes.push_back("Left out, because no power is delivered: " + ports_words(left_out) + ".");
    return carry_out(asked, daemon, change, before, seen);
}

}  // namespace poectl
