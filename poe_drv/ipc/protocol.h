// The wire between the daemon and its clients: every message's type, length and layout. Shared by both ends; nothing
// here behaves. Datagrams on one local socket; every accepted request gets exactly one reply.
//
// All numbers are little-endian. Every message begins with the same 8 bytes; a request's reserved bytes and result byte
// are ignored, a reply's reserved bytes are 0, and so is every byte of a reply that no field names.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/port_parameter_block.h"
#include "core/wire.h"

// --- message types ---

// 128 and above are configuration requests; of those below, only the clear request changes anything.
enum class ipc_type : std::uint8_t {
    get_sys_pwr_pmt = 0,              // system power parameters
    get_one_port_pmt = 1,             // one port's parameters
    get_all_port_pmt = 2,             // all ports' parameters
    get_sys_pwr_stu = 5,              // system power status
    get_one_port_stu = 6,             // one port's status
    get_all_port_stu = 7,             // all ports' status
    get_combine_sys_port_stu = 11,    // system power status and all ports' status
    get_dbg_communication_info = 12,  // controller communication counters
    get_dbg_read_mixed_info = 13,     // the deepest the set queue has been
    get_pwr_bnk_pmt = 14,             // power bank
    get_re_enable_port_info = 15,     // power-cycled ports on their way back
    get_port_stats_cfg = 16,          // is the energy record kept in flash?
    get_one_port_statistics = 17,     // one port's energy record
    get_all_port_statistics = 18,     // all ports' energy totals and averages
    clear_multi_port_stats = 83,      // clear the energy records of several ports
    set_sys_pwr_pmt = 128,            // system power parameters
    set_one_port_pmt = 129,           // one port's parameters
    set_all_port_pmt = 130,           // all ports' parameters, one block a port
    set_all_port_same_pmt = 132,      // the same parameters on all ports
    set_one_port_sch_on_off = 137,    // one port's schedule state
    set_all_port_sch_on_off = 138,    // all ports' schedule state
    set_pwr_bnk_pmt = 142,            // power bank
    set_re_enable_port_list = 143,    // power-cycle several ports
    set_port_stats_cfg = 144,         // keep the energy record in flash, or not
    set_fake_port_stats_data = 148,   // fill the energy records with made-up history
};

// A reply carries its request's type, but for these two: clients know the answers by these bytes.
inline constexpr std::uint8_t one_port_stu_reply_type = 134;
inline constexpr std::uint8_t all_port_stu_reply_type = 1;

// --- the envelope ---

inline constexpr std::uint8_t result_accepted = 0;
inline constexpr std::uint8_t result_rejected = 1;  // bad port number or bad value

struct ipc_envelope {
    std::uint8_t type;         // 0
    std::uint8_t reserved[6];  // 1
    std::uint8_t result;       // 7
};
static_assert(wire_record<ipc_envelope, 8> && offsetof(ipc_envelope, result) == 7);

// The longest message in either direction.
inline constexpr std::size_t longest_message = 2352;

// --- parameters ---

inline constexpr std::size_t ipc_port_count = 4;

// -1 in a request = keep. Types 0 and 128.
struct system_parameter_block {
    std::int8_t enable;           // 0  0 = every port off, 1 = on
    std::int8_t parameter_1;      // 1  reported; a request cannot change it
    std::int8_t parameter_2;      // 2  kept and reported
    std::int8_t usage_threshold;  // 3  usage alarm, percent, 1..99
    std::int8_t parameter_4;      // 4  kept and reported
    std::int8_t parameter_5;      // 5  kept and reported
    std::uint8_t unused[2];       // 6
};
static_assert(wire_record<system_parameter_block, 8>);

struct system_parameters_message {  // type 0 reply, type 128 request
    ipc_envelope envelope;          // 0
    system_parameter_block block;   // 8
};
static_assert(wire_record<system_parameters_message, 16>);

struct one_port_parameters_message {  // type 1 request and reply, types 129 and 132 requests
    ipc_envelope envelope;            // 0
    port_parameter_block block;       // 8  type 1 request: only the port number is read
};
static_assert(wire_record<one_port_parameters_message, 20>);

struct all_port_parameters_message {                         // type 2 reply, type 130 request
    ipc_envelope envelope;                                   // 0
    std::array<port_parameter_block, ipc_port_count> block;  // 8, 20, 32, 44
};
static_assert(wire_record<all_port_parameters_message, 56>);

struct power_bank_message {  // type 14 reply, type 142 request
    ipc_envelope envelope;   // 0
    le16 limit_w;            // 8  bank limit in watts
    le16 second;             // 10 kept and reported
};
static_assert(wire_record<power_bank_message, 12>);

struct schedule_state_entry {
    std::uint8_t port;       // 0  0..3; in an all-ports request valid but otherwise not looked at
    std::int8_t Sch_On_Off;  // 1  0 off period, 1 on period, -1 keep
    std::uint8_t unused[2];  // 2
};
static_assert(wire_record<schedule_state_entry, 4>);

struct one_port_schedule_message {  // type 137 request
    ipc_envelope envelope;          // 0
    schedule_state_entry entry;     // 8
};
static_assert(wire_record<one_port_schedule_message, 12>);

struct all_port_schedule_message {                           // type 138 request
    ipc_envelope envelope;                                   // 0
    std::array<schedule_state_entry, ipc_port_count> entry;  // 8, 12, 16, 20
};
static_assert(wire_record<all_port_schedule_message, 24>);

struct port_bitmap_message {  // type 143 and type 83 requests
    ipc_envelope envelope;    // 0
    std::uint8_t ports;       // 8  bit n = port n
};
static_assert(wire_record<port_bitmap_message, 9>);

// --- status ---

struct system_status_block {
    le32 total_mw;              //  0
    le32 consumed_mw;           //  4
    le32 remaining_mw;          //  8
    le32 supply;                // 12  controller temperature, thousandths of a degree Celsius
    std::uint8_t alarm_raised;  // 16
    std::uint8_t unused[3];     // 17
};
static_assert(wire_record<system_status_block, 20>);

struct channel_status_block {    // one pair set
    std::uint8_t channel_class;  //  0
    std::uint8_t error_code;     //  1
    std::uint8_t sub_status;     //  2
    std::uint8_t unused;         //  3
    le32 status;                 //  4  system port status code
    le32 voltage;                //  8
    le32 current;                // 12
    le32 power_mw;               // 16
};
static_assert(wire_record<channel_status_block, 20>);

struct port_status_block {
    std::uint8_t port;                            //  0
    std::int8_t Port_Enable;                      //  1
    std::int8_t Schedule_Enable;                  //  2
    std::int8_t Sch_On_Off;                       //  3
    std::uint8_t port_class;                      //  4
    std::uint8_t error_code;                      //  5
    std::uint8_t sub_status;                      //  6
    std::uint8_t port_type;                       //  7  cut to one byte
    le32 status;                                  //  8  system port status code
    le32 auto_off;                                // 12  1 = switched off automatically
    le32 voltage;                                 // 16  controller reading (0.1 V) x 100
    le32 current;                                 // 20  controller reading
    le32 power_mw;                                // 24
    le32 temperature;                             // 28  controller reading (0.1 degree Celsius) x 100
    std::array<channel_status_block, 2> channel;  // 32 pair set A, 52 pair set B
    // 72  since start: overloads, short circuits, denials of power, disconnected devices, bad signatures
    std::array<le32, 5> event_totals;
};
static_assert(wire_record<port_status_block, 92> && offsetof(port_status_block, channel) == 32 &&
              offsetof(port_status_block, event_totals) == 72);

struct system_status_message {   // type 5 reply
    ipc_envelope envelope;       // 0
    system_status_block system;  // 8
};
static_assert(wire_record<system_status_message, 28>);

struct one_port_status_message {  // type 6 request and reply
    ipc_envelope envelope;        // 0
    port_status_block port;       // 8  request: only the port number is read
};
static_assert(wire_record<one_port_status_message, 100>);

struct all_port_status_message {                         // type 7 reply
    ipc_envelope envelope;                               // 0
    std::array<port_status_block, ipc_port_count> port;  // 8, 100, 192, 284
};
static_assert(wire_record<all_port_status_message, 376>);

struct combined_status_message {                         // type 11 reply
    ipc_envelope envelope;                               // 0
    system_status_block system;                          // 8
    std::array<port_status_block, ipc_port_count> port;  // 28, 120, 212, 304
};
static_assert(wire_record<combined_status_message, 396>);

struct re_enable_entry {
    std::uint8_t pending;    // 0  non-zero = off, to be switched on again
    std::uint8_t unused[3];  // 1
    le32 tick;               // 4  when the power-cycle was requested
};
static_assert(wire_record<re_enable_entry, 8>);

struct re_enable_message {                              // type 15 reply
    ipc_envelope envelope;                              // 0
    le32 now_tick;                                      // 8  200 ms each
    std::array<re_enable_entry, ipc_port_count> entry;  // 12, 20, 28, 36
};
static_assert(wire_record<re_enable_message, 44>);

// --- diagnostics ---

struct communication_info_message {  // type 12 reply
    ipc_envelope envelope;           // 0
    le64 total;                      // 8   transactions begun
    le64 rx_retry;                   // 16  attempts without an answer
    le64 rx_timeout;                 // 24  transactions given up
    le64 rx_chksum_error;            // 32  answers with a wrong checksum
    le64 tx_correctly_executed;      // 40
    le64 tx_chksum_error;            // 48  the controller saw a wrong checksum
    le64 tx_subject_byte_conflict;   // 56  always 0
    le64 tx_wrong_data_byte_value;   // 64  always 0
    le64 undefined_key_value;        // 72  the controller did not know the command
};
static_assert(wire_record<communication_info_message, 80>);

struct read_mixed_info_message {  // type 13 reply
    ipc_envelope envelope;        // 0
    le32 deepest_queue;           // 8   queued set records, the most ever counted after a push
};
static_assert(wire_record<read_mixed_info_message, 12>);

// --- energy record ---

inline constexpr std::size_t minute_slot_count = 60;
inline constexpr std::size_t half_hour_slot_count = 48;
inline constexpr std::size_t two_hour_slot_count = 84;

struct statistics_configuration_message {  // type 16 reply, type 144 request
    ipc_envelope envelope;                 // 0
    std::uint8_t enable;                   // 8   `statistics_on` = on, anything else = off
};
static_assert(wire_record<statistics_configuration_message, 9>);

inline constexpr std::uint8_t statistics_on = 1;
inline constexpr std::uint8_t statistics_off = 0;

struct ring_entry {
    le32 valid;       // 0
    le32 uptime_s;    // 4
    lef32 average_w;  // 8
};
static_assert(wire_record<ring_entry, 12>);

struct one_port_statistics_message {                          // type 17 request and reply
    ipc_envelope envelope;                                    // 0
    le32 port;                                                // 8   request: all that is read
    le32 powered_s;                                           // 12
    lef32 energy_wh;                                          // 16
    std::uint8_t unused[4];                                   // 20
    le64 minutes_start;                                       // 24  seconds since 1970
    le64 half_hours_start;                                    // 32
    le64 two_hours_start;                                     // 40
    std::array<ring_entry, minute_slot_count> minutes;        // 48
    std::array<ring_entry, half_hour_slot_count> half_hours;  // 768
    std::array<ring_entry, two_hour_slot_count> two_hours;    // 1344
};
static_assert(wire_record<one_port_statistics_message, longest_message> &&
              offsetof(one_port_statistics_message, minutes) == 48 &&
              offsetof(one_port_statistics_message, half_hours) == 768 &&
              offsetof(one_port_statistics_message, two_hours) == 1344);

struct average_pair {
    le32 valid;       // 0
    lef32 average_w;  // 4
};
static_assert(wire_record<average_pair, 8>);

struct energy_summary {       // one port's, or all ports' sums
    le32 powered_s;           // 0
    lef32 energy_wh;          // 4
    average_pair minutes;     // 8
    average_pair half_hours;  // 16
    average_pair two_hours;   // 24
};
static_assert(wire_record<energy_summary, 32>);

struct all_port_statistics_message {                  // type 18 reply
    ipc_envelope envelope;                            // 0
    energy_summary totals;                            // 8
    std::array<energy_summary, ipc_port_count> port;  // 40, 72, 104, 136
};
static_assert(wire_record<all_port_statistics_message, 168>);

struct fake_statistics_message {  // type 148 request
    ipc_envelope envelope;        // 0
    le32 minutes;                 // 8   of history to make up
};
static_assert(wire_record<fake_statistics_message, 12>);
