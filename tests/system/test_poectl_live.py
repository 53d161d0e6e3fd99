"""What goes on: changes until they have taken effect, events, and the full screen."""
import json
import os
import signal
import subprocess

import jsonschema
import pytest

from screen import OnTerminal
from world import DAEMON_SOCKET, IS_EMULATED, PATIENCE_S, PREFIX, is_instrumented, words_that_start

FAST = 1000
SCHEMA = PREFIX / "share/poe_drv/poectl.schema.json"
VALIDATOR = jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text()))


@pytest.fixture
def world(make_world):
    return make_world(speed=FAST)


def done(world, *words):
    run = world.poectl(*words)
    assert (run.returncode, run.stderr) == (0, ""), run.stderr
    return run.stdout.splitlines()


def outside(world, *words):
    """The words that start poectl outside of the world, which sees the daemon's socket all the same."""
    return [*words_that_start(PREFIX / "bin/poectl"), *map(str, words), "--socket", str(world.tmp / DAEMON_SOCKET)]


def without_temperature(page):
    """Of the controller: the daemon asks for it when it is asked, so it is unknown at once."""
    return [line for line in page.splitlines() if "controller" not in line]


def test_a_controller_that_does_not_answer_is_found_while_the_daemon_goes_on_telling_what_it_read(make_world):
    world = make_world(speed=1)
    world.wait_for_readings()
    assert world.poectl("check").returncode == 0
    healthy = world.poectl_json("doctor")["checks"]
    assert [one["result"] for one in healthy if one["check"] == "controller"] == ["ok"]
    verbs = (("status",), ("port", "1"), ("system",))
    before = {verb: without_temperature(world.poectl(*verb).stdout) for verb in verbs}
    world.vswitch("fault", "no-answer")
    run = world.poectl("check")
    assert run.returncode == 2
    assert run.stdout.startswith("POE CRITICAL - the controller does not answer poe_drv; all that is told is old | ")
    for verb in verbs:
        run = world.poectl(*verb)
        first, rest = run.stdout.split("\n\n", 1)
        assert first == "The controller does not answer poe_drv: what follows is what it told last."
        assert (run.returncode, without_temperature(rest), run.stderr) == (0, before[verb], "")
    run = world.poectl("status", "--format", "csv")
    assert (run.returncode, run.stderr) == (0, "poectl: the controller does not answer poe_drv; all that is told is old\n")
    told = world.poectl_json("status")
    VALIDATOR.validate(told)
    assert told["controller"] == {"answers": False}
    run = world.poectl("doctor", "--json")
    told = json.loads(run.stdout)
    VALIDATOR.validate(told)
    assert run.returncode == 1 and not told["verdict"]["healthy"]
    assert [one["result"] for one in told["checks"] if one["check"] == "controller"] == ["fault"]
    world.vswitch("fault", "clear")
    world.wait_for("the controller to answer again", lambda: world.poectl("check").returncode == 0)


def test_a_daemon_that_started_beside_a_silent_controller_is_found_until_it_is_restarted(make_world):
    world = make_world(speed=1000, stopped=True, ready="started")
    world.vswitch("fault", "no-answer")
    world.start_daemon()
    world.wait_for("the daemon to give the controller up", lambda: world.poectl("counters").returncode == 0)
    world.vswitch("fault", "clear")
    critical = "POE CRITICAL - the power budget is 0.0 W: no port gets power; restart poe_drv if nobody set it | "
    world.wait_for("a sweep to end", lambda: world.poectl("check").stdout.startswith(critical))
    assert world.poectl("check").returncode == 2
    found = json.loads(world.poectl("doctor", "--json").stdout)["checks"]
    assert [one["finding"] for one in found if one["check"] == "controller"] == ["has a power budget of 0.0 W: no port gets power"]
    world.restart_daemon()
    world.wait_for("the budget", lambda: world.poectl("check").returncode == 0)


# --- a change is done when it has taken effect ------------------------------------------------------------------------


def test_enabling_a_port_is_done_when_its_status_shows_it(world):
    world.vswitch("plug", "2", "--class", "4", "--load", "12.5")
    lines = done(world, "port", "2", "set", "--enable", "on", "--limit", "30")
    assert lines[0] == "done: port 2 (lan2) enable on, limit 30.0 W"
    assert lines[2].split() == ["PORT", "INTERFACE", "SETTING", "WAS", "IS"]
    assert lines[3].split() == ["2", "lan2", "enabled", "no", "yes"]
    assert lines[4].split() == ["2", "lan2", "power", "limit", "90.0", "W", "30.0", "W"]
    assert lines[5].split()[:5] == ["2", "lan2", "status", "disabled", "(0)"]
    assert world.poectl_json("port", 2)["ports"][0]["status"]["code"] not in (0, 11)
    assert done(world, "port", "2", "set", "--enable", "off")[0] == "done: port 2 (lan2) enable off"
    assert world.poectl_json("port", 2)["ports"][0]["status"]["code"] == 0


@pytest.mark.parametrize("line", ["system set --enable off --threshold 80", "bank set 240", "schedule 1-3 off",
                                  "energy on", "energy reset all", "port 4 set --mode 0", "port lan3 set --re-enable 60"])
def test_every_other_change_is_seen_in_the_records(world, line):
    told = world.poectl_json(*line.split())
    assert told["change"]["accepted"] and told["change"]["effect_seen"] and not told["change"]["dry_run"]
    assert told["changes"] and all(one["seen"] for one in told["changes"])
    assert done(world, *line.split())[-1] == "It was so already." or "schedule" in line


def test_what_an_earlier_change_still_undoes_was_not_so_already(make_world):
    """The daemon comes to a change only after the one before, whose transactions take long here."""
    world = make_world(speed=1)
    done(world, "port", "2", "set", "--enable", "on")
    world.vswitch("latency", 100_000)
    assert done(world, "port", "2", "set", "--enable", "off", "--no-wait")[0].startswith("accepted: ")
    lines = done(world, "port", "2", "set", "--enable", "on", "--timeout", "60")
    assert lines[0] == "done: port 2 (lan2) enable on" and "It was so already." not in lines


def test_what_was_so_is_done_only_when_the_daemon_has_come_to_it(make_world):
    world = make_world(speed=1)
    world.wait_for_readings()
    world.vswitch("fault", "no-answer")
    run = world.poectl("port", "2", "set", "--enable", "off", "--timeout", "0.3")
    assert run.returncode == 7 and "it was so before, but poe_drv has not come to it yet" in run.stderr


def test_enabling_a_port_without_a_device_says_that_none_has_taken_power(world):
    assert done(world, "port", "3", "set", "--enable", "on")[-1] == "Port 3 (lan3) is on; no device has taken power yet."


def test_a_change_without_effect_in_time_is_7(make_world):
    world = make_world(speed=1)
    world.wait_for_readings()
    world.vswitch("fault", "no-answer")
    run = world.poectl("port", "3", "set", "--enable", "on", "--timeout", "0.3")
    assert run.returncode == 7
    assert run.stdout.splitlines()[0] == "accepted: port 3 (lan3) enable on"
    assert run.stderr.startswith("poectl: accepted, but no effect seen in ")
    assert "port 3 (lan3): status is disabled (0), wanted: searching or delivering" in run.stderr
    assert "\nTry: " in run.stderr


def test_a_change_that_the_controller_never_got_is_7_although_it_is_recorded(world):
    world.vswitch("fault", "no-answer")
    run = world.poectl("port", "3", "set", "--limit", "20", "--json", "--timeout", "25")
    told = json.loads(run.stdout)
    VALIDATOR.validate(told)
    assert run.returncode == 7 and told["error"]["name"] == "no_effect"
    assert "transactions with the controller failed meanwhile" in told["error"]["reason"]
    assert told["changes"][0]["is"] == 20000 and told["change"]["effect_seen"] is False


def test_a_value_that_the_daemon_keeps_for_itself_is_7_at_once(world):
    run = world.poectl("system", "set", "--parameter-1", "1", "--timeout", "600")
    assert run.returncode == 7 and "leave --parameter-1 out" in run.stderr


def test_a_dry_run_changes_nothing(world):
    world.wait_for_readings()
    before = world.poectl("status", "--json").stdout
    for line in ("port 1 set --enable on", "system set --enable off", "bank set 1", "schedule 1 off", "energy reset 1",
                 "energy on", "energy inject 5"):
        lines = done(world, *line.split(), "--dry-run")
        assert lines[0].startswith("would be sent: ") and any(one.startswith("Nothing was sent.") for one in lines)
    assert world.poectl_json("counters")["queue"] == {"deepest": 0}
    keys = ("settings", "status", "power_cycle")
    seen = [{key: one[key] for key in keys} for one in world.poectl_json("status")["ports"]]
    assert seen == [{key: one[key] for key in keys} for one in json.loads(before)["ports"]]


def test_a_port_that_stays_off_says_why(world):
    done(world, "system", "set", "--enable", "off")
    lines = done(world, "port", "1", "set", "--enable", "on")
    assert lines[-1] == "Port 1 (lan1) stays off: PoE as a whole is disabled."


# --- power-cycles -----------------------------------------------------------------------------------------------------


def test_several_ports_are_cycled_and_awaited_until_they_are_on_again(make_world):
    world = make_world(speed=100)
    for number in (1, 3):
        world.vswitch("plug", number, "--class", "3", "--load", "5")
        done(world, "port", number, "set", "--enable", "on", "--re-enable", "20")
    lines = done(world, "cycle", "1", "3")
    assert lines[0] == "done: power-cycle of ports 1 (lan1), 3 (lan3)"
    assert [line.split()[3:] for line in lines if "power-cycle" in line][1:] == [["none", "on", "again"]] * 2
    seen = world.poectl_json("status")["ports"]
    assert all(seen[i]["settings"]["enabled"] and not seen[i]["power_cycle"]["pending"] for i in (0, 2))


def power_up(world, number):
    world.vswitch("plug", number, "--class", "3", "--load", "5")
    done(world, "port", number, "set", "--enable", "on", "--re-enable", "20")
    world.wait_for("power", lambda: world.poectl_json("port", number)["ports"][0]["status"]["code"] == 1)


def test_a_port_that_delivered_is_cycled_when_it_delivers_again(make_world):
    world = make_world(speed=100)
    power_up(world, 2)
    lines = done(world, "cycle", "2")
    assert [line.split()[-2:] for line in lines if "status" in line] == [["delivering", "(1)"]]
    assert world.poectl_json("port", 2)["ports"][0]["status"]["code"] == 1


def test_a_device_that_does_not_come_back_from_a_cycle_is_7(make_world):
    world = make_world(speed=10)
    power_up(world, 2)
    with subprocess.Popen(outside(world, "cycle", "2", "--timeout", "5"), stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as cycling:
        world.wait_for("the port to be off", lambda: world.poectl_json("port", 2)["ports"][0]["power_cycle"]["pending"])
        world.vswitch("unplug", "2")
        told, complaint = cycling.communicate()
    assert cycling.returncode == 7 and told.startswith("accepted: power-cycle of port 2 (lan2)\n")
    assert "port 2 (lan2): status is searching (2), wanted: delivering (1)" in complaint
    assert "'poectl port 2 --why' says what keeps it from delivering" in complaint


def test_a_disabled_port_is_not_power_cycled(make_world):
    world = make_world(speed=100)
    for number in (1, 2):
        done(world, "port", number, "set", "--enable", "on", "--re-enable", "20")
    for words in (["cycle", "4"], ["cycle", "1,4"], ["cycle", "1-4", "--dry-run"]):
        run = world.poectl(*words)
        assert run.returncode == 5 and run.stdout == "" and "4 (lan4)" in run.stderr and "disabled" in run.stderr
    lines = done(world, "cycle", "all", "--dry-run")
    note = ("Left out, because disabled: ports 3 (lan3), 4 (lan4). 'poectl port N set --enable on' switches one on.")
    assert lines[0] == "would be sent: power-cycle of ports 1 (lan1), 2 (lan2)" and note in lines
    told = world.poectl_json("cycle", "all")
    VALIDATOR.validate(told)
    assert told["change"]["ports"] == [1, 2] and [one["port"] for one in told["change"]["left_out"]] == [3, 4]
    assert [one["settings"]["enabled"] for one in world.poectl_json("status")["ports"]] == [True, True, False, False]


def test_where_all_ports_are_disabled_there_is_nothing_to_cycle(world):
    lines = done(world, "cycle", "all")
    assert lines[0] == ("nothing to do: ports 1 (lan1), 2 (lan2), 3 (lan3), 4 (lan4) are disabled")
    assert lines[-1] == "'poectl port N set --enable on' switches one on."
    for more in ([], ["--dry-run"]):
        change = world.poectl_json("cycle", "all", *more)["change"]
        assert (change["accepted"], change["dry_run"], change["effect_seen"]) == (False, bool(more), None)
        assert change["ports"] == [] and change["request"] == {"type": None, "bytes": None}
        assert {one["reason"] for one in change["left_out"]} == {"disabled"} and len(change["left_out"]) == 4
    assert world.poectl_json("counters")["queue"] == {"deepest": 0}


def test_a_power_cycle_that_is_pending_may_begin_again(make_world):
    world = make_world(speed=10)
    done(world, "port", "1", "set", "--enable", "on", "--re-enable", "60")
    done(world, "cycle", "1", "--no-wait")
    world.wait_for("the power-cycle", lambda: world.poectl_json("port", 1)["ports"][0]["power_cycle"]["pending"])
    lines = done(world, "port", "1", "set", "--enable", "off")
    assert lines[-1].startswith("Port 1 (lan1) is being power-cycled, which enables it in ")
    assert done(world, "cycle", "1", "--no-wait")[0] == "accepted: power-cycle of port 1 (lan1)"


def test_only_powered_leaves_the_others_alone(make_world):
    world = make_world(speed=100)
    world.vswitch("plug", 2, "--class", "3", "--load", "5")
    done(world, "port", "2", "set", "--enable", "on", "--re-enable", "20")
    world.wait_for("power", lambda: world.poectl_json("port", 2)["ports"][0]["status"]["code"] == 1)
    lines = done(world, "cycle", "all", "--only-powered")
    assert lines[0] == "done: power-cycle of port 2 (lan2)"
    assert lines[-1] == "Left out, because no power is delivered: ports 1 (lan1), 3 (lan3), 4 (lan4)."
    assert done(world, "cycle", "1,3", "--only-powered") == ["nothing to do: ports 1 (lan1), 3 (lan3) deliver no power"]


def test_a_cycle_that_takes_longer_than_the_timeout_says_where_it_is(make_world):
    world = make_world(speed=1)
    done(world, "port", "1", "set", "--enable", "on", "--re-enable", "60")
    run = world.poectl("cycle", "1", "--timeout", "3")
    assert run.returncode == 7 and "power-cycle is off, on again in " in run.stderr


# --- watch ------------------------------------------------------------------------------------------------------------


class Watching:
    """poectl watch as it goes on, in JSON lines."""

    def __init__(self, world, *words):
        self.process = subprocess.Popen(outside(world, "watch", "--json", "--interval", "0.1", *words),
                                        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.events = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.communicate()

    def next(self):
        line = self.process.stdout.readline()
        assert line.endswith("\n"), self.process.stderr.read()
        event = json.loads(line)
        VALIDATOR.validate(event)
        self.events.append(event)
        assert event["sequence"] == len(self.events) and event["command"] == "watch"
        return event

    def until(self, predicate):
        while not predicate(event := self.next()):
            pass
        return event

    def end(self):
        self.process.communicate(timeout=PATIENCE_S)
        return self.process.returncode


def test_watch_tells_the_whole_state_and_then_what_happens(make_world):
    world = make_world(speed=10)
    done(world, "port", "2", "set", "--enable", "on")
    with Watching(world) as watching:
        first = watching.next()
        assert first["record"] == "state" and first["daemon"]["reachable"] and len(first["ports"]) == 4
        world.vswitch("plug", "2", "--class", "4", "--load", "12.5")
        status = watching.until(lambda event: event["record"] == "status" and event["is"]["name"] == "delivering")
        assert (status["port"], status["interface"]) == (2, "lan2")
        power = watching.until(lambda event: event["record"] == "power" and event["is_mw"] > 10000)
        assert power["port"] == 2
        done(world, "system", "set", "--threshold", "1")
        alarm = watching.until(lambda event: event["record"] == "alarm")
        assert alarm["raised"] and alarm["threshold_percent"] == 1


def test_watch_tells_a_controller_that_falls_silent_and_answers_again(make_world):
    world = make_world(speed=1)
    with Watching(world) as watching:
        assert watching.next()["controller"] == {"answers": True}
        world.vswitch("fault", "no-answer")
        assert not watching.until(lambda event: event["record"] == "controller")["answers"]
        assert watching_once(world)["controller"] == {"answers": False}
        world.vswitch("fault", "clear")
        assert watching.until(lambda event: event["record"] == "controller")["answers"]


def watching_once(world):
    with Watching(world, "--once") as watching:
        return watching.next()


def test_watch_outlives_the_daemon(world):
    with Watching(world) as watching:
        watching.next()
        world.stop_daemon()
        lost = watching.until(lambda event: event["record"] == "daemon")
        assert not lost["reachable"] and lost["reason"] == "daemon_not_reachable"
        world.start_daemon()
        back = watching.until(lambda event: event["record"] == "daemon" and event["reachable"])
        assert back["reason"] is None
        assert watching.next()["record"] == "state"


def test_watch_tells_a_daemon_that_hangs_and_that_goes_on(world):
    with Watching(world, "--answer-timeout", "50") as watching:
        watching.next()
        with world.stopped_daemon():
            assert watching.until(lambda event: event["record"] == "daemon")["reason"] == "no_answer"
        assert watching.until(lambda event: event["record"] == "daemon")["reachable"]


def test_watch_begins_without_a_daemon_and_meets_it(world):
    world.stop_daemon()
    with Watching(world) as watching:
        first = watching.next()
        assert first["record"] == "state" and first["system"] is None and first["ports"] == []
        assert first["daemon"]["reason"] == "daemon_not_reachable"
        world.start_daemon()
        assert watching.next()["record"] == "daemon"
        assert watching.next()["record"] == "state"


def test_watch_without_a_daemon_ends_with_its_status(world):
    world.stop_daemon()
    run = world.poectl("watch", "--once")
    assert run.returncode == 3 and run.stdout.endswith("; poe_drv left it behind\n") and "\nTry: " in run.stderr
    assert world.poectl("watch", "--for", "0.2", "--interval", "0.1").returncode == 3


def test_watch_ends_after_its_count_or_its_time(world):
    assert len(done(world, "watch", "--once")) == 1
    assert len(done(world, "watch", "--for", "0.3", "--interval", "0.1")) == 1
    with Watching(world, "--count", "2") as watching:
        watching.next()
        world.vswitch("plug", "2", "--class", "4", "--load", "12.5")
        done(world, "port", "2", "set", "--enable", "on", "--no-wait")
        watching.next()
        assert watching.end() == 0


@pytest.mark.only_if(not IS_EMULATED)
@pytest.mark.parametrize("which", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_watch_ends_by_the_signal_and_leaves_nothing_behind(world, which):
    before = sorted(os.listdir(world.tmp))
    with Watching(world) as watching:
        watching.next()
        watching.process.send_signal(which)
        assert watching.end() == -which
    assert sorted(os.listdir(world.tmp)) == before


def test_watch_ends_when_nobody_reads_any_more(world):
    before = sorted(os.listdir(world.tmp))
    with Watching(world) as watching:
        watching.next()
        watching.process.stdout.close()
        assert watching.process.wait(PATIENCE_S) == 0
    assert sorted(os.listdir(world.tmp)) == before


def test_watch_says_that_a_full_disk_ends_it(world):
    with open("/dev/full", "w", encoding="ascii") as full:
        run = subprocess.run(outside(world, "watch", "--once"), stdout=full, stderr=subprocess.PIPE, text=True, check=False)
    assert run.returncode == 1 and "No space left on device" in run.stderr


@pytest.mark.only_if(not IS_EMULATED and not is_instrumented())
def test_watch_leaves_the_trap_pipe_to_its_reader(world):
    trace = world.tmp / "trace"
    subprocess.run(["strace", "-f", "-e", "trace=open,openat", "-o", trace, *outside(world, "watch", "--for", "0.3",
                                                                                   "--interval", "0.1")], check=True,
                   stdout=subprocess.DEVNULL)
    assert "snmp_proc_pipe" not in trace.read_text()


# --- top --------------------------------------------------------------------------------------------------------------


@pytest.fixture
def powered(make_world):
    world = make_world(speed=100)
    world.vswitch("plug", "2", "--class", "4", "--load", "12.5")
    done(world, "port", "2", "set", "--enable", "on", "--limit", "30")
    world.wait_for("power", lambda: world.poectl_json("port", 2)["ports"][0]["power_mw"])
    return world


HAS_TOP = b"built without ncurses" not in (PREFIX / "bin/poectl").read_bytes()


@pytest.mark.only_if(HAS_TOP)
def test_top_shows_the_switch_and_obeys_its_keys(powered):
    with OnTerminal(outside(powered, "top", "--interval", "0.2")) as terminal:
        lines = terminal.wait_for("the frame", lambda lines: lines[7].startswith("  4") and lines)
        assert lines[0].startswith("poectl top  ") and lines[0].endswith("q quit  ? help")
        assert lines[2].startswith("Budget [#") and " of 300.0 W, alarm at 95 %" in lines[2]
        assert lines[4].startswith("> 1    lan1      dark   disabled (0)")
        assert lines[5].startswith("  2    lan2      lit    delivering (1)") and "/30.0 [####" in lines[5]
        assert lines[9].startswith("Port 1 (lan1): ")
        terminal.press("\x1bOB")  # as an arrow key says while a program asks for keys
        terminal.wait_for("port 2", lambda lines: lines[5].startswith("> 2") and lines[9].startswith("Port 2 (lan2): class 4"))
        terminal.press("?")
        terminal.wait_for("the help", lambda lines: any("up, down, 1 to 4" in line for line in lines))
        terminal.press("?4")
        terminal.wait_for("port 4", lambda lines: lines[7].startswith("> 4"))
        powered.vswitch("load", "2", "20")
        terminal.wait_for("more power", lambda lines: "20.0/30.0" in lines[5] or "19.9/30.0" in lines[5])
        terminal.press("q")
        assert terminal.wait_for_end() == 0
        assert terminal.is_as_before()


@pytest.mark.only_if(HAS_TOP)
def test_top_follows_the_size_of_its_terminal(powered):
    with OnTerminal(outside(powered, "top", "--interval", "0.2"), lines=12, columns=60) as terminal:
        terminal.wait_for("the frame", lambda lines: lines[7].startswith("  4") and not any("last hour" in one for one in lines))
        terminal.resize(40, 132)
        terminal.wait_for("the larger frame", lambda lines: any("last hour" in line for line in lines))
        terminal.press("q")
        assert terminal.wait_for_end() == 0


@pytest.mark.only_if(HAS_TOP)
def test_top_outlives_the_daemon(powered):
    with OnTerminal(outside(powered, "top", "--interval", "0.2")) as terminal:
        terminal.wait_for("the frame", lambda lines: lines[7].startswith("  4"))
        powered.stop_daemon()
        terminal.wait_for("the news", lambda lines: lines[1].startswith("cannot reach the daemon: "))
        powered.start_daemon()
        terminal.wait_for("better news", lambda lines: lines[1] == "")


@pytest.mark.only_if(HAS_TOP and not IS_EMULATED)
@pytest.mark.parametrize("which", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_top_gives_the_terminal_back_when_a_signal_ends_it(powered, which):
    before = sorted(os.listdir(powered.tmp))
    with OnTerminal(outside(powered, "top")) as terminal:
        terminal.wait_for("the frame", lambda lines: lines[7].startswith("  4"))
        terminal.signal(which)
        assert terminal.wait_for_end() == -which
        assert terminal.is_as_before()
    assert sorted(os.listdir(powered.tmp)) == before


@pytest.mark.only_if(HAS_TOP)
def test_ctrl_c_ends_top(powered):
    with OnTerminal(outside(powered, "top")) as terminal:
        terminal.wait_for("the frame", lambda lines: lines[7].startswith("  4"))
        terminal.press("\x03")
        assert terminal.wait_for_end() == -signal.SIGINT
        assert terminal.is_as_before()


@pytest.mark.only_if(HAS_TOP)
@pytest.mark.parametrize("ending", ["--once", "--count 2", "--for 0.2"])
def test_top_ends_after_its_looks_or_its_time_and_gives_the_terminal_back(powered, ending):
    with OnTerminal(outside(powered, "top", "--interval", "0.1", *ending.split())) as terminal:
        assert terminal.wait_for_end() == 0
        assert terminal.is_as_before()


@pytest.mark.only_if(HAS_TOP)
def test_top_that_ends_without_a_daemon_ends_with_its_status(powered):
    powered.stop_daemon()
    with OnTerminal(outside(powered, "top", "--once")) as terminal:
        assert terminal.wait_for_end() == 3
        assert terminal.is_as_before()


@pytest.mark.only_if(HAS_TOP)
@pytest.mark.parametrize("columns", [40, 60, 80, 120])
def test_top_says_everything_on_a_terminal_of_any_width(powered, columns):
    with OnTerminal(outside(powered, "top", "--interval", "0.2"), lines=40, columns=columns) as terminal:
        lines = terminal.wait_for("the frame", lambda lines: any("bad signatures" in line for line in lines) and lines)
        assert any(line.startswith("> 1 ") and line.rstrip("]. ").endswith("0.0/90.0" if columns < 66 else "0.0/90.0 [")
                   for line in lines), lines
        terminal.press("?")
        last = "LEDs are told from the statuses, as poe_drv drives the panel."
        terminal.wait_for("the whole help, and no more", lambda lines: " ".join(" ".join(lines).split()).endswith(last))
        terminal.press("q")
        assert terminal.wait_for_end() == 0


def test_top_without_a_terminal_watches_and_ends_when_it_is_told_to(powered):
    for ending in ("--once", "--count 1", "--for 0.1"):
        run = powered.poectl("top", "--json", *ending.split())
        assert run.returncode == 0 and [json.loads(line)["record"] for line in run.stdout.splitlines()] == ["state"]


def test_top_without_a_terminal_watches(powered):
    run = subprocess.run([*outside(powered, "top", "--interval", "0.1", "--json")], stdin=subprocess.DEVNULL,
                         stdout=open("/dev/full", "w", encoding="ascii"), stderr=subprocess.PIPE, text=True, check=False)
    assert run.stderr.startswith("poectl: no full screen: ") and "watching instead.\n" in run.stderr
    assert run.returncode == 1  # watch, which finds the disk full


def test_top_on_a_terminal_that_cannot_move_its_cursor_watches(powered):
    with OnTerminal(outside(powered, "top"), environment={"TERM": "dumb"}, lines=40, columns=200) as terminal:
        terminal.wait_for("watch", lambda lines: lines[0].startswith("poectl: no full screen: ") and "PoE enabled" in lines[1])
