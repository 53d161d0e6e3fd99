"""The operator's command on a switch that works, on one that does not answer, and on none."""
import os
import re

import pytest

from world import DAEMON_SOCKET

FAST = 1000
FRESH_PORT_SETTINGS = {"enabled": False, "limit_mw": 90000, "priority": {"code": 3, "name": "low"}, "mode": 2,
                       "schedule_enabled": False, "re_enable_s": 10}
OPTIONS_OF_EVERY_SETTING = ("--enable", "on", "--limit", "30", "--priority", "high", "--mode", "90w-no-class",
                            "--schedule", "on", "--re-enable", "20")


@pytest.fixture
def world(make_world):
    return make_world(speed=FAST)


def done(world, *words):
    """A change that has taken effect: the first line of what poectl said about it."""
    run = world.poectl(*words)
    assert (run.returncode, run.stderr) == (0, ""), run.stderr
    return run.stdout.splitlines()[0]


def port(world, number):
    ports = world.poectl_json("port", number)["ports"]
    assert [one["port"] for one in ports] == [number]
    return ports[0]


def settle(world, what, query, check):
    """Looks with a query until the check of its answer holds; gives what the check gave."""
    return world.wait_for(what, lambda: check(world.poectl_json(query)))


def is_cycled(world, number):
    """The port while its power-cycle is pending."""
    seen = port(world, number)
    return seen if seen["power_cycle"]["pending"] else None


def powered(world, number, watts):
    """A device at a port that delivers to it."""
    world.vswitch("plug", number, "--class", "4", "--load", watts)
    done(world, "port", number, "set", "--enable", "on")
    world.wait_for("power", lambda: port(world, number)["status"]["code"] == 1)


# --- looking ----------------------------------------------------------------------------------------------------------


def test_status_of_a_fresh_switch(world):
    seen = settle(world, "the first sweep", "status",
                  lambda seen: all(one["status"]["code"] == 0 for one in seen["ports"]) and seen)
    assert list(seen) == ["schema_version", "command", "error", "controller", "system", "ports", "explanations"]
    assert (seen["schema_version"], seen["command"], seen["error"]) == (1, "status", None)
    assert seen["system"]["total_mw"] == 300000 and seen["system"]["consumed_mw"] == 0
    assert [(one["port"], one["interface"]) for one in seen["ports"]] == [
        (1, "lan1"), (2, "lan2"), (3, "lan3"), (4, "lan4")]
    for one in seen["ports"]:
        assert one["settings"] == FRESH_PORT_SETTINGS and one["power_mw"] == 0 and one["class"] is None
        assert one["power_cycle"] == {"pending": False, "on_again_s": None}


def test_status_shows_what_a_device_draws(world):
    powered(world, 2, "12.5")
    seen = settle(world, "the power", "status", lambda seen: seen["system"]["consumed_mw"] and seen)
    second = seen["ports"][1]
    assert second["power_mw"] == pytest.approx(12500, abs=500) and second["class"] == 4
    assert seen["system"]["remaining_mw"] == 300000 - seen["system"]["consumed_mw"]
    lines = world.poectl("status").stdout.splitlines()
    assert lines[0].startswith("PoE enabled: ") and lines[3].startswith("PORT  INTERFACE  ENABLED  STATUS")
    assert lines[5].split()[:6] == ["2", "lan2", "yes", "delivering", "(1)", "4"]


def test_one_port_has_the_shape_that_it_has_among_all(world):
    seen = world.poectl_json("status")["ports"][2]
    assert list(port(world, 3)) == list(seen)
    assert world.poectl("port", 3).stdout == world.poectl("port", "lan3", "show").stdout
    assert world.poectl("port", 3).stdout.startswith("Port 3 (lan3): disabled (0)\n")


def test_system_bank_and_the_queue(world):
    assert world.poectl_json("system")["system"]["settings"] == {
        "enabled": True, "threshold_percent": 95, "parameter_1": 0, "parameter_2": 0, "parameter_4": 0,
        "parameter_5": 0}
    assert "usage alarm at          95 % of the budget" in world.poectl("system", "show").stdout
    assert set(world.poectl_json("bank")["bank"]) == {"limit_w", "second"}
    assert world.poectl_json("counters")["queue"] == {"deepest": 0}
    done(world, "port", "1", "set", "--limit", "30")
    world.wait_for("the change", lambda: port(world, 1)["settings"]["limit_mw"] == 30000)
    assert world.poectl_json("counters")["queue"]["deepest"] == 1
    assert world.poectl("counters").stdout.endswith("Most changes that ever waited at once: 1\n")


def test_counters_grow_with_the_talk_to_the_controller(world):
    before = world.poectl_json("counters")["counters"]
    assert before["total"] > 0 and before["rx_timeout"] == 0
    settle(world, "more transactions", "counters", lambda seen: seen["counters"]["total"] > before["total"])
    assert world.poectl("counters").stdout.startswith("COUNTER")


# --- changing ---------------------------------------------------------------------------------------------------------


def test_every_setting_of_a_port_reaches_the_daemon(world):
    assert done(world, "port", "2", "set", *OPTIONS_OF_EVERY_SETTING) == (
        "done: port 2 (lan2) enable on, limit 30.0 W, priority high, mode 90w-no-class (3), schedule on, "
        "re-enable 20 s")
    world.wait_for("the change", lambda: port(world, 2)["settings"] == {
        "enabled": True, "limit_mw": 30000, "priority": {"code": 2, "name": "high"}, "mode": 3,
        "schedule_enabled": True, "re_enable_s": 20})
    assert port(world, 1)["settings"] == FRESH_PORT_SETTINGS


@pytest.mark.parametrize("words, key, value", [("--enable on", "enabled", True), ("--limit 15.4", "limit_mw", 15400),
                                               ("--priority 1", "priority", {"code": 1, "name": "critical"}),
                                               ("--mode 0", "mode", 0), ("--mode 15w", "mode", 0), ("--re-enable 60", "re_enable_s", 60),
                                               ("--schedule on", "schedule_enabled", True)])
def test_one_setting_of_a_port_leaves_the_others(world, words, key, value):
    done(world, "port", "4", "set", *words.split())
    world.wait_for("the change", lambda: port(world, 4)["settings"] == {**FRESH_PORT_SETTINGS, key: value})


def test_system_settings_reach_the_daemon(world):
    assert done(world, "system", "set", "--threshold", "80", "--enable", "off") == (
        "done: system enable off, threshold 80 %")
    settle(world, "the change", "system",
           lambda seen: (seen["system"]["settings"]["enabled"], seen["system"]["settings"]["threshold_percent"])
           == (False, 80))


def test_the_bank_limit_reaches_the_daemon_and_the_second_value_stays(world):
    second = world.poectl_json("bank")["bank"]["second"]
    assert done(world, "bank", "set", "240") == "done: bank limit 240 W"
    settle(world, "the change", "bank", lambda seen: seen["bank"] == {"limit_w": 240, "second": second})


def test_a_power_cycle_is_shown_while_it_is_pending(make_world):
    world = make_world(speed=10)
    done(world, "port", "1", "set", "--enable", "on", "--re-enable", "60")
    world.wait_for("the setting", lambda: port(world, 1)["settings"]["re_enable_s"] == 60)
    assert done(world, "cycle", "1", "--no-wait") == "accepted: power-cycle of port 1 (lan1)"
    pending = world.wait_for("the power-cycle", lambda: is_cycled(world, 1))
    assert 0 <= pending["power_cycle"]["on_again_s"] <= 60 and not pending["settings"]["enabled"]


def test_a_power_cycle_switches_a_port_off_and_on_again(make_world):
    world = make_world(speed=100)
    powered(world, 1, "5")
    done(world, "port", "1", "set", "--re-enable", "40")  # many sweeps, however busy the machine is
    world.wait_for("the setting", lambda: port(world, 1)["settings"]["re_enable_s"] == 40)
    assert done(world, "cycle", "1") == "done: power-cycle of port 1 (lan1)"
    on, off = "[Port0] Turn on PoE LED", "[Port0] Turn off PoE LED"
    world.wait_for("off and on again", lambda: [line for line in world.stdout_lines() if line in (on, off)] == [on, off, on])
    world.wait_for("its end", lambda: not is_cycled(world, 1) and port(world, 1)["status"]["code"] == 1)


def test_a_schedule_period_begins_and_ends(world):
    done(world, "port", "3", "set", "--schedule", "on")
    for period in ("on", "off"):
        assert done(world, "schedule", "3", period) == f"done: port 3 (lan3) schedule period {period}"
        world.wait_for("the period", lambda: port(world, 3)["schedule_on"] == (period == "on"))


def test_a_change_as_json(world):
    told = world.poectl_json("bank", "set", "100")
    assert list(told) == ["schema_version", "command", "error", "change", "changes"]
    assert told["change"]["message"] == "done: bank limit 100 W" and told["change"]["ports"] == []
    assert told["changes"][0]["wanted"] == told["changes"][0]["is"] == 100
    done(world, "port", "2", "set", "--enable", "on")
    done(world, "port", "3", "set", "--enable", "on")
    change = world.poectl_json("cycle", "2-3", "--no-wait")["change"]
    assert change["ports"] == [2, 3] and change["left_out"] == []


def test_periods_of_several_ports_begin_together(world):
    done(world, "schedule", "2-4", "off")
    world.wait_for("the periods", lambda: [one["schedule_on"] for one in world.poectl_json("schedule")["ports"]]
                   == [True, False, False, False])
    assert world.poectl("schedule").stdout.splitlines()[2].split() == ["2", "lan2", "no", "off"]


# --- how it ends ------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("words", ["", "bogus", "port 5", "port 1 set", "port 1 set --limit 90.1",
                                   "system set --threshold 100", "cycle 0", "bank set x", "schedule 1"])
def test_bad_usage_is_2(world, words):
    run = world.poectl(*words.split())
    assert (run.returncode, run.stdout) == (2, "")
    assert run.stderr.startswith("poectl: ")
    assert re.search(r"\nTry: poectl (help [a-z ]+|[a-z ]*--help)\.\n$", run.stderr) or "Usage: poectl" in run.stderr


def test_no_daemon_is_3(world):
    world.stop_daemon()
    (world.tmp / DAEMON_SOCKET).unlink(missing_ok=True)
    run = world.poectl("status")
    assert (run.returncode, run.stdout) == (3, "")
    assert run.stderr.startswith(f"poectl: cannot reach the daemon: there is no socket at /tmp/{DAEMON_SOCKET}.\nTry: ")


def test_a_socket_that_a_daemon_left_behind_is_3(world):
    os.kill(world.daemon()["pid"], 9)
    world.wait_for("the end", lambda: not world.daemon()["running"])
    run = world.poectl("status")
    assert run.returncode == 3 and "nobody is behind the socket" in run.stderr


@pytest.mark.parametrize("path, kind", [("/etc/passwd", "a file"), ("/tmp", "a folder")])
def test_what_is_no_socket_is_not_taken_for_one_that_a_daemon_left_behind(world, path, kind):
    run = world.poectl("status", "--socket", path)
    assert run.returncode == 3 and f"{path} is {kind}, not a socket." in run.stderr and "--socket" in run.stderr


def test_help_of_a_command_is_what_stands_behind_its_name(world):
    for words in ([], ["port"], ["energy", "inject"]):
        run = world.poectl("help", *words)
        assert (run.returncode, run.stderr) == (0, "")
        assert run.stdout == world.poectl(*words, "--help").stdout


def test_doctor_finds_nothing_wrong_with_the_links_of_a_virtual_switch(world):
    found = world.poectl_json("doctor")
    links = [one for one in found["checks"] if one["check"] == "interface"]
    assert [(one["subject"], one["result"]) for one in links] == [(f"lan{port}", "ok") for port in (1, 2, 3, 4)]


def test_no_answer_is_4(world):
    with world.stopped_daemon():
        run = world.poectl("status", "--answer-timeout", "20")
    assert (run.returncode, run.stdout) == (4, "")
    assert run.stderr.startswith("poectl: no answer: poe_drv did not answer within 20 ms.")


def test_nothing_is_left_behind(world):
    before = sorted(os.listdir(world.tmp))
    for words in ("status", "port 1 set --limit 20", "cycle 1", "energy", "port 9"):
        world.poectl(*words.split())
    with world.stopped_daemon():
        world.poectl("counters", "--answer-timeout", "5")
    assert sorted(os.listdir(world.tmp)) == before
