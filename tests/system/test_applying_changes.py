"""Configuration requests on their way to the controller: which settings it gets for each change, and when."""
import pytest

from supervised import (KEEP_LIMIT, apply, combined, enable, inline_mode, let_it_be_switched_off, let_sweeps_pass,
                        newest_frame, port_block, port_parameters, port_setting, power_cycle, re_enable_state, request,
                        set_bank, set_every_port, set_port, set_schedule, set_system, settings_after, switch_port,
                        tell, whole_port, frame, is_auto_off)

FAST = 1000
TICKS_A_SECOND = 5
ATTEMPTS = 10


@pytest.fixture
def switch(make_world):
    return make_world(speed=FAST)


@pytest.fixture
def powered(switch):
    enable(switch, 0, 1, 2, 3)
    return switch


def system_parameters(world):
    return list(world.ask(request(0, bytes(8)))[8:14])


def schedule_states(world):
    return [block[3] for block in combined(world)[1]]


# --- one port ---------------------------------------------------------------------------------------------------------


def test_switching_a_port_on_sends_power_limit_priority_and_inline_mode(switch):
    assert apply(switch, set_port(1, enable=1)) == whole_port(1, power=1, limit=225, priority=0, mode=2)
    assert port_parameters(switch, 1) == (1, 3, 0, 2, 10, 900)


def test_switching_a_port_off_sends_everything_too(powered):
    assert apply(powered, set_port(3, enable=0)) == whole_port(3, power=0, limit=225, priority=0, mode=2)
    assert port_parameters(powered, 3) == (0, 3, 0, 2, 10, 900)


@pytest.mark.parametrize("priority, code", [(1, 3), (2, 2), (3, 0)])
def test_a_port_that_is_off_is_programmed_whole_by_any_change(switch, priority, code):
    sent = apply(switch, set_port(0, priority=priority, limit=307, seconds=20, mode=4))
    assert sent == whole_port(0, power=0, limit=307 * 100 // 400, priority=code, mode=4)
    assert port_parameters(switch, 0) == (0, priority, 0, 4, 20, 307)


def test_a_port_that_is_off_is_programmed_even_for_a_new_delay(switch):
    assert apply(switch, set_port(0, schedule=0xFF, limit=900, seconds=11)) == whole_port(0, 0, 225, 0, 2)


@pytest.mark.parametrize("mode", [0, 1, 3, 4])
def test_a_powered_port_s_new_mode_sends_the_inline_mode_alone(powered, mode):
    assert apply(powered, set_port(2, priority=3, mode=mode)) == inline_mode(2, mode)
    assert port_parameters(powered, 2)[3] == mode


@pytest.mark.parametrize("limit, code", [(10, 2), (299, 74), (300, 75), (899, 224)])
def test_a_powered_port_s_new_limit_sends_the_limit_alone(powered, limit, code):
    assert apply(powered, set_port(1, limit=limit)) == [port_setting(0x14, (1, code))]
    assert port_parameters(powered, 1) == (1, 3, 0, 2, 10, limit)


@pytest.mark.parametrize("priority, code", [(1, 3), (2, 2)])
def test_a_powered_port_s_new_priority_sends_the_priority_alone(powered, priority, code):
    assert apply(powered, set_port(1, priority=priority)) == [port_setting(0x15, (1, code))]


def test_a_powered_port_s_changes_go_in_the_order_limit_priority_mode(powered):
    assert apply(powered, set_port(0, limit=100, priority=1, mode=0, seconds=30)) == [
        port_setting(0x14, (0, 25)), port_setting(0x15, (0, 3)), *inline_mode(0, 0)]


def test_a_powered_port_s_new_delay_and_schedule_flag_are_stored_without_a_frame(powered):
    assert apply(powered, set_port(0, schedule=1, seconds=60)) == []
    assert port_parameters(powered, 0) == (1, 3, 1, 2, 60, 900)


def test_repeated_and_kept_values_send_nothing(powered):
    assert apply(powered, set_port(0, enable=1), set_port(0, enable=1, priority=3, schedule=0, mode=2, seconds=10,
                                                         limit=900)) == []


def test_a_port_put_under_a_schedule_that_is_off_is_switched_off(powered):
    assert apply(powered, set_schedule(2, 0)) == []
    assert apply(powered, set_port(2, schedule=1)) == whole_port(2, power=0, limit=225, priority=0, mode=2)
    assert apply(powered, set_port(2, schedule=0)) == whole_port(2, power=1, limit=225, priority=0, mode=2)


def test_settings_are_stored_even_when_the_controller_refuses_them(powered):
    powered.vswitch("fault", "checksum", "--key", "14")
    apply(powered, set_port(1, limit=500))
    assert port_parameters(powered, 1)[5] == 500


def test_what_the_controller_refuses_is_said_and_the_rest_is_sent(powered):
    powered.vswitch("answer", "14", 2, *"01 01 ff ff ff ff ff ff ff".split())
    assert apply(powered, set_port(1, limit=500, priority=1)) == [
        port_setting(0x14, (1, 125)), port_setting(0x15, (1, 3))]
    assert "[_rtl_port_set() , 1517]: Port 1 setup failed!!!" in powered.stderr_lines()


def test_what_is_lost_on_the_line_is_not_sent_again_until_a_power_cycle(switch):
    switch.vswitch("plug", 1, "--class", 4, "--load", 10)
    switch.vswitch("fault", "no-answer", "--key", "01", "--times", ATTEMPTS)
    assert len(apply(switch, set_port(0, enable=1, seconds=5))) == ATTEMPTS - 1 + len(whole_port(0, 1, 225, 0, 2))
    assert port_parameters(switch, 0)[0] == 1 and not switch.show()["ports"][0]["power_on"]
    assert apply(switch, set_port(0, enable=1)) == []
    tell(switch, power_cycle(0))
    switch.wait_for("power", lambda: switch.show()["ports"][0]["power_on"])


# --- all ports --------------------------------------------------------------------------------------------------------


def test_the_same_parameters_go_to_all_ports_in_order_whatever_the_port_byte_holds(powered):
    block = port_block(9, enable=1, priority=1, schedule=0, mode=2, seconds=10, limit=200)
    assert apply(powered, request(132, block)) == [
        one for port in range(4) for one in (port_setting(0x14, (port, 50)), port_setting(0x15, (port, 3)))]


def test_each_port_gets_the_block_at_its_place_whatever_its_port_byte_holds(powered):
    blocks = [port_block(3, enable=0), port_block(3, limit=40), port_block(0, limit=900), port_block(0, mode=1,
                                                                                                     priority=3)]
    assert apply(powered, set_every_port(*blocks)) == [
        *whole_port(0, power=0, limit=225, priority=0, mode=2), port_setting(0x14, (1, 10)), *inline_mode(3, 1)]


# --- the system -------------------------------------------------------------------------------------------------------


def test_disabling_the_system_switches_every_port_off_one_by_one_with_its_own_mode(powered):
    apply(powered, set_port(1, priority=3, mode=4), set_port(2, enable=0))
    assert apply(powered, set_system(enable=0)) == [
        *switch_port(0, 0, 2), *switch_port(1, 0, 4), *switch_port(2, 0, 2), *switch_port(3, 0, 2)]
    assert system_parameters(powered) == [0, 0, 0, 95, 0, 0]


def test_enabling_the_system_switches_on_exactly_the_ports_that_ask_for_power(powered):
    apply(powered, set_port(0, enable=0), set_port(1, schedule=1), set_schedule(1, 0), set_port(2, schedule=1))
    apply(powered, set_system(enable=0))
    assert apply(powered, set_system(enable=1)) == [*switch_port(2, 1, 2), *switch_port(3, 1, 2)]


def test_a_port_enabled_in_a_disabled_system_stays_off_until_the_system_is_enabled(switch):
    apply(switch, set_system(enable=0))
    assert apply(switch, set_port(1, enable=1)) == whole_port(1, power=0, limit=225, priority=0, mode=2)
    assert apply(switch, set_system(enable=1)) == switch_port(1, 1, 2)


def test_system_parameters_are_stored_but_for_byte_1(powered):
    assert apply(powered, set_system(byte_1=1, byte_2=1, threshold=50, byte_4=1, byte_5=1)) == []
    assert system_parameters(powered) == [1, 0, 1, 50, 1, 1]
    assert apply(powered, set_system(threshold=60)) == []
    assert system_parameters(powered) == [1, 0, 1, 60, 1, 1]
    apply(powered, set_system(enable=0, byte_1=1, byte_2=0))
    assert system_parameters(powered) == [0, 0, 0, 60, 1, 1]


def test_a_repeated_system_enable_sends_nothing(powered):
    assert apply(powered, set_system(enable=1)) == []


# --- schedules --------------------------------------------------------------------------------------------------------


def test_a_schedule_state_switches_a_port_that_obeys_it(powered):
    apply(powered, set_port(1, schedule=1))
    assert apply(powered, set_schedule(1, 0)) == switch_port(1, 0, 2)
    assert schedule_states(powered) == [1, 0, 1, 1]
    assert apply(powered, set_schedule(1, 1)) == switch_port(1, 1, 2)


def test_a_schedule_state_of_a_port_that_does_not_obey_it_is_only_stored(powered):
    assert apply(powered, set_schedule(1, 0), set_schedule(3, 0)) == []
    assert schedule_states(powered) == [1, 0, 1, 0]


def test_a_schedule_state_that_is_kept_or_repeated_does_nothing(powered):
    apply(powered, set_port(1, schedule=1))
    assert apply(powered, set_schedule(1, 1), set_schedule(1, 0xFF)) == []
    assert schedule_states(powered) == [1, 1, 1, 1]


def test_schedule_states_of_all_ports_go_by_place_and_keep_where_kept(powered):
    apply(powered, *[set_port(port, schedule=1) for port in (0, 1, 3)])
    entries = [3, 0, 0, 0, 3, 0xFF, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0]
    assert apply(powered, request(138, entries)) == [*switch_port(0, 0, 2), *switch_port(3, 0, 2)]
    assert schedule_states(powered) == [0, 1, 0, 0]


# --- the power bank ---------------------------------------------------------------------------------------------------


def test_a_power_bank_goes_into_all_eight_banks_and_is_stored_whole(switch):
    assert apply(switch, set_bank(240, 0xBEEF)) == [
        *[frame(0x04, 0, bank, 0x09, 0x60, 0, 0) for bank in range(8)], frame(0x0E, 0, 179, 0xFF, 9)]
    assert switch.ask(request(14, bytes(4)))[8:] == bytes([240, 0, 0xEF, 0xBE])
    assert combined(switch)[0][:4] == (240000).to_bytes(4, "little")


# --- power cycles -----------------------------------------------------------------------------------------------------


@pytest.fixture
def slow_switch(make_world):
    """A tick is 10 ms: long enough to look at what is pending."""
    world = make_world(speed=20)
    enable(world, 0, 1, 2, 3)
    return world


def wait_for_the_end(world, *ports):
    """The tick at which none of these ports was pending any more, and what was last pending."""
    last = None
    while True:
        now, entries = re_enable_state(world)
        if not any(entries[port][0] for port in ports):
            return now, last
        last = now, entries


def test_a_power_cycle_switches_its_ports_off_at_once_and_on_again_after_their_delay(slow_switch):
    apply(slow_switch, set_port(0, priority=3, seconds=5), set_port(2, priority=3, seconds=5))
    before = newest_frame(slow_switch)
    tell(slow_switch, power_cycle(0, 2))
    slow_switch.wait_for("both pending", lambda: re_enable_state(slow_switch)[1][2][0] == 1)
    _, entries = re_enable_state(slow_switch)
    tick = entries[0][1]
    assert entries == [(1, tick), (0, 0), (1, tick), (0, 0)]
    assert [block[1] for block in combined(slow_switch)[1]] == [0, 1, 0, 1]
    end, _ = wait_for_the_end(slow_switch, 0, 2)
    assert 5 * TICKS_A_SECOND <= end - tick < 15 * TICKS_A_SECOND
    let_sweeps_pass(slow_switch)
    assert settings_after(slow_switch, before) == [
        *whole_port(0, power=0, limit=225, priority=0, mode=2), *whole_port(2, power=0, limit=225, priority=0, mode=2),
        *whole_port(0, power=1, limit=225, priority=0, mode=2), *whole_port(2, power=1, limit=225, priority=0, mode=2)]
    assert [port_parameters(slow_switch, port)[0] for port in range(4)] == [1, 1, 1, 1]
    assert re_enable_state(slow_switch)[1][0] == (0, tick)


def test_each_port_comes_back_after_its_own_delay(slow_switch):
    apply(slow_switch, set_port(0, priority=3, seconds=9), set_port(1, priority=3, seconds=5))
    before = newest_frame(slow_switch)
    tell(slow_switch, power_cycle(0, 1))
    slow_switch.wait_for("both pending", lambda: re_enable_state(slow_switch)[1][1][0] == 1)
    tick = re_enable_state(slow_switch)[1][1][1]
    end, _ = wait_for_the_end(slow_switch, 1)
    assert end - tick >= 5 * TICKS_A_SECOND
    end, (_, entries) = wait_for_the_end(slow_switch, 0, 1)
    assert end - tick >= 9 * TICKS_A_SECOND and entries[0] == (1, tick) and entries[1][0] == 0
    let_sweeps_pass(slow_switch)
    powers = [one for one in settings_after(slow_switch, before) if one[0] == 0x01]
    assert powers == [port_setting(0x01, pair) for pair in ((0, 0), (1, 0), (1, 1), (0, 1))]


def test_a_second_power_cycle_restarts_the_delay(slow_switch):
    tell(slow_switch, power_cycle(1))
    slow_switch.wait_for("pending", lambda: re_enable_state(slow_switch)[1][1][0] == 1)
    first = re_enable_state(slow_switch)[1][1][1]
    slow_switch.wait_for("a few ticks", lambda: re_enable_state(slow_switch)[0] >= first + 5)
    before = newest_frame(slow_switch)
    tell(slow_switch, power_cycle(1))
    second = slow_switch.wait_for("the new tick", lambda: max(re_enable_state(slow_switch)[1][1][1] - first, 0)) + first
    assert second >= first + 5
    end, _ = wait_for_the_end(slow_switch, 1)
    assert end - second >= 10 * TICKS_A_SECOND
    let_sweeps_pass(slow_switch)
    assert settings_after(slow_switch, before) == whole_port(1, power=1, limit=225, priority=0, mode=2)


def test_a_power_cycle_of_a_disabled_port_arms_it_all_the_same(make_world):
    switch = make_world(speed=FAST)
    before = newest_frame(switch)
    tell(switch, power_cycle(3))
    switch.wait_for("power", lambda: port_parameters(switch, 3)[0] == 1)
    let_sweeps_pass(switch)
    assert settings_after(switch, before) == whole_port(3, power=1, limit=225, priority=0, mode=2)


def test_bits_beyond_the_fourth_port_mean_nothing(powered):
    assert apply(powered, request(143, [0xF0])) == []
    assert [entry[0] for entry in re_enable_state(powered)[1]] == [0] * 4


def test_a_power_cycle_in_a_disabled_system_brings_the_enable_back_without_power(make_world):
    switch = make_world(speed=FAST)
    enable(switch, 1)
    apply(switch, set_system(enable=0))
    before = newest_frame(switch)
    tell(switch, power_cycle(1))
    switch.wait_for("the enable", lambda: re_enable_state(switch)[1][1][1] and not re_enable_state(switch)[1][1][0])
    let_sweeps_pass(switch)
    assert settings_after(switch, before) == 2 * whole_port(1, power=0, limit=225, priority=0, mode=2)
    assert port_parameters(switch, 1)[0] == 1


# --- marks and kept limits --------------------------------------------------------------------------------------------


def test_an_explicit_power_command_takes_the_auto_off_mark_away(switch):
    let_it_be_switched_off(switch, 1)
    apply(switch, set_port(1, limit=300))
    assert is_auto_off(switch, 1)
    apply(switch, set_port(1, enable=0))
    assert not is_auto_off(switch, 1)


def test_a_limit_of_all_ones_keeps_the_stored_one(powered):
    apply(powered, set_port(0, limit=300))
    assert apply(powered, set_port(0, priority=1, limit=KEEP_LIMIT)) == [port_setting(0x15, (0, 3))]
    assert port_parameters(powered, 0)[5] == 300
