"""Clients that do everything wrong: the daemon serves the others all the same, and answers nobody but who asked."""
import errno
import os
import socket
import stat
import struct

import pytest

from messages import acknowledgement, block, get_port_parameters, get_port_statistics, get_port_status, request
from world import DAEMON_SOCKET

SYSTEM_PARAMETERS = bytes([0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 95, 0, 0, 0, 0])
DEAF_CLIENTS = 400
REQUESTS_EACH = 12
NOBODY = "65534"
RESTING_LOOKS = 25

# Every request whose reply has at most 396 bytes, by what its reply must be: type and length.
REPLIES_UP_TO_396 = {
    b"\0": (0, 16), get_port_parameters(2): (1, 20), b"\2": (2, 56), b"\5": (5, 28), get_port_status(3): (134, 100),
    b"\7": (1, 376), b"\x0b": (11, 396), b"\x0c": (12, 80), b"\x0d": (13, 12), b"\x0e": (14, 12), b"\x0f": (15, 44),
    b"\x10": (16, 9), b"\x12": (18, 168), request(83, b"\0"): (83, 8), request(142, struct.pack("<HH", 300, 0)): (142, 8),
    request(143, b"\0"): (143, 8), request(144, b"\0"): (144, 8), request(148, bytes(4)): (148, 8),
    request(129, block(0, priority=3)): (129, 8), request(129, block(9, priority=3)): (129, 8)}


@pytest.fixture
def world(make_world):
    return make_world(speed=1000)


def address_of_daemon(world):
    return str(world.tmp / DAEMON_SOCKET)


def nothing_more(client):
    return client.hears_nothing(for_s=0)


def expect_reply(client, one):
    client.send(one)
    reply = client.receive()
    assert (reply[0], len(reply)) == REPLIES_UP_TO_396[one]


# --- clients that do not read -----------------------------------------------------------------------------------------


# Only root may enlarge the send buffer that far.
@pytest.mark.only_if(os.geteuid() == 0)
@pytest.mark.parametrize("asked", [b"\0", b"\7", b"\x0b", b"\x12", "each"],
                         ids=["type-0", "type-7", "type-11", "type-18", "every-type"])
def test_a_healthy_client_gets_every_reply_beside_four_hundred_that_never_read(world, asked):
    every = list(REPLIES_UP_TO_396)
    healthy = world.client()
    deaf = [world.client() for _ in range(DEAF_CLIENTS)]
    for number, client in enumerate(deaf):
        for turn in range(REQUESTS_EACH):
            client.send(every[(number + turn) % len(every)] if asked == "each" else asked)
        expect_reply(healthy, every[number % len(every)])
    for one in every:
        expect_reply(healthy, one)
    assert nothing_more(healthy)


@pytest.mark.only_if(os.geteuid() == 0)
def test_a_connected_client_that_never_reads_does_not_take_the_others_replies(world):
    greedy, healthy = world.client(), world.client()
    greedy._socket.connect(address_of_daemon(world))
    # Many more than the daemon's send buffer has room for.
    for _ in range(200):
        for _ in range(100):
            greedy.send(b"\x0b")
        expect_reply(healthy, b"\x0b")
    assert nothing_more(healthy)


def test_a_connected_client_is_answered_again_once_it_reads(world):
    greedy = world.client()
    greedy._socket.connect(address_of_daemon(world))
    for _ in range(20_000):
        greedy.send(b"\x0b")
    assert world.ask(b"\0") == SYSTEM_PARAMETERS
    replies = 0
    while not nothing_more(greedy):
        replies += 1
    assert 0 < replies < 20_000
    greedy.send(b"\0")
    assert greedy.receive() == SYSTEM_PARAMETERS and nothing_more(greedy)


# --- clients that vanish, and names that change hands ------------------------------------------------------------------


def test_replies_to_clients_that_vanish_go_to_nobody(world):
    watcher = world.client()
    with world.stopped_daemon():
        for one in (b"\0", b"\7", b"\x0b", get_port_statistics(1), request(129, block(1, priority=1)), b"\x0c", b"\x0d"):
            gone = world.client()
            gone.send(one)
            gone.close()
        watcher.send(b"\0")
    assert watcher.receive() == SYSTEM_PARAMETERS and nothing_more(watcher)
    world.wait_for("the change", lambda: world.ask(get_port_parameters(1))[10] == 1)


def test_a_name_that_another_socket_took_over_gets_what_was_asked_under_it_and_nobody_else_does(world):
    watcher = world.client()
    with world.stopped_daemon():
        first = world.client("shared-name")
        first.send(b"\x0b")
        first.path.unlink()
        second = world.client("shared-name")
        second.send(b"\0")
        watcher.send(b"\x0d")
    assert len(second.receive()) == 396
    assert second.receive() == SYSTEM_PARAMETERS
    assert watcher.receive() == request(13, bytes(4))
    assert nothing_more(first) and nothing_more(second) and nothing_more(watcher)


@pytest.mark.parametrize("what", ["file", "folder", "pipe", "dangling link"])
def test_a_name_that_is_no_socket_any_more_loses_the_reply_and_stays_as_it_is(world, what):
    with world.stopped_daemon():
        gone = world.client("changed")
        gone.send(b"\x0b")
        gone.path.unlink()
        if what == "file":
            gone.path.write_bytes(b"mine")
        elif what == "folder":
            gone.path.mkdir()
        elif what == "pipe":
            os.mkfifo(gone.path)
        else:
            gone.path.symlink_to("nowhere")
        later = world.client()
        later.send(b"\0")
    assert later.receive() == SYSTEM_PARAMETERS and nothing_more(later) and nothing_more(gone)
    mode = gone.path.lstat().st_mode
    assert {"file": stat.S_ISREG, "folder": stat.S_ISDIR, "pipe": stat.S_ISFIFO, "dangling link": stat.S_ISLNK}[what](mode)
    if what == "file":
        assert gone.path.read_bytes() == b"mine"
    if what == "folder":
        gone.path.rmdir()


def test_a_socket_of_another_kind_under_the_name_gets_no_reply(world):
    with world.stopped_daemon():
        gone = world.client("changed")
        gone.send(b"\0")
        gone.path.unlink()
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as stream:
            stream.bind(str(gone.path))
            stream.listen()
    assert world.ask(b"\0") == SYSTEM_PARAMETERS


@pytest.mark.parametrize("asked", [b"\0", b"\2", get_port_parameters(1), get_port_statistics(1)],
                         ids=["type-0", "type-2", "type-1", "type-17"])
def test_a_name_that_leads_to_the_daemon_itself_ends_after_one_reply(world, asked):
    """These replies are well-formed requests; answered under the daemon's own name they would go round for ever."""
    with world.stopped_daemon():
        client = world.client("leads-back")
        client.send(asked)
        client.path.unlink()
        client.path.symlink_to(DAEMON_SOCKET)
    assert world.ask(b"\0") == SYSTEM_PARAMETERS
    pid = world.daemon()["pid"]
    looks = []

    def rests():
        looks.append(world._state_of(f"{pid}/task/{pid}"))
        return len(looks) > RESTING_LOOKS and set(looks[-RESTING_LOOKS:]) == {"S"}

    world.wait_for("the daemon's first thread to wait for requests", rests)
    assert nothing_more(client)


TAKE_THE_DAEMONS_NAME = """
import os, socket, sys
name, moved, request = sys.argv[1], sys.argv[1] + ".moved", bytes.fromhex(sys.argv[2])
os.rename(name, moved)
impostor, honest = (socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) for _ in range(2))
impostor.bind(name)
honest.bind("/tmp/honest")
honest.settimeout(30)
impostor.sendto(request, moved)
impostor.sendto(bytes(1), moved)
honest.sendto(bytes(1), moved)
print(len(honest.recv(4096)))  # requests are served in the order of their arrival
try:
    print("answered:", impostor.recv(4096, socket.MSG_DONTWAIT))
except BlockingIOError:
    print("not answered")
os.rename(moved, name)
"""


def test_a_client_that_took_the_daemons_name_is_not_answered(world):
    told = world.exec("/usr/bin/python3", "-c", TAKE_THE_DAEMONS_NAME, f"/tmp/{DAEMON_SOCKET}",
                      request(129, block(1, priority=1)).hex())
    assert told.stdout.splitlines() == [str(len(SYSTEM_PARAMETERS)), "not answered"], told
    world.wait_for("the change", lambda: world.ask(get_port_parameters(1))[10] == 1)


# --- one byte less, one byte more --------------------------------------------------------------------------------------

SIZED = {1: 20, 6: 100, 17: 2352, 83: 9, 128: 16, 129: 20, 130: 56, 132: 20, 137: 12, 138: 24, 142: 12, 143: 9, 144: 9, 148: 12}


@pytest.mark.parametrize("kind, length", SIZED.items())
def test_one_byte_short_one_byte_long_and_far_too_long_get_no_reply_but_a_line(world, kind, length):
    client = world.client()
    before = len(world.stderr_lines())
    wrong = [length - 1, length + 1, 200_000] if length < 2352 else [length - 1]
    for one in wrong:
        client.send(bytes([kind]).ljust(one, b"\0"))
    client.send(b"\x0d")
    assert client.receive() == request(13, bytes(4)) and nothing_more(client)
    said = world.stderr_lines()[before:]
    assert len(said) == len(wrong) and all(line.endswith(" size error!") for line in said)


def test_nothing_at_all_and_200000_bytes_between_requests_change_nothing(world):
    client = world.client()
    for one in (b"", b"\xff" * 200_000, b"\0" * 200_000, b"", b"\3" * 200_000):
        client.send(one)
    assert client.receive() == SYSTEM_PARAMETERS
    client.send(b"\x0d")
    assert client.receive() == request(13, bytes(4)) and nothing_more(client)


# --- clients that may not ----------------------------------------------------------------------------------------------

ASK_AS_SOMEBODY = """
import os, socket, sys
one = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
own = "/tmp/somebody-%d" % os.getpid()
one.bind(own)
os.chmod(own, 0o666)
one.settimeout(30)
try:
    one.sendto(b"\\0", sys.argv[1])
    print(one.recv(100).hex())
except OSError as problem:
    print(problem.errno)
finally:
    os.unlink(own)
"""


def ask_in_world(world, who, name):
    """What a process of another user gets when it asks from inside the world: the reply, or the error's number."""
    done = world.exec(*who, "/usr/bin/python3", "-c", ASK_AS_SOMEBODY, f"/tmp/{name}")
    assert done.returncode == 0, done.stderr
    return done.stdout.strip()


@pytest.mark.only_if(os.geteuid() == 0)
@pytest.mark.parametrize("name", [DAEMON_SOCKET, "poe_driver_ipc_socket_internal_rx_server.txt",
                                  "poe_driver_ipc_socket_internal_tx_server.txt"])
def test_an_unprivileged_process_cannot_reach_the_sockets(world, name):
    nobody = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"]
    assert ask_in_world(world, nobody, name) == str(errno.EACCES)


@pytest.mark.only_if(os.geteuid() == 0)
def test_a_process_of_the_daemons_group_is_served(world):
    member = ["setpriv", f"--reuid={NOBODY}", f"--regid={os.getegid()}", "--clear-groups"]
    assert ask_in_world(world, member, DAEMON_SOCKET) == SYSTEM_PARAMETERS.hex()
