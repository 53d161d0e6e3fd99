"""Something in the daemon's place that answers as a test wants: to see how a client meets a daemon that refuses, hangs,
knows nothing yet, or talks nonsense. It answers from a thread of its own until it is closed."""
import itertools
import os
import pathlib
import socket
import struct
import threading

ENVELOPE = 8
# Length of the reply to each query; everything else is acknowledged by the envelope alone.
REPLY_LENGTHS = {0: 16, 1: 20, 2: 56, 5: 28, 6: 100, 7: 376, 11: 396, 12: 80, 13: 12, 14: 12, 15: 44, 16: 9, 17: 2352,
                 18: 168}
REPLY_TYPES = {6: 134, 7: 1}
PORTS = range(4)
SETTINGS_BLOCK, STATUS_BLOCK = 12, 92
NO_NUMBER = struct.pack("<f", float("nan"))


def _settings(port):
    return struct.pack("<BbbbbbxxI", port, 1, 3, 0, 2, 10, 900)


def _status(port, code):
    head = struct.pack("<BbbbBBBBIIIIII", port, 1, 0, 1, 255, 255, 255, 1, code, 0, 0, 0, 0, 0)
    pair_set = struct.pack("<BBBxIIII", 255, 255, 255, 0, 0, 0, 0)
    return head + 2 * pair_set + struct.pack("<5I", 0, 0, 0, 0, 0)


_answered = itertools.count(1)


def reply_to(request, codes=(1, 2, 3, 0)):
    """What a daemon says whose ports have these status codes, whose controller answers, and which knows nothing else."""
    kind = request[0]
    reply = bytearray(REPLY_LENGTHS.get(kind, ENVELOPE))
    reply[0] = REPLY_TYPES.get(kind, kind)
    port = request[ENVELOPE] if len(request) > ENVELOPE else 0
    if kind == 1:
        reply[8:] = _settings(port)
    elif kind == 2:
        reply[8:] = b"".join(map(_settings, PORTS))
    elif kind == 6:
        reply[8:] = _status(port, codes[port])
    elif kind == 7:
        reply[8:] = b"".join(_status(one, codes[one]) for one in PORTS)
    elif kind == 11:
        reply[28:] = b"".join(_status(one, codes[one]) for one in PORTS)
    elif kind == 12:
        reply[40:48] = struct.pack("<Q", next(_answered))
    elif kind == 17:
        reply[8] = port
        reply[16:20] = NO_NUMBER
    elif kind == 18:
        reply[12:16] = NO_NUMBER
    assert len(reply) == REPLY_LENGTHS.get(kind, ENVELOPE)
    return bytes(reply)


def refusal_of(request):
    reply = bytearray(REPLY_LENGTHS.get(request[0], ENVELOPE))
    reply[0], reply[7] = REPLY_TYPES.get(request[0], request[0]), 1
    return bytes(reply)


def nonsense_to(request):
    reply = bytearray(reply_to(request))
    reply[7] = 7
    return bytes(reply)


class StandIn:
    """answer: from a request to its reply; nothing for none."""

    def __init__(self, path, answer):
        self.path = pathlib.Path(path)
        self._answer = answer
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_CLOEXEC)
        self._socket.bind(str(self.path))
        self._thread = threading.Thread(target=self._serve)
        self._thread.start()

    def _serve(self):
        while True:
            request, client = self._socket.recvfrom(4096)
            if not request:
                return
            reply = self._answer(request)
            if reply:
                try:
                    self._socket.sendto(reply, client)
                except OSError:
                    continue  # the client has gone

    def close(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as last:
            last.sendto(b"", str(self.path))
        self._thread.join()
        self._socket.close()
        os.unlink(self.path)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
