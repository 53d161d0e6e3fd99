#include "supervision/event_rules.h"

#include "supervision/translation.h"

namespace {

// Sub-status of a pair set whose LED blinks.
constexpr std::uint8_t sub_status_blinking = 1;

constexpr bool is(std::uint32_t status, system_status named) {
    return status == static_cast<std::uint32_t>(named);
}

// A port that goes back to searching from a search is nobody's news.
constexpr bool is_quiet_change(std::uint32_t recorded, std::uint32_t now) {
    return is(recorded, system_status::on_hold) && is(now, system_status::searching);
}

// What a change of a port's status is called in the trap.
constexpr std::uint8_t reported_status(std::uint32_t recorded, std::uint8_t now) {
    if (is(now, system_status::searching)) {
        if (is(recorded, system_status::auto_off)) return static_cast<std::uint8_t>(system_status::searching_again);
        if (is(recorded, system_status::off)) return static_cast<std::uint8_t>(system_status::switched_on);
    }
    return now;
}

constexpr bool shows_light(std::uint32_t status) {
    return !is(status, system_status::off) && !is(status, system_status::searching) &&
           !is(status, system_status::on_hold) && !is(status, system_status::auto_off);
}

void add(port_change_answer& answer, trap_kind kind, std::uint8_t status) {
    answer.event[answer.event_count] = {.kind = kind, .status = status};
    answer.event_count++;
}

port_change_answer change_of_port(const port_change_question& question) {
    port_change_answer answer;
    const std::uint32_t recorded = question.recorded_status;
    const std::uint8_t now = question.new_status;
    if (question.start_up_pass) {
        add(answer, trap_kind::port, now);
    } else if (recorded == now) {
        return answer;
    } else if (question.reporting && !is_quiet_change(recorded, now)) {
        add(answer, trap_kind::port, reported_status(recorded, now));
    }
    answer.led_changes = true;
    answer.led_lit = shows_light(now);
    return answer;
}

port_change_answer change_of_channels(const port_change_question& question) {
    constexpr std::array<trap_kind, pair_set_count> kinds{trap_kind::channel_a, trap_kind::channel_b};
    port_change_answer answer;
    for (std::size_t i = 0; i < pair_set_count; i++) {
        const std::uint32_t recorded = question.recorded_channel_status[i];
        const std::uint8_t now = question.new_channel_status[i];
        if (!question.start_up_pass && recorded == now) continue;
        answer.led_changes = true;
        const bool reports = question.reporting && !is_quiet_change(recorded, now);
        if (question.start_up_pass || reports) add(answer, kinds[i], now);
    }
    answer.led_lit = answer.led_changes;
    answer.led_blinking = answer.led_changes && (question.new_channel_sub_status[0] == sub_status_blinking ||
                                                 question.new_channel_sub_status[1] == sub_status_blinking);
    return answer;
}

}  // namespace

start_up_gate start_up_trap_gate(std::uint8_t port, bool being_sent) {
    if (being_sent) return port == 0 ? start_up_gate::ends : start_up_gate::open;
    return port == 0 ? start_up_gate::begins : start_up_gate::closed;
}

port_change_answer decide_port_change(const port_change_question& question) {
    if (question.recorded_type == port_type_per_channel || question.new_type == port_type_per_channel) {
        return change_of_channels(question);
    }
    return question.recorded_type <= port_type_disabled ? change_of_port(question) : port_change_answer{};
}
