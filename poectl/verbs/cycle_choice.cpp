#include "poectl/verbs/cycle_choice.h"

#include <bit>

#include "poectl/exit_status.h"
#include "poectl/words.h"

namespace poectl {

using poe_client::bit_of_port;
using poe_client::port_bitmap;

namespace {

constexpr std::string_view reason_not_delivering = "not_delivering";
constexpr std::string_view reason_disabled = "disabled";

void add(port_bitmap& ports, std::size_t port) {
    ports = static_cast<port_bitmap>(ports | bit_of_port(port));
}

bool has(port_bitmap ports, std::size_t port) {
    return (ports & bit_of_port(port)) != 0;
}

// "poectl port 4 set --enable on"; of several N stands for each of them.
std::string enabling(port_bitmap ports) {
    const bool is_one = std::has_single_bit(ports);
    const auto first = static_cast<std::size_t>(std::countr_zero(ports));
    return "'poectl port " + (is_one ? std::to_string(panel_number(first)) : "N") + " set --enable on'";
}

std::string one_or_several(port_bitmap ports, const char* one, const char* several) {
    return std::has_single_bit(ports) ? one : several;
}

std::string how_to_enable(port_bitmap ports) {
    return enabling(ports) + one_or_several(ports, " switches it on.", " switches one on.");
}

}  // namespace

cycle_choice choose_ports(const command& asked, const change_records& now) {
    cycle_choice choice;
    for (std::size_t port = 0; port < poe_client::port_count; port++) {
        if (!has(asked.ports, port)) continue;
        const auto& reading = now.all.ports[port];
        const bool is_disabled = reading.settings.enable == 0 && !reading.cycle_pending;
        if (asked.only_powered && !delivers(reading.status)) {
            add(choice.unpowered, port);
        } else if (!is_disabled) {
            add(choice.ports, port);
        } else if (has(asked.named_ports, port) && !asked.only_powered) {
            add(choice.refused, port);
        } else {
            add(choice.disabled, port);
        }
    }
    return choice;
}

problem refusal_of_disabled(port_bitmap ports) {
    const bool is_one = std::has_single_bit(ports);
    return {.exit_status = exit_refused,
            .what = "refused",
            .why = ports_words(ports) + (is_one ? " is" : " are") + " disabled, and a power-cycle ends with " +
                   (is_one ? "it" : "them") + " switched on; nothing was changed",
            .advice = enabling(ports) + ", or leave " + (is_one ? "it" : "them") +
                      " out, as 'poectl cycle all' and --only-powered do"};
}

std::string why_none_is_left(const cycle_choice& choice) {
    std::string words;
    if (choice.unpowered != 0)
        words =
            ports_words(choice.unpowered) + one_or_several(choice.unpowered, " delivers no power", " deliver no power");
    if (choice.disabled != 0)
        words += (words.empty() ? "" : "; ") + ports_words(choice.disabled) +
                 one_or_several(choice.disabled, " is disabled", " are disabled");
    return words;
}

std::vector<std::string> notes_of(const cycle_choice& choice) {
    std::vector<std::string> notes;
    const bool none_is_left = choice.ports == 0;  // then the reasons stand in the headline
    if (choice.unpowered != 0 && !none_is_left)
        notes.push_back("Left out, because no power is delivered: " + ports_words(choice.unpowered) + ".");
    if (choice.disabled != 0 && !none_is_left)
        notes.push_back("Left out, because disabled: " + ports_words(choice.disabled) + ". " +
                        how_to_enable(choice.disabled));
    if (choice.disabled != 0 && none_is_left) notes.push_back(how_to_enable(choice.disabled));
    return notes;
}

std::vector<left_out_port> left_out_of(const cycle_choice& choice) {
    std::vector<left_out_port> list;
    for (std::uint8_t port = 0; port < poe_client::port_count; port++) {
        if (has(choice.unpowered, port)) list.push_back({port, reason_not_delivering});
        if (has(choice.disabled, port)) list.push_back({port, reason_disabled});
    }
    return list;
}

}  // namespace poectl
