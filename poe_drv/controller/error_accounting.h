// What becomes of a transaction's outcome: a counter, a line on standard error, and marks in flash by which service
// staff see that a unit has had trouble with its controller. On the thread that talks to the controller; no lock.
//
// A mark is a line "1", "10" or "100" in the file of its kind, written when that kind's counter is first seen in 1..9,
// 10..99 or from 100 on. Each is written once a run, so the files grow across restarts and by nine lines a run at most.
// A /flash that cannot be written loses the marks and nothing else.
#pragma once

#include <cstdint>

#include "controller/frame.h"
#include "core/locks.h"

// 1 = this run has written the mark.
extern std::uint32_t poe_error_write_to_flash_tx_checksum_1_time GUARDED_BY(controller_user);
extern std::uint32_t poe_error_write_to_flash_tx_checksum_10_time GUARDED_BY(controller_user);
extern std::uint32_t poe_error_write_to_flash_tx_checksum_100_time GUARDED_BY(controller_user);
extern std::uint32_t poe_error_write_to_flash_rx_timeout_1_time GUARDED_BY(controller_user);
extern std::uint32_t poe_error_write_to_flash_rx_timeout_10_time GUARDED_BY(controller_user);
extern std::uint32_t poe_error_write_to_flash_rx_timeout_100_time GUARDED_BY(controller_user);
extern std::uint32_t poe_error_write_to_flash_rx_checksum_1_time GUARDED_BY(controller_user);
extern std::uint32_t poe_error_write_to_flash_rx_checksum_10_time GUARDED_BY(controller_user);
extern std::uint32_t poe_error_write_to_flash_rx_checksum_100_time GUARDED_BY(controller_user);

// All nine to 0. Start-up only, before the controller has a user.
void clear_error_write_to_flash_flags();

// Counts an accepted answer by its report key and returns the status that the key stands for.
int poe_check_report_key(const controller_frame& answer) REQUIRES(controller_user);

// Says what went wrong in a command, under the command's name and line. Silent for 0 and for a refused setting.
void poe_talk_with_kernel_error_msg(int status, const char* function_name, int line) REQUIRES(controller_user);

// Writes the marks that the counters call for now and that this run has not written yet.
void poe_error_write_to_flash() REQUIRES(controller_user);
