// The table of messages: a row for every request that the daemon serves, in the order of the type byte. Anything else
// that arrives is dropped.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "ipc/handlers.h"
#include "ipc/protocol.h"
#include "ipc/set_records.h"

// A row with this length serves a datagram of any length; its handler looks at no byte of it.
inline constexpr int any_length = -1;

// What a handler is handed as its third argument.
enum class handed_over : std::uint8_t { message, payload };

struct ipc_message_row {
    ipc_type type;
    int length;              // of the whole request
    const char* size_error;  // said when a request has another length; null where any will do
    handed_over argument;
    ipc_handler handler;
};

consteval ipc_message_row plain_query(ipc_type type, ipc_handler handler) {
    return {.type = type,
            .length = any_length,
            .size_error = nullptr,
            .argument = handed_over::message,
            .handler = handler};
}

// A request that is queued whole.
consteval ipc_message_row set_request(ipc_type type, const char* size_error, ipc_handler handler) {
    return {.type = type,
            .length = static_cast<int>(set_record_length(type)),
            .size_error = size_error,
            .argument = handed_over::message,
            .handler = handler};
}

inline constexpr std::array ipc_messages{
    plain_query(ipc_type::get_sys_pwr_pmt, poe_drv_ipc_reply_get_sys_pwr_pmt),
    ipc_message_row{.type = ipc_type::get_one_port_pmt,
                    .length = sizeof(one_port_parameters_message),
                    .size_error = "get-one-port-pmt size error!",
                    .argument = handed_over::payload,
                    .handler = poe_drv_ipc_reply_get_one_port_pmt},
    plain_query(ipc_type::get_all_port_pmt, poe_drv_ipc_reply_get_all_port_pmt),
    plain_query(ipc_type::get_sys_pwr_stu, poe_drv_ipc_reply_get_sys_pwr_stu),
    ipc_message_row{.type = ipc_type::get_one_port_stu,
                    .length = sizeof(one_port_status_message),
                    .size_error = "get-one-port-stu size error!",
                    .argument = handed_over::payload,
                    .handler = poe_drv_ipc_reply_get_one_port_stu},
    plain_query(ipc_type::get_all_port_stu, poe_drv_ipc_reply_get_all_port_stu),
    plain_query(ipc_type::get_combine_sys_port_stu, poe_drv_ipc_reply_get_combine_sys_port_stu),
    plain_query(ipc_type::get_dbg_communication_info, poe_drv_ipc_reply_get_dbg_communication_info),
    plain_query(ipc_type::get_dbg_read_mixed_info, poe_drv_ipc_reply_get_dbg_read_mixed_info),
    plain_query(ipc_type::get_pwr_bnk_pmt, poe_drv_ipc_reply_get_pwr_bnk_pmt),
    plain_query(ipc_type::get_re_enable_port_info, poe_drv_ipc_reply_get_re_enable_port_info),
    plain_query(ipc_type::get_port_stats_cfg, poe_drv_ipc_reply_get_port_stats_cfg),
    ipc_message_row{.type = ipc_type::get_one_port_statistics,
                    .length = sizeof(one_port_statistics_message),
                    .size_error = "T_POE_IPC_ONE_PORT_STATS size error!",
                    .argument = handed_over::message,
                    .handler = poe_drv_ipc_reply_get_one_port_statistics},
    plain_query(ipc_type::get_all_port_statistics, poe_drv_ipc_reply_get_all_port_statistics),
    ipc_message_row{.type = ipc_type::clear_multi_port_stats,
                    .length = sizeof(port_bitmap_message),
                    .size_error = "T_POE_IPC_PORT_STATS_CLEAR size error!",
                    .argument = handed_over::message,
                    .handler = poe_drv_ipc_request_clear_multi_port_stats},
    set_request(ipc_type::set_sys_pwr_pmt, "set-sys-pwr-pmt size error!", poe_drv_ipc_request_set_sys_pwr_pmt),
    set_request(ipc_type::set_one_port_pmt, "set-one-port-pmt size error!", poe_drv_ipc_request_set_one_port_pmt),
    set_request(ipc_type::set_all_port_pmt, "set-all-port-pmt size error!", poe_drv_ipc_request_set_all_port_pmt),
    set_request(ipc_type::set_all_port_same_pmt, "set-all-port-same-pmt size error!",
                poe_drv_ipc_request_set_all_port_same_pmt),
    set_request(ipc_type::set_one_port_sch_on_off, "set-one-port-sch-on-off size error!",
                poe_drv_ipc_request_set_one_port_sch_on_off),
    set_request(ipc_type::set_all_port_sch_on_off, "set-all-port-sch-on-off size error!",
                poe_drv_ipc_request_set_all_port_sch_on_off),
    set_request(ipc_type::set_pwr_bnk_pmt, "set-pwr-bnk-pmt size error!", poe_drv_ipc_request_set_pwr_bnk_pmt),
    // The power-cycle request says the power bank's text; log filters know it so.
    set_request(ipc_type::set_re_enable_port_list, "set-pwr-bnk-pmt size error!",
                poe_drv_ipc_request_set_re_enable_port_list),
    ipc_message_row{.type = ipc_type::set_port_stats_cfg,
                    .length = sizeof(statistics_configuration_message),
                    .size_error = "T_POE_IPC_PORT_STATS_CFG size error!",
                    .argument = handed_over::message,
                    .handler = poe_drv_ipc_request_set_port_stats_cfg},
    ipc_message_row{.type = ipc_type::set_fake_port_stats_data,
                    .length = sizeof(fake_statistics_message),
                    .size_error = "DEF_POE_IPC_PMT_HTYPE_FAKE_PORT_STATS size error!",
                    .argument = handed_over::message,
                    .handler = poe_drv_ipc_request_set_fake_port_stats_data},
};

// The row of a type byte; null for a type that is not served.
constexpr const ipc_message_row* find_ipc_message(std::uint8_t type) {
    const auto* const row = std::lower_bound(
        ipc_messages.begin(), ipc_messages.end(), type,
        [](const ipc_message_row& left, std::uint8_t right) { return static_cast<std::uint8_t>(left.type) < right; });
    return row != ipc_messages.end() && static_cast<std::uint8_t>(row->type) == type ? row : nullptr;
}

// The table proves itself: every type once and in order, a text exactly where a length is asked for, lengths that can
// arrive, a payload only where one is sure to be there, and every queued request at its queued length.
static_assert(std::adjacent_find(ipc_messages.begin(), ipc_messages.end(),
                                 [](const ipc_message_row& row, const ipc_message_row& next) {
                                     return row.type >= next.type;
                                 }) == ipc_messages.end());
static_assert(std::all_of(ipc_messages.begin(), ipc_messages.end(), [](const ipc_message_row& row) {
    return row.handler != nullptr && (row.length == any_length) == (row.size_error == nullptr);
}));
static_assert(std::all_of(ipc_messages.begin(), ipc_messages.end(), [](const ipc_message_row& row) {
    return row.length == any_length ||
           (row.length > static_cast<int>(sizeof(ipc_envelope)) && row.length <= static_cast<int>(longest_message));
}));
static_assert(std::all_of(ipc_messages.begin(), ipc_messages.end(), [](const ipc_message_row& row) {
    return row.argument == handed_over::message || row.length != any_length;
}));
static_assert([] {
    for (int type = 0; type <= UINT8_MAX; type++) {
        const auto queued = static_cast<int>(set_record_length(static_cast<ipc_type>(type)));
        const ipc_message_row* const row = find_ipc_message(static_cast<std::uint8_t>(type));
        if (queued != 0 && (row == nullptr || row->length != queued)) return false;
    }
    return true;
}());
