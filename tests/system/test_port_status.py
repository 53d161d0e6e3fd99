"""What clients read about a port, byte for byte, from what the controller was made to answer."""
import struct

import pytest

from supervised import (PORT_BLOCK_SIZE, apply, ask_for_traps, channel_codes, combined, dictate,
                        dictate_channels, dictate_events, dictate_port, enable, event_totals, is_auto_off, led_lines,
                        let_it_be_switched_off, let_sweeps_pass, newest_frame, plug_what_draws_no_power, port_block,
                        port_setting, port_status, request, set_every_port, set_port, settings_after, status_code,
                        system_status, trap_bytes)

FAST = 1000
SEARCHING, DELIVERING, FAULT, REQUESTING = 1, 2, 4, 6
VOLTS_50 = (0x03, 0x10)  # 784 counts: 50.5 V


@pytest.fixture
def switch(make_world):
    return make_world(speed=FAST)


@pytest.fixture
def powered(switch):
    """All four ports are to be powered, nothing is plugged in, and no port counts an event."""
    enable(switch, 0, 1, 2, 3)
    for port in range(4):
        dictate_events(switch, port)
    return switch


def measure(world, port, current=100):
    """Voltage and current of the port and of both its channels."""
    amount = struct.pack(">H", current)
    dictate(world, 0x44, port, *VOLTS_50, *amount, 0, 200, 0, 99)
    dictate(world, 0x4F, port, *VOLTS_50, *amount, *VOLTS_50, *amount)


def expect_status(world, port, code, row):
    world.wait_for(f"status {code} of {row}", lambda: status_code(world, port) == code)


# --- the reply, byte for byte -----------------------------------------------------------------------------------------


def delivering_port_3(world):
    dictate(world, 0x44, 3, 0x03, 0x00, 0x01, 0x23, 0x00, 200, 0x00, 0x77)
    dictate_port(world, 3, state=DELIVERING, detail=0x51, pair_type=1)
    dictate_events(world, 3)
    dictate(world, 0x4F, 3, 0x03, 0x10, 0x01, 0x2C, 0x03, 0x20, 0x00, 0xFA)
    dictate_channels(world, 3, a=DELIVERING, b=DELIVERING, error=(7, 6), sub_status=(9, 8), power_class=(4, 3))
    enable(world, 3)


DELIVERING_PORT_3 = (
    bytes([3, 1, 0, 1, 5, 0xFF, 1, 1]) +                                   # class, error, sub-status, type
    struct.pack("<6I", 1, 0, 49400, 291, 291 * 49400 // 1000, 25000) +     # status, auto-off, measurements
    bytes([4, 7, 9, 0]) + struct.pack("<4I", 1, 50500, 300, 15150) +       # class, error, sub-status
    bytes([3, 6, 8, 0]) + struct.pack("<4I", 1, 51500, 250, 12875) +
    bytes(20))


def test_a_delivering_port_reads_the_same_in_every_reply(switch):
    delivering_port_3(switch)
    switch.wait_for("the port's reading", lambda: port_status(switch, 3) == DELIVERING_PORT_3)
    assert switch.ask(request(6, [3] + [0] * 91)) == bytes([134]) + bytes(7) + DELIVERING_PORT_3
    every_port = switch.ask(request(7, bytes(368)))
    assert every_port[:8] == bytes([1]) + bytes(7)
    assert every_port[8 + 3 * PORT_BLOCK_SIZE:] == DELIVERING_PORT_3


def test_consumed_power_is_the_sum_of_the_channels_and_not_of_the_ports(switch):
    delivering_port_3(switch)
    switch.wait_for("the sum", lambda: system_status(switch)[1] == 15150 + 12875)
    assert system_status(switch)[0] == 300000 and system_status(switch)[2] == 300000 - 28025


def test_consumed_power_adds_up_all_four_ports_and_may_exceed_the_limit(powered):
    for port in range(4):
        measure(powered, port, current=1000)
        dictate_port(powered, port, state=DELIVERING)
        dictate_channels(powered, port, a=DELIVERING, b=DELIVERING)
    powered.wait_for("all eight channels", lambda: system_status(powered)[1] == 8 * 50500)
    assert system_status(powered)[2] == 300000 - 8 * 50500 + 2**32


def test_a_power_that_does_not_fit_32_bits_wraps(powered):
    measure(powered, 0, current=0xFFFF)
    dictate(powered, 0x44, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 200)
    dictate_port(powered, 0, state=DELIVERING)
    volts = int(65535 * 0.6445) * 100
    expected = struct.pack("<III", volts, 65535, volts * 65535 % 2**32 // 1000)
    powered.wait_for("the wrapped power", lambda: port_status(powered, 0)[16:28] == expected)


def test_a_fault_s_detail_is_its_error_code_and_it_has_no_class_and_no_sub_status(powered):
    measure(powered, 1)
    dictate_port(powered, 1, state=FAULT, detail=0x07)
    expect_status(powered, 1, 7, "a fault")
    assert port_status(powered, 1)[4:8] == bytes([0, 7, 0xFF, 1])  # the class is cleared
    assert port_status(powered, 1)[16:32] == bytes(12) + struct.pack("<I", 25000)


def test_a_type_that_is_not_reported_keeps_the_recorded_one(powered):
    dictate_port(powered, 2, state=DELIVERING, pair_type=1)
    powered.wait_for("the type", lambda: port_status(powered, 2)[7] == 1)
    dictate_port(powered, 2, state=3, pair_type=0xFF)
    expect_status(powered, 2, 3, "an overload")
    assert port_status(powered, 2)[7] == 1
    dictate_port(powered, 2, state=3, pair_type=0xFE)
    powered.wait_for("the type", lambda: port_status(powered, 2)[7] == 0xFE)


# --- translation ------------------------------------------------------------------------------------------------------

PORT_ROWS = [
    # state, detail (sub-status in the low nibble, or the error), type, system code
    (0, 0x00, 1, 0),
    (SEARCHING, 0x06, 1, 2), (SEARCHING, 0x06, 2, 2), (SEARCHING, 0x04, 1, 1), (SEARCHING, 0x04, 2, 1),
    (SEARCHING, 0x03, 2, 2), (SEARCHING, 0x03, 1, 12), (SEARCHING, 0x03, 0, 12), (SEARCHING, 0x03, 3, 12),
    (DELIVERING, 0x00, 1, 1), (3, 0x00, 1, 3),
    (FAULT, 0, 1, 6), (FAULT, 2, 1, 5), (FAULT, 3, 1, 3), (FAULT, 4, 1, 4), (FAULT, 5, 1, 8), (FAULT, 14, 1, 8),
    (FAULT, 6, 1, 10), (FAULT, 7, 1, 7),
    (5, 0x00, 1, 5), (REQUESTING, 0x00, 1, 9), (7, 0x00, 1, 7), (11, 0x00, 1, 11), (200, 0x00, 1, 200),
    (255, 0x00, 1, 255),
]

CHANNEL_ROWS = [
    # state, error, sub-status, the port's type, system code
    (0, 0, 0, 1, 0),
    (SEARCHING, 0, 6, 1, 2), (SEARCHING, 0, 6, 2, 2), (SEARCHING, 0, 4, 1, 1), (SEARCHING, 0, 4, 2, 1),
    (SEARCHING, 0, 3, 2, 12), (SEARCHING, 0, 3, 1, 2), (SEARCHING, 0, 3, 0, 2),
    (DELIVERING, 0, 0, 2, 1), (3, 0, 0, 2, 3),
    (FAULT, 0, 0, 2, 6), (FAULT, 2, 0, 2, 5), (FAULT, 3, 0, 2, 3), (FAULT, 4, 0, 2, 4), (FAULT, 5, 0, 2, 8),
    (FAULT, 14, 0, 2, 8), (FAULT, 6, 0, 2, 10), (FAULT, 7, 0, 2, 7),
    (5, 0, 0, 2, 5), (REQUESTING, 0, 0, 2, 9), (7, 0, 0, 2, 7), (255, 0, 0, 2, 255),
]


def test_every_port_state_becomes_its_system_code(powered):
    for number, (state, detail, pair_type, code) in enumerate(PORT_ROWS):
        port = number % 4
        dictate_port(powered, port, state=state, detail=detail, pair_type=pair_type)
        expect_status(powered, port, code, (state, detail, pair_type))


def test_every_channel_state_becomes_its_system_code(powered):
    for number, (state, error, sub_status, pair_type, code) in enumerate(CHANNEL_ROWS):
        port = number % 4
        dictate_port(powered, port, state=DELIVERING, pair_type=pair_type)
        row = (state, error, sub_status, pair_type)
        dictate_channels(powered, port, a=state, b=9, error=(error, 0), sub_status=(sub_status, 0))
        powered.wait_for(f"channel A: {code} of {row}", lambda: channel_codes(powered, port) == (code, 9))
        dictate_channels(powered, port, a=9, b=state, error=(0, error), sub_status=(0, sub_status))
        powered.wait_for(f"channel B: {code} of {row}", lambda: channel_codes(powered, port) == (9, code))


@pytest.mark.parametrize("error", [1, 8, 13, 15, 255])
def test_an_unknown_fault_keeps_the_status_that_was(powered, error):
    dictate_port(powered, 0, state=FAULT, detail=3)
    dictate_channels(powered, 0, a=FAULT, b=FAULT, error=(2, 4))
    powered.wait_for("known faults", lambda: status_code(powered, 0) == 3 and channel_codes(powered, 0) == (5, 4))
    dictate_channels(powered, 0, a=FAULT, b=FAULT, error=(error, error), power_class=(7, 7))
    dictate_port(powered, 0, state=FAULT, detail=error)
    let_sweeps_pass(powered)
    before = port_status(powered, 0)
    assert (status_code(powered, 0), *channel_codes(powered, 0)) == (3, 5, 4)
    assert before[4:7] == bytes([0, 3, 0xFF])
    # Nothing of such a reading is copied, neither the temperature nor the events.
    dictate(powered, 0x44, 0, 0, 0, 0, 0, 0, 140)
    dictate_events(powered, 0, fourth=1)
    let_sweeps_pass(powered)
    assert port_status(powered, 0) == before


def test_a_port_whose_channels_alone_are_known_is_recorded_with_its_old_status(powered):
    dictate_port(powered, 0, state=3)
    expect_status(powered, 0, 3, "an overload")
    dictate_port(powered, 0, state=FAULT, detail=1)
    dictate_channels(powered, 0, a=5, b=3)
    powered.wait_for("the channels", lambda: channel_codes(powered, 0) == (5, 3))
    assert status_code(powered, 0) == 3 and port_status(powered, 0)[5] == 1


@pytest.mark.parametrize("counters, code", [((1, 0, 0), 2), ((0, 1, 0), 3), ((0, 0, 1), 5), ((1, 1, 1), 2),
                                            ((0, 1, 1), 3)])
def test_an_event_counter_decides_for_the_port_and_for_channels_at_fault_or_asking_for_power(powered, counters, code):
    dictate_events(powered, 0, *counters)
    dictate_port(powered, 0, state=DELIVERING)
    dictate_channels(powered, 0, a=3, b=FAULT, error=(0, 7))
    powered.wait_for("the event", lambda: (status_code(powered, 0), *channel_codes(powered, 0)) == (code, 3, code))
    dictate_channels(powered, 0, a=REQUESTING, b=DELIVERING)
    powered.wait_for("the channels", lambda: channel_codes(powered, 0) == (code, 1))


def test_an_event_does_not_outweigh_a_disabled_port(powered):
    dictate_events(powered, 0, 1, 1, 1, 1, 1)
    dictate_port(powered, 0, state=0)
    dictate_channels(powered, 0, a=0, b=0)
    let_sweeps_pass(powered)
    assert (status_code(powered, 0), *channel_codes(powered, 0)) == (0, 0, 0)


def test_a_refusal_counted_outweighs_a_fault_and_events_but_for_errors_5_and_14(powered):
    dictate_events(powered, 0, first=1, fifth=1)
    for error, code in ((0, 4), (1, 4), (7, 4), (5, 2), (14, 2)):
        dictate_port(powered, 0, state=FAULT, detail=error)
        expect_status(powered, 0, code, f"error {error}")
    dictate_events(powered, 0, fifth=1)
    for error, code in ((5, 8), (14, 8), (3, 4)):
        dictate_port(powered, 0, state=FAULT, detail=error)
        dictate_channels(powered, 0, a=FAULT, b=FAULT, error=(error, 6))
        powered.wait_for(f"error {error}",
                         lambda: (status_code(powered, 0), *channel_codes(powered, 0)) == (code, code, 4))


def test_the_fourth_event_counter_decides_nothing(powered):
    dictate_events(powered, 0, fourth=9)
    dictate_port(powered, 0, state=FAULT, detail=7)
    expect_status(powered, 0, 7, "a fault")


# --- what is cleared --------------------------------------------------------------------------------------------------


def test_what_does_not_deliver_has_no_measurements_and_no_class_part_by_part(powered):
    measure(powered, 0)
    dictate_port(powered, 0, state=REQUESTING, detail=0x50)
    dictate_channels(powered, 0, a=DELIVERING, b=REQUESTING, power_class=(4, 4))
    full, none = struct.pack("<3I", 50500, 100, 5050), bytes(12)
    powered.wait_for("channel A", lambda: port_status(powered, 0)[32:52] == bytes([4, 0, 0, 0, 1, 0, 0, 0]) + full)
    assert port_status(powered, 0)[52:72] == bytes([0, 0, 0, 0, 9, 0, 0, 0]) + none
    assert port_status(powered, 0)[4] == 0 and port_status(powered, 0)[16:28] == none
    dictate_port(powered, 0, state=DELIVERING, detail=0x50)
    powered.wait_for("the port", lambda: port_status(powered, 0)[16:28] == full)
    assert port_status(powered, 0)[4] == 5


def test_a_disabled_port_has_type_3_and_its_channels_follow_it(powered):
    dictate_port(powered, 0, state=0, pair_type=2)
    dictate_channels(powered, 0, a=SEARCHING, b=SEARCHING)
    powered.wait_for("the type", lambda: port_status(powered, 0)[7] == 3)
    assert channel_codes(powered, 0) == (2, 2)


def test_a_port_that_was_switched_off_automatically_shows_13_in_every_part(powered):
    let_it_be_switched_off(powered, 2)
    dictate_channels(powered, 2, a=0, b=0)
    powered.wait_for("13 in every part", lambda: channel_codes(powered, 2) == (13, 13))
    assert port_status(powered, 2)[7] == 3


def test_a_linked_channel_is_never_switched_off(powered):
    powered.vswitch("link", 1, "up")
    dictate_port(powered, 0, state=DELIVERING)
    dictate_channels(powered, 0, a=SEARCHING, b=SEARCHING)
    before = newest_frame(powered)
    let_sweeps_pass(powered)
    assert settings_after(powered, before) == [] and powered.show()["counters"]["link_queries"] == 0


# --- event totals -----------------------------------------------------------------------------------------------------


def test_event_totals_add_up_in_their_own_order(switch):
    enable(switch, 1)
    for counter, times in enumerate((7, 11, 13, 17, 19), start=1):
        switch.vswitch("event", 2, counter, times)
    switch.wait_for("the totals", lambda: sum(event_totals(switch, 1)) == 7 + 11 + 13 + 17 + 19)
    let_sweeps_pass(switch)
    answers = [one["answer"] for one in switch.frames("--all", "--key", "45") if one["request"][2] == 1]
    byte = [sum(answer[at] for answer in answers) for at in range(12)]
    assert event_totals(switch, 1) == [byte[4], byte[5], byte[6], byte[3], byte[7]]
    switch.vswitch("event", 2, 1, 200)
    switch.wait_for("more", lambda: event_totals(switch, 1)[3] == 207)
    assert event_totals(switch, 0) == event_totals(switch, 2) == [0] * 5


# --- bad transfers ----------------------------------------------------------------------------------------------------

QUERY_KEYS = ["44", "42", "45", "4f", "4e"]
BAD_TRANSFERS = {
    "one damaged answer": ("checksum", 1), "ten refusals": ("key-b", 10), "ten unknown keys": ("key-a", 10),
    "ten silences": ("no-answer", 10), "ten failed calls": ("ioctl", 10),
}


@pytest.mark.parametrize("bad", BAD_TRANSFERS)
def test_a_bad_transfer_never_changes_a_port(make_world, bad):
    fault, times = BAD_TRANSFERS[bad]
    switch = make_world(speed=10_000)
    switch.vswitch("plug", 1, "--class", 4, "--load", 20)
    plug_what_draws_no_power(switch, 1)
    switch.vswitch("link", 2, "down")
    enable(switch, 0, 1)
    switch.wait_for("both ports", lambda: status_code(switch, 0) == 1 and status_code(switch, 1) == 12)
    ask_for_traps(switch)
    before, leds = [block[:16] for block in combined(switch)[1]], led_lines(switch)
    mark = newest_frame(switch)
    for key in QUERY_KEYS:
        for _ in range(2):
            switch.vswitch("fault", fault, "--key", key, "--times", times)
            switch.wait_for("the fault to pass", lambda: not switch.vswitch("show", "faults")["faults"]["faults"])
            let_sweeps_pass(switch)
            assert [block[:16] for block in combined(switch)[1]] == before, key
    assert trap_bytes(switch) == [] and led_lines(switch) == leds and settings_after(switch, mark) == []


def test_a_silent_controller_leaves_every_reading_as_it_was(make_world):
    switch = make_world(speed=10_000)
    switch.vswitch("plug", 1, "--class", 4, "--load", 20)
    enable(switch, 0)
    switch.wait_for("power", lambda: status_code(switch, 0) == 1 and system_status(switch)[1] > 0)
    ask_for_traps(switch)
    before = port_status(switch, 0)
    for key in QUERY_KEYS:
        switch.vswitch("fault", "checksum", "--key", key)
    switch.vswitch("load", 1, 5)
    let_sweeps_pass(switch)
    assert port_status(switch, 0) == before and trap_bytes(switch) == []
    switch.vswitch("fault", "clear")
    switch.wait_for("the new load", lambda: port_status(switch, 0)[16:28] != before[16:28])


@pytest.mark.parametrize("key", ["42", "45"])
def test_a_port_whose_status_was_not_read_is_not_switched_off(switch, key):
    switch.vswitch("plug", 1, "--broken", "bad-signature")
    enable(switch, 0)
    expect_status(switch, 0, 12, "a bad signature")
    switch.vswitch("fault", "checksum", "--key", key)
    let_sweeps_pass(switch)
    asked, before = switch.show()["counters"]["link_queries"], newest_frame(switch)
    switch.vswitch("link", 1, "up")
    let_sweeps_pass(switch)
    assert settings_after(switch, before) == [] and not is_auto_off(switch, 0) and status_code(switch, 0) == 12
    assert switch.show()["counters"]["link_queries"] == asked
    switch.vswitch("fault", "clear")
    switch.wait_for("the power-off", lambda: settings_after(switch, before) == [port_setting(0x01, (0, 0))])
    switch.wait_for("the mark", lambda: is_auto_off(switch, 0))


def test_a_refused_power_off_marks_the_port_all_the_same(switch):
    switch.vswitch("plug", 1, "--broken", "bad-signature")
    enable(switch, 0)
    expect_status(switch, 0, 12, "a bad signature")
    switch.vswitch("fault", "checksum", "--key", "01")
    switch.vswitch("link", 1, "up")
    switch.wait_for("the mark", lambda: is_auto_off(switch, 0))


def test_a_port_that_is_powered_again_starts_from_nothing(switch):
    switch.vswitch("plug", 1, "--class", 4, "--load", 20)
    enable(switch, 0)
    switch.wait_for("power", lambda: status_code(switch, 0) == 1)
    apply(switch, set_port(0, enable=0))
    for key in QUERY_KEYS:
        switch.vswitch("fault", "checksum", "--key", key)
    let_sweeps_pass(switch)
    apply(switch, set_every_port(port_block(0, enable=1), *[port_block(port, enable=0) for port in (1, 2, 3)]))
    assert port_status(switch, 0)[4:72] == bytes([0, 0, 0, 3]) + bytes(64)
