"""Ask the PoE daemon for the ports' state, and change their configuration.

    import poe_client

    with poe_client.Connection() as daemon:
        for port in daemon.get_all_port_status():
            print(port.panel_number, port.status_name, port.power_mw / 1000, "W")
        daemon.set_port(2, enable=True, power_limit_mw=15400)

Ports are 0..3, as the daemon counts; a person sees 1..4 (`panel_number`). Units are in the names. What goes wrong is an
exception below `PoeError`. A change that returns was accepted; ask to see its effect.

The module finds libpoe_client in the prefix that it is installed in; $POE_CLIENT_LIBRARY names another one.
"""
from ._library import library as _raw
from .connection import DEFAULT_TIMEOUT_S, Connection, Pending
from .errors import (InternalError, MalformedError, NoDaemonError, NotPermittedError, OwnSocketError, PoeError, RefusedError,
                     TimedOutError, UsageError)
from .values import (PORT_COUNT, CommunicationCounters, EnergyAverage, EnergyFigures, EnergySlot, EnergySummary, EventTotals,
                     PairSetStatus, PortChange, PortEnergy, PortSettings, PortStatus, PowerBank, PowerCycles,
                     PowerCycleState, Priority, Status, SystemSettings, SystemStatus, WholeStatus, status_cause,
                     status_meaning, status_name, status_remedy)

__all__ = [
    "Connection", "Pending", "DEFAULT_TIMEOUT_S", "PORT_COUNT", "Priority", "Status", "status_name", "status_meaning",
    "status_cause", "status_remedy", "SystemSettings", "PortSettings", "PortChange", "PowerBank", "SystemStatus", "PairSetStatus", "EventTotals",
    "PortStatus", "WholeStatus", "PowerCycleState", "PowerCycles", "CommunicationCounters", "EnergySlot", "PortEnergy",
    "EnergyAverage", "EnergyFigures", "EnergySummary", "PoeError", "NoDaemonError", "NotPermittedError",
    "TimedOutError", "RefusedError", "MalformedError", "OwnSocketError", "UsageError", "InternalError", "version",
    "remove_names_on_signals",
]


def version() -> str:
    """The version of the library that runs."""
    number = _raw.poe_client_version()
    return f"{number // 10000}.{number // 100 % 100}.{number % 100}"


def remove_names_on_signals() -> None:
    """From now on SIGTERM and the like remove this process's names from the file system before they end it, where the
    program has no handler of its own. Without it only an ordinary end of the program does."""
    _raw.poe_client_remove_names_on_signals()
