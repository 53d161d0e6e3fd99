#include "controller/transport.h"

#include <type_traits>

#include "controller/counters.h"
#include "controller/error_accounting.h"
#include "controller/retry.h"
#include "controller/status.h"
#include "core/records.h"
#include "platform/system.h"

namespace {

// What the kernel driver takes and gives back in place.
struct driver_record {
    std::uint32_t wait;      // 0  in the machine's own byte order
    controller_frame frame;  // 4  the request, replaced by the answer
};
static_assert(sizeof(driver_record) == 16 && offsetof(driver_record, frame) == 4);
static_assert(std::is_trivially_copyable_v<driver_record>);

constexpr unsigned long ioc_transact = 0xC010DD03;  // read and write, 16 bytes, type 0xDD, number 3

// The line is part of the text.
constexpr said_by gave_up{.function = "poe_kernel_drv_send_recv", .line = 1370};

// One request to the driver. A failed ioctl counts by what the driver left in the record.
attempt ask_once(driver_record& record) REQUIRES(controller_user) {
    poe_cal_data_fill_chk(record.frame);
    _byte_code_print(frame_trace, __func__, __LINE__, "TX", record.frame);
    const int result = system_ioctl(fd_poe_kernel_drv, ioc_transact, &record);
    if (carries_report_key(record.frame)) return attempt::refused;
    if (result < 0) return attempt::unheard;
    _byte_code_print(frame_trace, __func__, __LINE__, "RX", record.frame);
    return attempt::answered;
}

}  // namespace

int poe_kernel_drv_send_recv(std::uint32_t wait, controller_frame& frame) {
    g_dbg_communication_info.total.increment();

    driver_record record;
    attempt_budgets budgets;
    verdict next = verdict::ask_again;
    while (next == verdict::ask_again) {
        record = {.wait = wait, .frame = frame};
        const attempt outcome = ask_once(record);
        if (outcome == attempt::unheard) g_dbg_communication_info.rx_retry.increment();
        if (outcome != attempt::answered) system_sleep_us(pause_after_failed_attempt_us);
        next = after_attempt(budgets, outcome);
    }

    if (next == verdict::give_up) {
        say("[%s() , %d]: ERROR!! ERROR!! ERROR!!!\n", gave_up.function, gave_up.line);
        g_dbg_communication_info.rx_timeout.increment();
        return controller_no_answer;
    }
    if (is_fail_poe_chk_dat(record.frame) != 0) {
        g_dbg_communication_info.rx_chksum_error.increment();
        return controller_answer_damaged;
    }
    const int status = poe_check_report_key(record.frame);
    if (status == controller_ok) frame = record.frame;
    return status;
}
