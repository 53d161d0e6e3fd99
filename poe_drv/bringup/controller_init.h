// Bringing the controller into the configuration that this switch needs. A controller that already stores it is left
// alone, so that ports stay powered across a daemon restart; any other is wiped, programmed step by step and told to
// save. Main thread, start-up only: before any thread exists, and without locks.
#pragma once

#include "core/locks.h"

// Opens the controller device for good, checks what the controller stores, and programs it when a check fails. Returns
// 0 when the stored configuration was accepted, 1 when it was programmed. Ends the process when the device cannot be
// opened; no other failure stops the start.
int poe_chip_init() REQUIRES(controller_user);

// Takes the first system measurements into g_sys_pwr_stu, sets the system mask, and publishes the controller's software
// version in a file for other programs (nothing is written when it cannot be read). Returns 0.
int poe_parameter_last_init() REQUIRES(controller_user);
