"""A connection to the daemon: every request as a method that waits, and as one that does not."""
from __future__ import annotations

import ctypes
import dataclasses
import operator
import os
import select
import threading
import weakref
from collections.abc import Callable, Iterable, Sequence
from types import TracebackType
from typing import Any, Generic, TypeVar

from . import _library
from .errors import error_of, usage
from .values import (PORT_COUNT, CommunicationCounters, EnergySummary, PortChange, PortEnergy, PortSettings, PortStatus,
                     PowerBank, PowerCycles, SystemSettings, SystemStatus, WholeStatus, value_of)

DEFAULT_TIMEOUT_S = 1.0
_KEEP = -1
_POWER_LIMIT_STEP_MW = 100

_Answer = TypeVar("_Answer")


class Pending(Generic[_Answer]):
    """A request under way. Watch `fileno()` for reading, with select, asyncio's add_reader or the like; when it is
    readable, call `done()`. A timeout makes it readable, too."""

    def __init__(self, connection: Connection, answer: Any):
        self._connection = connection
        self._raw = answer
        self._value: Any = None
        self._error: Exception | None = None
        self._is_over = False

    def fileno(self) -> int:
        """The connection's descriptor, the same for all its requests."""
        return self._connection.fileno()

    def done(self) -> bool:
        """Takes what has come, and never waits. True when there is a result or an error."""
        if self._is_over:
            return True
        size = 0 if self._raw is None else ctypes.sizeof(self._raw)
        answer = None if self._raw is None else ctypes.byref(self._raw)
        error = self._connection._call("take", answer, size)
        if error == _library.PENDING:
            return False
        self._is_over = True
        if error != _library.OK:
            self._error = self._connection._error(error)
        elif self._raw is not None:
            self._value = _answer_of(self._raw)
        return True

    def result(self) -> _Answer:
        """The answer, waited for if need be; raises PoeError when there is none. Interrupted by Ctrl-C at once."""
        try:
            while not self.done():
                watched = select.poll()
                watched.register(self.fileno(), select.POLLIN)
                watched.poll()
        finally:
            self.cancel()
        if self._error is not None:
            raise self._error
        return self._value

    def cancel(self) -> None:
        """No answer is wanted any more. A setting may have been taken by the daemon all the same."""
        if self._is_over:
            return
        self._is_over = True
        self._error = usage("the request was cancelled")
        self._connection._call("cancel")

    def __del__(self) -> None:
        self.cancel()


class Connection:
    """A way to the daemon, closed by `close()` or at the end of a `with`.

    Nothing is sent before the first request. `socket_path` is where the daemon listens: without it where $POE_DRV_SOCKET
    says, else its usual path. `timeout_s` is for one attempt; a query that is not answered is asked once more.

    The methods that wait may be called by several threads, which take turns; a `begin_...` belongs to one thread, and only
    one request is pending at a time."""

    def __init__(self, socket_path: str | os.PathLike[str] | None = None, timeout_s: float = DEFAULT_TIMEOUT_S):
        self._handle: ctypes.c_void_p | None = None
        self._pending: Callable[[], Pending[Any] | None] = lambda: None
        self._turn = threading.Lock()
        path = None if socket_path is None else os.fsencode(socket_path)
        if path is not None and b"\0" in path:
            raise usage("a zero byte in the socket's path")
        handle = ctypes.c_void_p()
        error = _library.library.poe_client_open(path, ctypes.byref(handle))
        if error != _library.OK:
            raise error_of(error)
        self._handle = handle
        self.timeout_s = timeout_s

    def close(self) -> None:
        """Cancels what is pending and removes every name from the file system. May be called again."""
        pending = self._pending()
        if pending is not None:
            pending.cancel()
        handle, self._handle = self._handle, None
        if handle is not None:
            _library.library.poe_client_close(handle)

    def __enter__(self) -> Connection:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            self.close()

    @property
    def socket_path(self) -> str:
        """Where the daemon is looked for."""
        return os.fsdecode(self._call("socket_path"))

    @property
    def timeout_s(self) -> float:
        """How long one attempt may take: 0.001 to 3600 seconds."""
        return self._call("timeout_ms") / 1000

    @timeout_s.setter
    def timeout_s(self, seconds: float) -> None:
        timeout_ms = round(seconds * 1000)
        if not 1 <= timeout_ms <= 3600000:
            raise usage(f"timeout_s {seconds}: it is 0.001 to 3600 seconds")
        self._call("set_timeout_ms", timeout_ms)

    def fileno(self) -> int:
        """Readable whenever the pending request's `done()` has something to do. Never read it or close it."""
        descriptor = self._call("descriptor")
        if descriptor < 0:
            raise error_of(_library.OWN_SOCKET, ctypes.get_errno())
        return descriptor

    # --- questions ---

    def get_system_settings(self) -> SystemSettings:
        """Settings of the switch as a whole."""
        return self._wait(self.begin_get_system_settings)

    def begin_get_system_settings(self) -> Pending[SystemSettings]:
        """The same, to be taken later."""
        return self._begin("get_system_settings", _library.SystemSettings)

    def get_port_settings(self, port: int) -> PortSettings:
        """Settings of one port."""
        return self._wait(self.begin_get_port_settings, port)

    def begin_get_port_settings(self, port: int) -> Pending[PortSettings]:
        """The same, to be taken later."""
        return self._begin("get_port_settings", _library.PortSettings, _byte("port", port))

    def get_all_port_settings(self) -> tuple[PortSettings, ...]:
        """All ports' settings, in port order."""
        return self._wait(self.begin_get_all_port_settings)

    def begin_get_all_port_settings(self) -> Pending[tuple[PortSettings, ...]]:
        """The same, to be taken later."""
        return self._begin("get_all_port_settings", _library.PortSettings * PORT_COUNT)

    def get_system_status(self) -> SystemStatus:
        """Power and temperature of the switch."""
        return self._wait(self.begin_get_system_status)

    def begin_get_system_status(self) -> Pending[SystemStatus]:
        """The same, to be taken later."""
        return self._begin("get_system_status", _library.SystemStatus)

    def get_port_status(self, port: int) -> PortStatus:
        """The state of one port."""
        return self._wait(self.begin_get_port_status, port)

    def begin_get_port_status(self, port: int) -> Pending[PortStatus]:
        """The same, to be taken later."""
        return self._begin("get_port_status", _library.PortStatus, _byte("port", port))

    def get_all_port_status(self) -> tuple[PortStatus, ...]:
        """All ports' state, of one moment, in port order."""
        return self._wait(self.begin_get_all_port_status)

    def begin_get_all_port_status(self) -> Pending[tuple[PortStatus, ...]]:
        """The same, to be taken later."""
        return self._begin("get_all_port_status", _library.PortStatus * PORT_COUNT)

    def get_whole_status(self) -> WholeStatus:
        """System and all ports, of one moment."""
        return self._wait(self.begin_get_whole_status)

    def begin_get_whole_status(self) -> Pending[WholeStatus]:
        """The same, to be taken later."""
        return self._begin("get_whole_status", _library.WholeStatus)

    def get_communication_counters(self) -> CommunicationCounters:
        """Counts of the daemon's talk with the controller."""
        return self._wait(self.begin_get_communication_counters)

    def begin_get_communication_counters(self) -> Pending[CommunicationCounters]:
        """The same, to be taken later."""
        return self._begin("get_communication_counters", _library.CommunicationCounters)

    def get_deepest_queue(self) -> int:
        """The most settings that ever waited in the daemon at once."""
        return self._wait(self.begin_get_deepest_queue)

    def begin_get_deepest_queue(self) -> Pending[int]:
        """The same, to be taken later."""
        return self._begin("get_deepest_queue", ctypes.c_uint32)

    def get_power_bank(self) -> PowerBank:
        """The power bank."""
        return self._wait(self.begin_get_power_bank)

    def begin_get_power_bank(self) -> Pending[PowerBank]:
        """The same, to be taken later."""
        return self._begin("get_power_bank", _library.PowerBank)

    def get_power_cycles(self) -> PowerCycles:
        """Power-cycles under way."""
        return self._wait(self.begin_get_power_cycles)

    def begin_get_power_cycles(self) -> Pending[PowerCycles]:
        """The same, to be taken later."""
        return self._begin("get_power_cycles", _library.PowerCycles)

    def get_energy_recording(self) -> bool:
        """Are the energy totals kept in flash?"""
        return self._wait(self.begin_get_energy_recording)

    def begin_get_energy_recording(self) -> Pending[bool]:
        """The same, to be taken later."""
        return self._begin("get_energy_recording", ctypes.c_uint8)

    def get_port_energy(self, port: int) -> PortEnergy:
        """Energy and history of one port."""
        return self._wait(self.begin_get_port_energy, port)

    def begin_get_port_energy(self, port: int) -> Pending[PortEnergy]:
        """The same, to be taken later."""
        return self._begin("get_port_energy", _library.PortEnergy, _byte("port", port))

    def get_energy_summary(self) -> EnergySummary:
        """Energy of all ports together and of each."""
        return self._wait(self.begin_get_energy_summary)

    def begin_get_energy_summary(self) -> Pending[EnergySummary]:
        """The same, to be taken later."""
        return self._begin("get_energy_summary", _library.EnergySummary)

    # --- changes: done means that the daemon accepted them; it applies them next ---

    def set_system(self, *, enable: bool | None = None, parameter_1: int | None = None,
                   parameter_2: int | None = None, threshold_percent: int | None = None,
                   parameter_4: int | None = None, parameter_5: int | None = None) -> None:
        """Changes what is named; what is None stays. The threshold of the usage alarm is 1 to 99 percent."""
        self._wait(self.begin_set_system, enable=enable, parameter_1=parameter_1, parameter_2=parameter_2,
                   threshold_percent=threshold_percent, parameter_4=parameter_4, parameter_5=parameter_5)

    def begin_set_system(self, *, enable: bool | None = None, parameter_1: int | None = None,
                         parameter_2: int | None = None, threshold_percent: int | None = None,
                         parameter_4: int | None = None, parameter_5: int | None = None) -> Pending[None]:
        """The same, to be taken later."""
        change = _change_of(_library.SystemSettingsChange, {
            "enable": enable, "parameter_1": parameter_1, "parameter_2": parameter_2,
            "threshold_percent": threshold_percent, "parameter_4": parameter_4, "parameter_5": parameter_5})
        return self._begin("set_system", None, ctypes.byref(change))

    def set_port(self, port: int, *, enable: bool | None = None, priority: int | None = None,
                 schedule_enable: bool | None = None, mode: int | None = None, re_enable_s: int | None = None,
                 power_limit_mw: int | None = None) -> None:
        """Changes what is named; what is None stays. A limit is a multiple of 100 mW. The daemon takes a mode or a re-enable
        time only with something else: then the priority is asked for and sent along as it is."""
        change = PortChange(enable, priority, schedule_enable, mode, re_enable_s, power_limit_mw)
        company = (enable, priority, schedule_enable, power_limit_mw)
        if change != PortChange() and all(value is None for value in company):
            change = dataclasses.replace(change, priority=self.get_port_settings(port).priority)
        self._wait(self.begin_set_port, port, change)

    def begin_set_port(self, port: int, change: PortChange) -> Pending[None]:
        """Changes what is named, to be taken later. Refused when only the mode or the re-enable time is."""
        return self._begin("set_port", None, _byte("port", port), ctypes.byref(_port_change_of(change)))

    def set_all_ports(self, changes: Sequence[PortChange]) -> None:
        """Changes every port, each in its own way; every entry must change something."""
        self._wait(self.begin_set_all_ports, changes)

    def begin_set_all_ports(self, changes: Sequence[PortChange]) -> Pending[None]:
        """The same, to be taken later."""
        if len(changes) != PORT_COUNT:
            raise usage(f"{len(changes)} changes: there are {PORT_COUNT} ports")
        raw = (_library.PortSettingsChange * PORT_COUNT)(*map(_port_change_of, changes))
        return self._begin("set_all_ports", None, raw)

    def set_all_ports_same(self, change: PortChange) -> None:
        """The same settings for all ports; nothing may be None."""
        self._wait(self.begin_set_all_ports_same, change)

    def begin_set_all_ports_same(self, change: PortChange) -> Pending[None]:
        """The same, to be taken later."""
        return self._begin("set_all_ports_same", None, ctypes.byref(_port_change_of(change)))

    def set_schedule(self, port: int, is_on: bool) -> None:
        """Tells whether a port's schedule is in an on period."""
        self._wait(self.begin_set_schedule, port, is_on)

    def begin_set_schedule(self, port: int, is_on: bool) -> Pending[None]:
        """The same, to be taken later."""
        return self._begin("set_schedule", None, _byte("port", port), _flag("is_on", is_on))

    def set_all_schedules(self, are_on: Sequence[bool | None]) -> None:
        """Tells whether each port's schedule is in an on period; None keeps what was said last."""
        self._wait(self.begin_set_all_schedules, are_on)

    def begin_set_all_schedules(self, are_on: Sequence[bool | None]) -> Pending[None]:
        """The same, to be taken later."""
        if len(are_on) != PORT_COUNT:
            raise usage(f"{len(are_on)} schedule states: there are {PORT_COUNT} ports")
        raw = (ctypes.c_int * PORT_COUNT)(*(_KEEP if is_on is None else _flag("are_on", is_on) for is_on in are_on))
        return self._begin("set_all_schedules", None, raw)

    def set_power_bank(self, bank: PowerBank) -> None:
        """Stores both numbers of the power bank."""
        self._wait(self.begin_set_power_bank, bank)

    def begin_set_power_bank(self, bank: PowerBank) -> Pending[None]:
        """The same, to be taken later."""
        raw = _library.PowerBank(limit_w=_fitting("limit_w", bank.limit_w, 0, 0xFFFF),
                                 second=_fitting("second", bank.second, 0, 0xFFFF))
        return self._begin("set_power_bank", None, ctypes.byref(raw))

    def power_cycle(self, ports: Iterable[int]) -> None:
        """Switches these ports off, and on again after the re-enable time of each. A port that was disabled is enabled by
        it."""
        self._wait(self.begin_power_cycle, ports)

    def begin_power_cycle(self, ports: Iterable[int]) -> Pending[None]:
        """The same, to be taken later."""
        return self._begin("power_cycle", None, _bitmap(ports))

    def clear_energy(self, ports: Iterable[int]) -> None:
        """Forgets these ports' energy and history."""
        self._wait(self.begin_clear_energy, ports)

    def begin_clear_energy(self, ports: Iterable[int]) -> Pending[None]:
        """The same, to be taken later."""
        return self._begin("clear_energy", None, _bitmap(ports))

    def set_energy_recording(self, is_recorded: bool) -> None:
        """Keeps the energy totals in flash, or removes them from there."""
        self._wait(self.begin_set_energy_recording, is_recorded)

    def begin_set_energy_recording(self, is_recorded: bool) -> Pending[None]:
        """The same, to be taken later."""
        return self._begin("set_energy_recording", None, _flag("is_recorded", is_recorded))

    def inject_energy_history(self, minutes: int) -> None:
        """Makes up history, to try displays with."""
        self._wait(self.begin_inject_energy_history, minutes)

    def begin_inject_energy_history(self, minutes: int) -> Pending[None]:
        """The same, to be taken later."""
        return self._begin("inject_energy_history", None, _fitting("minutes", minutes, 0, 0xFFFFFFFF))

    # --- what these stand on ---

    def _call(self, name: str, *arguments: Any) -> Any:
        if self._handle is None:
            raise usage("the connection is closed")
        return getattr(_library.library, "poe_client_" + name)(self._handle, *arguments)

    def _error(self, error: int) -> Exception:
        where = self.socket_path if error in (_library.NO_DAEMON, _library.NOT_PERMITTED) else ""
        return error_of(error, self._call("system_error"), where)

    def _begin(self, name: str, answer: Any, *arguments: Any) -> Pending[Any]:
        error = self._call("begin_" + name, *arguments)
        before = self._pending()
        if error == _library.USAGE and before is not None and not before._is_over:
            raise usage("another request of the connection is pending: take its result or cancel it first")
        if error != _library.OK:
            raise self._error(error)
        pending: Pending[Any] = Pending(self, None if answer is None else answer())
        self._pending = weakref.ref(pending)
        return pending

    def _wait(self, begin: Callable[..., Pending[_Answer]], *arguments: Any, **named: Any) -> _Answer:
        with self._turn:
            return begin(*arguments, **named).result()


def _answer_of(raw: Any) -> Any:
    if isinstance(raw, ctypes.c_uint8):
        return bool(raw.value)
    return raw.value if isinstance(raw, ctypes.c_uint32) else value_of(raw)


def _fitting(name: str, value: int, least: int, most: int) -> int:
    """A number that the protocol has room for; whether the daemon takes it, it says itself."""
    number = operator.index(value)  # a fraction is never cut off
    if not least <= number <= most:
        raise usage(f"{name} {value}: it is {least} to {most}")
    return number


def _byte(name: str, value: int) -> int:
    return _fitting(name, value, 0, 0xFF)


def _flag(name: str, value: bool) -> int:
    return _fitting(name, value, 0, 1)


def _bitmap(ports: Iterable[int]) -> int:
    bitmap = 0
    for port in ports:
        bitmap |= 1 << _fitting("port", port, 0, PORT_COUNT - 1)
    return bitmap


def _change_of(kind: Any, fields: dict[str, int | None]) -> Any:
    change = kind()
    for name, value in fields.items():
        if value is None:
            continue
        most = 0xFFFFFFFF if name == "power_limit_mw" else 0x7F
        setattr(change, name, _fitting(name, value, 0, most))
        if name == "power_limit_mw" and value % _POWER_LIMIT_STEP_MW != 0:
            raise usage(f"{name} {value}: it is a multiple of {_POWER_LIMIT_STEP_MW}")
        change.fields |= kind.BITS[name]
    return change


def _port_change_of(change: PortChange) -> Any:
    return _change_of(_library.PortSettingsChange, dataclasses.asdict(change))
