// schedule [PORTS on|off]: the periods of the ports' schedules. Another program keeps the clock and says when a period
// begins; the port obeys when its settings say so.
#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/page_parts.h"
#include "poectl/pictures.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/change.h"
#include "poectl/verbs/demand.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;

void add_schedule(command_line& line) {
    auto& asked = line.asked;
    auto* schedule = line.add(line.app, "schedule", "the ports' schedules; with PORTS and on or off: begin a period",
                              verb::schedule_show);
    schedule->group(group_change);
    auto* ports = line.add_ports_choice(*schedule, asked.ports);
    auto* period = line.add_choice(*schedule, "PERIOD", asked.schedule_on, parse_on_off, "on or off", on_or_off());
    ports->needs(period);
    add_waiting(line, *schedule, "10 s");
    schedule->callback([&asked, ports] {
        if (ports->count() > 0) asked.verb = verb::schedule_set;
        demand_a_setting(asked, verb::schedule_show);
    });
}

failure show_schedule(const command&, connection& daemon, picture& seen) {
    all_port_status ports{};
    const failure error = take(get_all_port_status(daemon), ports);
    if (succeeded(error)) depict_schedule(ports, seen);
    return error;
}

void depict_schedule(const all_port_status& ports, picture& seen) {
    block table = table_of({{.heading = "PORT", .to_the_right = true},
                            {.heading = "INTERFACE"},
                            {.heading = "OBEYS"},
                            {.heading = "PERIOD"}});
    for (const auto& port : ports) {
        facts one = port_name_facts(port.port);
        one["schedule_enabled"] = port.schedule_enable != 0;
        one["schedule_on"] = port.schedule_on > 0;
        seen.add("ports", std::move(one));
        table.rows.push_back({std::to_string(panel_number(port.port)), interface_name(port.port),
                              yes_no(port.schedule_enable != 0), on_off(port.schedule_on > 0)});
    }
    seen.page = {table};
}

// Several ports change together, in one message; those that are not named keep theirs.
failure set_schedule(const command& asked, connection& daemon, picture& seen) {
    const std::int8_t period{asked.schedule_on};
    const auto ports = asked.ports;
    std::array<poe_client::schedule_state, poe_client::port_count> states{};
    std::size_t count = 0, last = 0;
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        if ((ports & poe_client::bit_of_port(port)) == 0) continue;
        states[port] = period;
        count++;
        last = port;
    }
    const auto one = static_cast<std::uint8_t>(last);
    return carry_out(
        asked, daemon,
        {.words = ports_words(ports) + " schedule period " + std::string(on_off(period)),
         .ports = ports,
         .request =
             count == 1 ? poe_client::encode_set_schedule(one, period) : poe_client::encode_set_all_schedules(states),
         .send =
             [&](connection& to) {
                 return count == 1 ? poe_client::set_schedule(to, one, period) : set_all_schedules(to, states);
             },
         .look = look_at_ports,
         .judge = [&](const auto& was,
                      const auto& is) { return sight_of_schedule_change(ports, asked.schedule_on, was, is); },
         .look_with = "poectl schedule"},
        seen);
}

}  // namespace poectl
