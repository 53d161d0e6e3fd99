#include "poectl/verbs/events.h"

#include <algorithm>

#include "poectl/page_parts.h"
#include "poectl/port_facts.h"
#include "poectl/words.h"

namespace poectl {

namespace {

// As the daemon's translation counts port types: each pair set of a device with two signatures has a status of its own.

std::string watts(std::uint32_t mw) {
    return thousandths_as_tenths(mw) + " W";
}

facts daemon_facts(const std::optional<problem>& trouble, bool restarted) {
    return {{"reachable", !trouble},
            {"restarted", restarted},
            {"reason", trouble ? facts(exit_statuses[static_cast<std::size_t>(trouble->exit_status)].name) : facts()},
            {"message", trouble ? facts(trouble->why) : facts()}};
}

std::vector<cell> unreachable_words(const problem& trouble) {
    return {cell(trouble.what, tone::bad), ": " + trouble.why};
}

std::vector<cell> silent_words(const char* effect) {
    return {cell(controller_is_silent, tone::bad), effect};
}

event state_event(const observation& now) {
    facts details{{"daemon", daemon_facts(now.trouble, false)},
                  {"controller", nullptr},
                  {"system", nullptr},
                  {"ports", facts::array()}};
    if (now.trouble) {
        return {.kind = event_kind::state, .details = std::move(details), .words = unreachable_words(*now.trouble)};
    }
    const auto& [status, settings] = now.all.system;
    details["controller"] = controller_facts(now.controller_answers);
    details["system"] = system_facts(now.all.system);
    std::vector<cell> words;
    if (!now.controller_answers) words = silent_words("; what follows is old: ");
    words.insert(words.end(),
                 {"PoE ", cell(enabled_word(settings.enable), settings.enable != 0 ? tone::good : tone::bad),
                  ", " + watts(status.consumed_mw) + " of " + watts(status.total_mw) + " used, usage alarm ",
                  status.alarm_raised ? cell("RAISED", tone::bad) : cell("not raised")});
    for (const auto& port : now.all.ports) {
        details["ports"].push_back(port_facts(port));
        words.emplace_back("; " + port_words(port.status.port) + " ");
        words.push_back(status_cell(port.status.status));
        if (is_measured(port.status) && port.status.power_mw > 0) words.emplace_back(" " + watts(port.status.power_mw));
    }
    return {.kind = event_kind::state, .details = std::move(details), .words = std::move(words)};
}

event daemon_event(const std::optional<problem>& trouble, bool restarted) {
    return {.kind = event_kind::daemon,
            .details = daemon_facts(trouble, restarted),
            .words = trouble     ? unreachable_words(*trouble)
                     : restarted ? std::vector<cell>{cell("poe_drv was restarted", tone::attention)}
                                 : std::vector<cell>{cell("poe_drv answers again", tone::good)}};
}

event controller_event(bool answers) {
    return {.kind = event_kind::controller,
            .details = controller_facts(answers),
            .words = answers ? std::vector<cell>{cell("the controller answers poe_drv again", tone::good)}
                             : silent_words("; status and power stay as they were read last")};
}

facts status_facts(std::uint32_t status) {
    return coded(status, poe_client::status_name(status));
}

event status_event(std::uint8_t port, std::optional<std::size_t> pair_set, std::uint32_t was, std::uint32_t is) {
    facts details = port_name_facts(port);
    details["pair_set"] = pair_set ? facts(pair_set_name(*pair_set)) : facts(nullptr);
    details["was"] = status_facts(was);
    details["is"] = status_facts(is);
    std::string who = port_words(port);
    if (pair_set) who += " pair set " + std::string(pair_set_name(*pair_set));
    return {.kind = event_kind::status,
            .details = std::move(details),
            .words = {who + " status: ", status_cell(was), " -> ", status_cell(is)}};
}

event power_event(std::uint8_t port, std::uint32_t was_mw, std::uint32_t is_mw) {
    facts details = port_name_facts(port);
    details["was_mw"] = was_mw;
    details["is_mw"] = is_mw;
    return {.kind = event_kind::power,
            .details = std::move(details),
            .words = {port_words(port) + " power: " + watts(was_mw) + " -> " + watts(is_mw)}};
}

event alarm_event(const system_reading& system) {
    const auto& [status, settings] = system;
    return {.kind = event_kind::alarm,
            .details = {{"raised", status.alarm_raised},
                        {"consumed_mw", status.consumed_mw},
                        {"total_mw", status.total_mw},
                        {"threshold_percent", settings.threshold_percent}},
            .words = {"usage alarm ", status.alarm_raised ? cell("RAISED", tone::bad) : cell("cleared", tone::good),
                      ": " + watts(status.consumed_mw) + " of " + watts(status.total_mw) + " used, alarm at " +
                          std::to_string(settings.threshold_percent) + " %"}};
}

bool is_worth_telling(std::uint32_t was_mw, std::uint32_t is_mw, std::uint32_t step_mw) {
    const std::uint32_t difference = std::max(was_mw, is_mw) - std::min(was_mw, is_mw);
    return difference > 0 && (difference >= step_mw || was_mw == 0 || is_mw == 0);
}

void tell_port(const port_reading& was, const port_reading& is, std::vector<event>& events) {
    const auto &before = was.status, &now = is.status;
    if (before.status != now.status) events.push_back(status_event(now.port, {}, before.status, now.status));
    if (now.port_type != dual_signature) return;
    for (std::size_t i = 0; i < now.pair_set.size(); i++) {
        if (before.pair_set[i].status != now.pair_set[i].status)
            events.push_back(status_event(now.port, i, before.pair_set[i].status, now.pair_set[i].status));
    }
}

std::vector<event> differences(whole_reading& told, const whole_reading& now, std::uint32_t step_mw) {
    std::vector<event> events;
    whole_reading next = now;
    for (std::size_t i = 0; i < poe_client::port_count; i++) {
        tell_port(told.ports[i], now.ports[i], events);
        const std::uint32_t was_mw = told.ports[i].status.power_mw, is_mw = now.ports[i].status.power_mw;
        if (is_worth_telling(was_mw, is_mw, step_mw)) {
            events.push_back(power_event(now.ports[i].status.port, was_mw, is_mw));
        } else {
            next.ports[i].status.power_mw = was_mw;
        }
    }
    if (told.system.status.alarm_raised != now.system.status.alarm_raised) events.push_back(alarm_event(now.system));
    told = next;
    return events;
}

}  // namespace

news news_of(const told_state& told, const observation& now, std::uint32_t power_step_mw) {
    news all{
        .events = {},
        .told = {
            .nothing = false, .trouble = now.trouble, .all = now.all, .controller_answers = now.controller_answers}};
    const bool was_reachable = !told.nothing && !told.trouble;
    if (told.nothing) {
        all.events.push_back(state_event(now));
    } else if (now.trouble) {
        const bool told_already = told.trouble && told.trouble->exit_status == now.trouble->exit_status;
        if (!told_already) all.events.push_back(daemon_event(now.trouble, false));
    } else if (!was_reachable || now.all.cycles.now_tick < told.all.cycles.now_tick) {
        all.events = {daemon_event({}, was_reachable), state_event(now)};
    } else {
        all.told.all = told.all;
        if (told.controller_answers != now.controller_answers)
            all.events.push_back(controller_event(now.controller_answers));
        auto changes = differences(all.told.all, now.all, power_step_mw);
        std::move(changes.begin(), changes.end(), std::back_inserter(all.events));
    }
    return all;
}

}  // namespace poectl
