"""What the daemon answers, as values that do not change; their units are in their names.

Ports are 0..3, as the daemon counts; `panel_number` is the 1..4 that a person sees.
"""
from __future__ import annotations

import ctypes
import dataclasses
import enum
import typing

from . import _library

PORT_COUNT = _library.PORT_COUNT


class Priority(enum.IntEnum):
    """Who gets power first when there is not enough for all."""

    CRITICAL = 1
    HIGH = 2
    LOW = 3


class Status(enum.IntEnum):
    """The state of a port or a pair set. The daemon passes on numbers above 15 as the controller says them, so a `status`
    is a plain int; it compares with these."""

    DISABLED = 0
    DELIVERING = 1
    SEARCHING = 2
    OVERLOAD = 3
    POWER_DENIED = 4
    SHORT_CIRCUIT = 5
    FAULT_6 = 6
    FAULT_7 = 7
    FAULT_8 = 8
    REQUESTING = 9
    FAULT_10 = 10
    NOT_READ_YET = 11
    ON_HOLD = 12
    AUTO_OFF = 13
    SEARCHING_AGAIN = 14
    SWITCHED_ON = 15


def status_name(status: int) -> str:
    """A short name, such as "power-denied"; "unknown" for a number above 15."""
    return _library.library.poe_client_status_name(status).decode()


def status_meaning(status: int) -> str:
    """What a status means, for a person."""
    return _library.library.poe_client_status_meaning(status).decode()


def status_cause(status: int) -> str:
    """What usually leads to a status, for a person."""
    return _library.library.poe_client_status_cause(status).decode()


def status_remedy(status: int) -> str:
    """What to do about a status, for a person."""
    return _library.library.poe_client_status_remedy(status).decode()


@dataclasses.dataclass(frozen=True)
class SystemSettings:
    """Settings of the switch as a whole. Parameters 1, 2, 4 and 5 are kept for other programs."""

    enable: bool
    parameter_1: int
    parameter_2: int
    threshold_percent: int
    parameter_4: int
    parameter_5: int


@dataclasses.dataclass(frozen=True)
class PortSettings:
    """Settings of one port. `priority` compares with Priority."""

    port: int
    enable: bool
    priority: int
    schedule_enable: bool
    mode: int
    re_enable_s: int
    power_limit_mw: int

    @property
    def panel_number(self) -> int:
        """The port's number on the panel."""
        return self.port + 1


@dataclasses.dataclass(frozen=True)
class PortChange:
    """A change of a port's settings: what is None stays as it is. A limit is a multiple of 100 mW."""

    enable: bool | None = None
    priority: int | None = None
    schedule_enable: bool | None = None
    mode: int | None = None
    re_enable_s: int | None = None
    power_limit_mw: int | None = None


@dataclasses.dataclass(frozen=True)
class PowerBank:
    """The power bank's limit, and a second number that is kept for other programs."""

    limit_w: int
    second: int


@dataclasses.dataclass(frozen=True)
class SystemStatus:
    """Power and temperature of the switch. `remaining_mw` is below 0 while more is consumed than there is;
    `temperature_mc` is the controller's, and 0 also when it could not be read."""

    total_mw: int
    consumed_mw: int
    remaining_mw: int
    temperature_mc: int
    alarm_raised: bool


@dataclasses.dataclass(frozen=True)
class PairSetStatus:
    """One pair set, A or B. None: the port's state does not carry it."""

    detected_class: int | None
    error_code: int | None
    sub_status: int | None
    status: int
    voltage_mv: int
    current_ma: int
    power_mw: int

    @property
    def status_name(self) -> str:
        """The status in a word."""
        return status_name(self.status)


@dataclasses.dataclass(frozen=True)
class EventTotals:
    """What happened at a port since the daemon started."""

    overloads: int
    short_circuits: int
    power_denials: int
    disconnections: int
    bad_signatures: int


@dataclasses.dataclass(frozen=True)
class PortStatus:
    """One port as the last sweep of the daemon found it. None: the port's state does not carry it. `temperature_mc` of a
    port that is switched off is 0 also when it could not be read."""

    port: int
    enable: bool
    schedule_enable: bool
    schedule_on: bool
    detected_class: int | None
    error_code: int | None
    sub_status: int | None
    port_type: int
    status: int
    auto_off: bool
    voltage_mv: int
    current_ma: int
    power_mw: int
    temperature_mc: int
    pair_set: tuple[PairSetStatus, ...]
    events: EventTotals

    @property
    def panel_number(self) -> int:
        """The port's number on the panel."""
        return self.port + 1

    @property
    def status_name(self) -> str:
        """The status in a word."""
        return status_name(self.status)


@dataclasses.dataclass(frozen=True)
class WholeStatus:
    """System and all ports, of one moment."""

    system: SystemStatus
    port: tuple[PortStatus, ...]


@dataclasses.dataclass(frozen=True)
class PowerCycleState:
    """Pending: the port is off, to be switched on again. `tick`: when that was asked for."""

    pending: bool
    tick: int


@dataclasses.dataclass(frozen=True)
class PowerCycles:
    """Power-cycles under way, by the daemon's clock of 5 ticks a second."""

    now_tick: int
    port: tuple[PowerCycleState, ...]

    def seconds_until_on(self, port: int, re_enable_s: int) -> int:
        """How long a port stays off, rounded up; 0 when it is due or not pending. `re_enable_s` is that port's setting."""
        raw = _library.PowerCycles(now_tick=self.now_tick)
        for place, state in zip(raw.port, self.port):
            place.pending, place.tick = state.pending, state.tick
        return _library.library.poe_client_seconds_until_on(ctypes.byref(raw), port, re_enable_s)


@dataclasses.dataclass(frozen=True)
class CommunicationCounters:
    """The daemon's talk with the controller since it started."""

    total: int
    rx_retry: int
    rx_timeout: int
    rx_chksum_error: int
    tx_correctly_executed: int
    tx_chksum_error: int
    tx_subject_byte_conflict: int
    tx_wrong_data_byte_value: int
    undefined_key_value: int


@dataclasses.dataclass(frozen=True)
class EnergySlot:
    """One minute, half hour or two hours of a port's history."""

    valid: bool
    uptime_s: int
    average_w: float


@dataclasses.dataclass(frozen=True)
class PortEnergy:
    """A port's energy and history, oldest first; starts are seconds since 1970.

    The daemon keeps this record and does not fill it: it holds what was restored from flash or made up."""

    port: int
    powered_s: int
    energy_wh: float
    minutes_start_s: int
    half_hours_start_s: int
    two_hours_start_s: int
    minutes: tuple[EnergySlot, ...]
    half_hours: tuple[EnergySlot, ...]
    two_hours: tuple[EnergySlot, ...]


@dataclasses.dataclass(frozen=True)
class EnergyAverage:
    """Valid once the whole span was recorded."""

    valid: bool
    average_w: float


@dataclasses.dataclass(frozen=True)
class EnergyFigures:
    """Energy of one port, or of all together."""

    powered_s: int
    energy_wh: float
    minutes: EnergyAverage
    half_hours: EnergyAverage
    two_hours: EnergyAverage


@dataclasses.dataclass(frozen=True)
class EnergySummary:
    """Energy of all ports together and of each."""

    totals: EnergyFigures
    port: tuple[EnergyFigures, ...]


def _reported(number: int) -> int | None:
    return None if number == _library.NOT_REPORTED else number


_FLAGS = ("enable", "schedule_enable", "schedule_on", "alarm_raised", "auto_off", "pending", "valid")
_FINISH: dict[str, typing.Callable[[typing.Any], typing.Any]] = {
    **{name: bool for name in _FLAGS},
    **{name: _reported for name in ("detected_class", "error_code", "sub_status")},
}


def value_of(raw: typing.Any) -> typing.Any:
    """A structure, or an array of some, as the value of the same name."""
    if isinstance(raw, ctypes.Array):
        return tuple(value_of(one) for one in raw)
    if not isinstance(raw, ctypes.Structure):
        return raw
    kind = globals()[type(raw).__name__]
    fields = {field.name: value_of(getattr(raw, field.name)) for field in dataclasses.fields(kind)}
    return kind(**{name: _FINISH.get(name, lambda value: value)(value) for name, value in fields.items()})
