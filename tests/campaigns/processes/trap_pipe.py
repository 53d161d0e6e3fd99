"""Something wrong with the trap pipe while ports come and go: sweeps and clients go on, and a mended pipe gets whole traps."""
import contextlib
import fcntl
import functools
import os
import socket

from cells import Cell
from judgement import descriptors_of, works
from supervised import ask_for_traps, let_sweeps_pass, set_port, tell
from tracing import SPEED, Pool, World

PIPE = "snmp_proc_pipe"
TRAP, HEADER = 21, bytes([0xAB, 0x31, 0x12, 0x83, 0x07])
SHORT_TOGGLES, LONG_TOGGLES = 3, 40
FILLING = b"x"
F_SETPIPE_SZ = 1031
PAGE = 4096


def reporting():
    """Every change of a port is reported."""
    world = World(speed=SPEED).start()
    ask_for_traps(world)
    return world


def clear(world):
    with contextlib.suppress(FileNotFoundError):
        if (world.tmp / PIPE).is_dir() and not (world.tmp / PIPE).is_symlink():
            (world.tmp / PIPE).rmdir()
        else:
            (world.tmp / PIPE).unlink()


def make_pipe(world):
    clear(world)
    os.mkfifo(world.tmp / PIPE)
    return world.tmp / PIPE


def listen(world):
    return os.open(world.tmp / PIPE, os.O_RDONLY | os.O_NONBLOCK)


def hear(agent):
    try:
        return os.read(agent, 1 << 20)
    except BlockingIOError:
        return b""


def are_whole(heard):
    return len(heard) % TRAP == 0 and all(heard[at:].startswith(HEADER) for at in range(0, len(heard), TRAP))


def toggle(world, times):
    """Each is a change of port 2, and a trap."""
    for at in range(times):
        tell(world, set_port(1, enable=at % 2))
        let_sweeps_pass(world)


# --- what is wrong with it --------------------------------------------------------------------------------------------


def fill(world, room):
    """A pipe of one page with `room` bytes left; the descriptor that holds it."""
    make_pipe(world)
    holder = os.open(world.tmp / PIPE, os.O_RDWR | os.O_NONBLOCK)
    size = fcntl.fcntl(holder, F_SETPIPE_SZ, PAGE)
    os.write(holder, FILLING * (size - room))
    return holder, FILLING * (size - room)


def full(world, times, room=0):
    holder, filling = fill(world, room)
    toggle(world, times)
    held = hear(holder)
    assert held[:len(filling)] == filling and are_whole(held[len(filling):]), held[len(filling):]
    assert len(held) - len(filling) == room // TRAP * TRAP, len(held) - len(filling)
    os.close(holder)


def nobody_reads(world, times):
    make_pipe(world)
    toggle(world, times)


def reader_comes_and_goes(world, times):
    """It takes half a trap and is gone; whoever comes next gets whole ones."""
    make_pipe(world)
    for at in range(times):
        agent = listen(world)
        toggle(world, 2)
        heard = os.read(agent, TRAP // 2)
        assert HEADER.startswith(heard[:len(HEADER)]) and len(heard) == TRAP // 2, heard
        if at % 2:
            toggle(world, 1)
        os.close(agent)
    agent = listen(world)
    toggle(world, 2)
    heard = hear(agent)
    assert heard and are_whole(heard), heard
    os.close(agent)


def a_file(content):
    def stands_there(world, times):
        clear(world)
        (world.tmp / PIPE).write_bytes(content)
        toggle(world, times)
        left = (world.tmp / PIPE).read_bytes()
        assert left[TRAP:] == content[TRAP:] and len(left) in (len(content), TRAP), left
    return stands_there


def nothing(world, times):
    clear(world)
    toggle(world, times)
    assert not (world.tmp / PIPE).exists()


def a_folder(world, times):
    clear(world)
    (world.tmp / PIPE).mkdir()
    toggle(world, times)


def a_link_to(target):
    def stands_there(world, times):
        clear(world)
        (world.tmp / "elsewhere").write_text("kept")
        (world.tmp / PIPE).symlink_to(target)
        toggle(world, times)
        assert (world.tmp / "elsewhere").read_text() == "kept"
        (world.tmp / "elsewhere").unlink()
    return stands_there


def a_socket(world, times):
    clear(world)
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as one:
        one.bind(str(world.tmp / PIPE))
        one.listen(1)
        toggle(world, times)


def replaced_all_the_time(world, times):
    for at in range(times):
        (nothing, a_folder, nobody_reads, a_file(b""))[at % 4](world, 2)


CASES = {
    "no reader": nobody_reads, "full": full, "room for less than a trap": functools.partial(full, room=TRAP - 1),
    "room for two and a half": functools.partial(full, room=2 * TRAP + TRAP // 2),
    "reader gone in the middle": reader_comes_and_goes, "an empty file": a_file(b""),
    "a file": a_file(b"somebody else's file\n" * 10), "nothing": nothing, "a folder": a_folder,
    "a link to a file": a_link_to("elsewhere"), "a link to nothing": a_link_to("/no/where"),
    "a link to itself": a_link_to(PIPE), "a link to a full device": a_link_to("/dev/full"), "a socket": a_socket,
    "one after the other": replaced_all_the_time,
}


def case(pool, name, times):
    with pool.world() as world:
        pid, said = world.daemon()["pid"], world.stderr_lines()
        descriptors = descriptors_of(pid)
        CASES[name](world, times)
        works(world)
        assert descriptors_of(pid) == descriptors, descriptors_of(pid)
        make_pipe(world)
        agent = listen(world)
        toggle(world, 4)
        heard = hear(agent)
        os.close(agent)
        assert len(heard) >= 3 * TRAP and are_whole(heard), heard
        assert world.daemon()["pid"] == pid and world.stderr_lines() == said, world.stderr_lines()[len(said):]
    return 1


def plan(of):
    pool = Pool(reporting)
    of.afterwards.append(pool.close)
    return [Cell(name, functools.partial(case, pool, name, LONG_TOGGLES if of.long else SHORT_TOGGLES))
            for name in CASES]
