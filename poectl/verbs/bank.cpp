// bank [show|set WATTS]: the power bank's limit.
#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/pictures.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/change.h"
#include "poectl/verbs/verbs.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;

namespace {

failure look_at_bank(connection& daemon, change_records& into) {
    failure error = take(get_power_bank(daemon), into.bank);
    if (succeeded(error)) error = take(get_system_status(daemon), into.all.system.status);
    if (succeeded(error)) error = take(get_communication_counters(daemon), into.counters);
    return error;
}

}  // namespace

void add_bank(command_line& line) {
    auto* bank = line.add(line.app, "bank", "what all ports may draw together: show or set it", verb::bank_show);
    bank->group(group_look);
    line.add(*bank, "show", "the limit", verb::bank_show);
    auto* set = line.add(*bank, "set", "change the limit", verb::bank_set);
    line.add_value(*set, "WATTS", line.asked.bank_limit_w, parse_bank_w, "whole watts", "")->required();
    add_waiting(line, *set, "10 s");
    bank->require_subcommand(0, 1);
}

failure show_bank(const command&, connection& daemon, picture& seen) {
    poe_client::power_bank bank{};
    const failure error = take(get_power_bank(daemon), bank);
    if (succeeded(error)) depict_bank(bank, seen);
    return error;
}

void depict_bank(const poe_client::power_bank& bank, picture& seen) {
    seen.add("bank", {{"limit_w", bank.limit_w}, {"second", bank.second}});
    seen.page = {labels({{"bank limit", std::to_string(bank.limit_w) + " W"},
                         {"second value", std::to_string(bank.second) + " (kept for other programs)"}})};
}

// The bank's second value is kept for other programs: it goes back as it is.
failure set_bank(const command& asked, connection& daemon, picture& seen) {
    change_records before;
    const failure error = look_at_bank(daemon, before);
    if (!succeeded(error)) return error;
    const poe_client::power_bank bank{.limit_w = asked.bank_limit_w, .second = before.bank.second};
    const planned_change change{
        .words = "bank limit " + std::to_string(bank.limit_w) + " W",
        .ports = 0,
        .request = poe_client::encode_set_power_bank(bank),
        .send = [&](connection& to) { return set_power_bank(to, bank); },
        .look = look_at_bank,
        .judge = [&](const auto& was, const auto& is) { return sight_of_bank_change(bank.limit_w, was, is); },
        .look_with = "poectl bank"};
    return carry_out(asked, daemon, change, before, seen);
}

}  // namespace poectl
