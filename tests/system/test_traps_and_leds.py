"""What a port's change does outside: trap messages in the agent's pipe, LED lines and LED register writes."""
import os
import struct

import pytest

from supervised import (START_UP_TRAP_FLAG, apply, ask_for_traps, combined, dictate, dictate_channels, dictate_events,
                        dictate_port, enable, led_lines, led_writes, let_it_be_switched_off, let_sweeps_pass,
                        port_status, set_port, set_system, status_code, system_status, trap_bytes)

FAST = 1000
HEADER = bytes([0xAB, 0x31, 0x12, 0x83, 0x07])
SEARCHING, DELIVERING, REQUESTING = 1, 2, 6
START_UP_LINES = ["[set_trap_meg_and_poe_led() , 6083]: poe_drv_do_sent_startup_trap: 1",
                  "[set_trap_meg_and_poe_led() , 6076]: poe_drv_already_sent_startup_trap: 1"]


def trap(ports=0, kinds=(0,) * 4, statuses=(0,) * 4, statuses_b=(0,) * 4, alarm=0, watts=0):
    return HEADER + struct.pack("<B4B4B4BBH", ports, *kinds, *statuses, *statuses_b, alarm, watts)


def one_port_trap(port, kind, status=0, status_b=0):
    def at(value):
        return [value if k == port else 0 for k in range(4)]
    return trap(1 << port, at(kind), at(status), at(status_b))


@pytest.fixture
def switch(make_world):
    return make_world(speed=FAST)


@pytest.fixture
def powered(switch):
    """All four ports are to be powered and report nothing but searches."""
    enable(switch, 0, 1, 2, 3)
    for port in range(4):
        dictate_events(switch, port)
        dictate_port(switch, port, state=SEARCHING, detail=0x06)
        dictate_channels(switch, port, a=SEARCHING, b=SEARCHING, sub_status=(6, 6))
    switch.wait_for("four searches", lambda: [block[8] for block in combined(switch)[1]] == [2] * 4)
    return switch


@pytest.fixture
def reporting(powered):
    ask_for_traps(powered)
    return powered


def become(world, port, code, **port_answer):
    dictate_port(world, port, **port_answer)
    world.wait_for(f"status {code}", lambda: status_code(world, port) == code)
    let_sweeps_pass(world)


# --- the start-up trap ------------------------------------------------------------------------------------------------


def test_before_the_flag_file_exists_no_trap_is_sent_and_leds_follow_the_ports(powered):
    become(powered, 1, 1, state=DELIVERING)
    become(powered, 1, 2, state=SEARCHING, detail=0x06)
    assert led_lines(powered) == ["[Port1] Turn on PoE LED", "[Port1] Turn off PoE LED"]
    assert trap_bytes(powered) == [] and not set(START_UP_LINES) & set(powered.stderr_lines())


def test_the_start_up_trap_carries_every_port_s_status_once_and_its_two_lines_are_said_once(powered):
    dictate_port(powered, 2, state=DELIVERING, pair_type=2)
    dictate_channels(powered, 2, a=DELIVERING, b=REQUESTING)
    become(powered, 3, 5, state=5)
    powered.wait_for("the channels", lambda: port_status(powered, 2)[7] == 2 and port_status(powered, 2)[56] == 9)
    (powered.tmp / START_UP_TRAP_FLAG).touch()
    powered.wait_for("the trap", lambda: trap_bytes(powered))
    let_sweeps_pass(powered)
    assert trap_bytes(powered) == [trap(0x0F, (0, 0, 3, 0), (2, 2, 1, 5), (0, 0, 9, 0))]
    assert [line for line in powered.stderr_lines() if "startup_trap" in line] == START_UP_LINES


def test_the_start_up_trap_of_unpowered_ports_reports_them_off(switch):
    (switch.tmp / START_UP_TRAP_FLAG).touch()
    switch.wait_for("the trap", lambda: trap_bytes(switch))
    let_sweeps_pass(switch)
    assert trap_bytes(switch) == [trap(0x0F)]


def test_a_removed_flag_file_no_longer_matters_once_the_start_up_trap_was_sent(reporting):
    (reporting.tmp / START_UP_TRAP_FLAG).unlink()
    become(reporting, 0, 1, state=DELIVERING)
    assert trap_bytes(reporting) == [one_port_trap(0, 0, 1)]


def test_a_restarted_daemon_sends_the_start_up_trap_again(reporting):
    reporting.restart_daemon()
    reporting.wait_for("the trap", lambda: trap_bytes(reporting))
    assert trap_bytes(reporting)[0][:6] == HEADER + b"\x0f"


# --- changes of ports -------------------------------------------------------------------------------------------------


def test_nothing_is_sent_while_nothing_changes(reporting):
    let_sweeps_pass(reporting)
    assert trap_bytes(reporting) == []


@pytest.mark.parametrize("state, detail, code", [
    (DELIVERING, 0, 1), (3, 0, 3), (4, 4, 4), (5, 0, 5), (4, 0, 6), (4, 7, 7), (4, 14, 8), (REQUESTING, 0, 9),
    (4, 6, 10), (SEARCHING, 3, 12), (77, 0, 77)])
def test_a_port_s_new_status_is_reported_and_back_again(reporting, state, detail, code):
    become(reporting, 3, code, state=state, detail=detail)
    assert trap_bytes(reporting) == [one_port_trap(3, 0, code)]
    become(reporting, 3, 2, state=SEARCHING, detail=0x06)
    back = [] if code == 12 else [one_port_trap(3, 0, 2)]
    assert trap_bytes(reporting) == [one_port_trap(3, 0, code), *back]
    lit = [] if code == 12 else ["[Port3] Turn on PoE LED", "[Port3] Turn off PoE LED"]
    assert led_lines(reporting) == lit


def test_a_port_that_is_enabled_is_reported_as_15_and_a_disabled_one_as_0(reporting):
    apply(reporting, set_port(1, enable=0))
    assert trap_bytes(reporting) == [one_port_trap(1, 0, 0)]
    apply(reporting, set_port(1, enable=1))
    assert trap_bytes(reporting) == [one_port_trap(1, 0, 0), one_port_trap(1, 0, 15)]
    assert led_lines(reporting) == []


def test_a_port_that_leaves_auto_off_to_search_is_reported_as_14(switch):
    let_it_be_switched_off(switch, 2)
    ask_for_traps(switch)
    dictate_port(switch, 2, state=SEARCHING, detail=0x06)
    switch.wait_for("the trap", lambda: trap_bytes(switch))
    assert trap_bytes(switch) == [one_port_trap(2, 0, 14)]


def test_an_auto_off_is_reported_by_12_and_13(reporting):
    reporting.vswitch("link", 1, "up")
    dictate_port(reporting, 0, state=SEARCHING, detail=0x03)
    reporting.wait_for("the trap", lambda: trap_bytes(reporting))
    become(reporting, 0, 13, state=0)
    assert trap_bytes(reporting) == [one_port_trap(0, 0, 12), one_port_trap(0, 0, 13)]


def test_several_ports_changes_of_one_sweep_share_one_trap(reporting):
    apply(reporting, set_system(enable=0))
    assert trap_bytes(reporting) == [trap(0x0F)]


def test_a_port_of_an_unknown_recorded_type_is_left_alone(reporting):
    become(reporting, 0, 1, state=DELIVERING, pair_type=7)
    reporting.vswitch("traps", "clear")
    lines = led_lines(reporting)
    become(reporting, 0, 3, state=3, pair_type=7)
    become(reporting, 0, 2, state=SEARCHING, detail=0x06, pair_type=1)  # the record still holds type 7
    assert trap_bytes(reporting) == [] and led_lines(reporting) == lines
    become(reporting, 0, 3, state=3, pair_type=1)
    assert trap_bytes(reporting) == [one_port_trap(0, 0, 3)]


# --- changes of channels ----------------------------------------------------------------------------------------------


@pytest.fixture
def dual(reporting):
    """Port 1 is watched by its channels, which are both on hold; its LED is lit and steady."""
    dictate_port(reporting, 1, state=SEARCHING, detail=0x03, pair_type=2)
    dictate_channels(reporting, 1, a=SEARCHING, b=SEARCHING)
    channels_become(reporting, (12, 12))
    reporting.vswitch("traps", "clear")
    return reporting


def channels_become(world, codes, **answer):
    if answer:
        dictate_channels(world, 1, **answer)

    def is_so():
        block = port_status(world, 1)
        return (block[7], block[36], block[56]) == (2, *codes)
    world.wait_for(f"channels {codes}", is_so)
    let_sweeps_pass(world)


def test_a_changed_channel_is_reported_alone_by_its_kind(dual):
    channels_become(dual, (1, 12), a=DELIVERING, b=SEARCHING)
    channels_become(dual, (1, 5), a=DELIVERING, b=5)
    assert trap_bytes(dual) == [one_port_trap(1, 1, 1), one_port_trap(1, 2, 0, 5)]


def test_both_changed_channels_make_one_entry_of_kind_3(dual):
    channels_become(dual, (1, 9), a=DELIVERING, b=REQUESTING)
    assert trap_bytes(dual) == [one_port_trap(1, 3, 1, 9)]


def test_a_channel_from_on_hold_to_searching_is_not_reported(dual):
    channels_become(dual, (2, 1), a=SEARCHING, b=DELIVERING, sub_status=(6, 0))
    assert trap_bytes(dual) == [one_port_trap(1, 2, 0, 1)]
    channels_become(dual, (12, 12), a=SEARCHING, b=SEARCHING)
    channels_become(dual, (2, 2), a=SEARCHING, b=SEARCHING, sub_status=(6, 6))
    assert trap_bytes(dual) == [one_port_trap(1, 2, 0, 1), one_port_trap(1, 3, 12, 12)]


def test_a_port_s_own_status_means_nothing_while_its_channels_are_watched(dual):
    become(dual, 1, 5, state=5, pair_type=2)
    assert trap_bytes(dual) == []


def test_changed_channels_light_the_led_whatever_they_became_and_a_sub_status_of_1_blinks(dual):
    before = len(led_lines(dual)), len(led_writes(dual))
    channels_become(dual, (3, 12), a=3, b=SEARCHING)
    channels_become(dual, (5, 12), a=5, b=SEARCHING, sub_status=(1, 0))
    channels_become(dual, (1, 12), a=DELIVERING, b=SEARCHING, sub_status=(0, 1))
    channels_become(dual, (9, 9), a=REQUESTING, b=REQUESTING)
    channels_become(dual, (0, 0), a=0, b=0)
    assert led_lines(dual)[before[0]:] == ["[Port1] Set PoE LED to blinking", "[Port1] Set PoE LED to always on"]
    assert led_writes(dual)[before[1]:] == [(0x20, 0x20), (0, 0x20)]
    assert led_lines(dual)[:before[0]] == ["[Port1] Turn on PoE LED"]


def test_a_sub_status_alone_leaves_the_led_alone(dual):
    lines = led_lines(dual)
    channels_become(dual, (12, 12), a=SEARCHING, b=SEARCHING, sub_status=(1, 1))
    let_sweeps_pass(dual)
    assert led_lines(dual) == lines


# --- LEDs -------------------------------------------------------------------------------------------------------------


def test_each_led_change_writes_its_one_bit_of_register_10(powered):
    already = led_writes(powered)
    for port in range(4):
        become(powered, port, 1, state=DELIVERING)
    for port in range(4):
        become(powered, port, 2, state=SEARCHING, detail=0x06)
    bits = [1, 2, 4, 8]
    assert led_writes(powered)[len(already):] == [(bit, bit) for bit in bits] + [(0, bit) for bit in bits]
    assert led_lines(powered) == [f"[Port{port}] Turn {how} PoE LED" for how in ("on", "off") for port in range(4)]
    assert powered.show()["registers"]["10"] == 0


def test_a_failed_led_write_is_said_and_not_tried_again(powered):
    powered.vswitch("fault", "cpld", "--times", 1)
    become(powered, 0, 1, state=DELIVERING)
    become(powered, 0, 3, state=3)
    assert powered.stderr_lines().count("poe_drv registerID(0x8003d203) failed") == 1
    assert led_lines(powered) == ["[Port0] Turn on PoE LED"] and powered.show()["registers"]["10"] == 0


# --- the usage alarm --------------------------------------------------------------------------------------------------


def draw(world, current):
    """Port 0 delivers current x 50.5 V on channel A of a 300 W budget."""
    dictate(world, 0x4F, 0, 0x03, 0x10, *struct.pack(">H", current), 0, 0, 0, 0)
    dictate_port(world, 0, state=DELIVERING)
    dictate_channels(world, 0, a=DELIVERING, b=SEARCHING, sub_status=(0, 6))
    world.wait_for("the draw", lambda: system_status(world)[1] == current * 50500 // 1000)
    let_sweeps_pass(world)


def alarm(watts):
    return trap(alarm=1, watts=watts)


def test_the_alarm_is_sent_once_when_usage_reaches_its_threshold_and_again_after_a_fall(powered):
    apply(powered, set_system(threshold=50))
    draw(powered, 2970)  # 149985 mW of 300000 mW: 49 %
    assert trap_bytes(powered) == [] and system_status(powered)[4] == 0
    draw(powered, 2971)  # 150035 mW: 50 %
    assert trap_bytes(powered) == [alarm(150)] and system_status(powered)[4] == 1
    draw(powered, 4000)
    assert trap_bytes(powered) == [alarm(150)] and system_status(powered)[4] == 1
    draw(powered, 1000)
    assert trap_bytes(powered) == [alarm(150)] and system_status(powered)[4] == 0
    draw(powered, 3999)  # 201949 mW
    assert trap_bytes(powered) == [alarm(150), alarm(201)]


def test_a_raised_threshold_takes_the_alarm_back_and_a_lowered_one_sends_it_again(powered):
    apply(powered, set_system(threshold=20))
    draw(powered, 2000)
    assert trap_bytes(powered) == [alarm(101)]
    apply(powered, set_system(threshold=34))
    assert system_status(powered)[4] == 0
    apply(powered, set_system(threshold=33))
    assert trap_bytes(powered) == [alarm(101), alarm(101)]


def test_the_alarm_and_a_port_s_event_share_one_trap(reporting):
    apply(reporting, set_system(threshold=50))
    dictate(reporting, 0x4F, 0, 0x03, 0x10, *struct.pack(">H", 3000), 0, 0, 0, 0)
    become(reporting, 0, 1, state=DELIVERING)
    reporting.vswitch("traps", "clear")
    dictate_port(reporting, 0, state=DELIVERING, pair_type=2)
    reporting.wait_for("the type", lambda: port_status(reporting, 0)[7] == 2)
    dictate_channels(reporting, 0, a=DELIVERING, b=SEARCHING, sub_status=(0, 6))
    reporting.wait_for("the trap", lambda: trap_bytes(reporting))
    assert trap_bytes(reporting) == [trap(1, (1, 0, 0, 0), (1, 0, 0, 0), alarm=1, watts=151)]
    become(reporting, 1, 3, state=3)
    assert trap_bytes(reporting)[1:] == [one_port_trap(1, 0, 3)]


def test_without_a_limit_there_is_no_usage_and_no_alarm(powered):
    powered.vswitch("answer", "4b", *"02 00 00 00 00 00 00 00 00".split())
    powered.wait_for("no limit", lambda: system_status(powered)[0] == 0)
    draw(powered, 3000)
    assert trap_bytes(powered) == [] and system_status(powered)[2:5:2] == (2**32 - 151500, 0)


# --- the pipe ---------------------------------------------------------------------------------------------------------

PIPE = "snmp_proc_pipe"


def two_traps(world):
    become(world, 0, 1, state=DELIVERING)
    become(world, 0, 2, state=SEARCHING, detail=0x06)


def read_all(descriptor):
    try:
        return os.read(descriptor, 4096)
    except BlockingIOError:
        return b""


def test_without_a_pipe_traps_are_lost_silently_and_never_repeated(reporting):
    (reporting.tmp / PIPE).unlink()
    errors = reporting.stderr_lines()
    two_traps(reporting)
    assert not (reporting.tmp / PIPE).exists() and reporting.stderr_lines() == errors
    os.mkfifo(reporting.tmp / PIPE)
    agent = os.open(reporting.tmp / PIPE, os.O_RDONLY | os.O_NONBLOCK)
    become(reporting, 3, 1, state=DELIVERING)
    assert read_all(agent) == one_port_trap(3, 0, 1)
    os.close(agent)


def test_a_pipe_that_is_a_link_is_not_followed(reporting):
    (reporting.tmp / PIPE).unlink()
    (reporting.tmp / "elsewhere").write_text("kept")
    (reporting.tmp / PIPE).symlink_to("elsewhere")
    two_traps(reporting)
    assert (reporting.tmp / "elsewhere").read_text() == "kept" and (reporting.tmp / PIPE).is_symlink()


def test_a_pipe_that_nobody_reads_delays_nobody(reporting):
    (reporting.tmp / PIPE).unlink()
    os.mkfifo(reporting.tmp / PIPE)
    full = os.open(reporting.tmp / PIPE, os.O_RDWR | os.O_NONBLOCK)
    room = b"x" * 4096
    while True:
        try:
            os.write(full, room)
        except BlockingIOError:
            break
    errors = reporting.stderr_lines()
    two_traps(reporting)
    assert reporting.stderr_lines() == errors and reporting.daemon()["running"]
    os.close(full)


def test_each_trap_is_one_write_of_21_bytes(reporting):
    (reporting.tmp / PIPE).unlink()
    os.mkfifo(reporting.tmp / PIPE)
    agent = os.open(reporting.tmp / PIPE, os.O_RDWR | os.O_NONBLOCK)
    two_traps(reporting)
    assert read_all(agent) == one_port_trap(0, 0, 1) + one_port_trap(0, 0, 2)
    os.close(agent)
