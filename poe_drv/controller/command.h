// The pattern of every command, written once: build the request, trace it, transact, trace what came back, report a
// failure under the command's own name and line. A command itself is its request and, for a query, its decoding, for a
// setting, the bytes by which the controller refuses it. On the thread that talks to the controller.
#pragma once

#include <cstddef>
#include <cstdint>

#include "controller/command_keys.h"
#include "controller/decoding.h"
#include "controller/frame.h"
#include "controller/status.h"
#include "controller/transport.h"
#include "core/diagnostics.h"
#include "core/locks.h"

// Returns 0 with the answer in `frame`, or the transport's failure, reported, with the request still in it.
int ask_controller(const said_by& command, std::uint32_t wait, controller_frame& frame) REQUIRES(controller_user);

// Decodes the answer into `record` when there is one, and leaves it alone otherwise.
template <typename answer_record>
int query(const said_by& command, controller_frame frame, answer_record& record) REQUIRES(controller_user) {
    const int status = ask_controller(command, driver_wait, frame);
    if (status == controller_ok) decode(frame, record);
    return status;
}

inline constexpr std::uint8_t result_refused = 1;

// Returns -14, which goes unreported, when the controller answers with a 1 in one of the result bytes.
template <std::size_t... result_bytes>
int setting(const said_by& command, controller_frame frame, std::uint32_t wait = driver_wait)
    REQUIRES(controller_user) {
    const int status = ask_controller(command, wait, frame);
    if (status != controller_ok) return status;
    const bool refused = ((byte_of<result_bytes>(frame) == result_refused) || ...);
    return refused ? controller_refused : controller_ok;
}
