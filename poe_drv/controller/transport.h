// The controller's transaction: one request out, one answer back, through the kernel driver; asked again when refused
// or unheard.
//
//   ask |--550 ms--| ask |--550 ms--| ... ask |--550 ms--| give up      after 10 silences or 10 refusals, 19 asks at
//   most
//
// One user at a time, no lock: the main thread during bring-up, the supervision thread ever after. Every command goes
// through here; nothing else touches the device. Allocates nothing; blocks for the driver's time and for the pauses.
#pragma once

#include <cstdint>

#include "controller/frame.h"
#include "core/locks.h"

// Handed to the driver with every frame.
inline constexpr std::uint32_t driver_wait = 9;
inline constexpr std::uint32_t driver_wait_slow = 204;  // global reset and switching the port matrix

inline constexpr std::uint32_t pause_after_failed_attempt_us = 550000;

// Returns 0 with the answer in `frame`, or a negative controller status with `frame` untouched. Says nothing but that
// it gave up.
int poe_kernel_drv_send_recv(std::uint32_t wait, controller_frame& frame) REQUIRES(controller_user);
