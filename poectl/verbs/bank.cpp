// bank [show|set WATTS]: the power bank's limit.
#include "poe_client/requests.h"
#include "poectl/command_line.h"
#include "poectl/pictures.h"
#include "poectl/port_facts.h"
#include "poectl/verbs/verbs.h"

namespace poectl {

using poe_client::connection;
using poe_client::failure;

void add_bank(command_line& line) {
    auto* bank = line.add(line.app, "bank", "the power bank limit", verb::bank_show);
    bank->group(group_look);
    line.add(*bank, "show", "the limit", verb::bank_show);
    auto* set = line.add(*bank, "set", "change the limit", verb::bank_set);
    line.add_value(*set, "WATTS", line.asked.bank_limit_w, parse_bank_w, "whole watts", "")->required();
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
    poe_client::power_bank bank{};
    failure error = take(get_power_bank(daemon), bank);
    if (!succeeded(error)) return error;
    bank.limit_w = asked.bank_limit_w;
    error = set_power_bank(daemon, bank);
    if (succeeded(error)) {
        tell_accepted(seen, 0, "accepted: bank limit " + std::to_string(asked.bank_limit_w) + " W");
    }
    return error;
}

}  // namespace poectl
