"""The shared library and the structures of poe_client/poe_client.h, byte for byte."""
import ctypes
import os
import pathlib
from ctypes import POINTER, c_char_p, c_float, c_int, c_int8, c_int32, c_size_t, c_uint8, c_uint16, c_uint32, c_uint64, c_void_p

NAME = "libpoe_client.so.1"
VARIABLE = "POE_CLIENT_LIBRARY"
PORT_COUNT = 4
PAIR_SET_COUNT = 2
MINUTE_COUNT, HALF_HOUR_COUNT, TWO_HOUR_COUNT = 60, 48, 84
NOT_REPORTED = 255

PENDING, OK, NO_DAEMON, NOT_PERMITTED, TIMEOUT, REFUSED, MALFORMED, OWN_SOCKET, USAGE, INTERNAL = range(-1, 9)


class SystemSettings(ctypes.Structure):
    _fields_ = [("enable", c_int8), ("parameter_1", c_int8), ("parameter_2", c_int8), ("threshold_percent", c_int8),
                ("parameter_4", c_int8), ("parameter_5", c_int8), ("reserved", c_uint8 * 10)]


class SystemSettingsChange(ctypes.Structure):
    _fields_ = [("fields", c_uint32), ("enable", c_int8), ("parameter_1", c_int8), ("parameter_2", c_int8),
                ("threshold_percent", c_int8), ("parameter_4", c_int8), ("parameter_5", c_int8),
                ("reserved", c_uint8 * 14)]
    BITS = {"enable": 1, "parameter_1": 2, "parameter_2": 4, "threshold_percent": 8, "parameter_4": 16,
            "parameter_5": 32}


class PortSettings(ctypes.Structure):
    _fields_ = [("port", c_uint8), ("enable", c_int8), ("priority", c_int8), ("schedule_enable", c_int8),
                ("mode", c_int8), ("re_enable_s", c_int8), ("reserved", c_uint8 * 2), ("power_limit_mw", c_uint32),
                ("reserved_2", c_uint32 * 5)]


class PortSettingsChange(ctypes.Structure):
    _fields_ = [("fields", c_uint32), ("power_limit_mw", c_uint32), ("enable", c_int8), ("priority", c_int8),
                ("schedule_enable", c_int8), ("mode", c_int8), ("re_enable_s", c_int8), ("reserved", c_uint8 * 19)]
    BITS = {"enable": 1, "priority": 2, "schedule_enable": 4, "mode": 8, "re_enable_s": 16, "power_limit_mw": 32}


class PowerBank(ctypes.Structure):
    _fields_ = [("limit_w", c_uint16), ("second", c_uint16), ("reserved", c_uint8 * 12)]


class SystemStatus(ctypes.Structure):
    _fields_ = [("total_mw", c_uint32), ("consumed_mw", c_uint32), ("remaining_mw", c_int32),
                ("temperature_mc", c_int32), ("alarm_raised", c_uint8), ("reserved", c_uint8 * 15)]


class PairSetStatus(ctypes.Structure):
    _fields_ = [("detected_class", c_uint8), ("error_code", c_uint8), ("sub_status", c_uint8), ("reserved", c_uint8),
                ("status", c_uint32), ("voltage_mv", c_uint32), ("current_ma", c_uint32), ("power_mw", c_uint32),
                ("reserved_2", c_uint32 * 3)]


class EventTotals(ctypes.Structure):
    _fields_ = [("overloads", c_uint32), ("short_circuits", c_uint32), ("power_denials", c_uint32),
                ("disconnections", c_uint32), ("bad_signatures", c_uint32), ("reserved", c_uint32 * 3)]


class PortStatus(ctypes.Structure):
    _fields_ = [("port", c_uint8), ("enable", c_int8), ("schedule_enable", c_int8), ("schedule_on", c_int8),
                ("detected_class", c_uint8), ("error_code", c_uint8), ("sub_status", c_uint8), ("port_type", c_uint8),
                ("status", c_uint32), ("auto_off", c_uint8), ("reserved", c_uint8 * 3), ("voltage_mv", c_uint32),
                ("current_ma", c_uint32), ("power_mw", c_uint32), ("temperature_mc", c_int32),
                ("pair_set", PairSetStatus * PAIR_SET_COUNT), ("events", EventTotals), ("reserved_2", c_uint32 * 4)]


class WholeStatus(ctypes.Structure):
    _fields_ = [("system", SystemStatus), ("port", PortStatus * PORT_COUNT)]


class PowerCycleState(ctypes.Structure):
    _fields_ = [("pending", c_uint8), ("reserved", c_uint8 * 3), ("tick", c_uint32)]


class PowerCycles(ctypes.Structure):
    _fields_ = [("now_tick", c_uint32), ("reserved", c_uint32), ("port", PowerCycleState * PORT_COUNT)]


class CommunicationCounters(ctypes.Structure):
    _fields_ = [("total", c_uint64), ("rx_retry", c_uint64), ("rx_timeout", c_uint64), ("rx_chksum_error", c_uint64),
                ("tx_correctly_executed", c_uint64), ("tx_chksum_error", c_uint64),
                ("tx_subject_byte_conflict", c_uint64), ("tx_wrong_data_byte_value", c_uint64),
                ("undefined_key_value", c_uint64), ("reserved", c_uint64 * 3)]


class EnergySlot(ctypes.Structure):
    _fields_ = [("valid", c_uint8), ("reserved", c_uint8 * 3), ("uptime_s", c_uint32), ("average_w", c_float)]


class PortEnergy(ctypes.Structure):
    _fields_ = [("port", c_uint32), ("powered_s", c_uint32), ("energy_wh", c_float), ("reserved", c_uint32),
                ("minutes_start_s", c_uint64), ("half_hours_start_s", c_uint64), ("two_hours_start_s", c_uint64),
                ("minutes", EnergySlot * MINUTE_COUNT), ("half_hours", EnergySlot * HALF_HOUR_COUNT),
                ("two_hours", EnergySlot * TWO_HOUR_COUNT), ("reserved_2", c_uint64 * 2)]


class EnergyAverage(ctypes.Structure):
    _fields_ = [("valid", c_uint8), ("reserved", c_uint8 * 3), ("average_w", c_float)]


class EnergyFigures(ctypes.Structure):
    _fields_ = [("powered_s", c_uint32), ("energy_wh", c_float), ("minutes", EnergyAverage),
                ("half_hours", EnergyAverage), ("two_hours", EnergyAverage), ("reserved", c_uint32 * 2)]


class EnergySummary(ctypes.Structure):
    _fields_ = [("totals", EnergyFigures), ("port", EnergyFigures * PORT_COUNT)]


def _path() -> str:
    """Where $POE_CLIENT_LIBRARY says; else beside this module, in whatever prefix both are installed; else where the
    system looks for libraries."""
    named = os.environ.get(VARIABLE)
    if named:
        return named
    beside = pathlib.Path(__file__).resolve().parents[3] / NAME
    return str(beside) if beside.exists() else NAME


def _load() -> ctypes.CDLL:
    path = _path()
    try:
        library = ctypes.CDLL(path, use_errno=True)  # errno of a call is kept for ctypes.get_errno()
    except OSError as error:
        raise ImportError(f"cannot load {path}: {error}. Install libpoe_client, or name it in ${VARIABLE}.") from error
    connection = c_void_p
    for name, result, arguments in (
            ("version", c_uint32, []),
            ("error_name", c_char_p, [c_int]),
            ("error_text", c_char_p, [c_int]),
            ("open", c_int, [c_char_p, POINTER(connection)]),
            ("close", None, [connection]),
            ("set_timeout_ms", c_int, [connection, c_uint32]),
            ("timeout_ms", c_uint32, [connection]),
            ("socket_path", c_char_p, [connection]),
            ("system_error", c_int, [connection]),
            ("descriptor", c_int, [connection]),
            ("take", c_int, [connection, c_void_p, c_size_t]),
            ("cancel", None, [connection]),
            ("remove_names", None, []),
            ("remove_names_on_signals", None, []),
            ("status_name", c_char_p, [c_uint32]),
            ("status_meaning", c_char_p, [c_uint32]),
            ("status_cause", c_char_p, [c_uint32]),
            ("status_remedy", c_char_p, [c_uint32]),
            ("seconds_until_on", c_uint32, [POINTER(PowerCycles), c_uint8, c_int8]),
            ("begin_get_system_settings", c_int, [connection]),
            ("begin_get_port_settings", c_int, [connection, c_uint8]),
            ("begin_get_all_port_settings", c_int, [connection]),
            ("begin_get_system_status", c_int, [connection]),
            ("begin_get_port_status", c_int, [connection, c_uint8]),
            ("begin_get_all_port_status", c_int, [connection]),
            ("begin_get_whole_status", c_int, [connection]),
            ("begin_get_communication_counters", c_int, [connection]),
            ("begin_get_deepest_queue", c_int, [connection]),
            ("begin_get_power_bank", c_int, [connection]),
            ("begin_get_power_cycles", c_int, [connection]),
            ("begin_get_energy_recording", c_int, [connection]),
            ("begin_get_port_energy", c_int, [connection, c_uint8]),
            ("begin_get_energy_summary", c_int, [connection]),
            ("begin_set_system", c_int, [connection, POINTER(SystemSettingsChange)]),
            ("begin_set_port", c_int, [connection, c_uint8, POINTER(PortSettingsChange)]),
            ("begin_set_all_ports", c_int, [connection, POINTER(PortSettingsChange)]),
            ("begin_set_all_ports_same", c_int, [connection, POINTER(PortSettingsChange)]),
            ("begin_set_schedule", c_int, [connection, c_uint8, c_int]),
            ("begin_set_all_schedules", c_int, [connection, POINTER(c_int)]),
            ("begin_set_power_bank", c_int, [connection, POINTER(PowerBank)]),
            ("begin_power_cycle", c_int, [connection, c_uint8]),
            ("begin_clear_energy", c_int, [connection, c_uint8]),
            ("begin_set_energy_recording", c_int, [connection, c_uint8]),
            ("begin_inject_energy_history", c_int, [connection, c_uint32])):
        function = getattr(library, "poe_client_" + name)
        function.restype, function.argtypes = result, arguments
    return library


library = _load()
