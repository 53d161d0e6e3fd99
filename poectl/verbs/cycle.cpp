// cycle PORTS...: off and, after each port's re-enable time, on again.
#include <algorithm>

#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/messages.h"
#include "poectl/verbs/change.h"
#include "poectl/verbs/change_page.h"
#include "poectl/verbs/cycle_choice.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"

namespace poectl {

using poe_client::bit_of_port;
using poe_client::connection;
using poe_client::failure;
using poe_client::port_bitmap;

namespace {

// As long as the longest of them is off, and the usual time to be seen on again.
std::chrono::milliseconds patience_for(port_bitmap ports, const change_records& records) {
    std::chrono::seconds longest{0};
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        if ((ports & bit_of_port(port)) == 0) continue;
        longest = std::max(longest, std::chrono::seconds(records.all.ports[port].settings.re_enable_s));
    }
    return longest + usual_patience;
}

void tell_refusal(port_bitmap disabled, picture& seen) {
    seen.error = refusal_of_disabled(disabled);
    seen.exit_status = seen.error->exit_status;
    seen.complaint = sentence_of(*seen.error);
}

void tell_that_none_is_left(const command& asked, const cycle_choice& choice, picture& seen) {
    const sight none;
    depict_change({.ended = outcome::nothing_to_do,
                   .words = why_none_is_left(choice),
                   .ports = 0,
                   .request = {},
                   .seen = none,
                   .notes = notes_of(choice),
                   .left_out = left_out_of(choice),
                   .dry_run = asked.dry_run},
                  seen);
}

}  // namespace

void add_cycle(command_line& line) {
    auto& asked = line.asked;
    auto* cycle =
        line.add(line.app, "cycle", "switch ports off and, after their re-enable time, on again", verb::cycle);
    cycle->group(group_change);
    line.add_port_list(*cycle, asked.ports, asked.named_ports)->required();
    cycle->add_flag("--only-powered", asked.only_powered, "leave out ports that deliver no power");
    add_waiting(line, *cycle, "the longest re-enable time and 10 s");
}

failure cycle(const command& asked, connection& daemon, picture& seen) {
    change_records before;
    failure error = look_at_ports(daemon, before);
    if (!succeeded(error)) return error;
    auto choice = choose_ports(asked, before);
    if ((choice.refused | choice.disabled) != 0) {
        // So looks a port, too, whose power-cycle ended between two of the answers.
        error = look_at_ports(daemon, before);
        if (!succeeded(error)) return error;
        choice = choose_ports(asked, before);
    }
    const auto ports = choice.ports;
    if (choice.refused != 0) {
        tell_refusal(choice.refused, seen);
        return {};
    }
    if (ports == 0) {
        tell_that_none_is_left(asked, choice, seen);
        return {};
    }
    const planned_change change{
        .words = "power-cycle of " + ports_words(ports),
        .ports = ports,
        .request = poe_client::encode_power_cycle(ports),
        .send = [ports](connection& to) { return power_cycle(to, ports); },
        .look = look_at_ports,
        .judge = [ports](const auto& was, const auto& is) { return sight_of_cycle(ports, was, is); },
        .patience = patience_for(ports, before),
        .notes = notes_of(choice),
        .left_out = left_out_of(choice)};
    return carry_out(asked, daemon, change, before, seen);
}

}  // namespace poectl
