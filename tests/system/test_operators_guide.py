"""The guide for operators says what the command says."""
import json
import re
import subprocess
import tempfile

import pytest

from stand_in_daemon import StandIn, reply_to
from world import PATIENCE_S, PREFIX, PROJECT, words_that_start

GUIDE = (PROJECT / "docs/operators.md").read_text()
CODES_A_LOOK = 4
PORT_SETTINGS, MODE_OFFSET = 1, 8 + 4  # a message, and a place in its reply
CODES = range(16)


def rows(first_heading):
    """The cells of a table's rows, by its first heading."""
    table = re.search(rf"^\| {first_heading} \|.*\n\|[-|]+\n((?:\|.*\n)+)", GUIDE, re.MULTILINE).group(1)
    return [[cell.strip() for cell in line.strip("|").split("|")] for line in table.splitlines()]


def poectl(*words):
    return subprocess.run([*words_that_start(PREFIX / "bin/poectl"), *words], stdin=subprocess.DEVNULL, text=True,
                          capture_output=True, timeout=PATIENCE_S, check=False)


def explained(codes):
    """What the command says of four codes."""
    with tempfile.TemporaryDirectory(dir="/var/tmp") as folder:
        place = f"{folder}/daemon"
        with StandIn(place, lambda request: reply_to(request, codes)):
            run = poectl("status", "--why", "--json", "--socket", place, "--answer-timeout", "20000")
    return json.loads(run.stdout)["explanations"]


def test_every_status_is_in_the_guide_as_the_command_explains_it():
    told = {}
    for first in range(0, len(CODES), CODES_A_LOOK):
        told |= {str(one["code"]): one for one in explained(range(first, first + CODES_A_LOOK))}
    other = explained([1000] * CODES_A_LOOK)[0]
    expected = [[code, one["name"], one["meaning"], one["cause"], one["remedy"]] for code, one in told.items()]
    expected.append(["other", other["name"], other["meaning"], other["cause"], other["remedy"]])
    assert rows("Code") == expected


def test_every_exit_status_is_in_the_guide():
    told = re.search(r"Exit status: (.*?)\.\n", poectl("--help").stdout, re.DOTALL).group(1)
    told = re.findall(r"(\d) (.*?)(?:, (?=\d)|$)", " ".join(told.split()))
    for (number, meaning), (code, text, _) in zip(told, rows("Status"), strict=True):
        assert number == code and text.startswith(meaning)


VERBS = ("status", "port", "system", "bank", "cycle", "schedule", "energy", "counters", "watch", "top", "check", "doctor",
         "completion", "help")
# These go on until they are ended, or need no daemon.
WITHOUT_END = ("watch", "top", "completion")
LINES = sorted(set(re.findall(rf"`?(poectl (?:{'|'.join(verb for verb in VERBS if verb not in WITHOUT_END)})\b[^`\n#|]*)",
                              GUIDE)))


def test_every_verb_is_in_the_guide():
    groups = poectl("--help").stdout.partition("Look:")[2].partition("Examples:")[0]
    assert sorted(VERBS) == sorted(re.findall(r"^  (\w+) ", groups, re.MULTILINE))
    assert [verb for verb in VERBS if not re.search(rf"poectl {verb}\b", GUIDE)] == []


@pytest.mark.parametrize("line", LINES)
def test_every_line_of_the_guide_is_good_usage(line):
    line = line.replace(" N", " 2").replace('"', "").strip()
    run = poectl(*line.split()[1:], "--socket", "/nonexistent/daemon")
    assert run.returncode in (0, 1, 3) and "--help" not in run.stderr, run.stderr
    if "check" in line:
        assert "/nonexistent/daemon" in run.stdout


def test_every_mode_is_in_the_guide_as_the_command_shows_it():
    told = []
    for mode in range(5):
        def answer(request, mode=mode):
            reply = bytearray(reply_to(request))
            if request[0] == PORT_SETTINGS:
                reply[MODE_OFFSET] = mode
            return bytes(reply)

        with tempfile.TemporaryDirectory(dir="/var/tmp") as folder:
            with StandIn(f"{folder}/daemon", answer):
                page = poectl("port", "2", "--socket", f"{folder}/daemon", "--answer-timeout", "20000").stdout
        told.append(list(re.search(r"^  mode +(\S+) \((\d)\): (.*)$", page, re.MULTILINE).groups()))
    assert rows("Mode") == told


def typed_to(purpose):
    """The words that the guide's table of everyday changes has for a purpose, without the command."""
    (words,) = [words for what, words in rows("To") if what == purpose]
    return words.strip("`").split()[1:]


def ports(world):
    return world.poectl_json("status")["ports"]


def test_restarting_all_devices_leaves_disabled_ports_alone(make_world):
    world = make_world(speed=1000)
    world.vswitch("plug", "2", "--class", "4", "--load", "12.5")
    assert world.poectl("port", "2", "set", "--enable", "on").returncode == 0
    delivers = [False, True, False, False]
    world.wait_for("power", lambda: [one["status"]["name"] == "delivering" for one in ports(world)] == delivers)
    done = world.poectl(*typed_to("restart all devices"))
    assert (done.returncode, done.stderr) == (0, "") and done.stdout.startswith("done: power-cycle of port 2 (lan2)\n")
    assert [one["settings"]["enabled"] for one in ports(world)] == delivers


def budget_mw(world):
    return world.poectl_json("system")["system"]["total_mw"]


def test_the_bank_lowers_what_all_ports_may_draw(make_world):
    world = make_world(speed=1000)
    purpose = "lower what all ports may draw together, until the daemon's next start"
    assert world.poectl(*typed_to(purpose)).returncode == 0
    world.wait_for("the lower budget", lambda: budget_mw(world) == 200_000)
    world.restart_daemon()
    world.wait_for("the usual budget", lambda: budget_mw(world) == 300_000)


def test_every_column_of_the_status_is_in_the_guide():
    with tempfile.TemporaryDirectory(dir="/var/tmp") as folder:
        with StandIn(f"{folder}/daemon", reply_to):
            heading = poectl("status", "--socket", f"{folder}/daemon").stdout.splitlines()[3]
    columns = re.split(r"  +", heading.strip())
    named = [name for row in rows("Column") for name in row[0].split(", ")]
    assert [column for column in columns if column not in ("PORT", "INTERFACE")] == named
