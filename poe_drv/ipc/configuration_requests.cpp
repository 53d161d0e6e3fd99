// Requests that change the configuration: checked against themselves alone, never against the current state, then
// acknowledged, and only then queued for the supervision thread. So an acknowledgement tells of acceptance, not of
// success. No lock is taken but the queue's own.
#include "core/diagnostics.h"
#include "core/port_parameters.h"
#include "ipc/handlers.h"
#include "ipc/payload_checks.h"
#include "ipc/reply.h"
#include "ipc/set_queue.h"
#include "ipc/set_records.h"

namespace {

int refuse(int socket, const void* peer, ipc_type type) {
    send_acknowledgement(socket, peer, type, result_rejected);
    return request_rejected;
}

int accept(int socket, const void* peer, ipc_type type, const unsigned char* message) {
    send_acknowledgement(socket, peer, type, result_accepted);
    poe_internal_tx_queue_data(message, static_cast<unsigned>(set_record_length(type)));
    return request_served;
}

int decide(bool acceptable, int socket, const void* peer, ipc_type type, const unsigned char* message) {
    return acceptable ? accept(socket, peer, type, message) : refuse(socket, peer, type);
}

}  // namespace

int poe_drv_ipc_request_set_sys_pwr_pmt(int socket, const void* peer, unsigned char* message, int) {
    const auto request = record_from<system_parameters_message>(message);
    return decide(is_acceptable(request.block), socket, peer, ipc_type::set_sys_pwr_pmt, message);
}

int poe_drv_ipc_request_set_one_port_pmt(int socket, const void* peer, unsigned char* message, int) {
    const auto request = record_from<one_port_parameters_message>(message);
    const bool acceptable = check_one_port_pmt_value(&request.block) == 0;
    return decide(acceptable, socket, peer, ipc_type::set_one_port_pmt, message);
}

int poe_drv_ipc_request_set_all_port_pmt(int socket, const void* peer, unsigned char* message, int) {
    const auto request = record_from<all_port_parameters_message>(message);
    for (std::size_t i = 0; i < request.block.size(); i++) {
        if (check_one_port_pmt_value(&request.block[i]) != 0) {
            say("[%s() , %d]: i=(%d)\n", __func__, __LINE__, static_cast<int>(i));
            return refuse(socket, peer, ipc_type::set_all_port_pmt);
        }
    }
    return accept(socket, peer, ipc_type::set_all_port_pmt, message);
}

int poe_drv_ipc_request_set_all_port_same_pmt(int socket, const void* peer, unsigned char* message, int) {
    auto request = record_from<one_port_parameters_message>(message);
    // The port byte means nothing here; zeroed, it passes the check, and so it is queued.
    request.block.Port_Number = 0;
    std::memcpy(message, &request, sizeof request);
    const bool acceptable = check_one_port_pmt_value(&request.block) == 0 && !keeps_anything(request.block);
    return decide(acceptable, socket, peer, ipc_type::set_all_port_same_pmt, message);
}

int poe_drv_ipc_request_set_one_port_sch_on_off(int socket, const void* peer, unsigned char* message, int) {
    const auto request = record_from<one_port_schedule_message>(message);
    return decide(is_acceptable(request.entry), socket, peer, ipc_type::set_one_port_sch_on_off, message);
}

int poe_drv_ipc_request_set_all_port_sch_on_off(int socket, const void* peer, unsigned char* message, int) {
    const auto request = record_from<all_port_schedule_message>(message);
    return decide(is_acceptable(request), socket, peer, ipc_type::set_all_port_sch_on_off, message);
}

int poe_drv_ipc_request_set_pwr_bnk_pmt(int socket, const void* peer, unsigned char* message, int) {
    return accept(socket, peer, ipc_type::set_pwr_bnk_pmt, message);
}

int poe_drv_ipc_request_set_re_enable_port_list(int socket, const void* peer, unsigned char* message, int) {
    return accept(socket, peer, ipc_type::set_re_enable_port_list, message);
}
