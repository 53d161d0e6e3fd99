#include "controller/command.h"

#include "controller/error_accounting.h"

int ask_controller(const said_by& command, std::uint32_t wait, controller_frame& frame) {
    _byte_code_print(frame_trace, command.function, command.line, "TX", frame);
    const int status = poe_kernel_drv_send_recv(wait, frame);
    _byte_code_print(frame_trace, command.function, command.line, "RX", frame);
    poe_talk_with_kernel_error_msg(status, command.function, command.line);
    return status;
}
