#include "poe_client/c_values.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <type_traits>

namespace poe_client {

namespace {

// Every structure is as large as poe_client.h says, on every machine, without a byte that has no name.
template <typename structure, std::size_t size>
concept laid_out = sizeof(structure) == size&& std::has_unique_object_representations_v<structure>;
template <typename structure, std::size_t size>  // with float, whose zero has two representations
concept laid_out_with_float = sizeof(structure) == size&& std::is_standard_layout_v<structure>;

static_assert(laid_out<poe_client_system_settings, POE_CLIENT_SIZE_OF_SYSTEM_SETTINGS>);
static_assert(laid_out<poe_client_system_settings_change, POE_CLIENT_SIZE_OF_SYSTEM_SETTINGS_CHANGE>);
static_assert(laid_out<poe_client_port_settings, POE_CLIENT_SIZE_OF_PORT_SETTINGS>);
static_assert(offsetof(poe_client_port_settings, power_limit_mw) == 8);
static_assert(laid_out<poe_client_port_settings_change, POE_CLIENT_SIZE_OF_PORT_SETTINGS_CHANGE>);
static_assert(offsetof(poe_client_port_settings_change, enable) == 8);
static_assert(laid_out<poe_client_power_bank, POE_CLIENT_SIZE_OF_POWER_BANK>);
static_assert(laid_out<poe_client_system_status, POE_CLIENT_SIZE_OF_SYSTEM_STATUS>);
static_assert(laid_out<poe_client_pair_set_status, POE_CLIENT_SIZE_OF_PAIR_SET_STATUS>);
static_assert(laid_out<poe_client_event_totals, POE_CLIENT_SIZE_OF_EVENT_TOTALS>);
static_assert(laid_out<poe_client_port_status, POE_CLIENT_SIZE_OF_PORT_STATUS>);
static_assert(offsetof(poe_client_port_status, status) == 8 && offsetof(poe_client_port_status, voltage_mv) == 16 &&
              offsetof(poe_client_port_status, pair_set) == 32 && offsetof(poe_client_port_status, events) == 96);
static_assert(laid_out<poe_client_whole_status, POE_CLIENT_SIZE_OF_WHOLE_STATUS>);
static_assert(offsetof(poe_client_whole_status, port) == 32);
static_assert(laid_out<poe_client_power_cycle_state, POE_CLIENT_SIZE_OF_POWER_CYCLE_STATE>);
static_assert(laid_out<poe_client_power_cycles, POE_CLIENT_SIZE_OF_POWER_CYCLES>);
static_assert(laid_out<poe_client_communication_counters, POE_CLIENT_SIZE_OF_COMMUNICATION_COUNTERS>);
static_assert(laid_out_with_float<poe_client_energy_slot, POE_CLIENT_SIZE_OF_ENERGY_SLOT>);
static_assert(laid_out_with_float<poe_client_port_energy, POE_CLIENT_SIZE_OF_PORT_ENERGY>);
static_assert(offsetof(poe_client_port_energy, minutes_start_s) == 16 &&
              offsetof(poe_client_port_energy, minutes) == 40 && offsetof(poe_client_port_energy, half_hours) == 760 &&
              offsetof(poe_client_port_energy, two_hours) == 1336 &&
              offsetof(poe_client_port_energy, reserved_2) == 2344);
static_assert(laid_out_with_float<poe_client_energy_average, POE_CLIENT_SIZE_OF_ENERGY_AVERAGE>);
static_assert(laid_out_with_float<poe_client_energy_figures, POE_CLIENT_SIZE_OF_ENERGY_FIGURES>);
static_assert(laid_out_with_float<poe_client_energy_summary, POE_CLIENT_SIZE_OF_ENERGY_SUMMARY>);

static_assert(POE_CLIENT_PORT_COUNT == port_count && POE_CLIENT_PAIR_SET_COUNT == pair_set_count &&
              POE_CLIENT_NOT_REPORTED == not_reported && POE_CLIENT_TICKS_A_SECOND == ticks_a_second &&
              POE_CLIENT_MINUTE_COUNT == minute_count && POE_CLIENT_HALF_HOUR_COUNT == half_hour_count &&
              POE_CLIENT_TWO_HOUR_COUNT == two_hour_count);
static_assert(POE_CLIENT_PRIORITY_CRITICAL == priority_critical && POE_CLIENT_PRIORITY_HIGH == priority_high &&
              POE_CLIENT_PRIORITY_LOW == priority_low);

std::uint8_t flag(bool value) {
    return value ? 1 : 0;
}

poe_client_pair_set_status pair_set_of(const pair_set_status& from) {
    return {.detected_class = from.detected_class,
            .error_code = from.error_code,
            .sub_status = from.sub_status,
            .reserved = 0,
            .status = from.status,
            .voltage_mv = from.voltage_mv,
            .current_ma = from.current_ma,
            .power_mw = from.power_mw,
            .reserved_2 = {}};
}

template <std::size_t count>
void copy_slots(const std::array<energy_slot, count>& from, poe_client_energy_slot (&to)[count]) {
    std::ranges::transform(from, to, [](const energy_slot& slot) {
        return poe_client_energy_slot{
            .valid = flag(slot.valid), .reserved = {}, .uptime_s = slot.uptime_s, .average_w = slot.average_w};
    });
}

poe_client_energy_average average_of(const energy_average& from) {
    return {.valid = flag(from.valid), .reserved = {}, .average_w = from.average_w};
}

poe_client_energy_figures figures_of(const energy_figures& from) {
    return {.powered_s = from.powered_s,
            .energy_wh = from.energy_wh,
            .minutes = average_of(from.minutes),
            .half_hours = average_of(from.half_hours),
            .two_hours = average_of(from.two_hours),
            .reserved = {}};
}

template <typename answer, typename structure>
int each_to_c(const std::array<answer, port_count>& from, structure* to) {
    std::array<structure, port_count> written;
    for (std::size_t port = 0; port < port_count; port++) {
        if (const int error = to_c(from[port], &written[port]); error != POE_CLIENT_OK) return error;
    }
    std::ranges::copy(written, to);
    return POE_CLIENT_OK;
}

bool are_zero(const auto& reserved) {
    return std::ranges::all_of(reserved, [](auto part) { return part == 0; });
}

// Puts the value where it belongs when its field is named. False for the value that would mean keep.
bool take_named(bool is_named, std::int8_t value, std::optional<std::int8_t>& to) {
    constexpr std::int8_t keep = -1;
    if (is_named) to = value;
    return !is_named || value != keep;
}

}  // namespace

int to_c(const system_settings& from, poe_client_system_settings* to) {
    *to = {.enable = from.enable,
           .parameter_1 = from.parameter_1,
           .parameter_2 = from.parameter_2,
           .threshold_percent = from.threshold_percent,
           .parameter_4 = from.parameter_4,
           .parameter_5 = from.parameter_5,
           .reserved = {}};
    return POE_CLIENT_OK;
}

int to_c(const port_settings& from, poe_client_port_settings* to) {
    const std::uint64_t power_limit_mw = from.power_limit_mw();
    if (power_limit_mw > std::numeric_limits<std::uint32_t>::max()) return POE_CLIENT_MALFORMED;
    *to = {.port = from.port,
           .enable = from.enable,
           .priority = from.priority,
           .schedule_enable = from.schedule_enable,
           .mode = from.mode,
           .re_enable_s = from.re_enable_s,
           .reserved = {},
           .power_limit_mw = static_cast<std::uint32_t>(power_limit_mw),
           .reserved_2 = {}};
    return POE_CLIENT_OK;
}

int to_c(const std::array<port_settings, port_count>& from, poe_client_port_settings* to) {
    return each_to_c(from, to);
}

int to_c(const system_status& from, poe_client_system_status* to) {
    *to = {.total_mw = from.total_mw,
           .consumed_mw = from.consumed_mw,
           .remaining_mw = from.remaining_mw,
           .temperature_mc = from.temperature_mc,
           .alarm_raised = flag(from.alarm_raised),
           .reserved = {}};
    return POE_CLIENT_OK;
}

int to_c(const port_status& from, poe_client_port_status* to) {
    *to = {.port = from.port,
           .enable = from.enable,
           .schedule_enable = from.schedule_enable,
           .schedule_on = from.schedule_on,
           .detected_class = from.detected_class,
           .error_code = from.error_code,
           .sub_status = from.sub_status,
           .port_type = from.port_type,
           .status = from.status,
           .auto_off = flag(from.auto_off),
           .reserved = {},
           .voltage_mv = from.voltage_mv,
           .current_ma = from.current_ma,
           .power_mw = from.power_mw,
           .temperature_mc = from.temperature_mc,
           .pair_set = {pair_set_of(from.pair_set[0]), pair_set_of(from.pair_set[1])},
           .events = {.overloads = from.event_totals[event_overload],
                      .short_circuits = from.event_totals[event_short_circuit],
                      .power_denials = from.event_totals[event_power_denied],
                      .disconnections = from.event_totals[event_disconnected],
                      .bad_signatures = from.event_totals[event_bad_signature],
                      .reserved = {}},
           .reserved_2 = {}};
    return POE_CLIENT_OK;
}

int to_c(const std::array<port_status, port_count>& from, poe_client_port_status* to) {
    return each_to_c(from, to);
}

int to_c(const whole_status& from, poe_client_whole_status* to) {
    to_c(from.system, &to->system);
    return to_c(from.port, to->port);
}

int to_c(const communication_counters& from, poe_client_communication_counters* to) {
    *to = {.total = from.total,
           .rx_retry = from.rx_retry,
           .rx_timeout = from.rx_timeout,
           .rx_chksum_error = from.rx_chksum_error,
           .tx_correctly_executed = from.tx_correctly_executed,
           .tx_chksum_error = from.tx_chksum_error,
           .tx_subject_byte_conflict = from.tx_subject_byte_conflict,
           .tx_wrong_data_byte_value = from.tx_wrong_data_byte_value,
           .undefined_key_value = from.undefined_key_value,
           .reserved = {}};
    return POE_CLIENT_OK;
}

int to_c(const std::uint32_t& from, std::uint32_t* to) {
    *to = from;
    return POE_CLIENT_OK;
}

int to_c(const power_bank& from, poe_client_power_bank* to) {
    *to = {.limit_w = from.limit_w, .second = from.second, .reserved = {}};
    return POE_CLIENT_OK;
}

int to_c(const power_cycles& from, poe_client_power_cycles* to) {
    *to = {.now_tick = from.now_tick, .reserved = 0, .port = {}};
    std::ranges::transform(from.port, to->port, [](const power_cycle_state& state) {
        return poe_client_power_cycle_state{.pending = flag(state.pending), .reserved = {}, .tick = state.tick};
    });
    return POE_CLIENT_OK;
}

int to_c(const bool& from, std::uint8_t* to) {
    *to = flag(from);
    return POE_CLIENT_OK;
}

int to_c(const port_energy& from, poe_client_port_energy* to) {
    *to = {};
    to->port = from.port;
    to->powered_s = from.powered_s;
    to->energy_wh = from.energy_wh;
    to->minutes_start_s = from.minutes_start_s;
    to->half_hours_start_s = from.half_hours_start_s;
    to->two_hours_start_s = from.two_hours_start_s;
    copy_slots(from.minutes, to->minutes);
    copy_slots(from.half_hours, to->half_hours);
    copy_slots(from.two_hours, to->two_hours);
    return POE_CLIENT_OK;
}

int to_c(const energy_summary& from, poe_client_energy_summary* to) {
    to->totals = figures_of(from.totals);
    std::ranges::transform(from.port, to->port, figures_of);
    return POE_CLIENT_OK;
}

int from_c(const poe_client_system_settings_change& from, system_settings_change* to) {
    constexpr std::uint32_t known = POE_CLIENT_SYSTEM_ENABLE | POE_CLIENT_SYSTEM_PARAMETER_1 |
                                    POE_CLIENT_SYSTEM_PARAMETER_2 | POE_CLIENT_SYSTEM_THRESHOLD |
                                    POE_CLIENT_SYSTEM_PARAMETER_4 | POE_CLIENT_SYSTEM_PARAMETER_5;
    if ((from.fields & ~known) != 0 || !are_zero(from.reserved)) return POE_CLIENT_USAGE;
    const auto named = [&from](std::uint32_t field) { return (from.fields & field) != 0; };
    system_settings_change change;
    const bool all_say_something =
        take_named(named(POE_CLIENT_SYSTEM_ENABLE), from.enable, change.enable) &&
        take_named(named(POE_CLIENT_SYSTEM_PARAMETER_1), from.parameter_1, change.parameter_1) &&
        take_named(named(POE_CLIENT_SYSTEM_PARAMETER_2), from.parameter_2, change.parameter_2) &&
        take_named(named(POE_CLIENT_SYSTEM_THRESHOLD), from.threshold_percent, change.threshold_percent) &&
        take_named(named(POE_CLIENT_SYSTEM_PARAMETER_4), from.parameter_4, change.parameter_4) &&
        take_named(named(POE_CLIENT_SYSTEM_PARAMETER_5), from.parameter_5, change.parameter_5);
    if (!all_say_something) return POE_CLIENT_USAGE;
    *to = change;
    return POE_CLIENT_OK;
}

int from_c(const poe_client_port_settings_change& from, port_settings_change* to) {
    constexpr std::uint32_t known = POE_CLIENT_PORT_ENABLE | POE_CLIENT_PORT_PRIORITY |
                                    POE_CLIENT_PORT_SCHEDULE_ENABLE | POE_CLIENT_PORT_MODE | POE_CLIENT_PORT_RE_ENABLE |
                                    POE_CLIENT_PORT_POWER_LIMIT;
    if ((from.fields & ~known) != 0 || !are_zero(from.reserved)) return POE_CLIENT_USAGE;
    const auto named = [&from](std::uint32_t field) { return (from.fields & field) != 0; };
    port_settings_change change;
    if (named(POE_CLIENT_PORT_POWER_LIMIT)) {
        change.power_limit_dw = dw_of_mw(from.power_limit_mw);
        if (!change.power_limit_dw) return POE_CLIENT_USAGE;
    }
    const bool all_say_something =
        take_named(named(POE_CLIENT_PORT_ENABLE), from.enable, change.enable) &&
        take_named(named(POE_CLIENT_PORT_PRIORITY), from.priority, change.priority) &&
        take_named(named(POE_CLIENT_PORT_SCHEDULE_ENABLE), from.schedule_enable, change.schedule_enable) &&
        take_named(named(POE_CLIENT_PORT_MODE), from.mode, change.mode) &&
        take_named(named(POE_CLIENT_PORT_RE_ENABLE), from.re_enable_s, change.re_enable_s);
    if (!all_say_something) return POE_CLIENT_USAGE;
    *to = change;
    return POE_CLIENT_OK;
}

int from_c(const poe_client_power_bank& from, power_bank* to) {
    if (!are_zero(from.reserved)) return POE_CLIENT_USAGE;
    *to = {.limit_w = from.limit_w, .second = from.second};
    return POE_CLIENT_OK;
}

int from_c(int from, schedule_state* to) {
    switch (from) {
        case POE_CLIENT_SCHEDULE_KEEP:
            *to = std::nullopt;
            return POE_CLIENT_OK;
        case POE_CLIENT_SCHEDULE_OFF:
        case POE_CLIENT_SCHEDULE_ON:
            *to = static_cast<std::int8_t>(from);
            return POE_CLIENT_OK;
        default:
            return POE_CLIENT_USAGE;
    }
}

}  // namespace poe_client
