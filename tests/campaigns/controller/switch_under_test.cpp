#include "switch_under_test.h"

#include <pthread.h>

#include "bringup/controller_init.h"
#include "complaints.h"
#include "controller/counters.h"
#include "controller/error_accounting.h"
#include "core/records.h"
#include "core/tick.h"
#include "ipc/dispatch.h"
#include "ipc/peer.h"
#include "ipc/set_queue.h"
#include "supervision/readings.h"
#include "supervision/traps.h"

namespace campaign {

namespace {

constexpr std::uint64_t tick_us = 200000;

ipc_peer client_peer() {
    ipc_peer peer{};
    peer.family = local_address_family;
    peer.path[0] = '/';
    peer.path[1] = 'c';
    return peer;
}

std::string difference(const bytes& wanted, const bytes& got) {
    if (wanted.size() != got.size()) {
        return "length " + std::to_string(got.size()) + " instead of " + std::to_string(wanted.size());
    }
    std::string text;
    for (std::size_t at = 0; at < wanted.size(); at++) {
        if (wanted[at] == got[at]) continue;
        text +=
            " [" + std::to_string(at) + "] " + std::to_string(got[at]) + " instead of " + std::to_string(wanted[at]);
    }
    return text;
}

void compare(const char* what, const bytes& wanted, const bytes& got) {
    if (wanted != got) complain(std::string(what) + ":" + difference(wanted, got));
}

bool is_right_at_once(const heard& one) {
    return one.what != heard::transaction || (one.status == 0 && one.attempts == 1 && !one.was_damaged);
}

}  // namespace

void start_the_daemon(std::uint32_t seed) {
    the_far_side.emplace(seed);
    i_am_the(controller_user);
    initialise_mutex(g_mutex_poe_tick_thread);
    initialise_mutex(g_mutex_poe_share_data_thread);
    // What an earlier daemon left queued is freed first.
    bytes record(longest_set_record);
    for (int length = longest_set_record;
         __g_poe_set_data != nullptr && poe_internal_rx_queue_data(record.data(), &length) == 0;
         length = longest_set_record) {
    }
    poe_internal_set_queue_init();
    nobody_else_is_running();
    g_poe_thread_tick_cnt.set(0);
    g_poe_power_budget = default_power_budget;
    g_port_led_stu = g_port_led_blk = g_port_pwr_auto_off = 0;
    poe_drv_do_sent_startup_trap = poe_drv_already_sent_startup_trap = 0;
    g_dbg_read_mixed_info.set(0);
    g_sys_pwr_stu = {};
    poe_parameter_init();
    clear_communication_counters();
    clear_error_write_to_flash_flags();
    llp_new = {};
    g_poe_drv_msg = {};
    fd_poe_kernel_drv = controller_descriptor;
}

bytes client_request(std::uint8_t type, std::size_t length) {
    bytes request(length);
    request[0] = type;
    return request;
}

const bytes& ask_as_client(const bytes& request) {
    static const ipc_peer peer = client_peer();
    far_side& there = *the_far_side;
    bytes message = request;
    const std::uint64_t replies = there.replies;
    constexpr int socket = 3;
    poe_rx_ipc_content_process(socket, &peer, message.data(), static_cast<int>(message.size()));
    if (there.replies != replies + 1) {
        complain("a request of type " + std::to_string(request[0]) + " got " + std::to_string(there.replies - replies) +
                 " replies");
    }
    return there.reply;
}

void compare_counters(const line_judge& judge, const char* when) {
    bytes wanted(8);
    wanted[0] = 12;
    for (const std::uint64_t count : judge.counters()) {
        for (unsigned shift = 0; shift < 64; shift += 8)
            wanted.push_back(static_cast<std::uint8_t>(count >> shift & 0xFF));
    }
    static const bytes question = client_request(12);
    const bytes& got = ask_as_client(question);
    if (got != wanted) complain(std::string("counters ") + when + ":" + difference(wanted, got));
}

switch_under_test::switch_under_test(std::uint32_t seed) {
    start_the_daemon(seed);
    the_far_side->in_a_pause = [this] { in_a_pause(); };
}

void switch_under_test::bring_up() {
    judge.is_bring_up = true;
    poe_chip_init();
    poe_parameter_last_init();
    const std::vector<heard> door = judge.judge(the_far_side->events);
    judge.is_bring_up = false;
    transactions += door.size();
    // At its end it reads 41, 4B and 44, sets 11 and reads 40. A limit that was not told leaves the budget.
    std::vector<heard> asked;
    for (const heard& one : door) {
        if (one.what == heard::transaction) asked.push_back(one);
    }
    constexpr std::size_t last_ones = 5;
    if (asked.size() < last_ones) {
        complain("the bring-up ended early");
        return;
    }
    const heard& bank = asked[asked.size() - 4];
    const heard& measured = asked[asked.size() - 3];
    if (bank.status == 0) expected.limit = static_cast<std::uint16_t>(bank.answer[3] * 256 + bank.answer[4]);
    expected.total_mw = expected.limit * 100U;
    if (measured.status == 0) {
        const double degrees = (measured.answer[7] * 256 + measured.answer[8] - 120) * -1.25 + 125.0;
        expected.heat = (static_cast<std::uint32_t>(static_cast<int>(degrees * 10.0)) & 0xFFFF) * 100;
    }
    compare("after the bring-up", expected.combined_reply(), ask_as_client(client_request(11)));
    compare_counters(judge, "after the bring-up");
}

void switch_under_test::adopt_enabled(std::size_t port) {
    g_port_pmt.at(port).Port_Enable.set(1);
    expected.parameters.at(port).enable = 1;
}

void switch_under_test::begin() {
    state_ = begin_supervision();
    fresh_ = expected;
    fresh_->forget_all_readings();
}

void switch_under_test::in_a_pause() {
    // The clients' thread would wait for this lock.
    if (pthread_mutex_trylock(&g_mutex_poe_tick_thread.native) != 0) {
        pauses_with_clients_waiting++;
        return;
    }
    pthread_mutex_unlock(&g_mutex_poe_tick_thread.native);
    static const bytes question = client_request(5);
    if (!fresh_) {
        ask_as_client(question);
        return;
    }
    compare("the system's status during a pause", expected.system_status_reply(), ask_as_client(question));
}

// One bad transfer never takes the power from a port that delivers it. A controller that repeats an old answer over
// several transfers can: with a right checksum, that answer may read as a port which searches.
void switch_under_test::look_for_harm(const std::vector<heard>& door, bool switched_off_for_a_link) {
    for (const heard& one : door) {
        if (one.what != heard::transaction) continue;
        const bool is_alone = last_was_right_;
        last_was_right_ = is_right_at_once(one);
        if (one.status == 0 && one.was_damaged) damaged_accepted++;
        const std::size_t port = one.request[2];
        if (one.request[0] == 0x42 && one.status == 0 && port < 4) {
            // A delivering port that is said to search.
            was_forged_[port] = one.was_damaged && one.answer[3] == vswitch::controller_state::searching;
            forged_alone_[port] = is_alone;
            forged_[port] = one.answer;
            delivered_then_[port] =
                the_far_side->chip.port(port).port_reading().state == vswitch::controller_state::delivering;
        }
        const bool switches_off = switched_off_for_a_link && one.request[0] == 0x01 && one.request[3] == 0 && port < 4;
        if (!switches_off || !was_forged_[port] || !delivered_then_[port]) continue;
        if (!forged_alone_[port]) {
            switched_off_by_a_run++;
        } else {
            complain("a bad transfer switched off port " + std::to_string(port) +
                     ", which delivered power: " + hex(forged_[port]));
        }
    }
}

bool switch_under_test::pass() {
    const std::uint64_t now = the_far_side->chip.now_us();
    const auto tick = static_cast<std::uint32_t>(now / tick_us);
    g_poe_thread_tick_cnt.set(tick);
    const std::uint64_t waiting_before = pauses_with_clients_waiting;
    supervise_once(state_);
    const std::vector<heard> door = judge.judge(the_far_side->events);
    transactions += door.size();
    const bool applies = !expected.queue_is_empty();
    const std::uint64_t auto_offs_before = expected.auto_offs;
    const bool swept = expected.pass(door, tick);
    const bool switched_off_for_a_link = expected.auto_offs != auto_offs_before;
    look_for_harm(door, switched_off_for_a_link);
    if (pauses_with_clients_waiting != waiting_before && !switched_off_for_a_link) {
        complain("clients waited through a pause");
    }

    static const bytes question = client_request(11);
    compare("status", expected.combined_reply(), ask_as_client(question));
    for (std::size_t port = 0; port < 4; port++) {
        const port_stu& record = g_port_stu[port];
        const auto& parts = expected.records[port].parts;
        if (record.update_tick != parts[0].tick || record.channel[0].update_tick != parts[1].tick ||
            record.channel[1].update_tick != parts[2].tick) {
            complain("an update tick of port " + std::to_string(port) + " is wrong");
        }
    }

    // The same sweep seen by one who knows nothing of the past.
    if (applies) sweep_is_right_ = false;
    for (const heard& one : door)
        sweep_is_right_ = sweep_is_right_ && is_right_at_once(one);
    if (sweep_is_right_) fresh_->pass(door, tick);
    last_sweep_was_whole = swept && sweep_is_right_;
    if (last_sweep_was_whole) {
        for (std::size_t port = 0; port < 4; port++) {
            fresh_->records[port].totals = expected.records[port].totals;
        }
        if (fresh_->combined_reply() != expected.combined_reply()) {
            complain("not whole after a right sweep:" +
                     difference(fresh_->combined_reply(), expected.combined_reply()));
        }
    }
    if (expected.next_port() == 0) {
        sweep_is_right_ = true;
        fresh_ = expected;
        fresh_->forget_all_readings();
    }
    return swept;
}

void switch_under_test::sweep() {
    while (!pass()) {
    }
}

void switch_under_test::request(const bytes& message) {
    const bytes& reply = ask_as_client(message);
    if (reply.size() != 8 || reply[0] != message[0]) {
        complain("a setting of type " + std::to_string(message[0]) + " was not acknowledged");
        return;
    }
    if (reply[7] == 0) expected.accepted(message);
}

void switch_under_test::compare_all_replies() {
    compare("system status", expected.system_status_reply(), ask_as_client(client_request(5)));
    compare("parameters", expected.parameters_reply(), ask_as_client(client_request(2)));
    compare("system parameters", expected.system_parameters_reply(), ask_as_client(client_request(0)));
    compare("power bank", expected.bank_reply(), ask_as_client(client_request(14)));
    compare("power-cycled ports", expected.re_enable_reply(g_poe_thread_tick_cnt.get()),
            ask_as_client(client_request(15)));
    compare_counters(judge, "after a pass");
}

}  // namespace campaign
