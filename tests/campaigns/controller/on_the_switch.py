"""The installed, unmodified daemon on the virtual switch while its controller fails: one fresh world a fault.

While the fault stands a client asks on and on; when it has ended, the switch is whole again one sweep later, and every
frame of the world is gone through once more: attempts, pauses, counters, marks.
"""
import pathlib
import struct
import sys
import threading

PROJECT = pathlib.Path(__file__).resolve().parents[3]
sys.path.insert(0, str(PROJECT / "tests/system"))

import supervised as daemon  # noqa: E402
from world import World  # noqa: E402

EIO, EINTR, EBUSY, ENODEV = 5, 4, 16, 19
FAULTS = [("no-answer",), ("key-a",), ("key-b",), ("checksum",), ("ioctl", "--errno", EIO), ("ioctl", "--errno", EINTR),
          ("ioctl", "--errno", ENODEV), ("ioctl", "--errno", EBUSY), ("key-b", "--errno", EIO)]
LAST_LOOK = 6     # transactions that must have met the fault
ANSWERS = 50      # replies that the client must have got while it stood
PAUSE_US = 550_000
MOST = 10
DELIVERING = 1
MARKS = {"tx_chksum_error": "poe_error_tx_checksum.txt", "rx_timeout": "poe_error_rx_timeout.txt",
         "rx_chksum_error": "poe_error_rx_checksum.txt"}
COUNTERS = ("total", "rx_retry", "rx_timeout", "rx_chksum_error", "tx_correctly_executed", "tx_chksum_error",
            "tx_subject_byte_conflict", "tx_wrong_data_byte_value", "undefined_key_value")


class Asker(threading.Thread):
    """A client that asks for everything, again and again, and counts what it gets."""

    def __init__(self, world):
        super().__init__(daemon=True)
        self.replies, self.problem = 0, None
        self._client, self._over = world.client("asker"), threading.Event()

    def run(self):
        try:
            while not self._over.is_set():
                self._client.send(bytes([11]) + bytes(7))
                reply = self._client.receive()
                if len(reply) != 396 or reply[0] != 11:
                    raise AssertionError(f"a strange reply: {reply[:8].hex()}")
                self.replies += 1
        except Exception as problem:  # told to whoever joins
            self.problem = problem

    def end(self):
        self._over.set()
        self.join()
        if self.problem:
            raise self.problem


def without_totals(status):
    system, ports = status
    return [system] + [port[:72] for port in ports]


def sums_up(frame):
    return sum(frame[:11]) % 256 == frame[11]


def recount(frames):
    """What the frames ask of the counters; complains about attempts and pauses that are not as they should be."""
    counts = dict.fromkeys(COUNTERS, 0)
    problems, unheard, refused, retried = [], 0, 0, None
    pause_wanted = None
    ended_us = None
    for frame in frames:
        request, answer = frame["request"], frame["answer"]
        if ended_us is not None and pause_wanted is not None and frame["at_us"] - ended_us != pause_wanted:
            problems.append(f"frame {frame['number']}: a pause of {frame['at_us'] - ended_us} us")
        ended_us, pause_wanted = frame["at_us"] + frame["delay_us"], 0
        if retried is None:
            counts["total"] += 1
            unheard = refused = 0
        elif request != retried:
            problems.append(f"frame {frame['number']}: another request instead of a retry")
        retried = None
        if answer[1] in b"ab":
            refused += 1
        elif frame["result"] < 0:
            unheard += 1
            counts["rx_retry"] += 1
        else:
            counts["tx_correctly_executed" if sums_up(answer) else "rx_chksum_error"] += 1
            if request[0] in (0x02, 0x05) or request[0] == 0xC0 and request[1] == 2:
                pause_wanted = None  # the bring-up pauses behind some of its commands
            continue
        pause_wanted = PAUSE_US
        if unheard == MOST:
            counts["rx_timeout"] += 1
        elif refused < MOST:
            retried = request
        elif not sums_up(answer):
            counts["rx_chksum_error"] += 1
        else:
            counts["tx_chksum_error" if answer[1] == ord("b") else "undefined_key_value"] += 1
    return counts, problems


def wanted_marks(counts):
    lines = {}
    for counter, name in MARKS.items():
        if counts[counter]:
            lines[name] = "".join(f"{level}\n" for level in (1, 10, 100) if counts[counter] >= level)
    return lines


def run_fault(fault, seed):
    """The problems that one fault brings to light, and how often it struck."""
    problems = []
    with World(speed=1000, seed=seed) as world:
        world.vswitch("plug", 1, "--class", 4, "--load", 12.5)
        world.vswitch("plug", 2, "--dual", "--class", 3, "--load", 14)
        world.vswitch("plug", 3, "--legacy", "--load", 4)
        for port in (1, 2, 3):
            world.vswitch("link", port, "up")
        daemon.tell(world, *[daemon.set_port(port, enable=1) for port in range(4)])
        for port in range(3):
            world.wait_for("power", lambda port=port: daemon.status_code(world, port) == DELIVERING)
        daemon.let_sweeps_pass(world)
        before = without_totals(daemon.combined(world))

        asker = Asker(world)
        asker.start()
        world.vswitch("fault", *fault)
        answered = asker.replies
        struck = lambda: world.show()["counters"]["faults_struck"]  # noqa: E731
        world.wait_for("the fault to strike", lambda: struck() >= LAST_LOOK * MOST)
        world.wait_for("clients to be served", lambda: asker.problem or asker.replies >= answered + ANSWERS)
        world.vswitch("fault", "clear")
        daemon.let_sweeps_pass(world)
        after = without_totals(daemon.combined(world))
        asker.end()
        if after != before:
            problems.append("the switch is not whole again after the fault")
        if any(frame["request"][0] == 1 and frame["request"][3] == 0 for frame in world.frames("--settings")
               if frame["number"] > 60):
            problems.append("a port was switched off")

        # The daemon hangs in a transaction, and what it counted until then is asked for.
        world.vswitch("latency", 600_000_000)
        world.wait_for("a transaction that hangs",
                       lambda: world.vswitch("frames", "--last", 1)["frames"][0]["delay_us"] >= 600_000_000)
        frames = world.frames("--all")
        told = dict(zip(COUNTERS, struct.unpack("<9Q", world.ask(bytes([12]))[8:])))
        counts, found = recount(frames[:-1])
        problems += found
        counts["total"] += 1  # the one that hangs
        if frames[0]["number"] != 1:
            problems.append("the switch has forgotten the first frames")
        if told != counts:
            problems.append(f"counters {told} instead of {counts}")
        marks = {file.name: file.read_text() for file in world.flash.iterdir() if file.name.startswith("poe_error")}
        if marks != wanted_marks(counts):
            problems.append(f"marks {marks} instead of {wanted_marks(counts)}")
        return problems, struck()


def run_all(seed):
    """Cells planned, cells run, faults delivered, failures."""
    run = faults = failures = 0
    for fault in FAULTS:
        name = " ".join(map(str, fault))
        try:
            problems, struck = run_fault(fault, seed)
        except Exception as problem:
            problems, struck = [f"{type(problem).__name__}: {problem}"], 0
        else:
            run += 1
        for problem in problems:
            print(f"FAILED on the virtual switch, {name}: {problem}", file=sys.stderr)
        failures += len(problems)
        faults += struck
    return len(FAULTS), run, faults, failures
