// What travels through the set queue: which requests are queued, and how long each one is. Pure.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ipc/protocol.h"

// The length of a queued request, which is that of the whole message; 0 for every type that is not queued.
constexpr std::size_t set_record_length(ipc_type type) {
    switch (type) {
        case ipc_type::set_sys_pwr_pmt:
            return sizeof(system_parameters_message);
        case ipc_type::set_one_port_pmt:
        case ipc_type::set_all_port_same_pmt:
            return sizeof(one_port_parameters_message);
        case ipc_type::set_all_port_pmt:
            return sizeof(all_port_parameters_message);
        case ipc_type::set_one_port_sch_on_off:
            return sizeof(one_port_schedule_message);
        case ipc_type::set_all_port_sch_on_off:
            return sizeof(all_port_schedule_message);
        case ipc_type::set_pwr_bnk_pmt:
            return sizeof(power_bank_message);
        case ipc_type::set_re_enable_port_list:
            return sizeof(port_bitmap_message);
        default:
            return 0;
    }
}
