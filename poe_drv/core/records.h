// The daemon's whole view of the PoE system: the shared records, with their defaults.
//
// The main thread reads them to answer queries, under the tick lock; the supervision thread fills the status records
// under the tick lock and merges clients' parameters into the parameter records without any (those are `relaxed`
// fields: a reader may see a record between two field updates). Before the threads exist start-up has them alone.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/locks.h"
#include "core/relaxed.h"

// --- ports ---

inline constexpr std::size_t port_count = 4;
inline constexpr std::uint8_t all_ports = 128;  // every port (or every power bank) in a controller operation
inline constexpr std::size_t pair_set_count = 2;

// The controller channel that serves pair set A and pair set B of each port.
inline constexpr std::array<std::uint8_t, port_count> POE_SW2PAIR_A{0, 2, 4, 6};
inline constexpr std::array<std::uint8_t, port_count> POE_SW2PAIR_B{1, 3, 5, 7};

// The controller counts power in tenths of a watt, voltage in tenths of a volt, temperature in tenths of a degree; the
// status records hold its counts x 100.
inline constexpr std::uint32_t record_scale = 100;
inline constexpr std::uint32_t mw_per_watt = 1000;

// --- port parameters ---

// What a port is asked to do. Written by the supervision thread alone, field by field, without a lock.
struct port_pmt {
    relaxed<std::uint8_t> Port_Number;       // 0..3, the index of the record
    relaxed<std::int8_t> PoE_Mode;           // inline mode 0..4
    relaxed<std::int8_t> Port_Enable;        // 1 = may deliver power
    relaxed<std::int8_t> Power_Priority;     // 1 critical, 2 high, 3 low
    relaxed<std::int8_t> Schedule_Enable;    // 1 = obeys its time schedule
    relaxed<std::int8_t> Sch_On_Off;         // 1 = inside an on period of the schedule
    relaxed<std::int8_t> Re_Enable_Val;      // seconds that a power-cycle keeps the port off, 5..60
    relaxed<std::uint32_t> Power_Limit_Val;  // tenths of a watt, 10..900
};
extern std::array<port_pmt, port_count> g_port_pmt;

// --- port status ---

// One pair set of a port: 6 words of the port's record.
struct channel_stu {
    std::uint8_t channel_class;  //  0
    std::uint8_t error_code;     //  1
    std::uint8_t sub_status;     //  2
    std::uint8_t unused;         //  3
    std::uint32_t update_tick;   //  4  last tick whose translation of this pair set was an event
    std::uint32_t status;        //  8  system port status code
    std::uint32_t voltage;       // 12  controller reading x 100
    std::uint32_t current;       // 16  controller reading
    std::uint32_t power_mw;      // 20  current x voltage / 1000
};

// What the switch believes about one port: 25 words, guarded by the tick lock.
struct port_stu {
    std::uint8_t port_number;   //  0  word 0
    std::uint8_t port_class;    //  1
    std::uint8_t sub_status;    //  2
    std::uint8_t error_code;    //  3
    std::uint32_t update_tick;  //  4  word 1, last tick whose translation of the port was an event
    std::uint32_t status;       //  8  word 2, system port status code
    std::uint32_t voltage;      // 12  word 3, controller reading x 100
    std::uint32_t current;      // 16  word 4, controller reading
    std::uint32_t power_mw;     // 20  word 5, current x voltage / 1000
    std::uint32_t temperature;  // 24  word 6, controller reading x 100
    std::uint32_t port_type;    // 28  word 7, the last one below 255 that the controller reported
    std::array<channel_stu, pair_set_count> channel;  // 32  words 8..13 pair set A, 14..19 pair set B
    std::array<std::uint32_t, 5> event_totals;        // 80  words 20..24, since start
};
static_assert(sizeof(channel_stu) == 6 * 4 && sizeof(port_stu) == 25 * 4);
static_assert(offsetof(channel_stu, status) == 8 && offsetof(channel_stu, power_mw) == 20);
static_assert(offsetof(port_stu, status) == 4 * 2 && offsetof(port_stu, port_type) == 4 * 7 &&
              offsetof(port_stu, channel) == 4 * 8 && offsetof(port_stu, event_totals) == 4 * 20);
extern std::array<port_stu, port_count> g_port_stu GUARDED_BY(g_mutex_poe_tick_thread);

// --- the system ---

// What the system is asked to do: 6 bytes in the order clients know. Written by the supervision thread alone, without a
// lock. Bytes 1, 2, 4 and 5 are kept and reported for other processes; byte 1 never changes.
struct sys_pwr_pmt {
    relaxed<std::int8_t> enable;           // 0  0 = every port off
    relaxed<std::int8_t> parameter_1;      // 1
    relaxed<std::int8_t> parameter_2;      // 2
    relaxed<std::int8_t> usage_threshold;  // 3  usage alarm, percent of the budget, 1..99
    relaxed<std::int8_t> parameter_4;      // 4
    relaxed<std::int8_t> parameter_5;      // 5
};
extern sys_pwr_pmt g_sys_pwr_pmt;

struct sys_pwr_stu {
    std::uint32_t total_mw;      //  0  the budget, later the limit that the controller reports
    std::uint32_t consumed_mw;   //  4  sum of the pair set powers of all ports
    std::uint32_t remaining_mw;  //  8  total - consumed, unsigned
    std::uint32_t supply;        // 12  controller temperature x 100
    std::uint8_t alarm_raised;   // 16  1 while usage stands at or above the threshold
};
extern sys_pwr_stu g_sys_pwr_stu GUARDED_BY(g_mutex_poe_tick_thread);

// Total PoE power budget in watts: 300 unless the configuration system left another in its file. Written at start-up
// only.
inline constexpr std::uint16_t default_power_budget = 300;
extern std::uint16_t g_poe_power_budget;

// Power bank parameters: 32 bits that clients set and read whole. Written by the supervision thread without a lock.
struct alignas(4) pwr_bnk_pmt {
    std::uint16_t limit_w;
    std::uint16_t second;  // kept and reported
};
static_assert(sizeof(pwr_bnk_pmt) == 4);
extern relaxed<pwr_bnk_pmt> g_pwr_bnk_pmt;

// A power-cycled port on its way back, one entry a port.
struct port_pwr_re_en {
    std::uint32_t pending;  // non-zero = off, to be switched on again
    std::uint32_t tick;     // when the power-cycle was requested
};
extern std::array<port_pwr_re_en, port_count> g_port_pwr_re_en GUARDED_BY(g_mutex_poe_tick_thread);

// --- bitmaps, bit n = port n, handled through the bitmap functions only ---

extern unsigned char g_port_led_stu;  // LED lit; supervision thread only
extern unsigned char g_port_led_blk;  // LED blinking; supervision thread only
extern unsigned char
    g_port_pwr_auto_off;  // switched off automatically; written by the supervision thread, without a lock

// --- start-up trap, supervision thread only ---

extern std::uint8_t poe_drv_do_sent_startup_trap;       // it is being sent in the current pass
extern std::uint8_t poe_drv_already_sent_startup_trap;  // it has been sent; changes are reported from now on

// --- diagnostics ---

// The deepest the set queue has ever been. Stored under the share-data lock, read without it.
extern relaxed<std::uint32_t> g_dbg_read_mixed_info;

// The controller device; -1 until the bring-up opens it, then open for good.
extern int fd_poe_kernel_drv GUARDED_BY(controller_user);

// Sets every record to its default. Start-up only, after the budget was read and before the bring-up. Returns 0.
int poe_parameter_init();
