#include "poectl/page_parts.h"

#include "poectl/port_facts.h"
#include "poectl/words.h"

namespace poectl {

tone tone_of_status(std::uint32_t status) {
    // clang-format off
    constexpr std::array<tone, 16> tones{
        tone::plain, tone::good,      tone::plain, tone::bad,  tone::bad,   tone::bad,   tone::bad, tone::bad,
        tone::bad,   tone::attention, tone::bad,   tone::plain, tone::plain, tone::attention, tone::plain, tone::plain};
    // clang-format on
    return status < tones.size() ? tones[status] : tone::bad;
}

std::string status_words(std::uint32_t status) {
    return std::string(poe_client::status_name(status)) + " (" + std::to_string(status) + ")";
}

cell status_cell(std::uint32_t status) {
    return {status_words(status), tone_of_status(status)};
}

std::string class_words(std::uint32_t status, std::uint8_t detected_class) {
    const auto known = known_class(status, detected_class);
    return known ? std::to_string(*known) : unknown_cell;
}

std::string known_tenths(bool known, std::int64_t thousandths) {
    return known ? thousandths_as_tenths(thousandths) : unknown_cell;
}

std::string schedule_words(std::int8_t obeys, std::int8_t period_on) {
    if (obeys == 0) return unknown_cell;
    return std::string(on_off(period_on > 0)) + " period";
}

void add_controller(bool answers, picture& into) {
    into.add("controller", controller_facts(answers));
    if (answers) return;
    into.caution = std::string(controller_is_silent) + all_is_old;
    std::string what = controller_is_silent;
    what.front() = 'T';
    block line;
    line.rows.push_back({cell(what, tone::bad), ": what follows is what it told last."});
    into.page.insert(into.page.begin(), std::move(line));
}

block power_cycle_lines(std::span<const port_reading> ports) {
    block lines;
    for (const auto& port : ports) {
        if (!port.cycle_pending) continue;
        std::string who = port_words(port.settings.port);
        who.front() = 'P';
        lines.rows.push_back({who + " is being power-cycled: on again in " + std::to_string(port.on_again_s) + " s."});
    }
    return lines;
}

}  // namespace poectl
