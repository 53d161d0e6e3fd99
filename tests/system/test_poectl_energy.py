"""The energy record through the operator's command."""
import concurrent.futures
import contextlib
import os
import pty
import re
import time

import pytest

from messages import acknowledgement, request
from world import seconds_now

FILE = "poe_statistics.txt"
TOTALS = "0, 10, 3600000\n1, 20, 7200000\n2, 30, 10800000\n3, 93784, 1234567890\n"
UNKNOWN_AVERAGES = {"hour_mw": None, "day_mw": None, "week_mw": None}
NEVER_WRITTEN = {"time_s": None, "uptime_s": None, "average_mw": None}
RINGS = {"minutes": (60, 60), "half_hours": (1800, 48), "two_hours": (7200, 84)}  # period, slots
WEEK_MINUTES = 7 * 24 * 60


@pytest.fixture
def world(make_world):
    return make_world(speed=1000, environment={"TZ": "UTC0"})


@pytest.fixture
def restored(make_world):
    """The totals of a file of an earlier run are restored."""
    world = make_world(speed=1000, flash={FILE: TOTALS})
    done(world, "on")
    return world


def done(world, *words):
    """A change that is done: the first line of what poectl said about it."""
    run = world.poectl("energy", *words)
    assert (run.returncode, run.stderr) == (0, ""), run.stderr
    return run.stdout.splitlines()[0]


def energy(world):
    """kept_in_flash, the totals, and the same of each port"""
    seen = world.poectl_json("energy")
    totals = seen["energy"]
    return {"kept_in_flash": totals.pop("kept_in_flash"), "totals": totals, "ports": seen["ports"]}


def port_energy(world, port):
    """The port's totals, and its slots ring by ring."""
    seen = world.poectl_json("energy", port)
    assert seen["port"]["port"] == port
    rings = {}
    for slot in seen["slots"]:
        ring = rings.setdefault(slot.pop("ring"), {"period_s": slot["period_s"], "slots": []})
        assert ring["period_s"] == slot.pop("period_s")
        ring["slots"].append(slot)
    return {**seen["port"], "rings": rings}


def file_of(world):
    file = world.flash / FILE
    return file.read_text() if file.exists() else None


def known(slots):
    return [slot for slot in slots if slot != NEVER_WRITTEN]


def all_of(terminal):
    """What is shown on a terminal until nobody writes to it any more, which reading tells as an error."""
    shown = b""
    with contextlib.suppress(OSError):
        while piece := os.read(terminal, 4096):
            shown += piece
    return shown.decode().replace("\r\n", "\n")


def on_a_terminal(world, *words):
    """What the command shows on a terminal."""
    terminal, standard_output = pty.openpty()
    with concurrent.futures.ThreadPoolExecutor() as aside:
        shown = aside.submit(all_of, terminal)
        try:
            assert world.poectl(*words, stdout=standard_output).returncode == 0
        finally:
            os.close(standard_output)
        text = shown.result()
    os.close(terminal)
    return text


# --- all ports --------------------------------------------------------------------------------------------------------


def test_a_new_daemon_keeps_nothing_and_knows_no_average(world):
    nothing = {"powered_s": 0, "energy_mwh": 0, "averages": UNKNOWN_AVERAGES}
    assert energy(world) == {"kept_in_flash": False, "totals": nothing,
                             "ports": [{"port": port, "interface": f"lan{port}", **nothing} for port in (1, 2, 3, 4)]}
    lines = world.poectl("energy").stdout.splitlines()
    assert lines[0] == "Energy totals are not kept in flash." and lines[-2] == "'poectl energy PORT' shows what there is."
    assert [line.split() for line in lines[3:8]] == [
        [*who.split(), "0:00:00", "0.0", "unknown", "unknown", "unknown"]
        for who in ("1 lan1", "2 lan2", "3 lan3", "4 lan4", "all")]


@pytest.mark.parametrize("value", [2, 255])
def test_what_another_client_switched_off_with_an_odd_value_is_not_kept(restored, value):
    assert energy(restored)["kept_in_flash"]
    assert restored.ask(request(144, [value])) == acknowledgement(144) and file_of(restored) is None
    assert not energy(restored)["kept_in_flash"]
    assert restored.poectl("energy").stdout.startswith("Energy totals are not kept in flash.\n")


def test_totals_are_shown_in_hours_and_watt_hours(restored):
    lines = restored.poectl("energy").stdout.splitlines()
    assert lines[0] == "Energy totals are kept in flash."
    assert [line.split()[:-3] for line in lines[3:]] == [
        ["1", "lan1", "0:00:10", "1.0"], ["2", "lan2", "0:00:20", "2.0"], ["3", "lan3", "0:00:30", "3.0"],
        ["4", "lan4", "26:03:04", "342.9"], ["all", "26:04:04", "348.9"]]
    assert [(one["powered_s"], one["energy_mwh"]) for one in energy(restored)["ports"]] == [
        (10, 1000), (20, 2000), (30, 3000), (93784, 342935)]


def test_after_90_minutes_only_the_average_of_the_hour_is_known(world):
    assert done(world, "inject", "90") == "done: made-up energy history of 90 min"
    seen = energy(world)
    for one in (seen["totals"], *seen["ports"]):
        assert one["averages"]["hour_mw"] > 0
        assert one["averages"]["day_mw"] is None and one["averages"]["week_mw"] is None
    assert seen["totals"]["averages"]["hour_mw"] == pytest.approx(
        sum(one["averages"]["hour_mw"] for one in seen["ports"]), abs=3)
    row = world.poectl("energy").stdout.splitlines()[3].split()
    assert re.fullmatch(r"\d+\.\d", row[4]) and row[5:] == ["unknown", "unknown"]


@pytest.mark.parametrize("minutes, averages", [(59, ()), (60, ("hour_mw",)), (1440, ("hour_mw", "day_mw")),
                                               (WEEK_MINUTES, ("hour_mw", "day_mw", "week_mw"))])
def test_an_average_is_known_once_its_span_is_full(world, minutes, averages):
    done(world, "inject", minutes)
    for one in energy(world)["ports"]:
        assert tuple(name for name, mw in one["averages"].items() if mw is not None) == averages


# --- one port ---------------------------------------------------------------------------------------------------------


def test_90_minutes_of_history_have_their_wall_clock_times(world):
    before = seconds_now()
    done(world, "inject", "90")
    after = seconds_now()
    seen = port_energy(world, 2)
    assert (seen["powered_s"], seen["energy_mwh"]) == (0, 0)
    assert {name: (ring["period_s"], len(ring["slots"])) for name, ring in seen["rings"].items()} == RINGS
    for name, count in (("minutes", 60), ("half_hours", 3), ("two_hours", 0)):
        ring = seen["rings"][name]
        slots = known(ring["slots"])
        assert ring["slots"] == slots + [NEVER_WRITTEN] * (len(ring["slots"]) - count) and len(slots) == count
        assert all(slot["average_mw"] > 0 for slot in slots)
        for earlier, later in zip(slots, slots[1:]):
            assert later["time_s"] - earlier["time_s"] == ring["period_s"]
        assert not slots or before <= slots[-1]["time_s"] <= after


def test_a_port_can_be_named_in_two_ways(world):
    done(world, "inject", "90")
    assert world.poectl("energy", "3").stdout == world.poectl("energy", "--port", "3").stdout
    assert world.poectl("energy", "3").stdout != world.poectl("energy", "4").stdout


def test_columns_have_a_line_a_slot_that_was_written_and_none_for_the_others(world):
    done(world, "inject", "45")
    text = world.poectl("energy", "1").stdout
    heading, *rings = text.split("\n\n")
    assert heading == "Port 1 (lan1): powered for 0:00:00, 0.0 Wh"
    assert [ring.splitlines()[0] for ring in rings] == ["Last hour, each minute:", "Last day, each half hour:",
                                                       "Last week: nothing is recorded."]
    slots = port_energy(world, 1)["rings"]
    for ring, name, count in zip(rings, RINGS, (45, 1, 0)):
        rows = ring.splitlines()[2:]
        assert len(rows) == count
        for row, slot in zip(rows, slots[name]["slots"]):
            at = time.strftime("%Y-%m-%d %H:%M", time.gmtime(slot["time_s"]))
            assert row.split() == [*at.split(), row.split()[-1]] and row.startswith(at)
            assert float(row.split()[-1]) == pytest.approx(slot["average_mw"] / 1000, abs=0.0501)


def test_a_short_history_is_not_said_to_be_nothing(world):
    assert world.poectl("energy", "2").stdout.split("\n\n")[1].startswith("Nothing is recorded.\n")
    done(world, "inject", "30")
    assert "nothing is recorded, or too little" in world.poectl("energy").stdout
    assert "Nothing is recorded." not in world.poectl("energy", "2").stdout


def test_an_empty_record_is_said_to_stay_empty(world):
    for words in ((), ("2",)):
        assert "poe_drv does not record what ports draw" in world.poectl("energy", *words).stdout


def test_a_terminal_shows_plots(world):
    done(world, "inject", "90")
    text = on_a_terminal(world, "energy", "2")
    heading, hour, day, week = text.rstrip("\n").split("\n\n")
    assert heading == "Port 2 (lan2): powered for 0:00:00, 0.0 Wh"
    assert re.match(r"Last hour in W, one bar per minute, 20.* to 20.*:\n", hour)
    assert re.search(r"\n *0\.0 \|#{60}$", hour) and re.search(r"\n *0\.0 \|###\?{45}$", day)
    assert week == "Last week: nothing is recorded."
    assert "ENDED" not in text and max(map(len, text.splitlines())) <= 80


def test_a_terminal_gets_json_when_it_is_asked_for(world):
    assert on_a_terminal(world, "energy", "2", "--json") == world.poectl("energy", "2", "--json").stdout


# --- changes ----------------------------------------------------------------------------------------------------------


def test_switching_on_restores_the_file_and_switching_off_removes_it(make_world):
    world = make_world(speed=1000, flash={FILE: TOTALS})
    assert energy(world)["totals"]["powered_s"] == 0
    assert done(world, "on") == "done: keeping energy in flash on"
    assert energy(world)["kept_in_flash"] and port_energy(world, 2)["energy_mwh"] == 2000
    assert file_of(world) == TOTALS
    assert done(world, "off") == "done: keeping energy in flash off"
    assert file_of(world) is None
    assert not energy(world)["kept_in_flash"] and port_energy(world, 2)["energy_mwh"] == 2000
    done(world, "on")
    assert file_of(world) == TOTALS


def test_a_reset_forgets_the_named_ports_in_the_record_and_in_the_file(restored):
    assert done(restored, "reset", "1,3") == "done: energy reset of ports 1 (lan1), 3 (lan3)"
    assert [one["powered_s"] for one in energy(restored)["ports"]] == [0, 20, 0, 93784]
    assert file_of(restored) == "0, 0, 0\n1, 20, 7200000\n2, 0, 0\n3, 93784, 1234567890\n"


def test_a_reset_forgets_the_history_of_the_named_ports(world):
    done(world, "inject", WEEK_MINUTES)
    done(world, "reset", "1,3")
    for port in (1, 2, 3, 4):
        rings = port_energy(world, port)["rings"]
        assert [len(known(rings[name]["slots"])) for name in RINGS] == ([0, 0, 0] if port in (1, 3) else [60, 48, 84])
    assert file_of(world) is None


def test_a_made_up_history_replaces_totals_and_leaves_the_file(restored):
    answer = restored.poectl_json("energy", "inject", "90")
    assert answer["change"]["accepted"] and answer["change"]["effect_seen"]
    assert answer["change"]["message"] == "done: made-up energy history of 90 min"
    assert [(one["port"], one["was"], one["wanted"], one["is"]) for one in answer["changes"]] == [
        (port, 0, 90, 90) for port in (1, 2, 3, 4)]
    again = restored.poectl("energy", "inject", "90").stdout
    assert again.startswith("done: ") and "already" not in again
    assert energy(restored)["totals"]["powered_s"] == 0 and file_of(restored) == TOTALS


def test_help_names_the_made_up_history_as_a_test_aid(world):
    for words in (("energy", "--help"), ("energy", "inject", "--help")):
        assert "a test aid: replaces the history of all ports" in world.poectl(*words).stdout


@pytest.mark.parametrize("words", ["0", "5", "x", "reset", "reset 1,5", "2 reset 1", "on off", "inject",
                                   "inject -1", "inject 4294967296", "--port"])
def test_bad_usage_ends_with_2_and_changes_nothing(restored, words):
    run = restored.poectl("energy", *words.split())
    assert (run.returncode, run.stdout) == (2, "") and run.stderr.startswith("poectl: ")
    assert file_of(restored) == TOTALS and energy(restored)["totals"]["powered_s"] == 93844
