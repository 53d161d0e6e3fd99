"""Time: a power-cycle that is pending while the tick counter passes its sign bit and its end, and a month in which ports
come and go and clients ask, with the memory, the descriptors and the threads that there were at its beginning."""
import collections
import contextlib
import functools
import os
import re
import struct
import subprocess
import time

from cells import Cell
from judgement import THREADS, descriptors_of, is_powered, threads_of, tick, works
from messages import get_port_parameters, get_port_status, request
from supervised import ask_for_traps, enable, port_parameters, power_cycle, re_enable_state, set_port, tell
from world import PREFIX, World

# --- the counter's wrap -----------------------------------------------------------------------------------------------

TICKS_PER_SECOND = 5
PERIOD_S = 5
AHEAD = 20  # ticks before the boundary: fewer than the delay has, and time enough to ask for the cycle on a busy machine
SLOW = 10   # a tick is 20 ms


def tick_address(pid):
    """Where the running daemon counts."""
    names = subprocess.run(["nm", PREFIX / "sbin/poe_drv"], capture_output=True, text=True, check=True).stdout
    offset = int(re.search(r"^(\w+) \w g_poe_thread_tick_cnt$", names, re.MULTILINE)[1], 16)
    with open(f"/proc/{pid}/maps", encoding="utf-8") as maps:
        base = next(line for line in maps if line.rstrip().endswith("/poe_drv"))
    return int(base.split("-")[0], 16) + offset


def set_tick(world, value):
    pid = world.daemon()["pid"]
    with world.stopped_daemon(), open(f"/proc/{pid}/mem", "r+b", buffering=0) as memory:
        memory.seek(tick_address(pid))
        memory.write(struct.pack("=I", value % 2**32))


def across(boundary):
    with contextlib.closing(World(speed=SLOW, latency=0).start()) as world:
        world.vswitch("plug", 1, "--class", 4, "--load", 10)
        enable(world, 0, seconds=PERIOD_S)
        world.wait_for("power", lambda: is_powered(world))
        set_tick(world, boundary - AHEAD)
        tell(world, power_cycle(0))
        pending = world.wait_for("the cycle", lambda: (lambda state: state[1][0][0] and state)(re_enable_state(world)))
        then = pending[1][0][1]
        assert (boundary - then) % 2**32 <= AHEAD, "the cycle did not begin before the boundary"
        # How late it is seen to be over is this machine's business: the next pass of the supervision may have to wait.
        now = world.wait_for("the end of the cycle", lambda: (lambda now, states: not states[0][0] and [now])(
            *re_enable_state(world)))[0]
        passed = (now - then) % 2**32
        assert passed >= TICKS_PER_SECOND * PERIOD_S, f"switched on after {passed} ticks"
        assert (now - boundary) % 2**32 < 2**31, "the boundary was not passed"
        assert port_parameters(world, 0)[0] == 1
        world.wait_for("power", lambda: is_powered(world))
        works(world)
    return 1


# --- a month ----------------------------------------------------------------------------------------------------------

FASTEST = 100_000
HOUR = 3600 * TICKS_PER_SECOND
SHORT_HOURS, LONG_HOURS = 6, 30 * 24
WARM_UP_HOURS = {False: 1, True: 12}
# What may come on top of the warm state: the next page of stack for each of the three threads when a call chain is deeper by
# chance, the allocator's top page after the longest burst of queued settings, and a page each of the program's and the C
# library's data. Over a month these are 34 bytes an hour; what leaks with a sweep, a request, a trap or a queued setting is
# past them within hours.
PAGES_MORE = 6

Footprint = collections.namedtuple("Footprint", "resident dirty descriptors threads")


def footprint(pid):
    """Pages resident and privately written, descriptors, threads."""
    page_kb = os.sysconf("SC_PAGE_SIZE") // 1024
    with open(f"/proc/{pid}/status", encoding="utf-8") as status:
        resident = int(re.search(r"VmRSS:\s+(\d+)", status.read())[1])
    with open(f"/proc/{pid}/smaps_rollup", encoding="utf-8") as rollup:
        dirty = int(re.search(r"Private_Dirty:\s+(\d+)", rollup.read())[1])
    return Footprint(resident // page_kb, dirty // page_kb, descriptors_of(pid), threads_of(pid))


DEVICES = (["--class", 4, "--load", 12.5], ["--class", 8, "--load", 60], ["--dual", "--load", 20], ["--legacy"],
           ["--broken", "bad-signature"])


def live(world, round_number):
    """One round of what happens around a switch: a device comes or goes, a link, settings, a power-cycle, questions."""
    port = round_number % 4
    if round_number % 8 < 4:
        world.vswitch("plug", port + 1, *DEVICES[round_number % len(DEVICES)])
        world.vswitch("link", port + 1, "up")
    else:
        world.vswitch("unplug", port + 1)
        world.vswitch("link", port + 1, "down")
    tell(world, set_port(port, enable=int(round_number % 5 != 0), seconds=5))
    if round_number % 7 == 0:
        tell(world, power_cycle(port))
    if round_number % 4 == 0:
        tell(world, *[set_port(port, limit=150 + at) for at in range(32)])
    tell(world, request(144, [round_number % 2]))
    for question in (bytes(8), get_port_parameters(port), get_port_status(port), request(11, bytes(388))):
        assert world.ask(question)[0] == question[0] or question[0] == 6
    world.send(get_port_status(port)).close()  # and one client that does not wait
    world.traps()


def until(world, last_tick, rounds):
    """Lives on until the switch's own clock has got there; how many rounds that took."""
    while True:
        live(world, rounds)
        rounds += 1
        if tick(world) >= last_tick:
            return rounds


def constant(hours, warm_up):
    with contextlib.closing(World(speed=FASTEST, latency=0).start()) as world:
        began = time.monotonic()
        ask_for_traps(world)
        pid = world.daemon()["pid"]
        rounds = until(world, warm_up * HOUR, 0)
        rounds = max(rounds, live_through_everything(world, rounds))
        before = footprint(pid)
        start = tick(world)
        rounds = until(world, start + hours * HOUR, rounds)
        after = footprint(pid)
        frames = world.show()["counters"]["frames"]
        print(f"{(tick(world) - start) / HOUR:.1f} hours in {time.monotonic() - began:.0f} s: {rounds} rounds, {frames} "
              f"frames; {before} then, {after} now", flush=True)
        assert world.daemon()["pid"] == pid
        assert (after.descriptors, after.threads) == (before.descriptors, THREADS), (before, after)
        assert after.resident - before.resident <= PAGES_MORE, (before, after)
        assert after.dirty - before.dirty <= PAGES_MORE, (before, after)
        works(world)
    return rounds


def live_through_everything(world, rounds):
    """Each kind of thing has happened before the first look."""
    for _ in range(2 * 4 * len(DEVICES)):
        live(world, rounds)
        rounds += 1
    return rounds


def plan_wraps(_):
    return [Cell(name, functools.partial(across, boundary)) for name, boundary in
            (("the sign bit, 2^31", 2**31), ("the end, 2^32", 2**32))]


def plan_a_month(of):
    hours = LONG_HOURS if of.long else SHORT_HOURS
    return [Cell(f"{hours} hours", functools.partial(constant, hours, WARM_UP_HOURS[of.long]))]
