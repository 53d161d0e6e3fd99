"""The energy statistics as clients see them: configuration, the flash file, made-up history, clearing."""
import os
import struct

import pytest

from messages import acknowledgement, get_port_statistics, request
from world import seconds_now

FILE = "poe_statistics.txt"
TOTALS = "0, 10, 3600000\n1, 20, 7200000\n2, 30, 10800000\n3, 40, 14400001\n"
EMPTY = "0, 0, 0\n1, 0, 0\n2, 0, 0\n3, 0, 0\n"
WEEK_MINUTES = 7 * 24 * 60


@pytest.fixture
def world(make_world):
    return make_world(speed=1000)


@pytest.fixture
def restored(make_world):
    """Statistics are on, and the totals of a file of an earlier run are restored."""
    world = make_world(speed=1000, flash={FILE: TOTALS})
    switch(world, 1)
    return world


def switch(world, value):
    assert world.ask(request(144, [value])) == acknowledgement(144)


def clear(world, bitmap):
    assert world.ask(request(83, [bitmap])) == acknowledgement(83)


def make_up(world, minutes):
    assert world.ask(request(148, struct.pack("<I", minutes))) == acknowledgement(148)


def file_of(world):
    file = world.flash / FILE
    return file.read_text() if file.exists() else None


def totals_of(world, port):
    """powered seconds, watt-hours"""
    reply = world.ask(get_port_statistics(port))
    assert reply[:12] == bytes([17, 0, 0, 0, 0, 0, 0, 0, port, 0, 0, 0]) and reply[20:24] == bytes(4)
    return struct.unpack("<If", reply[12:20])


class History:
    """A port's three rings as the reply to type 17 lists them: (valid, uptime, watts) an entry."""

    def __init__(self, world, port):
        reply = world.ask(get_port_statistics(port))
        assert len(reply) == 2352
        self.starts = struct.unpack("<3Q", reply[24:48])
        self.minutes, self.half_hours, self.two_hours = (
            list(struct.iter_unpack("<IIf", reply[at:end])) for at, end in ((48, 768), (768, 1344), (1344, 2352)))


def summaries_of(world):
    """All ports' and each port's (seconds, Wh, valid, minutes, valid, half hours, valid, two hours)."""
    reply = world.ask(bytes([18]))
    assert reply[:8] == request(18) and len(reply) == 168
    summaries = list(struct.iter_unpack("<IfIfIfIf", reply[8:]))
    return summaries[0], summaries[1:]


# --- before anything --------------------------------------------------------------------------------------------------


def test_everything_starts_at_zero(world):
    assert world.ask(bytes([16])) == request(16, [0])
    assert world.ask(bytes([18])) == request(18, bytes(160))
    for port in range(4):
        assert world.ask(get_port_statistics(port)) == request(17, [port]) + bytes(2343)


def test_the_sampling_thread_does_not_run(world):
    assert world.daemon_threads() == 3


# --- the configuration and the file -----------------------------------------------------------------------------------


def test_the_configuration_is_told_as_it_was_set(world):
    for value in (1, 0, 2, 255, 1):
        switch(world, value)
        assert world.ask(bytes([16])) == request(16, [value])


def test_switching_on_restores_the_totals_of_the_file_and_leaves_it(restored):
    assert file_of(restored) == TOTALS
    assert [totals_of(restored, port) for port in range(4)] == [(10, 1.0), (20, 2.0), (30, 3.0), (40, 4.0)]
    total, ports = summaries_of(restored)
    assert total == (100, 10.0, 0, 0, 0, 0, 0, 0)
    assert ports == [(10, 1.0, 0, 0, 0, 0, 0, 0), (20, 2.0, 0, 0, 0, 0, 0, 0), (30, 3.0, 0, 0, 0, 0, 0, 0),
                     (40, 4.0, 0, 0, 0, 0, 0, 0)]


def test_switching_on_for_the_first_time_without_a_file_writes_none(world):
    switch(world, 1)
    assert file_of(world) is None
    switch(world, 1)
    assert file_of(world) == EMPTY


def test_switching_on_again_rewrites_the_file_and_adds_nothing(restored):
    (restored.flash / FILE).write_text("0, 1000, 1000\n")
    switch(restored, 1)
    assert file_of(restored) == TOTALS and totals_of(restored, 0) == (10, 1.0)


def test_switching_off_removes_the_file_and_keeps_the_totals(restored):
    switch(restored, 0)
    assert file_of(restored) is None and totals_of(restored, 3) == (40, 4.0)
    switch(restored, 1)
    assert file_of(restored) == TOTALS


def test_the_totals_survive_a_restart_through_the_file(restored):
    switch(restored, 1)
    restored.restart_daemon()
    assert totals_of(restored, 1) == (0, 0.0) and restored.ask(bytes([16])) == request(16, [0])
    switch(restored, 1)
    assert totals_of(restored, 1) == (20, 2.0)


def test_nothing_is_left_beside_the_file(restored):
    switch(restored, 1)
    clear(restored, 1)
    assert os.listdir(restored.flash) == [FILE]


@pytest.mark.parametrize("text, totals", [
    ("", [(0, 0), (0, 0)]),
    ("7, 5, 3600000\n-1, 5, 3600000\n1, 6, 3600000\n", [(0, 0), (6, 1)]),
    ("1, 6, 3600000\n1, 4, 3600000\n0, 3, 7200000\n", [(3, 2), (10, 2)]),
    ("nonsense\n0, 3\n1, 6, 3600000", [(0, 0), (6, 1)]),
    ("0,3,3600000\n1 , 2, 3600000\n", [(3, 1), (0, 0)]),
    ("9" * 500 + "\n" + "1, 2, 3600000\n", [(0, 0), (2, 1)]),
    ("\0\0\0\n1, 2, 3600000\n", [(0, 0), (2, 1)]),
])
def test_whatever_the_file_holds_adds_what_can_be_read(make_world, text, totals):
    world = make_world(speed=1000, flash={FILE: text})
    switch(world, 1)
    assert [totals_of(world, port) for port in (0, 1)] == totals
    assert [totals_of(world, port) for port in (2, 3)] == [(0, 0)] * 2


def test_energy_is_whole_watt_seconds_in_watt_hours(make_world):
    world = make_world(speed=1000, flash={FILE: "0, 4294967295, 1999\n1, 0, 999\n2, 1, 123456789012345\n"})
    switch(world, 1)

    def single(number):
        return struct.unpack("<f", struct.pack("<f", number))[0]

    assert totals_of(world, 0) == (0xFFFFFFFF, single(1 / 3600)) and totals_of(world, 1) == (0, 0.0)
    assert totals_of(world, 2)[1] == pytest.approx(123456789012 / 3600, rel=1e-6)
    assert summaries_of(world)[0][0] == 0  # 2^32 seconds


def test_a_file_that_cannot_be_made_is_passed_over_in_silence(world):
    (world.flash / FILE).mkdir()
    before = world.stderr_lines()
    for value in (1, 1, 0, 1):
        switch(world, value)
    clear(world, 15)
    assert world.stderr_lines() == before and (world.flash / FILE).is_dir()
    assert os.listdir(world.flash) == [FILE]


# --- clearing ---------------------------------------------------------------------------------------------------------


def test_clearing_empties_the_named_ports_and_makes_the_file_anew(restored):
    clear(restored, 0b1010)
    assert file_of(restored) == "0, 10, 3600000\n1, 0, 0\n2, 30, 10800000\n3, 0, 0\n"
    assert [totals_of(restored, port) for port in range(4)] == [(10, 1.0), (0, 0.0), (30, 3.0), (0, 0.0)]


def test_clearing_no_port_makes_the_file_anew_all_the_same(restored):
    (restored.flash / FILE).write_text("something else\n")
    clear(restored, 0xF0)
    assert file_of(restored) == TOTALS


def test_clearing_while_statistics_are_off_leaves_the_file_alone(make_world):
    world = make_world(speed=1000, flash={FILE: TOTALS})
    make_up(world, 60)
    clear(world, 15)
    assert file_of(world) == TOTALS and world.ask(bytes([18])) == request(18, bytes(160))


def test_clearing_makes_no_file_where_there_is_none(restored):
    (restored.flash / FILE).unlink()
    clear(restored, 15)
    assert file_of(restored) is None and totals_of(restored, 0) == (0, 0.0)


# --- made-up history --------------------------------------------------------------------------------------------------


# minutes asked for, entries of each ring that it fills
FILLED = [(0, 0, 0, 0), (1, 1, 0, 0), (29, 29, 0, 0), (30, 30, 1, 0), (59, 59, 1, 0), (60, 60, 2, 0), (119, 60, 3, 0),
          (120, 60, 4, 1), (1439, 60, 47, 11), (1440, 60, 48, 12), (10079, 60, 48, 83), (10080, 60, 48, 84),
          (0xFFFFFFFF, 60, 48, 84)]


def test_history_fills_as_many_entries_as_its_minutes_span(world):
    for minutes, *filled in FILLED:
        make_up(world, minutes)
        for port in (0, 3):
            now = History(world, port)
            rings = (now.minutes, now.half_hours, now.two_hours)
            assert [sum(entry[0] for entry in ring) for ring in rings] == filled, minutes
            for ring, count in zip(rings, filled):
                assert [entry[0] for entry in ring] == [1] * count + [0] * (len(ring) - count)
                assert ring[count:] == [(0, 0, 0.0)] * (len(ring) - count)


def test_history_ends_now_and_goes_back_a_span_an_entry(world):
    before = seconds_now()
    make_up(world, WEEK_MINUTES)
    after = seconds_now()
    now = History(world, 1)
    for start, span, count in zip(now.starts, (60, 1800, 7200), (60, 48, 84)):
        assert before <= start + (count - 1) * span <= after
    for ring in (now.minutes, now.half_hours, now.two_hours):
        uptimes = [entry[1] for entry in ring]
        assert uptimes == sorted(uptimes)


def test_an_empty_history_starts_at_no_time(world):
    make_up(world, 0)
    assert History(world, 0).starts == (0, 0, 0)


def test_history_differs_from_port_to_port_and_from_one_slot_to_the_next(world):
    make_up(world, WEEK_MINUTES)
    watts = [[entry[2] for entry in History(world, port).minutes] for port in range(4)]
    assert len({tuple(one) for one in watts}) == 4
    for one in watts:
        assert all(even != odd for even, odd in zip(one[0::2], one[1::2])) and min(one) > 0
    make_up(world, WEEK_MINUTES)
    assert [[entry[2] for entry in History(world, port).minutes] for port in range(4)] == watts


def test_averages_are_valid_once_a_ring_is_full_and_their_sum_is_the_total(world):
    for minutes, valid in ((59, (0, 0, 0)), (60, (1, 0, 0)), (1440, (1, 1, 0)), (WEEK_MINUTES, (1, 1, 1))):
        make_up(world, minutes)
        total, ports = summaries_of(world)
        for summary in (total, *ports):
            assert summary[2::2] == valid and all((watts > 0) == bool(ok) for ok, watts in zip(valid, summary[3::2]))
        for at in (3, 5, 7):
            assert total[at] == pytest.approx(sum(port[at] for port in ports), rel=1e-6)
        for port, summary in enumerate(ports):
            entries = History(world, port).minutes
            mean = sum(entry[2] for entry in entries) / 60 if valid[0] else 0
            assert summary[3] == pytest.approx(mean, rel=1e-5)


def test_history_replaces_totals_and_an_earlier_longer_history(restored):
    make_up(restored, WEEK_MINUTES)
    assert [totals_of(restored, port) for port in range(4)] == [(0, 0.0)] * 4
    make_up(restored, 30)
    assert summaries_of(restored)[0] == (0, 0, 0, 0, 0, 0, 0, 0)
    assert file_of(restored) == TOTALS
    clear(restored, 0b0001)
    assert file_of(restored) == EMPTY and [entry[0] for entry in History(restored, 0).minutes] == [0] * 60
    assert History(restored, 1).minutes[29][0] == 1
