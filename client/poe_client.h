/* libpoe_client for C: ask the PoE daemon for the ports' state, and change their configuration.
 *
 *     poe_client_connection *daemon;
 *     poe_client_whole_status status;
 *     int error = poe_client_open(NULL, &daemon);
 *     if (error == POE_CLIENT_OK) error = poe_client_get_whole_status(daemon, &status);
 *     if (error != POE_CLIENT_OK) fprintf(stderr, "%s\n", poe_client_error_text(error));
 *     poe_client_close(daemon);
 *
 * - Ports are 0..3, as the daemon counts; a person sees 1..4, as on the panel.
 * - Units are in the names: _mw milliwatts, _w watts, _wh watt-hours, _mv millivolts, _ma milliamperes, _mc
 *   thousandths of a degree Celsius, _s seconds, _ms milliseconds, _tick periods of the daemon's clock, 5 a second.
 * - Flags are 0 or 1, in one byte.
 * - Errors are return values, of enum poe_client_error. No function ends the process, prints, or writes to where a
 *   pointer points unless it returns POE_CLIENT_OK. NULL for a pointer that is needed is POE_CLIENT_USAGE.
 * - Threads: one at a time on one connection; different threads may use different connections at the same time.
 *   Functions without a connection may be called by any thread.
 * - After fork() a child may go on with a connection that had no pending request; it gets a folder and a descriptor
 *   of its own.
 * - Layout: every structure is the same on every machine but for the byte order; its size is the constant that follows
 *   it. What is called reserved is 0 in what is given to you, and must be 0 in what you give: begin with = {0}. With
 *   libpoe_client.so.1 sizes and offsets stay as they are; new fields come out of the reserved ones.
 * - Signals are left alone unless poe_client_remove_names_on_signals() is called.
 *
 * C99 and later; C++ too.
 */
#ifndef POE_CLIENT_POE_CLIENT_H
#define POE_CLIENT_POE_CLIENT_H

#include <stddef.h>
#include <stdint.h>

#include "poe_client/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- version --- */

#define POE_CLIENT_VERSION_MAJOR 1
#define POE_CLIENT_VERSION_MINOR 0
#define POE_CLIENT_VERSION_PATCH 0
#define POE_CLIENT_VERSION \
    (POE_CLIENT_VERSION_MAJOR * 10000 + POE_CLIENT_VERSION_MINOR * 100 + POE_CLIENT_VERSION_PATCH)

/* The POE_CLIENT_VERSION of the library that runs, which may be newer than the header that was compiled. */
POE_CLIENT_API uint32_t poe_client_version(void);

/* --- errors --- */

enum poe_client_error {
    POE_CLIENT_PENDING = -1,      /* only from poe_client_take: the answer is still to come */
    POE_CLIENT_OK = 0,            /* a query was answered; a setting was accepted, and is applied next */
    POE_CLIENT_NO_DAEMON = 1,     /* there is no socket at the path, or nobody behind it */
    POE_CLIENT_NOT_PERMITTED = 2, /* the socket is there, and this user may not write to it */
    POE_CLIENT_TIMEOUT = 3,       /* asked, and no answer came in time; a setting may still take effect */
    POE_CLIENT_REFUSED = 4,       /* the daemon answered: no such port, or a value out of range; nothing was changed */
    POE_CLIENT_MALFORMED = 5,     /* the answer holds what no daemon says */
    POE_CLIENT_OWN_SOCKET = 6,    /* this process could not make a socket or descriptor of its own */
    POE_CLIENT_USAGE = 7,         /* asked in a way that this library does not take; nothing was sent. NULL, a reserved
                                     byte that is not 0, a field that does not exist, a value of -1 in a named field, a
                                     power limit that is no multiple of 100 mW, another request pending, a wrong size */
    POE_CLIENT_INTERNAL = 8       /* out of memory */
};

/* A short name such as "timeout", and a sentence for a person. Never NULL. */
POE_CLIENT_API const char* poe_client_error_name(int error);
POE_CLIENT_API const char* poe_client_error_text(int error);

/* --- connection --- */

typedef struct poe_client_connection poe_client_connection;

#define POE_CLIENT_DEFAULT_TIMEOUT_MS 1000
#define POE_CLIENT_LONGEST_TIMEOUT_MS 3600000

/* Makes a connection, and sends nothing yet: whether there is a daemon shows with the first request. `socket_path` is
 * where the daemon listens; NULL stands for what the environment variable POE_DRV_SOCKET names, or else for its usual
 * path. */
POE_CLIENT_API int poe_client_open(const char* socket_path, poe_client_connection** connection);

/* Cancels what is pending and removes every name from the file system. NULL is nothing to close. */
POE_CLIENT_API void poe_client_close(poe_client_connection* connection);

/* How long one attempt may take, 1 to POE_CLIENT_LONGEST_TIMEOUT_MS milliseconds, for the requests from now on. A query
 * is asked once more when nothing came, so it may take twice that; a setting is sent once. */
POE_CLIENT_API int poe_client_set_timeout_ms(poe_client_connection* connection, uint32_t timeout_ms);
POE_CLIENT_API uint32_t poe_client_timeout_ms(const poe_client_connection* connection);

POE_CLIENT_API const char* poe_client_socket_path(const poe_client_connection* connection);

/* The errno behind the last error of the connection; 0 when there is none. */
POE_CLIENT_API int poe_client_system_error(const poe_client_connection* connection);

/* From now on SIGINT, SIGQUIT, SIGTERM, SIGHUP and SIGPIPE remove the names of this process from the file system before
 * they end it. A signal that is ignored, or has a handler, is left alone. At exit() names go by themselves. */
POE_CLIENT_API void poe_client_remove_names_on_signals(void);

/* For a signal handler of your own, before it ends the process. Async-signal-safe. */
POE_CLIENT_API void poe_client_remove_names(void);

/* --- an event loop of your own --- */

/* For every request `poe_client_NAME(connection, ...)` there is `poe_client_begin_NAME`, which sends and returns at
 * once. Then watch the descriptor for reading. When it is readable, call poe_client_take: it never waits. A timeout
 * makes the descriptor readable, too, so no timer is needed.
 *
 *     poe_client_begin_get_port_status(daemon, 2);
 *     ... poll, select or epoll on poe_client_descriptor(daemon) ...
 *     error = poe_client_take(daemon, &status, sizeof status);
 *
 * One request at a time on a connection: while one is pending, everything else that would send is POE_CLIENT_USAGE.
 * POE_CLIENT_OK from a begin function means pending; every outcome, also that there is no daemon, comes from take. */

/* The same for the life of the connection. -1 when it cannot be made; errno says why. Never read it or close it. */
POE_CLIENT_API int poe_client_descriptor(poe_client_connection* connection);

/* POE_CLIENT_PENDING, or the outcome, after which nothing is pending any more. `answer` is what the query's other form
 * writes to, `size` its size; a setting has none: NULL, 0. With a wrong size, or with nothing pending:
 * POE_CLIENT_USAGE, and the request stays as it is. */
POE_CLIENT_API int poe_client_take(poe_client_connection* connection, void* answer, size_t size);

/* No answer is wanted any more. A setting may have been taken by the daemon all the same. */
POE_CLIENT_API void poe_client_cancel(poe_client_connection* connection);

/* --- settings --- */

#define POE_CLIENT_PORT_COUNT 4
#define POE_CLIENT_PAIR_SET_COUNT 2 /* A and B */
#define POE_CLIENT_NOT_REPORTED 255 /* a class, error code or sub-status that the port's state does not carry */
#define POE_CLIENT_TICKS_A_SECOND 5

typedef struct poe_client_system_settings {
    int8_t enable;      /* 0 = every port off */
    int8_t parameter_1; /* parameters 1, 2, 4 and 5 are kept for other programs; requests cannot change 1 */
    int8_t parameter_2;
    int8_t threshold_percent; /* usage alarm, 1..99 percent of the budget */
    int8_t parameter_4;
    int8_t parameter_5;
    uint8_t reserved[10];
} poe_client_system_settings;
#define POE_CLIENT_SIZE_OF_SYSTEM_SETTINGS 16

/* What a change names in `fields` is set, everything else stays. */
#define POE_CLIENT_SYSTEM_ENABLE 1u
#define POE_CLIENT_SYSTEM_PARAMETER_1 2u
#define POE_CLIENT_SYSTEM_PARAMETER_2 4u
#define POE_CLIENT_SYSTEM_THRESHOLD 8u
#define POE_CLIENT_SYSTEM_PARAMETER_4 16u
#define POE_CLIENT_SYSTEM_PARAMETER_5 32u

typedef struct poe_client_system_settings_change {
    uint32_t fields;          /* POE_CLIENT_SYSTEM_..., or-ed */
    int8_t enable;            /* 0, 1 */
    int8_t parameter_1;       /* 0, 1 */
    int8_t parameter_2;       /* 0, 1 */
    int8_t threshold_percent; /* 1..99 */
    int8_t parameter_4;       /* 0, 1 */
    int8_t parameter_5;       /* 0, 1 */
    uint8_t reserved[14];
} poe_client_system_settings_change;
#define POE_CLIENT_SIZE_OF_SYSTEM_SETTINGS_CHANGE 24

enum poe_client_priority {
    POE_CLIENT_PRIORITY_CRITICAL = 1,
    POE_CLIENT_PRIORITY_HIGH = 2,
    POE_CLIENT_PRIORITY_LOW = 3
};

typedef struct poe_client_port_settings {
    uint8_t port;
    int8_t enable;          /* 0, 1 */
    int8_t priority;        /* enum poe_client_priority */
    int8_t schedule_enable; /* 1 = obeys its time schedule */
    int8_t mode;            /* 0..4 */
    int8_t re_enable_s;     /* how long a power-cycle keeps the port off, 5..60 */
    uint8_t reserved[2];
    uint32_t power_limit_mw; /* 1000..90000, in whole tenths of a watt */
    uint32_t reserved_2[5];
} poe_client_port_settings;
#define POE_CLIENT_SIZE_OF_PORT_SETTINGS 32

#define POE_CLIENT_PORT_ENABLE 1u
#define POE_CLIENT_PORT_PRIORITY 2u
#define POE_CLIENT_PORT_SCHEDULE_ENABLE 4u
#define POE_CLIENT_PORT_MODE 8u
#define POE_CLIENT_PORT_RE_ENABLE 16u
#define POE_CLIENT_PORT_POWER_LIMIT 32u

/* The daemon refuses a change of the mode, the re-enable time or both without any of the others, and one of nothing. */
typedef struct poe_client_port_settings_change {
    uint32_t fields;         /* POE_CLIENT_PORT_..., or-ed */
    uint32_t power_limit_mw; /* 1000..90000, a multiple of 100: a limit is never rounded */
    int8_t enable;           /* 0, 1 */
    int8_t priority;         /* enum poe_client_priority */
    int8_t schedule_enable;  /* 0, 1 */
    int8_t mode;             /* 0..4 */
    int8_t re_enable_s;      /* 5..60 */
    uint8_t reserved[19];
} poe_client_port_settings_change;
#define POE_CLIENT_SIZE_OF_PORT_SETTINGS_CHANGE 32

typedef struct poe_client_power_bank {
    uint16_t limit_w; /* 0..65535 */
    uint16_t second;  /* kept for other programs */
    uint8_t reserved[12];
} poe_client_power_bank;
#define POE_CLIENT_SIZE_OF_POWER_BANK 16

/* Schedule states. */
enum poe_client_schedule {
    POE_CLIENT_SCHEDULE_KEEP = -1,
    POE_CLIENT_SCHEDULE_OFF = 0, /* in an off period */
    POE_CLIENT_SCHEDULE_ON = 1   /* in an on period */
};

/* Bit n = port n. */
#define POE_CLIENT_PORT_BIT(port) ((uint8_t)(1u << (port)))

/* --- status --- */

/* Of a port or a pair set. Numbers above 15 are the controller's own and are passed on. */
enum poe_client_status {
    POE_CLIENT_STATUS_DISABLED = 0,
    POE_CLIENT_STATUS_DELIVERING = 1,
    POE_CLIENT_STATUS_SEARCHING = 2,
    POE_CLIENT_STATUS_OVERLOAD = 3,
    POE_CLIENT_STATUS_POWER_DENIED = 4,
    POE_CLIENT_STATUS_SHORT_CIRCUIT = 5,
    POE_CLIENT_STATUS_FAULT_6 = 6,
    POE_CLIENT_STATUS_FAULT_7 = 7,
    POE_CLIENT_STATUS_FAULT_8 = 8,
    POE_CLIENT_STATUS_REQUESTING = 9,
    POE_CLIENT_STATUS_FAULT_10 = 10,
    POE_CLIENT_STATUS_NOT_READ_YET = 11,
    POE_CLIENT_STATUS_ON_HOLD = 12,
    POE_CLIENT_STATUS_AUTO_OFF = 13,
    POE_CLIENT_STATUS_SEARCHING_AGAIN = 14, /* only in traps, like the next */
    POE_CLIENT_STATUS_SWITCHED_ON = 15
};

/* A status's short name, such as "power-denied", what it means, what usually causes it and what to do. Never NULL; the
   name is "unknown" for a number above 15. */
POE_CLIENT_API const char* poe_client_status_name(uint32_t status);
POE_CLIENT_API const char* poe_client_status_meaning(uint32_t status);
POE_CLIENT_API const char* poe_client_status_cause(uint32_t status);
POE_CLIENT_API const char* poe_client_status_remedy(uint32_t status);

typedef struct poe_client_system_status {
    uint32_t total_mw;
    uint32_t consumed_mw;
    int32_t remaining_mw;   /* below 0 while more is consumed than there is */
    int32_t temperature_mc; /* of the controller; 0 also when it could not be read */
    uint8_t alarm_raised;
    uint8_t reserved[15];
} poe_client_system_status;
#define POE_CLIENT_SIZE_OF_SYSTEM_STATUS 32

typedef struct poe_client_pair_set_status {
    uint8_t detected_class; /* 0..8, or POE_CLIENT_NOT_REPORTED, like the next two */
    uint8_t error_code;
    uint8_t sub_status;
    uint8_t reserved;
    uint32_t status; /* enum poe_client_status */
    uint32_t voltage_mv;
    uint32_t current_ma;
    uint32_t power_mw;
    uint32_t reserved_2[3];
} poe_client_pair_set_status;
#define POE_CLIENT_SIZE_OF_PAIR_SET_STATUS 32

typedef struct poe_client_event_totals { /* since the daemon started */
    uint32_t overloads;
    uint32_t short_circuits;
    uint32_t power_denials;
    uint32_t disconnections;
    uint32_t bad_signatures;
    uint32_t reserved[3];
} poe_client_event_totals;
#define POE_CLIENT_SIZE_OF_EVENT_TOTALS 32

typedef struct poe_client_port_status {
    uint8_t port;
    int8_t enable;
    int8_t schedule_enable;
    int8_t schedule_on;     /* 1 = inside an on period */
    uint8_t detected_class; /* 0..8, or POE_CLIENT_NOT_REPORTED, like the next two */
    uint8_t error_code;
    uint8_t sub_status;
    uint8_t port_type;
    uint32_t status;  /* enum poe_client_status */
    uint8_t auto_off; /* switched off automatically */
    uint8_t reserved[3];
    uint32_t voltage_mv;
    uint32_t current_ma;
    uint32_t power_mw;
    int32_t temperature_mc; /* of a port that is switched off 0 also when it could not be read */
    poe_client_pair_set_status pair_set[POE_CLIENT_PAIR_SET_COUNT];
    poe_client_event_totals events;
    uint32_t reserved_2[4];
} poe_client_port_status;
#define POE_CLIENT_SIZE_OF_PORT_STATUS 144

typedef struct poe_client_whole_status { /* of one moment */
    poe_client_system_status system;
    poe_client_port_status port[POE_CLIENT_PORT_COUNT];
} poe_client_whole_status;
#define POE_CLIENT_SIZE_OF_WHOLE_STATUS 608

typedef struct poe_client_power_cycle_state {
    uint8_t pending; /* off, to be switched on again */
    uint8_t reserved[3];
    uint32_t tick; /* when the power-cycle was asked for */
} poe_client_power_cycle_state;
#define POE_CLIENT_SIZE_OF_POWER_CYCLE_STATE 8

typedef struct poe_client_power_cycles {
    uint32_t now_tick;
    uint32_t reserved;
    poe_client_power_cycle_state port[POE_CLIENT_PORT_COUNT];
} poe_client_power_cycles;
#define POE_CLIENT_SIZE_OF_POWER_CYCLES 40

/* Seconds until a power-cycled port is switched on again, rounded up; 0 when it is due, not pending or no such port.
 * `re_enable_s` is that port's setting. */
POE_CLIENT_API uint32_t poe_client_seconds_until_on(const poe_client_power_cycles* cycles, uint8_t port,
                                                    int8_t re_enable_s);

/* --- diagnostics --- */

typedef struct poe_client_communication_counters { /* of the daemon's talk with the controller, since it started */
    uint64_t total;
    uint64_t rx_retry;
    uint64_t rx_timeout;
    uint64_t rx_chksum_error;
    uint64_t tx_correctly_executed;
    uint64_t tx_chksum_error;
    uint64_t tx_subject_byte_conflict;
    uint64_t tx_wrong_data_byte_value;
    uint64_t undefined_key_value;
    uint64_t reserved[3];
} poe_client_communication_counters;
#define POE_CLIENT_SIZE_OF_COMMUNICATION_COUNTERS 96

/* --- energy record: the daemon keeps it and does not fill it; it holds what was restored from flash or made up --- */

#define POE_CLIENT_MINUTE_COUNT 60
#define POE_CLIENT_HALF_HOUR_COUNT 48
#define POE_CLIENT_TWO_HOUR_COUNT 84

typedef struct poe_client_energy_slot {
    uint8_t valid;
    uint8_t reserved[3];
    uint32_t uptime_s;
    float average_w;
} poe_client_energy_slot;
#define POE_CLIENT_SIZE_OF_ENERGY_SLOT 12

typedef struct poe_client_port_energy {
    uint32_t port;
    uint32_t powered_s;
    float energy_wh;
    uint32_t reserved;
    uint64_t minutes_start_s; /* since 1970 */
    uint64_t half_hours_start_s;
    uint64_t two_hours_start_s;
    poe_client_energy_slot minutes[POE_CLIENT_MINUTE_COUNT]; /* oldest first */
    poe_client_energy_slot half_hours[POE_CLIENT_HALF_HOUR_COUNT];
    poe_client_energy_slot two_hours[POE_CLIENT_TWO_HOUR_COUNT];
    uint64_t reserved_2[2];
} poe_client_port_energy;
#define POE_CLIENT_SIZE_OF_PORT_ENERGY 2360

typedef struct poe_client_energy_average {
    uint8_t valid;
    uint8_t reserved[3];
    float average_w;
} poe_client_energy_average;
#define POE_CLIENT_SIZE_OF_ENERGY_AVERAGE 8

typedef struct poe_client_energy_figures { /* one port's, or the sums over all ports */
    uint32_t powered_s;
    float energy_wh;
    poe_client_energy_average minutes;
    poe_client_energy_average half_hours;
    poe_client_energy_average two_hours;
    uint32_t reserved[2];
} poe_client_energy_figures;
#define POE_CLIENT_SIZE_OF_ENERGY_FIGURES 40

typedef struct poe_client_energy_summary {
    poe_client_energy_figures totals;
    poe_client_energy_figures port[POE_CLIENT_PORT_COUNT];
} poe_client_energy_summary;
#define POE_CLIENT_SIZE_OF_ENERGY_SUMMARY 200

/* --- queries --- */

POE_CLIENT_API int poe_client_get_system_settings(poe_client_connection* connection,
                                                  poe_client_system_settings* settings);
POE_CLIENT_API int poe_client_get_port_settings(poe_client_connection* connection, uint8_t port,
                                                poe_client_port_settings* settings);
POE_CLIENT_API int poe_client_get_all_port_settings(poe_client_connection* connection,
                                                    poe_client_port_settings settings[POE_CLIENT_PORT_COUNT]);
POE_CLIENT_API int poe_client_get_system_status(poe_client_connection* connection, poe_client_system_status* status);
POE_CLIENT_API int poe_client_get_port_status(poe_client_connection* connection, uint8_t port,
                                              poe_client_port_status* status);
POE_CLIENT_API int poe_client_get_all_port_status(poe_client_connection* connection,
                                                  poe_client_port_status status[POE_CLIENT_PORT_COUNT]);
/* System and all ports, of one moment. */
POE_CLIENT_API int poe_client_get_whole_status(poe_client_connection* connection, poe_client_whole_status* status);
POE_CLIENT_API int poe_client_get_communication_counters(poe_client_connection* connection,
                                                         poe_client_communication_counters* counters);
/* The most settings that ever waited in the daemon at once. */
POE_CLIENT_API int poe_client_get_deepest_queue(poe_client_connection* connection, uint32_t* requests);
POE_CLIENT_API int poe_client_get_power_bank(poe_client_connection* connection, poe_client_power_bank* bank);
POE_CLIENT_API int poe_client_get_power_cycles(poe_client_connection* connection, poe_client_power_cycles* cycles);
/* Are the energy totals kept in flash? */
POE_CLIENT_API int poe_client_get_energy_recording(poe_client_connection* connection, uint8_t* is_recorded);
POE_CLIENT_API int poe_client_get_port_energy(poe_client_connection* connection, uint8_t port,
                                              poe_client_port_energy* energy);
POE_CLIENT_API int poe_client_get_energy_summary(poe_client_connection* connection, poe_client_energy_summary* summary);

POE_CLIENT_API int poe_client_begin_get_system_settings(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_port_settings(poe_client_connection* connection, uint8_t port);
POE_CLIENT_API int poe_client_begin_get_all_port_settings(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_system_status(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_port_status(poe_client_connection* connection, uint8_t port);
POE_CLIENT_API int poe_client_begin_get_all_port_status(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_whole_status(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_communication_counters(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_deepest_queue(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_power_bank(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_power_cycles(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_energy_recording(poe_client_connection* connection);
POE_CLIENT_API int poe_client_begin_get_port_energy(poe_client_connection* connection, uint8_t port);
POE_CLIENT_API int poe_client_begin_get_energy_summary(poe_client_connection* connection);

/* --- settings: POE_CLIENT_OK means accepted; the daemon applies them next, in the order of arrival. Ask to see it. ---
 */

POE_CLIENT_API int poe_client_set_system(poe_client_connection* connection,
                                         const poe_client_system_settings_change* change);
POE_CLIENT_API int poe_client_set_port(poe_client_connection* connection, uint8_t port,
                                       const poe_client_port_settings_change* change);
/* Entry n is for port n. Every entry must change something. */
POE_CLIENT_API int poe_client_set_all_ports(poe_client_connection* connection,
                                            const poe_client_port_settings_change changes[POE_CLIENT_PORT_COUNT]);
/* Every field must be named. */
POE_CLIENT_API int poe_client_set_all_ports_same(poe_client_connection* connection,
                                                 const poe_client_port_settings_change* change);
/* enum poe_client_schedule */
POE_CLIENT_API int poe_client_set_schedule(poe_client_connection* connection, uint8_t port, int state);
POE_CLIENT_API int poe_client_set_all_schedules(poe_client_connection* connection,
                                                const int states[POE_CLIENT_PORT_COUNT]);
/* Both numbers are stored. */
POE_CLIENT_API int poe_client_set_power_bank(poe_client_connection* connection, const poe_client_power_bank* bank);
/* POE_CLIENT_PORT_BIT(port), or-ed: each port is switched off, and on again after its re-enable time. A port
 * that was disabled is enabled by it. */
POE_CLIENT_API int poe_client_power_cycle(poe_client_connection* connection, uint8_t ports);
/* POE_CLIENT_PORT_BIT(port), or-ed: forgets these ports' energy and history. */
POE_CLIENT_API int poe_client_clear_energy(poe_client_connection* connection, uint8_t ports);
/* 1 = keep the energy totals in flash, 0 = remove them from there. */
POE_CLIENT_API int poe_client_set_energy_recording(poe_client_connection* connection, uint8_t is_recorded);
/* Makes up history, to try displays with. */
POE_CLIENT_API int poe_client_inject_energy_history(poe_client_connection* connection, uint32_t minutes);

POE_CLIENT_API int poe_client_begin_set_system(poe_client_connection* connection,
                                               const poe_client_system_settings_change* change);
POE_CLIENT_API int poe_client_begin_set_port(poe_client_connection* connection, uint8_t port,
                                             const poe_client_port_settings_change* change);
POE_CLIENT_API int poe_client_begin_set_all_ports(poe_client_connection* connection,
                                                  const poe_client_port_settings_change changes[POE_CLIENT_PORT_COUNT]);
POE_CLIENT_API int poe_client_begin_set_all_ports_same(poe_client_connection* connection,
                                                       const poe_client_port_settings_change* change);
POE_CLIENT_API int poe_client_begin_set_schedule(poe_client_connection* connection, uint8_t port, int state);
POE_CLIENT_API int poe_client_begin_set_all_schedules(poe_client_connection* connection,
                                                      const int states[POE_CLIENT_PORT_COUNT]);
POE_CLIENT_API int poe_client_begin_set_power_bank(poe_client_connection* connection,
                                                   const poe_client_power_bank* bank);
POE_CLIENT_API int poe_client_begin_power_cycle(poe_client_connection* connection, uint8_t ports);
POE_CLIENT_API int poe_client_begin_clear_energy(poe_client_connection* connection, uint8_t ports);
POE_CLIENT_API int poe_client_begin_set_energy_recording(poe_client_connection* connection, uint8_t is_recorded);
POE_CLIENT_API int poe_client_begin_inject_energy_history(poe_client_connection* connection, uint32_t minutes);

#ifdef __cplusplus
}
#endif

#endif
