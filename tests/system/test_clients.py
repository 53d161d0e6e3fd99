"""All kinds of senders: named in every way or not at all, gone, deaf, silent and too long; and the daemon's own sockets."""
import ctypes
import os
import re
import socket
import stat
import struct

import pytest

from messages import KEEP, acknowledgement, block, get_port_parameters, get_port_statistics, request
from world import DAEMON_SOCKET, PATIENCE_S

INTERNAL_SOCKETS = ("poe_driver_ipc_socket_internal_rx_server.txt", "poe_driver_ipc_socket_internal_tx_server.txt")
SYSTEM_PARAMETERS = bytes([0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 95, 0, 0, 0, 0])
LONGEST_NAME = 108


@pytest.fixture
def world(make_world):
    return make_world(speed=1000)


@pytest.fixture
def datagram_socket(world):
    """Makes sockets without a name that end with the test."""
    sockets = []

    def make():
        one = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_CLOEXEC)
        one.settimeout(PATIENCE_S)
        sockets.append(one)
        return one

    yield make
    for one in sockets:
        one.close()


def address_of_daemon(world):
    return str(world.tmp / DAEMON_SOCKET)


def priority(world, port):
    return world.ask(get_port_parameters(port))[10]


def nothing_more(one):
    one.setblocking(False)
    try:
        one.recv(1)
    except BlockingIOError:
        return True
    return False


# --- senders that cannot be answered ----------------------------------------------------------------------------------


def test_a_sender_without_a_name_is_served_and_nobody_is_answered(world, datagram_socket):
    earlier = world.client()
    earlier.send(b"\0")
    assert earlier.receive() == SYSTEM_PARAMETERS
    nameless = datagram_socket()
    nameless.sendto(request(129, block(1, priority=1)), address_of_daemon(world))
    for query in (b"\0", b"\5", b"\x0c"):
        nameless.sendto(query, address_of_daemon(world))
    world.wait_for("the change", lambda: priority(world, 1) == 1)
    earlier.send(b"\x0d")
    assert earlier.receive() == request(13, struct.pack("<I", 1))
    assert nothing_more(earlier._socket)


def test_a_sender_with_an_abstract_name_is_served_and_nobody_is_answered(world, datagram_socket):
    earlier = world.client("abstract")
    earlier.send(b"\0")
    assert earlier.receive() == SYSTEM_PARAMETERS
    abstract = datagram_socket()
    abstract.bind("\0" + str(earlier.path))
    abstract.sendto(request(129, block(1, priority=1)), address_of_daemon(world))
    abstract.sendto(b"\0", address_of_daemon(world))
    world.wait_for("the change", lambda: priority(world, 1) == 1)
    assert nothing_more(abstract) and nothing_more(earlier._socket)


def test_a_client_that_has_gone_does_not_disturb_the_next_one(world):
    with world.stopped_daemon():
        for kind in (5, 7, 128, 0):
            gone = world.client()
            gone.send(request(kind).ljust(16, b"\0"))
            gone.close()
        late = world.client()
        late.send(b"\0")
    assert late.receive() == SYSTEM_PARAMETERS
    lost = [line for line in world.stderr_lines() if "result_send" in line]
    assert len(lost) == 1
    assert re.fullmatch(r"\[poe_drv\.c , poe_drv_ipc_reply_get_sys_pwr_pmt\(\) , \d+\]: result_send=\(-1\)", lost[0])


# Whoever is deaf, only the replies to these three are missed aloud.
@pytest.mark.parametrize("kind, function", [(0, "poe_drv_ipc_reply_get_sys_pwr_pmt"),
                                            (12, "poe_drv_ipc_reply_get_dbg_communication_info"),
                                            (13, "poe_drv_ipc_reply_get_dbg_read_mixed_info")])
def test_a_lost_reply_is_said_for_three_queries(world, datagram_socket, kind, function):
    datagram_socket().sendto(bytes([kind]), address_of_daemon(world))
    assert world.ask(b"\0") == SYSTEM_PARAMETERS
    lost = [line for line in world.stderr_lines() if "result_send" in line]
    assert len(lost) == 1 and re.fullmatch(rf"\[poe_drv\.c , {function}\(\) , \d+\]: result_send=\(-1\)", lost[0])


def test_a_lost_reply_to_any_other_request_is_not_said(world, datagram_socket):
    before = world.stderr_lines()
    nameless = datagram_socket()
    bank = request(142, struct.pack("<HH", 300, 0))
    for one in (b"\2", b"\5", b"\7", b"\x0b", b"\x0e", b"\x0f", b"\x10", b"\x12", get_port_parameters(0),
                get_port_statistics(0), get_port_parameters(9), get_port_statistics(9), bank, request(143, b"\0"),
                request(83, b"\0"), request(144, b"\0"), request(148, bytes(4)), request(129, block(0, priority=3))):
        nameless.sendto(one, address_of_daemon(world))
    assert world.ask(b"\0") == SYSTEM_PARAMETERS
    assert world.stderr_lines()[len(before):] == []


# --- senders that can -------------------------------------------------------------------------------------------------


def bind_whole(one, name):
    """Binds to a name of up to 108 bytes; Python's own bind stops at 107."""
    address = struct.pack("=H108s", socket.AF_UNIX, name.encode())
    length = 2 + min(LONGEST_NAME, len(name) + 1)
    libc = ctypes.CDLL(None, use_errno=True)
    assert libc.bind(one.fileno(), address, length) == 0, os.strerror(ctypes.get_errno())


@pytest.mark.parametrize("length", [106, 107, 108])
def test_a_name_of_any_length_up_to_108_bytes_is_answered(world, datagram_socket, length):
    name = f"{world.tmp}/".ljust(length, "n")
    long_named, short_named = datagram_socket(), world.client("s")
    bind_whole(long_named, name)
    for _ in range(2):
        long_named.sendto(b"\0", address_of_daemon(world))
        short_named.send(b"\0")
        assert long_named.recv(100) == short_named.receive() == SYSTEM_PARAMETERS
    assert nothing_more(long_named) and nothing_more(short_named._socket)


def test_a_name_that_another_name_begins_with_is_told_apart(world, datagram_socket):
    longer, shorter = world.client("client-name-that-goes-on"), world.client("client-name")
    longer.send(b"\0")
    assert longer.receive() == SYSTEM_PARAMETERS
    shorter.send(b"\x0d")
    assert shorter.receive() == request(13, bytes(4))
    assert nothing_more(longer._socket)


def test_a_reply_comes_from_the_daemons_name(world):
    client = world.client()
    client.send(b"\0")
    client._socket.settimeout(PATIENCE_S)
    assert client._socket.recvfrom(100) == (SYSTEM_PARAMETERS, f"/tmp/{DAEMON_SOCKET}")


def test_a_connected_client_is_answered(world):
    client = world.client()
    client._socket.connect(address_of_daemon(world))
    client._socket.send(b"\0")
    assert client.receive() == SYSTEM_PARAMETERS


def test_each_of_many_clients_gets_its_own_reply(world):
    clients = [world.client() for _ in range(40)]
    with world.stopped_daemon():
        # No more than the daemon's socket holds; the others wait their turn.
        for port, client in enumerate(clients[:10]):
            client.send(get_port_statistics(port % 4))
    for port, client in enumerate(clients[10:]):
        client.send(get_port_statistics(port % 4))
    for port, client in [*enumerate(clients[:10]), *enumerate(clients[10:])]:
        assert struct.unpack("<I", client.receive()[8:12])[0] == port % 4
        assert nothing_more(client._socket)


# --- senders that do not read -----------------------------------------------------------------------------------------


def test_a_client_that_never_reads_loses_its_own_replies_only(world):
    deaf, healthy = world.client(), world.client()
    for _ in range(30):
        deaf.send(b"\x0b")
        healthy.send(b"\0")
        assert healthy.receive() == SYSTEM_PARAMETERS
    replies = 0
    while not nothing_more(deaf._socket):
        replies += 1
    assert 0 < replies < 30
    deaf.send(b"\0")
    assert deaf.receive() == SYSTEM_PARAMETERS


# Only root may enlarge the send buffer that far.
@pytest.mark.only_if(os.geteuid() == 0)
def test_four_hundred_clients_that_never_read_leave_room_for_a_healthy_one(world):
    clients = [world.client() for _ in range(400)]
    for client in clients:
        for _ in range(12):
            client.send(b"\x0b")
    for kind, length in ((0, 16), (7, 376), (11, 396)):
        assert len(world.ask(bytes([kind]))) == length


def test_requests_are_applied_though_nobody_reads_the_acknowledgements(world):
    deaf = world.client()
    for limit in range(10, 60):
        deaf.send(request(129, block(3, limit=limit)))
    world.wait_for("the last one", lambda: world.ask(get_port_parameters(3))[16:] == struct.pack("<I", 59))


# --- what is sent -----------------------------------------------------------------------------------------------------


def test_an_empty_datagram_is_passed_over(world):
    before = world.stderr_lines()
    client = world.client()
    client.send(b"")
    client.send(b"\x0d")
    assert client.receive() == request(13, bytes(4))
    client.send(b"")
    assert world.ask(b"\0") == SYSTEM_PARAMETERS
    assert nothing_more(client._socket) and world.stderr_lines() == before


@pytest.mark.parametrize("length", [2353, 65536, 150_000])
def test_a_datagram_of_any_size_is_cut_to_2352_bytes(world, length):
    client = world.client()
    client.send(get_port_statistics(2).ljust(length, b"\xff"))
    assert client.receive()[:12] == bytes([17, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0])
    client.send(request(129, block(0, priority=1)).ljust(length, b"\0"))
    client.send(b"\0")
    assert client.receive() == SYSTEM_PARAMETERS
    assert world.stderr_lines()[-1].endswith("]: set-one-port-pmt size error!")


def test_nothing_of_a_longer_datagram_stays_for_a_shorter_one(world):
    client = world.client()
    client.send(request(129, block(1, priority=1)).ljust(2352, b"\1"))
    client.send(bytes([129]))
    client.send(bytes([1]))
    client.send(b"\0")
    assert client.receive() == SYSTEM_PARAMETERS
    assert priority(world, 1) == 3


# --- the daemon's sockets ---------------------------------------------------------------------------------------------


def test_three_datagram_sockets_are_for_owner_and_group_only(world, datagram_socket):
    for name in (DAEMON_SOCKET, *INTERNAL_SOCKETS):
        mode = (world.tmp / name).stat().st_mode
        assert stat.S_ISSOCK(mode) and stat.S_IMODE(mode) == 0o660, name
        datagram_socket().connect(str(world.tmp / name))


def test_the_internal_sockets_carry_no_traffic(world, datagram_socket):
    client = world.client()
    for name in INTERNAL_SOCKETS:
        client._socket.sendto(b"\0", str(world.tmp / name))
        client._socket.sendto(request(129, block(0, priority=1)), str(world.tmp / name))
    client.send(request(142, bytes(4)))
    assert client.receive() == acknowledgement(142)
    world.wait_for("the bank", lambda: world.ask(bytes([14])) == request(14, bytes(4)))
    assert nothing_more(client._socket) and priority(world, 0) == 3


def test_every_descriptor_is_closed_on_exec(world):
    folder = f"/proc/{world.daemon()['pid']}/fdinfo"
    own = [int(one) for one in os.listdir(folder) if int(one) > 2]
    assert len(own) >= 4
    for one in own:
        with open(f"{folder}/{one}", encoding="ascii") as information:
            flags = int(re.search(r"flags:\s*(\d+)", information.read())[1], 8)
        assert flags & os.O_CLOEXEC, os.readlink(f"/proc/{world.daemon()['pid']}/fd/{one}")


def test_a_stale_socket_file_is_replaced(world):
    first = world.daemon()["pid"]
    old = (world.tmp / DAEMON_SOCKET).stat().st_ino
    os.kill(first, 9)
    world.wait_for("the end", lambda: not world.daemon()["running"])
    assert (world.tmp / DAEMON_SOCKET).stat().st_ino == old
    world.start_daemon()
    assert world.ask(b"\0") == SYSTEM_PARAMETERS


@pytest.mark.parametrize("name, which", zip((DAEMON_SOCKET, *INTERNAL_SOCKETS),
                                            ("external program", "internal thread rx", "internal thread tx")))
def test_a_file_in_a_sockets_place_stops_the_start_and_stays(make_world, name, which):
    world = make_world(tmp={name: "mine"}, ready="started", stays=False)
    assert world.wait_for_exit() == 1
    text = f"[IPC for {which}]: opening datagram socket OR binding name to datagram socket!"
    assert world.stderr_lines() == [text] and world.status_line() == text
    assert (world.tmp / name).read_text() == "mine"


def test_a_reader_of_its_lines_that_goes_away_does_not_end_it(make_world, tmp_path):
    log = tmp_path / "log"
    os.mkfifo(log)
    reader = os.open(log, os.O_RDONLY | os.O_NONBLOCK)
    world = make_world(speed=1000, options=["--daemon-log", log])
    os.close(reader)
    client = world.client()
    client.send(request(129, block(0, priority=KEEP)))
    assert client.receive() == acknowledgement(129, 1)
    world.vswitch("plug", "1", "--class", "3", "--load", "5")
    assert world.ask(request(129, block(0, enable=1))) == acknowledgement(129)
    world.wait_for("the LED's line to be lost", lambda: world.show()["leds"][0] == "on")
    assert world.ask(b"\0") == SYSTEM_PARAMETERS and world.daemon()["starts"] == 1
