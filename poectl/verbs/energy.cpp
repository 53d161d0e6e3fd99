// energy [PORT], energy reset PORTS, energy on|off, energy inject MINUTES: the energy record.
#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/pictures.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/energy_page.h"
#include "poectl/verbs/energy_rings.h"
#include "poectl/verbs/verbs.h"
#include "poectl/words.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;

namespace {

template <typename number>
facts or_null(const std::optional<number>& value) {
    return value ? facts(*value) : facts(nullptr);
}

facts figures_facts(facts all, const poe_client::energy_figures& figures) {
    all["powered_s"] = figures.powered_s;
    all["energy_mwh"] = or_null(thousandths_of(figures.energy_wh));
    all["averages"] = {{"hour_mw", or_null(known_mw(figures.minutes))},
                       {"day_mw", or_null(known_mw(figures.half_hours))},
                       {"week_mw", or_null(known_mw(figures.two_hours))}};
    return all;
}

facts slot_facts(const energy_ring& ring, std::size_t i) {
    const auto& slot = ring.slots[i];
    return {{"ring", ring.name},
            {"period_s", ring.period_s},
            {"time_s", or_null(slot_time_s(ring, i))},
            {"uptime_s", slot.valid ? facts(slot.uptime_s) : facts(nullptr)},
            {"average_mw", or_null(known_mw(slot))}};
}

}  // namespace

void add_energy(command_line& line) {
    auto& asked = line.asked;
    auto* energy = line.add(line.app, "energy", "delivered energy and the power of the last hour, day and week",
                            verb::energy_show);
    energy->group(group_look);
    auto* port = line.add_port_choice(*energy, asked.port, "PORT,--port");
    energy->callback([&asked, port] {
        if (port->count() > 0) asked.verb = verb::energy_port;
    });
    auto* reset = line.add(*energy, "reset", "forget the totals and the history of ports", verb::energy_reset);
    line.add_ports_choice(*reset, asked.ports)->required();
    auto* on = line.add(*energy, "on", "keep the totals in flash", verb::energy_keep);
    on->parse_complete_callback([&asked] { asked.keep_in_flash = true; });
    auto* off = line.add(*energy, "off", "no longer keep the totals in flash: removes their file", verb::energy_keep);
    auto* inject = line.add(*energy, "inject", "a test aid: replaces the history of all ports by a made-up one",
                            verb::energy_inject);
    line.add_value(*inject, "MINUTES", asked.history_minutes, parse_minutes, "how far back it goes", "")->required();
    for (auto* other : {reset, on, off, inject})
        other->excludes(port);
    energy->require_subcommand(0, 1);
}

failure show_energy(const command&, connection& daemon, picture& seen) {
    bool kept_in_flash = false;
    poe_client::energy_summary summary{};
    failure error = take(get_energy_recording(daemon), kept_in_flash);
    if (succeeded(error)) error = take(get_energy_summary(daemon), summary);
    if (succeeded(error)) depict_energy(kept_in_flash, summary, seen);
    return error;
}

void depict_energy(bool kept_in_flash, const poe_client::energy_summary& summary, picture& seen) {
    seen.add("energy", figures_facts({{"kept_in_flash", kept_in_flash}}, summary.totals));
    for (std::size_t port = 0; port < summary.port.size(); port++)
        seen.add("ports", figures_facts(port_name_facts(port), summary.port[port]));
    seen.page = energy_page(kept_in_flash, summary);
}

failure show_port_energy(const command& asked, connection& daemon, picture& seen) {
    poe_client::port_energy port{};
    const failure error = take(get_port_energy(daemon, asked.port), port);
    if (succeeded(error)) depict_port_energy(port, seen);
    return error;
}

void depict_port_energy(const poe_client::port_energy& port, picture& seen) {
    facts totals = port_name_facts(port.port);
    totals["powered_s"] = port.powered_s;
    totals["energy_mwh"] = or_null(thousandths_of(port.energy_wh));
    seen.add("port", std::move(totals));
    for (const auto& ring : rings_of(port)) {
        for (std::size_t i = 0; i < ring.slots.size(); i++)
            seen.add("slots", slot_facts(ring, i));
    }
    seen.page = port_energy_page(port);
}

failure reset_energy(const command& asked, connection& daemon, picture& seen) {
    const failure error = clear_energy(daemon, asked.ports);
    if (succeeded(error)) tell_accepted(seen, asked.ports, "accepted: energy reset of " + ports_words(asked.ports));
    return error;
}

failure keep_energy(const command& asked, connection& daemon, picture& seen) {
    const failure error = set_energy_recording(daemon, asked.keep_in_flash);
    if (succeeded(error)) {
        tell_accepted(seen, 0, "accepted: keeping energy in flash " + std::string(on_off(asked.keep_in_flash)));
    }
    return error;
}

failure inject_energy(const command& asked, connection& daemon, picture& seen) {
    const failure error = inject_energy_history(daemon, asked.history_minutes);
    if (succeeded(error)) {
        tell_accepted(seen, 0, "accepted: made-up energy history of " + std::to_string(asked.history_minutes) + " min");
    }
    return error;
}

}  // namespace poectl
