#!/usr/bin/python3
"""One long conversation with the daemon under test, told byte for byte: frames, replies, traps, LEDs, files, messages.

    conversation.py --seed N [--rounds N] TRANSCRIPT.json

The tree under $POE_PREFIX runs, under $VSWITCH_EMULATOR when it is for another machine. Whatever the machine and however
fast it is, the same seed makes the same transcript: a list of [title, text]. What depends on the time of day, on uptime
or on how many sweeps went by is told in a form that does not.
"""
import argparse
import contextlib
import json
import pathlib
import random
import struct
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))
import supervised as switch  # noqa: E402
from messages import get_port_parameters, get_port_statistics, get_port_status, request  # noqa: E402
from world import World  # noqa: E402

SPEED = 1000
LAST_BRING_UP_KEY = 0x40
SYSTEM_READING = 0x4B
FOR_EVER = 1_000_000_000
ANY_LENGTH = [0, 2, 5, 7, 11, 14, 16, 18]
CONFIGURATION = {83: 9, 128: 16, 129: 20, 130: 56, 132: 20, 137: 12, 138: 24, 142: 12, 143: 9, 144: 9, 148: 12}
ONE_LENGTH = {1: 20, 6: 100, 17: 2352, **CONFIGURATION}
FAULTS = {"no-answer": 10, "key-a": 10, "key-b": 10, "checksum": 1, "ioctl": 10}
TOTALS = "0, 1, 1\n1, 4294967295, 18446744073709551615\n2, 86400, 1296000000\n3, 4000000000, 4000000000000\n"
DAY_MINUTES = 24 * 60
WEEK_MINUTES = 7 * DAY_MINUTES


# The three lists of a port's statistics: where they are, and the seconds from one entry to the next.
LISTS = [(48, 768, 60), (768, 1344, 30 * 60), (1344, 2352, 120 * 60)]


def tell_ages(reply, entries, step):
    """Uptimes that stand a step apart, back to the start of the machine, are told as 0; others stay as they are."""
    ups = [struct.unpack_from("<I", reply, entry + 4)[0] for entry in entries]
    if ups == [max(0, ups[-1] - step * age) for age in reversed(range(len(ups)))]:
        for entry in entries:
            struct.pack_into("<I", reply, entry + 4, 0)


class Transcript:
    def __init__(self, seed, rounds):
        self.random = random.Random(seed)
        self.rounds = rounds
        self.cells = []
        self.faults = 0

    def tell(self, title, what):
        self.cells.append([title, what.hex(" ") if isinstance(what, (bytes, bytearray)) else str(what)])

    def bytes(self, count):
        """Random ones, the extremes more often than others."""
        return bytes(self.random.choice([0, 0x7F, 0x80, 0xFF, *[self.random.randrange(256)] * 4]) for _ in range(count))

    # --- the start ----------------------------------------------------------------------------------------------------

    def start(self, world, which):
        """The whole bring-up: what was asked with which wait, when by the controller's clock, and the answers."""
        frames = world.frames("--first", 80)
        last = next(at for at, frame in enumerate(frames) if frame["key"] == LAST_BRING_UP_KEY)
        for frame in frames[:last + 1]:
            self.tell(f"{which}: frame {frame['number']}", f"at {frame['at_us']} us, wait {frame['wait']}: "
                      f"{bytes(frame['request']).hex(' ')} -> {bytes(frame['answer']).hex(' ')}")
        notes = [note for note in world.vswitch("frames", "--first", 1, "--notes")["notes"]
                 if note["before_frame"] <= last + 1]
        self.tell(f"{which}: registers", notes)
        world.wait_for("the status line", world.status_line)
        for file in ("poe_status", "poe_driver_chip_information.txt"):
            self.tell(f"{which}: {file}", (world.tmp / file).read_bytes())
        self.messages(world, which)

    def messages(self, world, which):
        self.tell(f"{which}: standard output", world.stdout_lines())
        self.tell(f"{which}: standard error", world.stderr_lines())

    # --- requests -----------------------------------------------------------------------------------------------------

    def every_message(self, world):
        for kind in ANY_LENGTH:
            self.tell(f"type {kind}", world.ask(bytes([kind])))
        for port in range(5):
            self.tell(f"type 1, port {port}", world.ask(get_port_parameters(port)))
            self.tell(f"type 6, port {port}", world.ask(get_port_status(port)))
            self.tell(f"type 17, port {port}", world.ask(get_port_statistics(port)))
        client = world.client()
        for kind, length in ONE_LENGTH.items():
            for wrong in (length - 1, length + 1):
                client.send(bytes([kind]) + bytes(wrong - 1))
                client.send(b"\0")
                replies = [client.receive()]
                while replies[-1][0] != 0:
                    replies.append(client.receive())
                self.tell(f"type {kind} of {wrong} bytes, then type 0", b"".join(replies))

    def configuration(self, world):
        """Requests with fields drawn from what is just inside and just outside, and what the controller hears of them."""
        def some(*values):
            return self.random.choice(values)

        def block(port):
            return switch.port_block(port, enable=some(0, 1, 1, 255), priority=some(1, 2, 3, 255, 255, 4),
                                     schedule=some(0, 1, 255, 255), mode=some(0, 1, 2, 3, 4, 255, 255),
                                     seconds=some(5, 60, 255, 255, 61), limit=some(10, 300, 900, 0xFFFFFFFF, 901))
        for number in range(self.rounds):
            kind = some(128, 129, 129, 130, 132, 137, 138, 142)
            payload = {
                128: lambda: bytes([some(0, 1, 1, 1, 255), some(0, 1, 255), some(0, 1, 255), some(1, 99, 255, 0, 100),
                                    some(0, 255), some(1, 255), 0, 0]),
                129: lambda: block(some(0, 1, 2, 3, 3, 4)),
                130: lambda: b"".join(map(block, range(4))),
                132: lambda: block(0),
                137: lambda: bytes([some(0, 1, 2, 3, 4), some(0, 1, 255, 2), 0, 0]),
                138: lambda: b"".join(bytes([port, some(0, 1, 255), 0, 0]) for port in range(4)),
                142: lambda: struct.pack("<HH", some(0, 1, 255, 256, 480, 65535), some(0, 256, 65535)),
            }[kind]()
            before = switch.newest_frame(world)
            reply = world.ask(request(kind, payload))
            self.tell(f"configuration {number}, type {kind}: {payload.hex(' ')}", reply)
            switch.let_sweeps_pass(world)
            settings = world.frames("--after", before, "--settings")
            self.tell(f"configuration {number}, settings",
                      [(frame["wait"], bytes(frame["request"]).hex(" ")) for frame in settings])
            for query in (0, 2, 14):
                self.tell(f"configuration {number}, then type {query}", world.ask(bytes([query])))

    # --- readings -----------------------------------------------------------------------------------------------------

    def readings(self, world):
        """Whatever the controller may say, from its answers to the clients' numbers, the LEDs and the traps."""
        switch.tell(world, request(128, [1, 255, 255, 50, 255, 255, 0, 0]),
                    request(132, switch.port_block(0, enable=1, priority=1, schedule=0, mode=2, seconds=60, limit=900)))
        self.dictate_everything(world, quiet=True)
        switch.ask_for_traps(world)
        for number in range(self.rounds):
            self.dictate_everything(world, quiet=False)
            switch.let_sweeps_pass(world)
            self.tell(f"readings {number}", world.ask(bytes([11])))
            self.dictate_everything(world, quiet=True)  # event counts add up at every poll: none while they are read
            switch.let_sweeps_pass(world)
            self.tell(f"readings {number}, traps", [bytes(one["bytes"]).hex(" ") for one in world.traps()])
            world.vswitch("traps", "clear")
        self.tell("readings: LED register", switch.led_writes(world))

    @contextlib.contextmanager
    def between_two_sweeps(self, world):
        """The daemon stands still behind the readings of a sweep, so that none holds half of what changes. The system's
        own reading takes so long that it is nearly always there that the daemon is stopped."""
        world.vswitch("fault", "delay", "--key", f"{SYSTEM_READING:02x}", "--times", FOR_EVER, "--ms", 20 * SPEED)
        while True:
            with world.stopped_daemon():
                world.frames("--last", 1)  # whatever was under way has arrived by now
                if world.frames("--last", 1)[0]["key"] == SYSTEM_READING:
                    yield
                    break
        world.vswitch("fault", "clear")

    def dictate_everything(self, world, *, quiet):
        states = [1, 2, 3, 4, 5, 6, 77]
        with self.between_two_sweeps(world):
            for port in range(4):
                state = 1 if quiet else self.random.choice(states)
                switch.dictate_port(world, port, state=state, detail=0 if quiet else self.random.choice([0, 3, 4, 6, 7, 14]),
                                    pair_type=0 if quiet else self.random.randrange(4))
                switch.dictate_events(world, port)
                for key in (0x44, 0x4F):
                    data = bytes([2, 0x40, 0, 60, 0, 200, 0, 200]) if quiet else self.bytes(8)
                    switch.dictate(world, key, port, *data)
                chosen = bytes(8) if quiet else self.bytes(8)
                switch.dictate(world, 0x4E, port, *chosen)

    # --- trouble ------------------------------------------------------------------------------------------------------

    def trouble(self, world):
        """Every fault on a command that no sweep sends: attempts, counters, marks, messages."""
        for number, (fault, times) in enumerate(FAULTS.items()):
            world.vswitch("fault", fault, "--key", "14", "--times", times)
            before = switch.newest_frame(world)
            switch.tell(world, switch.set_port(1, limit=100 + number))
            switch.let_sweeps_pass(world)
            attempts = world.frames("--after", before, "--settings")
            self.faults += sum(frame["fault"] is not None for frame in attempts)
            self.tell(f"trouble {fault}", [(bytes(frame["request"]).hex(" "), frame["fault"]) for frame in attempts])
            counters = struct.unpack("<8s9Q", world.ask(bytes([12])))
            self.tell(f"trouble {fault}, counters", counters[2:5] + counters[6:])
        for file in sorted(world.flash.iterdir()):
            self.tell(f"trouble: {file.name}", len(file.read_text().splitlines()))
        self.tell("trouble: statistics of the link", world.ask(bytes([13])))

    # --- statistics ---------------------------------------------------------------------------------------------------

    def statistics(self, world):
        def told(which):
            for port in range(4):
                reply = bytearray(world.ask(get_port_statistics(port)))
                reply[24:48] = bytes(24)  # the three lists' starts, by the clock on the wall
                for at, end, step in LISTS:
                    tell_ages(reply, [entry for entry in range(at, end, 12) if reply[entry]], step)
                self.tell(f"statistics {which}, port {port}", reply)
            self.tell(f"statistics {which}, all ports", world.ask(bytes([18])))
            file = world.flash / "poe_statistics.txt"
            self.tell(f"statistics {which}, file", file.read_bytes() if file.exists() else "none")

        told("before")
        for which, one in (("restored", request(144, [1])), ("written", request(144, [1])),
                           ("an hour", request(148, struct.pack("<I", 59))),
                           ("a day", request(148, struct.pack("<I", DAY_MINUTES))),
                           ("a week", request(148, struct.pack("<I", WEEK_MINUTES))),
                           ("two ports cleared", request(83, [0b0101])), ("off", request(144, [0]))):
            self.tell(f"statistics {which}", world.ask(one))
            told(which)


def hold(seed, rounds):
    transcript = Transcript(seed, rounds)
    with World(speed=SPEED, seed=seed, flash={"poe_statistics.txt": TOTALS},
               tmp={"poe_external_set_power_budget.txt": "240\n"}) as world:
        transcript.start(world, "first start")
        transcript.every_message(world)
        transcript.messages(world, "every message")
        transcript.statistics(world)
        transcript.configuration(world)
        transcript.trouble(world)
        transcript.readings(world)
    with World(speed=SPEED, seed=seed) as world:
        world.restart_daemon()
        transcript.messages(world, "second start")
        world.vswitch("fault", "cpld", "--times", 1)
        world.restart_daemon()
        transcript.faults += 1
        transcript.messages(world, "third start")
    return transcript


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--rounds", type=int, default=20, help="of random configuration and of random readings")
    parser.add_argument("transcript", type=pathlib.Path)
    asked = parser.parse_args()
    transcript = hold(asked.seed, asked.rounds)
    asked.transcript.write_text(json.dumps({"cells": transcript.cells, "faults": transcript.faults}, indent=0))


if __name__ == "__main__":
    main()
