#include "supervision/translation.h"

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

// These faults are reported at once, even in a sweep that counted a hold event.
constexpr bool fault_cannot_be_held(std::uint8_t error_code) {
    return error_code == 5 || error_code == 14;
}

// A pair set takes part in the port's events only while it is at fault or asks for power itself.
constexpr bool event_concerns(const translation_question& question) {
    return !question.is_channel || is(question, controller_state::fault) || is(question, controller_state::requesting);
}

constexpr translation_answer search(const translation_question& question) {
    if (question.sub_status == search_shows_as_searching) return becomes(system_status::searching);
    if (question.sub_status == search_shows_as_delivering) return becomes(system_status::delivering);
    // A port watched by its pair sets searches while they idle, every other port the other way round.
    const bool per_channel = question.port_type == port_type_per_channel;
    if (question.is_channel) return becomes(per_channel ? system_status::idle : system_status::searching);
    if (per_channel) return becomes(system_status::searching);
    // Linked without power: what is plugged in is no powered device.
    return {.status = code(system_status::idle), .auto_off_if_linked = true};
}

constexpr translation_answer fault(std::uint8_t error_code) {
    switch (error_code) {
        case 0:
            return becomes(system_status::fault_0);
        case 2:
            return becomes(system_status::overload);
        case 3:
            return becomes(system_status::denied);
        case 4:
            return becomes(system_status::fault);
        case 5:
        case 14:
            return becomes(system_status::fault_5_or_14);
        case 6:
            return becomes(system_status::fault_6);
        case 7:
            return becomes(system_status::fault_7);
        default:
            return {.is_event = false};
    }
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
            return becomes(system_status::requesting);
        default:
            return {.status = question.status};
    }
}

}  // namespace

translation_answer translate_status(const translation_question& question) {
    if (is(question, controller_state::disabled)) {
        const system_status status = question.auto_off ? system_status::auto_off : system_status::disabled;
        return {.status = code(status), .is_disabled = true};
    }
    if (is(question, controller_state::fault) && question.hold_event && !fault_cannot_be_held(question.error_code)) {
        return becomes(system_status::fault);
    }
    if (event_concerns(question)) {
        if (question.searching_event) return becomes(system_status::searching);
        if (question.denied_event) return becomes(system_status::denied);
        if (question.overload_event) return becomes(system_status::overload);
    }
    return by_state(question);
}
