"""What the daemon costs on this machine, measured there."""
import re
import statistics
import subprocess

import preparing

DAEMON = "/opt/poe/sbin/poe_drv"
LIBRARIES = ["libpoe_ipc.so", "liblink_mon_intf.so", "libOrvCom.so"]
START = f"probe start /tmp/poe_status {DAEMON} /tmp/poe_status"
QUERIES = 300
ROUNDS = 5
SWEEPS = 30
ONCE_A_SWEEP = ("4b", "get power management")
USUAL_DELAY_US = 2400
MS = 1000


def table(machine):
    """Rows of what, figure and unit. The daemon runs before and after, with four ports powered before."""
    rows = [*_size(machine), *_memory(machine), *_running(machine), *_clients(machine)]
    rows += _start(machine, "found programmed", "true")
    rows += _start(machine, "factory-fresh", "vswitch controller factory")
    machine.say("/etc/init.d/poe restart")
    return rows


def _size(machine):
    file = int(machine.say(f"stat -c %s {DAEMON}"))
    libraries = sum(int(machine.say(f"stat -c %s /opt/poe/lib/{name}")) for name in LIBRARIES)
    loaded = _loaded_bytes(preparing.DAEMON)
    return [("daemon, file", file, "bytes"), ("its code and data (text, data, bss)", loaded, "bytes"),
            ("its three platform libraries, files", libraries, "bytes")]


def _loaded_bytes(program):
    said = subprocess.run(["mipsel-linux-gnu-size", program], capture_output=True, text=True, check=True).stdout
    return int(said.splitlines()[1].split()[3])


def _memory(machine):
    said = machine.say("cat /proc/$(pidof poe_drv)/smaps_rollup /proc/$(pidof poe_drv)/status")
    held = {name: int(kib) for name, kib in re.findall(r"(\w+):\s+(\d+) kB", said)}
    return [("resident memory", held["Rss"], "KiB"),
            ("of it shared in proportion", held["Pss"], "KiB"),
            ("private memory", held["Private_Clean"] + held["Private_Dirty"], "KiB"),
            ("most resident memory ever", held["VmHWM"], "KiB")]


def _sweeps(machine):
    return int(machine.say(f"vswitch frames --all --key {ONCE_A_SWEEP[0]} | grep -c '{ONCE_A_SWEEP[1]}'"))


def _cpu_us(machine):
    return int(machine.say("probe cpu $(pidof poe_drv)"))


def _running(machine):
    machine.say("vswitch frames clear")
    uptime = float(machine.say("cat /proc/uptime").split()[0])
    before = _cpu_us(machine)
    began = _sweeps(machine)
    while _sweeps(machine) - began < SWEEPS:
        machine.say("usleep 500000")
    spent = _cpu_us(machine) - before
    passed = float(machine.say("cat /proc/uptime").split()[0]) - uptime
    sweeps = _sweeps(machine) - began
    return [("processor time a sweep, four ports powered", spent / sweeps / MS, "ms"),
            ("a sweep takes", passed / sweeps * MS, "ms"), ("share of the processor", 100 * spent / MS / MS / passed, "%")]


def _clients(machine):
    asked, echoed = [], []
    for _ in range(ROUNDS):
        asked.append(int(machine.say(f"probe round-trips {QUERIES}")))
        echoed.append(int(machine.say(f"probe echo {QUERIES}")))
    return [("a query's round trip (median)", statistics.median(asked), "us"),
            ("a bare echo's in the same machine", statistics.median(echoed), "us")]


def _start(machine, which, prepare):
    """One start timed, one with its pauses written down, from the same controller."""
    stop = "/etc/init.d/poe stop"
    machine.say(f"{stop}; {prepare}; vswitch latency 0")
    before = machine.json("vswitch --json frames --last 1")["total"]
    took_ms = float(machine.say(f"{START} >/tmp/start.out 2>/dev/null; grep -E '^[0-9]+[.][0-9]+$' /tmp/start.out"))
    frames = machine.json(f"vswitch --json frames --after {before}")["frames"]
    machine.say(f"{stop}; {prepare}")
    machine.say(f"probe start /tmp/poe_status /usr/bin/strace -f -e trace=/nanosleep -o /tmp/pauses {DAEMON} /tmp/poe_status "
                ">/dev/null 2>&1")
    pauses = machine.say("cat /tmp/pauses").splitlines()
    machine.say("vswitch latency 2400")
    # Those of the first thread; the tick thread's and the shells' are not between the commands.
    first = min(int(line.split()[0]) for line in pauses)
    slept = [re.search(r"tv_sec=(\d+), tv_nsec=(\d+)", line) for line in pauses
             if int(line.split()[0]) == first and "nanosleep" in line and "resumed" not in line]
    paused_ms = sum(int(pause[1]) * MS + int(pause[2]) / MS / MS for pause in slept)
    # Answers come at once; what is left are the commands that take the controller longer than others.
    busy_ms = sum(frame["delay_us"] - USUAL_DELAY_US for frame in frames) / MS
    name = f"start, controller {which}"
    return [(f"{name}: exec to status line", took_ms, "ms"), ("  required pauses in it", paused_ms, "ms"),
            ("  commands that keep the controller busy", busy_ms, "ms"),
            ("  the rest: the daemon, its shells, the commands", took_ms - paused_ms - busy_ms, "ms")]


def printed(rows):
    width = max(len(what) for what, _, _ in rows)
    lines = []
    for what, figure, unit in rows:
        number = f"{figure:.1f}" if isinstance(figure, float) and not figure.is_integer() else f"{figure:.0f}"
        lines.append(f"  {what:<{width}}  {number:>10} {unit}")
    return "\n".join(lines)
