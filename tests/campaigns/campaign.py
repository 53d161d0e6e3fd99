"""What the campaigns against a running daemon share: trees to run, load programs, and the last line."""
import argparse
import json
import pathlib
import re
import subprocess
import sys
import time

PROJECT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "tests/system"))

from world import DAEMON_SOCKET, SANITIZER_REPORT, World  # noqa: E402

TOOLS = PROJECT / "build/dev/tests/campaigns"


def _quietly(*command):
    done = subprocess.run(command, cwd=PROJECT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}:\n{done.stdout[-8000:]}")


def build(preset, *targets):
    """Builds these targets of a preset; a tree that was configured before keeps its choices."""
    tree = PROJECT / "build" / preset
    if preset == "dev":
        choices = ["-DBUILD_TESTING=ON"]  # the load programs are among the tests
    else:
        choices = [] if (tree / "CMakeCache.txt").exists() else ["-DBUILD_TESTING=OFF"]
    _quietly("cmake", "--preset", preset, *choices)
    _quietly("cmake", "--build", tree, "--target", *targets, "--", "-j2")


def installed(preset):
    """The installed tree of a preset, built when it is not up to date."""
    build(preset, "installed")
    return PROJECT / "build" / preset / "installed"


class Campaign:
    """Counts cells and failures, and says the last line."""

    def __init__(self, name, description):
        parser = argparse.ArgumentParser(description=description)
        parser.add_argument("--long", action="store_true", help="the long form")
        parser.add_argument("--seed", type=int, default=1)
        self.parser = parser
        self.name = name
        self.run = self.planned = self.failures = self.faults = 0

    def start(self):
        arguments = self.parser.parse_args()
        self.seed, self.long = arguments.seed, arguments.long
        print(f"{self.name}: seed {self.seed}, {'long' if self.long else 'short'} form", flush=True)
        return arguments

    def fail(self, what):
        self.failures += 1
        print(f"FAILED: {what}", flush=True)

    def end(self):
        print(f"{self.name}: seed {self.seed}, {self.run} of {self.planned} cells, {self.faults} faults delivered, "
              f"{self.failures} failures")
        return 0 if self.failures == 0 and self.run == self.planned and self.run > 0 else 1


def load(program, *words, **how):
    """Runs a load program to its end: what it counted (its last line), what it complained of, and how long it took."""
    began = time.monotonic()
    done = subprocess.run([TOOLS / program, *map(str, words)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                          check=False, **how)
    lines = done.stdout.splitlines()
    counts = json.loads(lines[-1]) if lines else {"failures": 1, "sent": 0}
    return counts, done.stderr.splitlines(), time.monotonic() - began


def daemon_says(world):
    """Every kind of line that matters in what the daemon said, counted: it may be more than fits into memory."""
    said = {"sanitizer": [], "result_send": 0, "size_errors": {}}
    size_error = re.compile(r"\]: (.* size error!)$")
    with open(world.folder / "stderr", encoding="utf-8", errors="replace") as lines:
        for line in lines:
            if found := size_error.search(line):
                said["size_errors"][found[1]] = said["size_errors"].get(found[1], 0) + 1
            elif "result_send" in line:
                said["result_send"] += 1
            elif SANITIZER_REPORT.search(line):
                said["sanitizer"].append(line.strip())
    return said


def problems_of(world, pid, counts=None):
    """What a run must not leave behind: a sanitizer's report, or another daemon; and, with the counts of a load program
    that reads every reply and knows every datagram, a line too many or too few."""
    problems = []
    said = daemon_says(world)
    problems += said["sanitizer"][:5]
    now = world.daemon()
    if not now["running"] or now["pid"] != pid:
        problems.append(f"the daemon has ended: {now}")
    if counts is None:
        return problems
    if said["result_send"]:
        problems.append(f"{said['result_send']} replies were not sent")
    expected = {text: count for text, count in counts.get("size_errors", {}).items() if count}
    if said["size_errors"] != expected:
        problems.append(f"size errors: expected {expected}, said {said['size_errors']}")
    return problems


def pid_with_readings(world):
    """The running daemon, once it has read every port: what a load program takes for a status is not there before."""
    world.wait_for_readings()
    return world.daemon()["pid"]


def socket_of(world):
    return world.tmp / DAEMON_SOCKET
