// The start, step by step, and then requests for ever. With worker_threads the only file that knows every room.

#include <cstring>

#include "bringup/controller_init.h"
#include "bringup/stress_test.h"
#include "controller/counters.h"
#include "controller/error_accounting.h"
#include "core/cpld.h"
#include "core/diagnostics.h"
#include "core/paths.h"
#include "core/power_budget.h"
#include "core/records.h"
#include "core/status_file.h"
#include "core/worker_threads.h"
#include "ipc/dispatch.h"
#include "ipc/peer.h"
#include "ipc/protocol.h"
#include "ipc/reception.h"
#include "ipc/set_queue.h"
#include "platform/orv_com.h"
#include "platform/poe_ipc.h"
#include "platform/system.h"

// Bound and kept open for the life of the process: other programs expect their names. They carry no traffic, the set
// queue being the only channel between the threads.
int poe_internal_rx_socket = -1;
int poe_internal_tx_socket = -1;

namespace {

constexpr std::uint8_t all_led_bits = 0x0F;
constexpr int fatal = 1;

void turn_all_leds_off() {
    say_out("Turn off all PoE LED\n");
    __poe_drv_cpld_write_mask(cpld_led_register, 0, all_led_bits);
    utilBitmapClearAll(&g_port_led_stu, sizeof g_port_led_stu);
    utilBitmapClearAll(&g_port_led_blk, sizeof g_port_led_blk);
    utilBitmapClearAll(&g_port_pwr_auto_off, sizeof g_port_pwr_auto_off);
}

void bind_or_give_up(int& socket, const char* path, const char* failure) {
    if (__poe_drv_ipc_socket_and_bind_init(&socket, path) != -1) return;
    say("%s\n", failure);
    say_bye_bye_and_exit(fatal, failure);
}

void start_or_give_up(int result, const char* failure) {
    if (result == 0) return;
    say("%s: %s\n", failure, std::strerror(result));
    say_bye_bye_and_exit(fatal, failure);
}

[[noreturn]] void serve_requests(int socket) {
    ipc_peer peer;
    unsigned char message[longest_message];
    for (;;) {
        int length = static_cast<int>(sizeof message);
        if (poe_drv_ipc_recv(socket, &peer, message, &length, nullptr) != 0) continue;
        poe_rx_ipc_content_process(socket, &peer, message, length);
    }
}

}  // namespace

int main(int argc, char** argv) {
    system_prepare_process();

    read_power_budget_file();
    turn_all_leds_off();
    clear_error_write_to_flash_flags();
    if (argc == 2) g_say_bye_bye_file_path = argv[1];

    int external_socket = -1;
    bind_or_give_up(external_socket, external_socket_path,
                    "[IPC for external program]: opening datagram socket OR binding name to datagram socket!");
    bind_or_give_up(poe_internal_rx_socket, internal_rx_socket_path,
                    "[IPC for internal thread rx]: opening datagram socket OR binding name to datagram socket!");
    bind_or_give_up(poe_internal_tx_socket, internal_tx_socket_path,
                    "[IPC for internal thread tx]: opening datagram socket OR binding name to datagram socket!");

    clear_communication_counters();
    g_dbg_read_mixed_info.set(0);
    poe_internal_set_queue_init();
    poe_parameter_init();

    i_am_the(controller_user);
    poe_chip_init();
    poe_parameter_last_init();
    if (system_file_exists(stress_test_flag_path)) for_check_cpld_hardware();

    start_or_give_up(poe_thread_tick_init_and_start(), "poe_thread_tick_init_and_start(...) fail!");
    start_or_give_up(poe_thread_init_and_start(), "poe_thread_init_and_start(...) fail!");
    say_message_to_file("poe user space driver running.");

    serve_requests(external_socket);
}
