"""From a port's change in the controller to the trap in the pipe, counted in sweeps by the controller's own log."""
import statistics

from harness.registry import Measure, subject
from harness.servers import daemon

PORTS = range(4)
CALLS_A_SWEEP = 23
CHANGES = 46
START_UP_TRAP_FLAG = {"poe_send_start_up_trap": ""}

STATUS_KEY = "42"
ASKING_FOR_POWER = ("06", *["00"] * 7)


def enable(world, port):
    """Type 129: the port may deliver, everything else stays."""
    world.ask(bytes([129]) + bytes(7) + bytes([port, 1, 255, 255, 255, 255, 0, 0]) + (0xFFFFFFFF).to_bytes(4, "little"))


def statuses(world):
    """Of all ports, from the reply to type 11."""
    reply = world.ask(bytes([11]) + bytes(7))
    return [reply[28 + 92 * port + 8] for port in PORTS]


def frames(world):
    return world.vswitch("frames", "--last", 1)["total"]


def sweeps_to_the_trap(world, *words):
    """From an operator's words to the next trap. The log tells which frame came behind each."""
    traps = world.vswitch("traps")["total"]
    world.vswitch(*words)
    world.wait_for("a trap", lambda: world.vswitch("traps")["total"] > traps)
    notes = world.vswitch("frames", "--last", 4 * CALLS_A_SWEEP, "--notes")["notes"]
    changed = [note["before_frame"] for note in notes if note["text"] == " ".join(words)][-1]
    trapped = [note["before_frame"] for note in notes if note["text"].startswith("trap: ")][-1]
    return (trapped - changed) / CALLS_A_SWEEP


def some_changes(world, count):
    """In every place of a sweep: a port asks for power instead of taking it, and takes it again."""
    sweeps = []
    for number in range(count):
        begin = frames(world) + number * 7 % CALLS_A_SWEEP
        world.wait_for("another place in the sweep", lambda begin=begin: frames(world) >= begin)
        port = number % len(PORTS)
        sweeps.append(sweeps_to_the_trap(world, "answer", STATUS_KEY, str(port + 1), f"{port:02x}", *ASKING_FOR_POWER))
        sweeps.append(sweeps_to_the_trap(world, "clear-answers"))
    return {"trap_worst": max(sweeps), "trap_p50": statistics.median(sweeps)}


@subject("traps", Measure("trap_worst", f"a port's change to its trap, worst of {2 * CHANGES}", "sweeps", bar=2),
         Measure("trap_p50", "a port's change to its trap, median", "sweeps"), repeats=False)
def traps(bench, tree):
    with daemon(bench, tree, tmp=START_UP_TRAP_FLAG) as one:
        for port in PORTS:
            one.world.vswitch("plug", port + 1, "--class", 4, "--load", 12.5)
            enable(one.world, port)
        one.world.wait_for("four ports that deliver", lambda: statuses(one.world) == [1] * len(PORTS))
        yield lambda: some_changes(one.world, bench.count(CHANGES, smoke=1))
