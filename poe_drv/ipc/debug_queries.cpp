// How the controller link and the set queue fare. Both are copied under the tick lock like every other answer, though
// their writers do not take it: a count may be caught one carry apart, which is good enough for a diagnosis.
#include <array>

#include "controller/counters.h"
#include "core/diagnostics.h"
#include "core/records.h"
#include "ipc/handlers.h"
#include "ipc/reply.h"

namespace {

// Where each counter stands in the reply.
struct counter_place {
    le64 communication_info_message::*place;
    counter64 dbg_communication_info::*counter;
};

using reply_info = communication_info_message;
using kept_info = dbg_communication_info;

constexpr std::array counter_places{
    counter_place{.place = &reply_info::total, .counter = &kept_info::total},
    counter_place{.place = &reply_info::rx_retry, .counter = &kept_info::rx_retry},
    counter_place{.place = &reply_info::rx_timeout, .counter = &kept_info::rx_timeout},
    counter_place{.place = &reply_info::rx_chksum_error, .counter = &kept_info::rx_chksum_error},
    counter_place{.place = &reply_info::tx_correctly_executed, .counter = &kept_info::tx_correctly_executed},
    counter_place{.place = &reply_info::tx_chksum_error, .counter = &kept_info::tx_chksum_error},
    counter_place{.place = &reply_info::tx_subject_byte_conflict, .counter = &kept_info::tx_subject_byte_conflict},
    counter_place{.place = &reply_info::tx_wrong_data_byte_value, .counter = &kept_info::tx_wrong_data_byte_value},
    counter_place{.place = &reply_info::undefined_key_value, .counter = &kept_info::undefined_key_value},
};
static_assert(sizeof(communication_info_message) == sizeof(ipc_envelope) + counter_places.size() * sizeof(le64));

}  // namespace

int poe_drv_ipc_reply_get_dbg_communication_info(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<communication_info_message>(ipc_type::get_dbg_communication_info);
    {
        const tick_lock held;
        for (const auto& row : counter_places)
            reply.*row.place = (g_dbg_communication_info.*row.counter).get();
    }
    const int result_send = send_reply(socket, peer, reply);
    if (result_send == send_failed) {
        say("[%s , %s() , %d]: result_send=(%d)\n", diagnostics_file_name, __func__, __LINE__, result_send);
    }
    return request_served;
}

int poe_drv_ipc_reply_get_dbg_read_mixed_info(int socket, const void* peer, unsigned char*, int) {
    auto reply = blank_reply<read_mixed_info_message>(ipc_type::get_dbg_read_mixed_info);
    {
        const tick_lock held;
        reply.deepest_queue = g_dbg_read_mixed_info.get();
    }
    const int result_send = send_reply(socket, peer, reply);
    if (result_send == send_failed) {
        say("[%s , %s() , %d]: result_send=(%d)\n", diagnostics_file_name, __func__, __LINE__, result_send);
    }
    return request_served;
}
