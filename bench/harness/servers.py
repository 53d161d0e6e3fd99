"""Servers to measure: the daemon on the virtual switch, and floors and other programs beside it."""
import contextlib
import itertools
import json
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from harness import machine
from harness.tree import PROJECT

sys.path.insert(0, str(PROJECT / "tests/system"))

from world import DAEMON_SOCKET, World  # noqa: E402

BUS_LATENCY_US = 2400  # what the controller's bus takes for an answer
PATIENCE_S = 30

_names = itertools.count(1)


class Bench:
    """How this run measures: its length, and the tree that the floors and load programs are of."""

    def __init__(self, tree, mode="normal", rounds=15):
        self.tree, self.mode, self.rounds = tree, mode, rounds

    @property
    def is_smoke(self):
        return self.mode == "smoke"

    def count(self, normal, smoke):
        """How many requests, records or seconds: few when it is only seen whether the measure runs."""
        return smoke if self.is_smoke else normal * (4 if self.mode == "long" else 1)


class Server:
    """Something that answers datagrams: its process, its address, and a folder for its clients' names."""

    def __init__(self, pid, address):
        self.pid, self.address, self.folder = pid, address, address.parent


@contextlib.contextmanager
def daemon(bench, tree, *, latency_us=BUS_LATENCY_US, **how):
    """The installed daemon of a tree, serving its clients in a world of its own. world: the tests' World."""
    speed = how.pop("speed", 100 if bench.is_smoke else 10)
    with World(prefix=tree.prefix, speed=speed, latency=latency_us, **how) as world:
        one = Server(world.daemon()["pid"], world.tmp / DAEMON_SOCKET)
        one.world = world
        machine.pin_server(one.pid)
        yield one


@contextlib.contextmanager
def floor(bench, name, *words):
    """A datagram floor of bench/floor, on an address of the same depth as the daemon's and as far from its clients."""
    with short_folder() as folder:
        address = folder / "tmp" / DAEMON_SOCKET
        address.parent.mkdir()
        with process([bench.tree.program(f"floor/{name}"), address, *words]) as started:
            wait_until(address.exists, f"{name} to take its name")
            one = Server(started.pid, address)
            machine.pin_server(one.pid)
            yield one


@contextlib.contextmanager
def short_folder():
    """A fresh folder whose path leaves room for a socket's name."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="pw-", dir="/var/tmp"))
    try:
        yield folder
    finally:
        shutil.rmtree(folder, ignore_errors=True)


@contextlib.contextmanager
def process(command, *, cpu=machine.OTHER_CPU, **how):
    how = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, **how}
    started = subprocess.Popen(list(map(str, command)), preexec_fn=lambda: machine.pin(0, cpu), **how)
    try:
        yield started
    finally:
        started.send_signal(signal.SIGTERM)
        try:
            started.wait(PATIENCE_S)
        except subprocess.TimeoutExpired:
            started.kill()
            started.wait()


def run(program, *words, cpu=machine.MEASURED_CPU, **how):
    """Runs a program of ours to its end, on the measured processor: the JSON object that is its last line."""
    done = subprocess.run([str(program), *map(str, words)], stdout=subprocess.PIPE, text=True, check=True, timeout=300,
                          preexec_fn=lambda: machine.pin(0, cpu), **how)
    return json.loads(done.stdout.splitlines()[-1])


def round_trips(bench, server, *, kind, length, count, in_flight=1, clients=1):
    """Requests of one type to a server: what load/round_trips tells, and the server's processor time for each."""
    before = machine.run_ns(server.pid)
    told = run(bench.tree.program("load/round_trips"), server.address, server.folder / f"client-{next(_names)}", kind, length,
               count, in_flight, clients)
    told["cpu_us"] = (machine.run_ns(server.pid) - before) / 1000 / told["sent"]
    return told


@contextlib.contextmanager
def deaf_client(bench, server, every_us):
    """Meanwhile a client whose queue of replies is full asks once in every_us, from the other processor."""
    command = [bench.tree.program("load/deaf_client"), server.address, server.folder / f"deaf-{next(_names)}", every_us]
    with process(command, stdout=subprocess.PIPE) as started:
        assert started.stdout.readline(), "the deaf client has ended"
        yield


def wait_until(predicate, what):
    until = time.monotonic() + PATIENCE_S
    while not predicate():
        if time.monotonic() > until:
            raise AssertionError(f"waited {PATIENCE_S} s for {what}")
        time.sleep(0.002)
