"""Configuration requests: what is accepted, what is refused and said, and what a later query tells."""
import re
import struct

import pytest

from messages import (ACCEPTED, KEEP, KEEP_LIMIT, REJECTED, acknowledgement, block, get_port_parameters, get_port_status,
                      request)


@pytest.fixture
def world(make_world):
    return make_world(speed=1000)


class Asking:
    """One client that sends one request after the other."""

    def __init__(self, world):
        self.world = world
        self.client = world.client()

    def result_of(self, one):
        self.client.send(one)
        reply = self.client.receive()
        assert reply[:7] == bytes([one[0], 0, 0, 0, 0, 0, 0]) and len(reply) == 8, reply
        return reply[7]

    def accepted(self, one):
        return self.result_of(one) == ACCEPTED

    def said_about(self, one):
        """What the daemon says about a request that it refuses."""
        before = len(self.world.stderr_lines())
        assert self.result_of(one) == REJECTED
        return self.world.stderr_lines()[before:]


@pytest.fixture
def asking(world):
    return Asking(world)


def system_parameters(world):
    return struct.unpack("6b", world.ask(b"\0")[8:14])


def port_parameters(world, port):
    """enable, priority, schedule, mode, re-enable, limit"""
    reply = world.ask(get_port_parameters(port))
    assert reply[:9] == request(1, [port])
    return struct.unpack("<bbbbbxxI", reply[9:])


DEFAULTS = (0, 3, 0, 2, 10, 900)
SIGNED_BYTES = range(-128, 128)


# --- what is accepted -------------------------------------------------------------------------------------------------


def test_every_value_of_every_system_parameter_is_accepted_or_refused_in_silence(world, asking):
    good = {at: {-1, 0, 1} for at in range(6)} | {3: {-1, *range(1, 100)}}
    before = world.stderr_lines()
    for at in range(6):
        for value in SIGNED_BYTES:
            values = [-1] * 6
            values[at] = value
            one = request(128, struct.pack("6b", *values) + b"\xee\xee")
            assert asking.accepted(one) == (value in good[at]), (at, value)
    assert world.stderr_lines() == before


# field of block(), its valid values, line number, text
BYTE_FIELDS = [
    ("enable", {-1, 0, 1}, 3492, "Port_Enable"),
    ("priority", {-1, 1, 2, 3}, 3499, "Power_Priority"),
    ("schedule", {-1, 0, 1}, 3506, "Schedule_Enable"),
    ("mode", {-1, 0, 1, 2, 3, 4}, 3522, "PoE_Mode"),
    ("re_enable", {-1, *range(5, 61)}, 3529, "Re_Enable_Val"),
]
GIVEN = {"enable": 0, "priority": 3, "schedule": 0, "mode": 2, "re_enable": 10, "limit": 900}


@pytest.mark.parametrize("field, good, line, text", BYTE_FIELDS)
def test_every_value_of_a_port_parameter_is_accepted_or_refused_and_said(asking, field, good, line, text):
    for value in SIGNED_BYTES:
        one = request(129, block(1, **{**GIVEN, field: value}))
        if value in good:
            assert asking.accepted(one), value
        else:
            assert asking.said_about(one) == [f"[check_one_port_pmt_value , {line}]:{text}=({value})"]


def test_power_limits_are_accepted_from_1_watt_to_90(asking):
    for limit in (10, 11, 500, 899, 900, 0xFFFFFFFF):
        assert asking.accepted(request(129, block(0, **{**GIVEN, "limit": limit}))), limit
    for limit, shown in ((0, 0), (9, 9), (901, 901), (65546, 65546), (0x7FFFFFFF, 2147483647), (0x80000000, -2147483648),
                         (0xFFFFFFFE, -2)):
        assert asking.said_about(request(129, block(0, **{**GIVEN, "limit": limit}))) == [
            f"[check_one_port_pmt_value , 3514]:Power_Limit_Val=({shown})"]


def test_a_port_that_does_not_exist_is_refused_with_its_number_as_a_signed_byte(asking):
    for port in range(4, 256):
        shown = port - 256 if port > 127 else port
        assert asking.said_about(request(129, block(port, **GIVEN))) == [
            f"[check_one_port_pmt_value , 3477]:Port_Number=({shown})"]


def test_a_block_with_nothing_to_set_is_refused_whatever_its_mode_and_re_enable_time(asking):
    for mode, re_enable in ((KEEP, KEEP), (3, KEEP), (KEEP, 20), (3, 20), (99, 99)):
        assert asking.said_about(request(129, block(0, mode=mode, re_enable=re_enable))) == [
            "[check_one_port_pmt_value , 3485]:"]
    for alone in ({"enable": 0}, {"priority": 3}, {"schedule": 0}, {"limit": 900}):
        assert asking.accepted(request(129, block(0, **alone))), alone


def test_only_the_first_thing_wrong_is_said_in_the_order_of_the_checks(asking):
    wrong = {"port": 4, "enable": 2, "priority": 4, "schedule": 2, "limit": 5, "mode": 5, "re_enable": 4}
    right = {"port": 0, **GIVEN}
    lines = {"port": 3477, "enable": 3492, "priority": 3499, "schedule": 3506, "limit": 3514, "mode": 3522,
             "re_enable": 3529}
    for field in lines:
        said = asking.said_about(request(129, block(**wrong)))
        assert len(said) == 1 and said[0].startswith(f"[check_one_port_pmt_value , {lines[field]}]:"), field
        wrong[field] = right[field]


def test_a_refusal_is_the_known_eight_bytes_and_changes_nothing(world):
    assert world.ask(request(129, block(4, **GIVEN))) == bytes([129, 0, 0, 0, 0, 0, 0, 1])
    assert world.ask(request(129, block(0, enable=1, priority=7))) == acknowledgement(129, REJECTED)
    assert world.ask(request(142, bytes(4))) == acknowledgement(142)
    world.wait_for("the bank", lambda: world.ask(bytes([14])) == request(14, bytes(4)))
    assert [port_parameters(world, port) for port in range(4)] == [DEFAULTS] * 4


@pytest.mark.parametrize("bad", range(4))
def test_the_first_bad_block_of_four_is_named_and_none_is_applied(world, asking, bad):
    blocks = [block(port, priority=1) for port in range(4)]
    blocks[bad:] = [block(0, priority=9)] * (4 - bad)
    said = asking.said_about(request(130, b"".join(blocks)))
    assert said[0] == "[check_one_port_pmt_value , 3499]:Power_Priority=(9)"
    assert len(said) == 2 and re.fullmatch(rf"\[poe_drv_ipc_request_set_all_port_pmt\(\) , \d+\]: i=\({bad}\)", said[1])
    assert asking.accepted(request(142, bytes(4)))
    world.wait_for("the bank", lambda: world.ask(bytes([14])) == request(14, bytes(4)))
    assert [port_parameters(world, port) for port in range(4)] == [DEFAULTS] * 4


def test_a_block_of_four_must_name_a_port_though_it_is_not_asked_which(world, asking):
    assert asking.accepted(request(130, b"".join(block(3, priority=2, limit=100 + k) for k in range(4))))
    world.wait_for("the limits", lambda: [port_parameters(world, port)[5] for port in range(4)] == [100, 101, 102, 103])
    said = asking.said_about(request(130, b"".join(block(port, priority=1) for port in (0, 1, 2, 4))))
    assert said[0] == "[check_one_port_pmt_value , 3477]:Port_Number=(4)" and "i=(3)" in said[1]


def test_the_same_parameters_for_all_ports_ignore_the_port_byte(world, asking):
    for port in (9, 4, 255, 0):
        assert asking.accepted(request(132, block(port, 0, 1, 1, 3, 60, 10 + port))), port
        world.wait_for("all ports", lambda: [port_parameters(world, one) for one in range(4)] ==
                       [(0, 1, 1, 3, 60, 10 + port)] * 4)


@pytest.mark.parametrize("field", GIVEN)
def test_the_same_parameters_for_all_ports_must_all_be_given(asking, field):
    kept = {**GIVEN, field: KEEP_LIMIT if field == "limit" else KEEP}
    assert asking.said_about(request(132, block(0, **kept))) == []
    assert asking.accepted(request(132, block(0, **GIVEN)))


def test_the_same_parameters_for_all_ports_are_checked_like_one_ports(asking):
    for field, _, line, text in BYTE_FIELDS:
        assert asking.said_about(request(132, block(200, **{**GIVEN, field: 100}))) == [
            f"[check_one_port_pmt_value , {line}]:{text}=(100)"]


def test_every_port_and_state_of_a_schedule_request_is_accepted_or_refused_in_silence(world, asking):
    before = world.stderr_lines()
    for port in range(256):
        assert asking.accepted(request(137, [port, 1, 9, 9])) == (port < 4), port
    for state in range(256):
        assert asking.accepted(request(137, [3, state, 0, 0])) == (state in (0, 1, 255)), state
    assert world.stderr_lines() == before


def test_every_entry_of_four_schedule_states_is_checked(world, asking):
    before = world.stderr_lines()
    for k in range(4):
        for port, state in ((4, 1), (255, 1), (0, 2), (0, 254), (0, 128)):
            entries = [[3, 1, 9, 9] for _ in range(4)]
            assert asking.accepted(request(138, sum(entries, [])))
            entries[k] = [port, state, 0, 0]
            assert not asking.accepted(request(138, sum(entries, []))), (k, port, state)
    assert world.stderr_lines() == before


def test_power_banks_and_power_cycles_are_always_accepted(asking):
    for value in (0, 1, 0xFFFF, 0xFFFFFFFF):
        assert asking.accepted(request(142, struct.pack("<I", value)))
    for bitmap in (0, 0xF0, 0xFF):
        assert asking.accepted(request(143, [bitmap]))


# --- what a later query tells -----------------------------------------------------------------------------------------


def test_what_is_kept_stays_and_what_is_given_is_stored(world, asking):
    expected = list(DEFAULTS)
    for field, at, value in (("priority", 1, 1), ("limit", 5, 254), ("schedule", 2, 1), ("enable", 0, 1),
                             ("priority", 1, 2)):
        assert asking.accepted(request(129, block(2, **{field: value})))
        expected[at] = value
        world.wait_for(field, lambda: port_parameters(world, 2) == tuple(expected))
    assert asking.accepted(request(129, block(2, priority=3, mode=0, re_enable=5)))
    world.wait_for("all", lambda: port_parameters(world, 2) == (1, 3, 1, 0, 5, 254))
    assert [port_parameters(world, port) for port in (0, 1, 3)] == [DEFAULTS] * 3


def test_a_block_a_port_is_stored_a_port(world, asking):
    blocks = [(0, 1, 1, 0, 5, 10), (1, 2, 0, 1, 60, 900), (0, 3, 0, 4, 30, 300), (1, 1, 1, 3, 7, 150)]
    assert asking.accepted(request(130, b"".join(block(k, *one) for k, one in enumerate(blocks))))
    world.wait_for("the blocks", lambda: [port_parameters(world, port) for port in range(4)] == blocks)
    everything = world.ask(bytes([2]))
    assert everything == request(2, b"".join(block(k, *one) for k, one in enumerate(blocks)))


def test_system_parameters_are_stored_but_for_the_second(world, asking):
    assert asking.accepted(request(128, struct.pack("6bxx", 1, 1, 1, 60, 1, 1)))
    world.wait_for("the parameters", lambda: system_parameters(world) == (1, 0, 1, 60, 1, 1))
    assert asking.accepted(request(128, struct.pack("6bxx", -1, -1, -1, 61, -1, 0)))
    world.wait_for("the threshold", lambda: system_parameters(world) == (1, 0, 1, 61, 1, 0))


def test_the_whole_power_bank_is_stored(world, asking):
    assert asking.accepted(request(142, [0x2C, 0x01, 0xFE, 0xCA]))
    world.wait_for("the bank", lambda: world.ask(bytes([14])) == request(14, [0x2C, 0x01, 0xFE, 0xCA]))


def powered(world):
    return [port["power_on"] for port in world.show()["ports"]]


def test_a_port_delivers_power_only_while_its_schedule_lets_it(world, asking):
    def state():
        return world.ask(get_port_status(1))[9:12]

    assert asking.accepted(request(129, block(1, enable=1, schedule=1)))
    world.wait_for("power", lambda: powered(world) == [False, True, False, False])
    assert asking.accepted(request(137, [1, 0, 0, 0]))
    world.wait_for("the off period", lambda: state() == bytes([1, 1, 0]) and not powered(world)[1])
    assert asking.accepted(request(137, [1, 255, 0, 0]))
    assert asking.accepted(request(129, block(1, schedule=0)))
    world.wait_for("no schedule", lambda: state() == bytes([1, 0, 0]) and powered(world)[1])


def test_four_schedule_states_apply_to_the_ports_in_order_whatever_they_name(world, asking):
    def states():
        return [world.ask(get_port_status(port))[11] for port in range(4)]

    assert asking.accepted(request(138, [3, 0, 0, 0, 3, 1, 0, 0, 3, 255, 0, 0, 0, 0, 0, 0]))
    world.wait_for("the states", lambda: states() == [0, 1, 1, 0])
    assert asking.accepted(request(138, [0, 1, 0, 0, 1, 255, 0, 0, 2, 0, 0, 0, 3, 255, 0, 0]))
    world.wait_for("the states", lambda: states() == [1, 1, 0, 0])


def test_switching_the_system_off_switches_every_port_off_and_on_again_those_that_ask(world, asking):
    for port in (0, 2):
        assert asking.accepted(request(129, block(port, enable=1)))
    world.wait_for("power", lambda: powered(world) == [True, False, True, False])
    assert asking.accepted(request(128, [0, 255, 255, 255, 255, 255, 0, 0]))
    world.wait_for("no power", lambda: powered(world) == [False] * 4)
    assert [port_parameters(world, port)[0] for port in range(4)] == [1, 0, 1, 0]
    assert asking.accepted(request(128, [1, 255, 255, 255, 255, 255, 0, 0]))
    world.wait_for("power", lambda: powered(world) == [True, False, True, False])


def re_enable_state(world):
    """The tick, and a port's (pending, tick) each."""
    numbers = struct.unpack("<I" + "BxxxI" * 4, world.ask(bytes([15]))[8:])
    return numbers[0], list(zip(numbers[1::2], numbers[2::2]))


def test_a_power_cycle_is_told_while_it_lasts_and_ends_after_the_re_enable_time(make_world):
    world = make_world(speed=500)
    for port in (0, 2):
        world.ask(request(129, block(port, enable=1, re_enable=60)))
    world.wait_for("power", lambda: powered(world) == [True, False, True, False])
    before, _ = re_enable_state(world)
    assert world.ask(request(143, [0b0101])) == acknowledgement(143)
    tick, ports = world.wait_for("the cycle", lambda: (lambda now: now[1][0][0] and now[1][2][0] and now)(
        re_enable_state(world)))
    began = ports[0][1]
    assert ports == [(1, began), (0, 0), (1, began), (0, 0)] and before <= began <= tick
    assert [port_parameters(world, port)[0] for port in range(4)] == [0, 0, 0, 0]

    world.wait_for("the end", lambda: [pending for pending, _ in re_enable_state(world)[1]] == [0] * 4)
    now, ports = re_enable_state(world)
    assert now - began >= 300 and ports == [(0, began), (0, 0), (0, began), (0, 0)]
    assert [port_parameters(world, port)[0] for port in range(4)] == [1, 0, 1, 0]
    world.wait_for("power", lambda: powered(world) == [True, False, True, False])


def test_bits_beyond_the_last_port_cycle_nothing(world, asking):
    assert asking.accepted(request(143, [0xF0]))
    assert asking.accepted(request(142, bytes(4)))
    world.wait_for("the bank", lambda: world.ask(bytes([14])) == request(14, bytes(4)))
    assert re_enable_state(world)[1] == [(0, 0)] * 4


# --- when it is applied -----------------------------------------------------------------------------------------------


def test_requests_are_acknowledged_at_once_and_applied_later(world, asking):
    with world.frozen_controller():
        assert asking.accepted(request(129, block(0, priority=1)))
        assert asking.accepted(request(142, [1, 0, 0, 0]))
        assert port_parameters(world, 0) == DEFAULTS and world.ask(bytes([14]))[8:10] == struct.pack("<H", 300)
    world.wait_for("the change", lambda: port_parameters(world, 0)[1] == 1 and world.ask(bytes([14]))[8] == 1)


def test_waiting_requests_are_applied_oldest_first(world, asking):
    with world.frozen_controller():
        for watts in (111, 122, 133):
            assert asking.accepted(request(142, struct.pack("<HH", watts, 0)))
    world.wait_for("the last one", lambda: world.ask(bytes([14]))[8] == 133)
    # Key 0x04, bank 0: the limit in tenths of a watt, high byte first.
    limits = [struct.unpack(">H", bytes(frame["request"][3:5]))[0] for frame in world.frames()
              if frame["request"][0] == 4 and frame["request"][2] == 0]
    assert limits[-3:] == [1110, 1220, 1330]


def test_a_refused_request_is_not_queued(world, asking):
    with world.frozen_controller():
        assert not asking.accepted(request(129, block(4, **GIVEN)))
        assert not asking.accepted(request(128, [2, 0, 0, 95, 0, 0, 0, 0]))
        assert not asking.accepted(request(138, bytes(13) + b"\2\0\0"))
        assert world.ask(bytes([13])) == request(13, bytes(4))
