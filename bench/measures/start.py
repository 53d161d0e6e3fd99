"""From exec to the first answer, without the required pauses and shell commands: a controller that is programmed already."""
import contextlib
import json
import subprocess

from harness import machine
from harness.registry import Measure, subject
from harness.servers import BUS_LATENCY_US, DAEMON_SOCKET, World

ADDRESSES = (DAEMON_SOCKET, "poe_driver_ipc_socket_internal_rx_server.txt", "poe_driver_ipc_socket_internal_tx_server.txt")
EXEC_TIME = "exec_ns"
PATIENCE_S = 30
LAST_KEY_OF_A_START = 0x40  # the software version


@contextlib.contextmanager
def starting(bench, tree, latency_us, *command):
    """A world in which `command` can be started again and again: a function that does so and tells how long it took."""
    words = (f"/tmp/{EXEC_TIME}", bench.tree.program("load/libno_pauses.so"), *command)
    with World(program=bench.tree.program("load/timed_exec"), arguments=words, prefix=tree.prefix, latency=latency_us,
               speed=10, ready="started") as world:
        client = world.tmp / "first"
        world.vswitch("stop")

        def start():
            for name in (*ADDRESSES, client.name):
                (world.tmp / name).unlink(missing_ok=True)
            asking = subprocess.Popen([bench.tree.program("load/first_answer"), world.tmp / DAEMON_SOCKET, client],
                                      stdout=subprocess.PIPE, text=True,
                                      preexec_fn=lambda: machine.pin(0, machine.MEASURED_CPU))
            world.vswitch("start")
            told, _ = asking.communicate(timeout=PATIENCE_S)
            world.vswitch("stop")
            return (json.loads(told)["answered_ns"] - int((world.tmp / EXEC_TIME).read_text())) / 1e6

        start()  # the first one programs the controller
        yield world, start


def start_of_the_daemon(bench, tree, latency_us):
    return starting(bench, tree, latency_us, tree.prefix / "sbin/poe_drv", "/tmp/poe_status")


def calls_of_a_start(bench, latency_us):
    """How many calls of the controller stand between the daemon's exec and its first answer."""
    with start_of_the_daemon(bench, bench.tree, latency_us) as (world, start):
        start()
        log = world.vswitch("frames", "--all", "--notes")
        first = [note["before_frame"] for note in log["notes"] if note["text"] == "daemon started"][-1]
        return next(frame["number"] for frame in log["frames"]
                    if frame["number"] >= first and frame["key"] == LAST_KEY_OF_A_START) - first + 1


def declare(name, title, latency_us, **limits):
    @subject(name, Measure(name, f"exec to first answer, {title}", "ms", **limits))
    def daemon_start(bench, tree):
        with start_of_the_daemon(bench, tree, latency_us) as (_, start):
            yield lambda: {name: start()}

    @daemon_start.floor("a bare start with as many calls")
    def bare_start(bench):
        calls = calls_of_a_start(bench, latency_us)
        places = [f"/tmp/{address}" for address in ADDRESSES]
        with starting(bench, bench.tree, latency_us, bench.tree.program("floor/start"), calls, *places) as (_, start):
            yield lambda: {name: start()}


declare("start", "without its pauses and shell commands", BUS_LATENCY_US, bar=1.5, aim=1.0)
declare("start_instant", "the same with a controller that answers at once", 0)
