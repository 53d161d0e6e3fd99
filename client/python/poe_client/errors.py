"""Everything that can go wrong, each with a class of its own below PoeError."""
from __future__ import annotations

import os

from . import _library


class PoeError(Exception):
    """A request that was not done. `name` is the library's name for why, `system_error` the errno behind it, or 0."""

    def __init__(self, error: int, system_error: int = 0, where: str = ""):
        text = _library.library.poe_client_error_text(error).decode()
        if where:
            text += f" Socket: {where}."
        if system_error:
            text += f" Cause: {os.strerror(system_error)}."
        super().__init__(text)
        self.name: str = _library.library.poe_client_error_name(error).decode()
        self.system_error = system_error


class NoDaemonError(PoeError):
    """There is no socket at the path, or nobody behind it."""


class NotPermittedError(PoeError):
    """The socket is there, and this user may not write to it."""


class TimedOutError(PoeError, TimeoutError):
    """No answer came in time. A setting may still take effect."""


class RefusedError(PoeError):
    """The daemon answered: no such port, or a value out of range. Nothing was changed."""


class MalformedError(PoeError):
    """The answer holds what no daemon says."""


class OwnSocketError(PoeError):
    """This process could not make a socket or descriptor of its own."""


class UsageError(PoeError, ValueError):
    """Asked in a way that the library does not take. Nothing was sent."""


class InternalError(PoeError):
    """Out of memory."""


_CLASSES: dict[int, type[PoeError]] = {
    _library.NO_DAEMON: NoDaemonError,
    _library.NOT_PERMITTED: NotPermittedError,
    _library.TIMEOUT: TimedOutError,
    _library.REFUSED: RefusedError,
    _library.MALFORMED: MalformedError,
    _library.OWN_SOCKET: OwnSocketError,
    _library.USAGE: UsageError,
}


def error_of(error: int, system_error: int = 0, where: str = "") -> PoeError:
    """The exception for an error number of the library."""
    return _CLASSES.get(error, InternalError)(error, system_error, where)


def usage(why: str) -> UsageError:
    """A complaint of this module's own."""
    error = UsageError(_library.USAGE)
    error.args = (why,)
    return error
