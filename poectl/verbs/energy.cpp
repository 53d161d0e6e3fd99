// energy [PORT], energy reset PORTS, energy on|off, energy inject MINUTES: the energy record.
#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/page_parts.h"
#include "poectl/pictures.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/change.h"
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

failure look_at_energy(connection& daemon, poe_client::port_bitmap ports, change_records& into) {
    for (std::uint8_t port = 0; port < poe_client::port_count; port++) {
        if ((ports & poe_client::bit_of_port(port)) == 0) continue;
        const failure error = take(get_port_energy(daemon, port), into.energy[port]);
        if (!succeeded(error)) return error;
    }
    return {};
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
    line.add_value(*inject, "MINUTES", asked.history_minutes, parse_minutes,
                   "how far back it goes, up to 10080: a week", "")
        ->required();
    for (auto* change : {reset, on, off, inject})
        add_waiting(line, *change, "10 s");
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
    const auto ports = asked.ports;
    return carry_out(
        asked, daemon,
        {.words = "energy reset of " + ports_words(ports),
         .ports = ports,
         .request = poe_client::encode_clear_energy(ports),
         .send = [ports](connection& to) { return clear_energy(to, ports); },
         .look = [ports](connection& at, change_records& into) { return look_at_energy(at, ports, into); },
         .judge = [ports](const auto& was, const auto& is) { return sight_of_energy_reset(ports, was, is); },
         .is_queued = false,
         .look_with = "poectl energy"},
        seen);
}

failure keep_energy(const command& asked, connection& daemon, picture& seen) {
    const bool wanted = asked.keep_in_flash;
    return carry_out(
        asked, daemon,
        {.words = "keeping energy in flash " + std::string(on_off(wanted)),
         .ports = 0,
         .request = poe_client::encode_set_energy_recording(wanted),
         .send = [wanted](connection& to) { return set_energy_recording(to, wanted); },
         .look = [](connection& at, change_records& into) { return take(get_energy_recording(at), into.energy_kept); },
         .judge = [wanted](const auto& was, const auto& is) { return sight_of_energy_kept(wanted, was, is); },
         .is_queued = false,
         .look_with = "poectl energy"},
        seen);
}

failure inject_energy(const command& asked, connection& daemon, picture& seen) {
    const auto minutes = asked.history_minutes;
    constexpr poe_client::port_bitmap all_ports = (1U << poe_client::port_count) - 1;
    return carry_out(
        asked, daemon,
        {.words = "made-up energy history of " + std::to_string(minutes) + " min",
         .ports = 0,
         .request = poe_client::encode_inject_energy_history(minutes),
         .send = [minutes](connection& to) { return inject_energy_history(to, minutes); },
         .look = [](connection& at, change_records& into) { return look_at_energy(at, all_ports, into); },
         .judge = [minutes](const auto& was, const auto& is) { return sight_of_made_up_history(minutes, was, is); },
         .is_queued = false,
         .replaces = true,
         .look_with = "poectl energy"},
        seen);
}

}  // namespace poectl
