#include "supervision/port_events.h"

#include "core/diagnostics.h"
#include "core/paths.h"
#include "platform/system.h"
#include "supervision/event_rules.h"
#include "supervision/leds.h"
#include "supervision/traps.h"

namespace {

constexpr said_by start_up_trap_sent{.function = "set_trap_meg_and_poe_led", .line = 6076};
constexpr said_by start_up_trap_begun{.function = "set_trap_meg_and_poe_led", .line = 6083};

// Moves the start-up trap on; false when the port is to be left alone.
bool pass_start_up_gate(std::uint8_t port) {
    if (poe_drv_already_sent_startup_trap != 0 || !system_file_exists(start_up_trap_flag_path)) return true;
    const start_up_gate gate = start_up_trap_gate(port, poe_drv_do_sent_startup_trap == 1);
    if (gate == start_up_gate::begins) {
        poe_drv_do_sent_startup_trap = 1;
        say("[%s() , %d]: poe_drv_do_sent_startup_trap: %d\n", start_up_trap_begun.function, start_up_trap_begun.line,
            poe_drv_do_sent_startup_trap);
    }
    if (gate == start_up_gate::ends) {
        poe_drv_already_sent_startup_trap = 1;
        say("[%s() , %d]: poe_drv_already_sent_startup_trap: %d\n", start_up_trap_sent.function,
            start_up_trap_sent.line, poe_drv_already_sent_startup_trap);
    }
    return gate != start_up_gate::closed;
}

port_change_question question_about(const port_stu& record, const port_reading& reading) {
    const channel_reading& a = reading.channel[0];
    const channel_reading& b = reading.channel[1];
    const bool sent = poe_drv_already_sent_startup_trap == 1;
    return {.start_up_pass = !sent && poe_drv_do_sent_startup_trap == 1,
            .reporting = sent,
            .recorded_type = record.port_type,
            .recorded_status = record.status,
            .recorded_channel_status = {record.channel[0].status, record.channel[1].status},
            .new_type = reading.port_type,
            .new_status = reading.codes.status,
            .new_channel_status = {a.codes.status, b.codes.status},
            .new_channel_sub_status = {a.codes.sub_status, b.codes.sub_status}};
}

}  // namespace

int set_trap_meg_and_poe_led(std::uint8_t port, const port_reading& reading) {
    if (!pass_start_up_gate(port)) return 0;
    const port_change_answer change = decide_port_change(question_about(g_port_stu[port], reading));
    for (std::size_t i = 0; i < change.event_count; i++) {
        poe_drv_msg_log_port_status(port, change.event[i].kind, change.event[i].status);
    }
    if (change.led_changes) update_port_led(port, change.led_lit, change.led_blinking);
    return change.event_count > 0 ? 1 : 0;
}
