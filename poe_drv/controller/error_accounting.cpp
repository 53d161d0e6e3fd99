#include "controller/error_accounting.h"

#include <array>

#include "controller/counters.h"
#include "controller/status.h"
#include "core/diagnostics.h"
#include "core/paths.h"
#include "platform/system.h"

std::uint32_t poe_error_write_to_flash_tx_checksum_1_time;
std::uint32_t poe_error_write_to_flash_tx_checksum_10_time;
std::uint32_t poe_error_write_to_flash_tx_checksum_100_time;
std::uint32_t poe_error_write_to_flash_rx_timeout_1_time;
std::uint32_t poe_error_write_to_flash_rx_timeout_10_time;
std::uint32_t poe_error_write_to_flash_rx_timeout_100_time;
std::uint32_t poe_error_write_to_flash_rx_checksum_1_time;
std::uint32_t poe_error_write_to_flash_rx_checksum_10_time;
std::uint32_t poe_error_write_to_flash_rx_checksum_100_time;

namespace {

// --- marks ---

struct mark_level {
    std::uint64_t from;  // up to the next level
    const char* line;
};
constexpr std::array mark_levels{
    mark_level{.from = 1, .line = "1\n"},
    mark_level{.from = 10, .line = "10\n"},
    mark_level{.from = 100, .line = "100\n"},
};
constexpr int no_level = -1;

// The one level that a count stands in.
constexpr int level_of(std::uint64_t count) {
    int level = no_level;
    for (const mark_level& row : mark_levels) {
        if (count >= row.from) level++;
    }
    return level;
}
static_assert(level_of(0) == no_level && level_of(1) == 0 && level_of(9) == 0);
static_assert(level_of(10) == 1 && level_of(99) == 1 && level_of(100) == 2 && level_of(~std::uint64_t{0}) == 2);

struct mark_kind {
    const counter64* counter;
    const char* path;
    std::array<std::uint32_t*, mark_levels.size()> written;  // the once-flag of each level
};
constexpr std::array mark_kinds{
    mark_kind{.counter = &g_dbg_communication_info.tx_chksum_error,
              .path = tx_checksum_marks_path,
              .written = {&poe_error_write_to_flash_tx_checksum_1_time, &poe_error_write_to_flash_tx_checksum_10_time,
                          &poe_error_write_to_flash_tx_checksum_100_time}},
    mark_kind{.counter = &g_dbg_communication_info.rx_timeout,
              .path = rx_timeout_marks_path,
              .written = {&poe_error_write_to_flash_rx_timeout_1_time, &poe_error_write_to_flash_rx_timeout_10_time,
                          &poe_error_write_to_flash_rx_timeout_100_time}},
    mark_kind{.counter = &g_dbg_communication_info.rx_chksum_error,
              .path = rx_checksum_marks_path,
              .written = {&poe_error_write_to_flash_rx_checksum_1_time, &poe_error_write_to_flash_rx_checksum_10_time,
                          &poe_error_write_to_flash_rx_checksum_100_time}},
};

// --- messages ---

struct status_message {
    int status;
    bool leaves_mark;  // its counter is one that is kept in flash
    const char* text;
};
constexpr std::array status_messages{
    status_message{.status = controller_no_answer, .leaves_mark = true, .text = "receive poe mcu message timeout"},
    status_message{
        .status = controller_answer_damaged, .leaves_mark = true, .text = "receive poe mcu message checksum error"},
    status_message{
        .status = controller_saw_wrong_checksum, .leaves_mark = true, .text = "poe mcu say [wrong checksum]"},
    status_message{
        .status = controller_subject_conflict, .leaves_mark = false, .text = "poe mcu say [conflict in subject byte]"},
    status_message{
        .status = controller_wrong_data_value, .leaves_mark = false, .text = "poe mcu say [wrong data byte value]"},
    status_message{
        .status = controller_undefined_key, .leaves_mark = false, .text = "poe mcu say [undefined key value]"},
};

}  // namespace

void clear_error_write_to_flash_flags() {
    i_am_the(controller_user);
    for (const mark_kind& kind : mark_kinds) {
        for (std::uint32_t* written : kind.written)
            *written = 0;
    }
}

void poe_error_write_to_flash() {
    for (const mark_kind& kind : mark_kinds) {
        const int level = level_of(kind.counter->get());
        if (level == no_level) continue;
        const auto row = static_cast<std::size_t>(level);
        if (*kind.written[row] != 0) continue;
        *kind.written[row] = 1;
        system_append_durably(kind.path, mark_levels[row].line);
    }
}

int poe_check_report_key(const controller_frame& answer) {
    switch (answer.selector) {
        case report_wrong_checksum:
            g_dbg_communication_info.tx_chksum_error.increment();
            poe_error_write_to_flash();
            return controller_saw_wrong_checksum;
        case report_undefined_key:
            g_dbg_communication_info.undefined_key_value.increment();
            return controller_undefined_key;
        default:
            g_dbg_communication_info.tx_correctly_executed.increment();
            return controller_ok;
    }
}

void poe_talk_with_kernel_error_msg(int status, const char* function_name, int line) {
    if (status == controller_ok) return;
    for (const status_message& row : status_messages) {
        if (row.status != status) continue;
        if (row.leaves_mark) poe_error_write_to_flash();
        say("[%s() , %d]: %s!!!\n", function_name, line, row.text);
    }
}
