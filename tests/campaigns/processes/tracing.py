"""A world whose daemon can be started under strace: to write down its system calls, and to strike at one of them."""
import collections
import contextlib
import dataclasses
import itertools
import re
import shutil
import subprocess
import tempfile

from places import HERE
from world import PREFIX, STATUS_FILE, WORLDS, World

SPEED = 10_000
RUNNING = "poe user space driver running."
ORDERS, LOG = "strace_orders", "strace_log"
NOT_THE_DAEMONS = (ORDERS, LOG)
CALL = re.compile(r"^(?:\d+ +)?(\w+)\(")


@dataclasses.dataclass(frozen=True)
class Point:
    """The `count`th system call `name` of one thread."""
    name: str
    count: int
    text: str = dataclasses.field(compare=False)

    def __str__(self):
        return f"{self.name} {self.count}"


def points_in(log):
    """One point for each call in a log, in its order; a thread of the log counts for itself."""
    counts = collections.Counter()
    points = []
    for line in log:
        if not (match := CALL.match(line)):
            continue
        thread = line.split()[0] if line[0].isdigit() else ""
        counts[thread, match[1]] += 1
        points.append(Point(match[1], counts[thread, match[1]], line))
    return points


class Wrapper:
    """The program that the world starts: see traced.c. Its folder is short-lived and reachable inside worlds."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="traced-", dir=WORLDS)
        self.program = f"{self.folder}/traced"
        subprocess.run(["cc", "-static", "-O1", "-Wall", "-Werror", "-o", self.program, HERE / "traced.c"], check=True)

    def remove(self):
        shutil.rmtree(self.folder)


WRAPPER = []


def wrapper():
    if not WRAPPER:
        WRAPPER.append(Wrapper())
    return WRAPPER[0]


class TracedWorld(World):
    def __init__(self, **how):
        arguments = [PREFIX / "sbin/poe_drv", STATUS_FILE]
        super().__init__(**{"program": wrapper().program, "arguments": arguments, "speed": SPEED, "stopped": True,
                            "ready": "started", **how})

    # --- orders -------------------------------------------------------------------------------------------------------

    def _order(self, *words):
        (self.tmp / LOG).unlink(missing_ok=True)
        (self.tmp / ORDERS).write_text("".join(f"{word}\n" for word in ("-D", "-qq", "-o", f"/tmp/{LOG}", *words)))

    def record(self, *paths):
        """From the next start on: of the main thread all calls, or of all threads and shells those on these paths."""
        self._order("-s", "200", *self._on(paths))

    def strike(self, point, blow, *paths):
        """At the next start: "signal=KILL", "error=EIO" at one point."""
        self._order(*self._on(paths), "-e", f"inject={point.name}:{blow}:when={point.count}")

    @staticmethod
    def _on(paths):
        return itertools.chain(["-f"] * bool(paths), *(("-P", path) for path in paths))

    def leave_alone(self):
        (self.tmp / ORDERS).unlink(missing_ok=True)

    def log(self):
        log = self.tmp / LOG
        return log.read_text(errors="replace").splitlines() if log.exists() else []

    # --- the daemon's life --------------------------------------------------------------------------------------------

    def launch(self):
        self.vswitch("start")

    def start_daemon(self):
        self.forget_the_last_start()
        self.launch()
        self.wait_until_it_runs()

    def ends_or_answers(self, patience_s=1):
        """A look that takes a while; a daemon without a status line answers all the same."""
        client = self.client()
        with contextlib.suppress(ConnectionRefusedError, FileNotFoundError):
            client.send(bytes(8))
            if not client.hears_nothing(patience_s):
                return True
        return self.has_ended()

    def runs(self):
        return self.status_line() == RUNNING

    def wait_until_it_runs(self):
        """Without a single datagram, which would be among the calls."""
        self.wait_for("the daemon to run", self.runs)

    def has_ended(self):
        now = self.daemon()
        return now if not now["running"] else None

    def wait_until_it_is_killed(self):
        ended = self.wait_for("the daemon to be killed", self.has_ended)
        assert ended["signal"] == 9, f"not killed but ended: {ended}"

    def forget_the_last_start(self):
        """No status line of an earlier start."""
        (self.tmp / "poe_status").unlink(missing_ok=True)


class Pool:
    """Worlds in a prepared state, used again by one cell after the other; one that a cell failed in is thrown away."""

    def __init__(self, make):
        self._make, self._idle = make, []

    @contextlib.contextmanager
    def world(self):
        world = self._idle.pop() if self._idle else self._make()
        try:
            yield world
        except BaseException:
            world.close(check=False)
            raise
        self._idle.append(world)

    def close(self):
        for world in self._idle:
            world.close()
        self._idle.clear()
