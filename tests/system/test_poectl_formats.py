"""What poectl tells programs: every verb, in every format, whatever the daemon does, against the installed schema."""
import csv
import io
import json
import os
import socket
import subprocess
import tempfile

import jsonschema
import pytest

from stand_in_daemon import StandIn, nonsense_to, refusal_of, reply_to
from world import IS_EMULATED, PATIENCE_S, PREFIX, words_that_start

SCHEMA = PREFIX / "share/poe_drv/poectl.schema.json"
VALIDATOR = jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text()))

# A line for every command that shows something.
LINES = {
    "status": "status --why", "port show": "port 3 --why", "port set": "port 3 set --mode 1 --no-wait",
    "system show": "system", "system set": "system set --threshold 80 --no-wait", "bank show": "bank", "bank set": "bank set 200 --no-wait",
    "cycle": "cycle 1 3 --no-wait", "schedule show": "schedule", "schedule set": "schedule 1-2 on --no-wait", "energy show": "energy",
    "energy port": "energy 2", "energy reset": "energy reset all --no-wait", "energy keep": "energy on --no-wait",
    "energy inject": "energy inject 90 --no-wait", "counters": "counters",
    "check": "check -w 50% -c 250 --delivering 1 --errors-warning 5", "doctor": "doctor"}
ALL_PORT_SETTINGS, PORT_1_ENABLED = 2, 9
OF_THE_DAEMON = [command for command in LINES if command not in ("check", "doctor")]
FORMATS = ["table", "json", "jsonl", "csv", "kv"]
PLUGIN_UNKNOWN = 3


@pytest.fixture
def place():
    """A short path, because names of sockets are."""
    with tempfile.TemporaryDirectory(prefix="pf-", dir="/var/tmp") as folder:
        yield os.path.join(folder, "daemon")


def poectl(place, line, *more, timeout_ms=20000):
    words = [*line.split(), *more, "--socket", place, "--answer-timeout", str(timeout_ms)]
    return subprocess.run([*words_that_start(PREFIX / "bin/poectl"), *words], stdin=subprocess.DEVNULL, text=True,
                          capture_output=True, timeout=PATIENCE_S, check=False)


def validated(run, command):
    """The JSON document, or the lines, which keep to the schema."""
    documents = [json.loads(run.stdout)] if run.args[run.args.index("--format") + 1] == "json" else [
        json.loads(line) for line in run.stdout.splitlines()]
    for document in documents:
        problems = [f"{list(problem.absolute_path)}: {problem.message}" for problem in VALIDATOR.iter_errors(document)]
        assert not problems, "\n".join(problems)
        assert document["command"] == command and document["schema_version"] == 1
    assert documents
    return documents


def keys_of(value, path=""):
    """Every key, wherever it is; those of a list's items count once."""
    if isinstance(value, dict):
        return {key for name, inside in value.items() for key in {f"{path}/{name}"} | keys_of(inside, f"{path}/{name}")}
    if isinstance(value, list):
        return {key for inside in value for key in keys_of(inside, f"{path}/*")}
    return set()


# --- the schema -------------------------------------------------------------------------------------------------------


def test_the_schema_is_one_and_knows_every_command():
    jsonschema.Draft202012Validator.check_schema(VALIDATOR.schema)
    known = set(VALIDATOR.schema["$defs"]["document"]["properties"]["command"]["enum"])
    assert known == {*LINES, None}  # None: bad usage that leaves it unknown


@pytest.mark.parametrize("spoil", [lambda seen: seen.pop("error"), lambda seen: seen.update(more=1),
                                   lambda seen: seen["ports"][2].pop("class"), lambda seen: seen.update(ports=None),
                                   lambda seen: seen["ports"][0].update(power_w=1),
                                   lambda seen: seen["system"].update(consumed_mw="1"),
                                   lambda seen: seen.update(schema_version=2)])
def test_the_schema_takes_nothing_else(place, spoil):
    with StandIn(place, reply_to):
        document = json.loads(poectl(place, "status --json").stdout)
    VALIDATOR.validate(document)
    spoil(document)
    assert list(VALIDATOR.iter_errors(document))


# --- every verb in every state ----------------------------------------------------------------------------------------


@pytest.mark.parametrize("form", ["json", "jsonl"])
@pytest.mark.parametrize("command", LINES)
def test_with_a_daemon_the_output_keeps_to_the_schema(place, command, form):
    with StandIn(place, reply_to):
        run = poectl(place, LINES[command], "--format", form)
    first = validated(run, command)[0]
    assert command in ("check", "doctor") or (run.returncode, run.stderr) == (0, "")
    assert form != "json" or first["error"] is None


@pytest.mark.parametrize("codes", [(11, 11, 11, 11), (14, 15, 16, 255), (4294967295, 12, 13, 9)])
@pytest.mark.parametrize("command", ["status", "port show", "schedule show", "check"])
def test_values_that_are_not_known_have_their_keys_all_the_same(place, command, codes):
    with StandIn(place, lambda request: reply_to(request, codes)):
        unknown = validated(poectl(place, LINES[command], "--format", "json"), command)[0]
        validated(poectl(place, LINES[command], "--format", "jsonl"), command)
    with StandIn(place, lambda request: reply_to(request, (1, 1, 1, 1))):
        known = validated(poectl(place, LINES[command], "--format", "json"), command)[0]
    assert keys_of(unknown) == keys_of(known) or command == "check"
    if command == "status":
        assert unknown["system"]["temperature_mc"] is None
        assert (unknown["ports"][0]["power_mw"] is None) == (codes[0] == 11)


STATES = {"refuses": (refusal_of, 5, "refused"), "hangs": (lambda _: None, 4, "no_answer"),
          "talks nonsense": (nonsense_to, 4, "no_answer")}


@pytest.mark.parametrize("form", FORMATS)
@pytest.mark.parametrize("state", STATES)
@pytest.mark.parametrize("command", OF_THE_DAEMON)
def test_a_daemon_that_does_not_do_it_is_told_in_every_format(place, command, state, form):
    answer, status, name = STATES[state]
    with StandIn(place, answer):
        run = poectl(place, LINES[command], "--format", form, timeout_ms=20000 if status == 5 or "sense" in state else 5)
    assert run.returncode == status, run.stderr
    assert run.stderr.startswith("poectl: ") and "\nTry: " in run.stderr
    if form in ("table", "csv"):
        assert run.stdout == ""
    elif form == "kv":
        assert f"error.name={name}\nerror.exit_status={status}\n" in run.stdout
    else:
        told = validated(run, command)
        error = told[0]["error"] if form == "json" else told[0]
        assert (error["name"], error["exit_status"]) == (name, status)
        assert form == "json" or (len(told) == 1 and error["record"] == "error")


@pytest.mark.parametrize("command", OF_THE_DAEMON)
def test_without_a_daemon_the_document_has_its_keys(place, command):
    run = poectl(place, LINES[command], "--format", "json")
    document = validated(run, command)[0]
    assert run.returncode == 3 and document["error"]["reason"] == f"there is no socket at {place}"
    with StandIn(place, reply_to):
        whole = validated(poectl(place, LINES[command], "--format", "json"), command)[0]
    assert list(whole) == list(document)
    assert all(document[key] == ([] if isinstance(whole[key], list) else None)
               for key in whole if key not in ("schema_version", "command", "error"))


@pytest.mark.parametrize("form", ["json", "jsonl"])
@pytest.mark.parametrize("answer", [refusal_of, lambda _: None, nonsense_to, None])
@pytest.mark.parametrize("command", ["check", "doctor"])
def test_check_and_doctor_keep_to_the_schema_when_the_daemon_does_not_answer(place, command, answer, form):
    def look():
        return poectl(place, LINES[command], "--format", form, timeout_ms=5 if answer is not nonsense_to else 20000)

    if answer is None:
        run = look()
    else:
        with StandIn(place, answer):
            run = look()
    documents = validated(run, command)
    assert run.returncode == (PLUGIN_UNKNOWN if command == "check" else 1)
    if command == "check" and form == "json":
        assert documents[0]["state"]["name"] == "unknown" and documents[0]["error"] is not None
        assert documents[0]["performance"] == []


def test_nobody_behind_the_socket_is_told_apart(place):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as left_behind:
        left_behind.bind(place)
    run = poectl(place, "status", "--format", "json")
    assert run.returncode == 3
    assert validated(run, "status")[0]["error"]["reason"].startswith(f"nobody is behind the socket {place}")


# --- bad usage --------------------------------------------------------------------------------------------------------

# What is wrong with each line: a word too many, which is found when all others were understood.
WRONG = {command: line.replace(" --no-wait", "") + " --bogus" for command, line in LINES.items()}


@pytest.mark.parametrize("form", FORMATS)
@pytest.mark.parametrize("command", LINES)
def test_bad_usage_is_told_in_every_format(place, command, form):
    run = poectl(place, WRONG[command], "--format", form)
    assert run.returncode == (PLUGIN_UNKNOWN if command == "check" else 2), run.stderr
    assert run.stderr.startswith("poectl: '--bogus' is nothing that poectl ") and "\nTry: poectl " in run.stderr
    if form in ("table", "csv"):
        assert run.stdout == ("" if command != "check" else "POE UNKNOWN - " + run.stderr.splitlines()[0][8:] + "\n")
    elif form == "kv":
        assert "error.name=usage\nerror.exit_status=2\n" in run.stdout
    else:
        # A period of a schedule is begun where ports are named, which is seen only when all else is right.
        told = validated(run, command.replace("schedule set", "schedule show").replace("energy port", "energy show"))
        error = told[0]["error"] if form == "json" else told[0]
        assert (error["name"], error["exit_status"]) == ("usage", 2)
        assert error["reason"] == run.stderr.splitlines()[0].removeprefix("poectl: ")


@pytest.mark.parametrize("form", ["json", "jsonl"])
@pytest.mark.parametrize("line, command", [("prt 2", None), ("help bogus", None), ("completion csh", None),
                                           ("watch --bogus", "watch"), ("top --bogus", "watch")])
def test_bad_usage_without_a_document_of_its_own_keeps_to_the_schema(place, line, command, form):
    run = poectl(place, line, "--format", form)
    assert run.returncode == 2
    told = validated(run, command)
    assert len(told) == 1
    assert (told[0]["error"] if form == "json" and command is None else told[0])["name"] == "usage"


def test_a_format_that_is_wrong_itself_is_told_to_people_only(place):
    for words in (["--format", "xml"], ["--json", "--format", "json"]):
        run = poectl(place, "status", *words)
        assert (run.returncode, run.stdout) == (2, "") and run.stderr.startswith("poectl: ")


# --- the other formats ------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("command", OF_THE_DAEMON)
def test_csv_is_a_row_an_item_under_one_line_of_headings(place, command):
    with StandIn(place, reply_to):
        rows = list(csv.reader(io.StringIO(poectl(place, LINES[command], "--format", "csv").stdout)))
        document = json.loads(poectl(place, LINES[command], "--json").stdout)
    lists = [value for value in document.values() if isinstance(value, list)]
    assert len(rows) == 1 + (len(lists[0]) if lists else 1)
    assert len({len(row) for row in rows}) == 1 and len(set(rows[0])) == len(rows[0])


@pytest.mark.parametrize("command", OF_THE_DAEMON)
def test_kv_tells_what_json_tells(place, command):
    def leaves(value):
        if isinstance(value, dict):
            return sum(map(leaves, value.values()))
        return sum(map(leaves, value)) if isinstance(value, list) else 1

    with StandIn(place, reply_to):
        lines = poectl(place, LINES[command], "--format", "kv").stdout.splitlines()
        document = json.loads(poectl(place, LINES[command], "--json").stdout)
    pairs = dict(line.split("=", 1) for line in lines)
    assert len(pairs) == len(lines) == leaves(document)
    assert pairs["command"] == command and pairs["error"] == ""


def test_kv_names_ports_as_on_the_panel(place):
    with StandIn(place, reply_to):
        pairs = dict(line.split("=", 1) for line in poectl(place, "status", "--format", "kv").stdout.splitlines())
    assert pairs["ports.3.status.name"] == "overload" and pairs["ports.3.interface"] == "lan3"
    assert pairs["ports.2.pair_sets.B.status.code"] == "0" and pairs["ports.2.class"] == ""


# --- a change that is accepted and shows no effect --------------------------------------------------------------------


CHANGES = [command for command in LINES if "--no-wait" in LINES[command]]


@pytest.mark.parametrize("form", FORMATS)
@pytest.mark.parametrize("command", [one for one in CHANGES if one != "energy reset"])
def test_a_change_without_effect_is_told_in_every_format(place, command, form):
    line = LINES[command].replace("--no-wait", "--timeout 0.01").replace("1-2 on", "1-2 off")
    with StandIn(place, reply_to):
        run = poectl(place, line, "--format", form)
    assert run.returncode == 7 and run.stderr.startswith("poectl: accepted, but no effect seen in "), run.stderr
    assert run.stdout
    if form in ("json", "jsonl"):
        validated(run, command)
    if form == "json":
        told = json.loads(run.stdout)
        assert told["error"]["name"] == "no_effect" and told["change"]["effect_seen"] is False
        assert not all(one["seen"] for one in told["changes"])


FIRST_SETTING, CLEAR_ENERGY = 128, 83


def only_settings(answer):
    """Answers queries as usual, and settings like that."""
    return lambda request: answer(request) if request[0] >= FIRST_SETTING or request[0] == CLEAR_ENERGY else reply_to(request)


@pytest.mark.parametrize("form", FORMATS)
@pytest.mark.parametrize("command", CHANGES)
def test_a_change_that_is_refused_is_5_in_every_format(place, command, form):
    with StandIn(place, only_settings(refusal_of)):
        run = poectl(place, LINES[command], "--format", form)
    assert run.returncode == 5 and run.stderr.startswith("poectl: refused: ")
    if form in ("json", "jsonl"):
        told = validated(run, command)[0]
        assert (told["error"] if form == "json" else told)["name"] == "refused"


@pytest.mark.parametrize("form", FORMATS)
@pytest.mark.parametrize("command", CHANGES)
def test_a_change_that_is_not_answered_may_have_been_taken(place, command, form):
    with StandIn(place, only_settings(nonsense_to)):
        run = poectl(place, LINES[command], "--format", form)
    assert run.returncode == 4 and "; the change may have been taken all the same.\nTry: look with 'poectl " in run.stderr
    looks_with = run.stderr.partition("look with 'poectl ")[2].partition("'")[0]
    with StandIn(place, reply_to):
        assert poectl(place, looks_with).returncode == 0
    if form in ("json", "jsonl"):
        told = validated(run, command)[0]
        error = told["error"] if form == "json" else told
        assert error["name"] == "no_answer" and error["advice"].startswith("look with 'poectl ")


def test_a_port_whose_power_cycle_ended_between_two_answers_is_not_taken_for_a_disabled_one(place):
    settings = []

    def answer(request):
        reply = bytearray(reply_to(request))
        if request[0] == ALL_PORT_SETTINGS:
            reply[PORT_1_ENABLED] = len(settings) > 0
            settings.append(request)
        return bytes(reply)

    with StandIn(place, answer):
        run = poectl(place, "cycle 1 --no-wait", "--format", "json")
    assert (run.returncode, run.stderr) == (0, "") and len(settings) > 1
    assert validated(run, "cycle")[0]["change"]["accepted"]


@pytest.mark.parametrize("command", CHANGES)
def test_a_dry_run_keeps_to_the_schema(place, command):
    with StandIn(place, reply_to):
        run = poectl(place, LINES[command].replace("--no-wait", "--dry-run"), "--format", "json")
    told = validated(run, command)[0]
    assert run.returncode == 0 and told["change"]["dry_run"] and not told["change"]["accepted"]


# --- the real daemon --------------------------------------------------------------------------------------------------


def test_everything_that_the_daemon_really_says_keeps_to_the_schema(make_world):
    world = make_world(speed=1000)
    world.vswitch("plug", "2", "--class", "4", "--load", "12.5")
    for port in "123":
        world.poectl("port", port, "set", "--enable", "on")
    # An emulated daemon runs under its emulator's name: doctor looks for it in vain.
    statuses = dict.fromkeys(LINES, {0}) | {"check": {0, 1, 2, 3}, "doctor": {int(IS_EMULATED)}}
    for command, line in LINES.items():
        for form in ("json", "jsonl"):
            run = world.poectl(*line.split(), "--format", form)
            assert run.returncode in statuses[command], run.stderr
            validated(run, command)
