"""Requests as bytes, for tests that talk to the daemon as any client would."""
import struct

KEEP = -1
KEEP_LIMIT = 0xFFFFFFFF
ACCEPTED, REJECTED = 0, 1


def request(kind, payload=b""):
    return bytes([kind, 0, 0, 0, 0, 0, 0, 0]) + bytes(payload)


def block(port, enable=KEEP, priority=KEEP, schedule=KEEP, mode=KEEP, re_enable=KEEP, limit=KEEP_LIMIT):
    """12 bytes of port parameters, in the order of the wire; everything that is not said is kept."""
    return struct.pack("<BbbbbbxxI", port, enable, priority, schedule, mode, re_enable, limit)


def acknowledgement(kind, result=ACCEPTED):
    return bytes([kind, 0, 0, 0, 0, 0, 0, result])


def get_port_parameters(port):
    return request(1, bytes([port]) + bytes(11))


def get_port_status(port):
    return request(6, bytes([port]) + bytes(91))


def get_port_statistics(port):
    return request(17, struct.pack("<I", port) + bytes(2340))
