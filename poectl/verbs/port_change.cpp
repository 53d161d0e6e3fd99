#include "poectl/verbs/port_change.h"

#include "poectl/words.h"

namespace poectl {

bool needs_company(const poe_client::port_settings_change& change) {
    return !change.enable && !change.priority && !change.schedule_enable && !change.power_limit_dw;
}

poe_client::port_settings_change in_company(poe_client::port_settings_change change,
                                            const poe_client::port_settings& current) {
    if (needs_company(change)) change.priority = current.priority;
    return change;
}

std::string words_of(const poe_client::port_settings_change& change) {
    std::string words;
    const auto add = [&words](const std::string& what) { words += (words.empty() ? "" : ", ") + what; };
    if (change.enable) add("enable " + std::string(on_off(*change.enable)));
    if (change.power_limit_dw) add("limit " + tenths(*change.power_limit_dw) + " W");
    if (change.priority) add("priority " + std::string(priority_name(*change.priority)));
    if (change.mode) add("mode " + mode_words(*change.mode));
    if (change.schedule_enable) add("schedule " + std::string(on_off(*change.schedule_enable)));
    if (change.re_enable_s) add("re-enable " + std::to_string(*change.re_enable_s) + " s");
    return words;
}

}  // namespace poectl
