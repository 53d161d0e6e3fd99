#include "supervision/translation.h"

#include <array>

namespace {

// Sub-statuses of a search.
constexpr std::uint8_t search_shows_as_delivering = 4;
constexpr std::uint8_t search_shows_as_searching = 6;

constexpr std::uint8_t code(system_status status) {
    return static_cast<std::uint8_t>(status);
}

constexpr translation_answer becomes(system_status status) {
    return {.status = code(status)};
}

constexpr bool is(const translation_question& question, controller_state state) {
    return question.status == static_cast<std::uint8_t>(state);
}

// A fault in a sweep that counted a refusal is that refusal, but for those that become fault_8.
constexpr bool outweighs_denial(std::uint8_t error_code) {
    return error_code == 5 || error_code == 14;
}

// A pair set takes part in the port's events only while it is at fault or asks for power itself.
constexpr bool event_concerns(const translation_question& question) {
    return !question.is_channel || is(question, controller_state::fault) || is(question, controller_state::requesting);
}

constexpr translation_answer search(const translation_question& question) {
    if (question.sub_status == search_shows_as_searching) return becomes(system_status::searching);
    if (question.sub_status == search_shows_as_delivering) return becomes(system_status::delivering);
    // A port watched by its pair sets searches while they are on hold, every other port the other way round.
    const bool per_channel = question.port_type == port_type_per_channel;
    if (question.is_channel) return becomes(per_channel ? system_status::on_hold : system_status::searching);
    if (per_channel) return becomes(system_status::searching);
    // Linked without power: what is plugged in is no powered device.
    return {.status = code(system_status::on_hold), .auto_off_if_linked = true};
}

struct fault_row {
    std::uint8_t error_code;  // the controller's
    system_status status;
};
constexpr std::array fault_rows{
    fault_row{.error_code = 0, .status = system_status::fault_6},
    fault_row{.error_code = 2, .status = system_status::short_circuit},
    fault_row{.error_code = 3, .status = system_status::overload},
    fault_row{.error_code = 4, .status = system_status::power_denied},
    fault_row{.error_code = 5, .status = system_status::fault_8},
    fault_row{.error_code = 6, .status = system_status::fault_10},
    fault_row{.error_code = 7, .status = system_status::fault_7},
    fault_row{.error_code = 14, .status = system_status::fault_8},
};

constexpr translation_answer fault(std::uint8_t error_code) {
    for (const fault_row& row : fault_rows) {
        if (row.error_code == error_code) return becomes(row.status);
    }
    return {.is_event = false};
}

constexpr translation_answer by_state(const translation_question& question) {
    switch (static_cast<controller_state>(question.status)) {
        case controller_state::searching:
            return search(question);
        case controller_state::delivering:
            return {.status = code(system_status::delivering), .keeps_measurements = true};
        case controller_state::fault:
            return fault(question.error_code);
        case controller_state::requesting:
            return becomes(system_status::waiting_for_power);
        default:
            return {.status = question.status};
    }
}

}  // namespace

translation_answer translate_status(const translation_question& question) {
    if (is(question, controller_state::disabled)) {
        const system_status status = question.auto_off ? system_status::auto_off : system_status::off;
        return {.status = code(status), .is_disabled = true};
    }
    if (is(question, controller_state::fault) && question.denied_event && !outweighs_denial(question.error_code)) {
        return becomes(system_status::power_denied);
    }
    if (event_concerns(question)) {
        if (question.gone_event) return becomes(system_status::searching);
        if (question.overload_event) return becomes(system_status::overload);
        if (question.short_event) return becomes(system_status::short_circuit);
    }
    return by_state(question);
}
