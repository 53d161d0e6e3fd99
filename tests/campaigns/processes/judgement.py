"""What must hold of a daemon and its files, whatever was done to it."""
import os
import re
import stat
import struct

from messages import request
from tracing import NOT_THE_DAEMONS, RUNNING

VERSION_FILE = "poe_driver_chip_information.txt"
MARK_FILES = tuple(f"poe_error_{kind}.txt" for kind in ("tx_checksum", "rx_timeout", "rx_checksum"))
STATISTICS_FILE = "poe_statistics.txt"
PROGRAMMING_MARK = "poe_controller_programming"  # while it stands, it is empty
LINES = {
    PROGRAMMING_MARK: re.compile("(?!)"),
    "poe_status": re.compile(re.escape(RUNNING) + "|poe device driver open.*fail!|poe_thread_.*fail!|.IPC for .*"),
    VERSION_FILE: re.compile(r"SW_VERSION:[0-9a-f]{2,4}"),
    **{name: re.compile("1|10|100") for name in MARK_FILES},
    STATISTICS_FILE: re.compile(r"[0-3], \d+, \d+"),
}
THREADS = 3
LOOKS = 40


def answers(world):
    reply = world.ask(bytes(8))
    assert len(reply) == 16 and reply[:8] == bytes(8), reply
    return True


def tick(world):
    return struct.unpack_from("<I", world.ask(request(15, bytes(36))), 8)[0]


def threads_of(pid):
    return len(os.listdir(f"/proc/{pid}/task"))


def descriptors_of(pid):
    """Those that are open for longer than a moment: the fewest of many looks."""
    return min(len(os.listdir(f"/proc/{pid}/fd")) for _ in range(LOOKS))


def works(world, pid=None):
    """Clients are served, the tick counts, the ports are polled, by the threads that there should be."""
    assert answers(world)
    then, frames = tick(world), world.vswitch("frames", "--last", 1)["total"]
    world.wait_for("ticks", lambda: tick(world) != then)
    world.wait_for("two sweeps", lambda: len(world.frames("--after", frames, "--key", "41")) >= 2)
    threads = threads_of(pid) if pid else world.daemon_threads()
    assert threads == THREADS, threads


def is_whole(name, content):
    """No line of it is torn, and none is a stranger."""
    if not content:
        return True
    lines = content.decode("latin-1").split("\n")
    return lines.pop() == "" and all(LINES[name].fullmatch(line) for line in lines)


def files_are_whole(world, drafts=()):
    """Every file that the daemon left in /tmp and /flash; a draft may be anything, and nobody reads it."""
    for folder in (world.tmp, world.flash):
        for name in os.listdir(folder):
            if name in NOT_THE_DAEMONS or name in drafts or not stat.S_ISREG((folder / name).lstat().st_mode):
                continue
            content = (folder / name).read_bytes()
            assert name in LINES, f"{folder / name}: whose file is that?"
            assert is_whole(name, content), f"{folder / name} is torn: {content!r}"


def configuration(world):
    return world.show()["configuration"]


def is_powered(world, port=1):
    here = world.show()["ports"][port - 1]
    return here["power_on"] and here["state"] == "delivering"
