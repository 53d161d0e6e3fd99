"""The supervision thread seen from outside: which frames it sends, in which order, and when it begins again."""
import pytest

from supervised import (END_OF_SWEEP, a_sweep, apply, combined, dictate, dictate_port, enable, frame, is_auto_off,
                        let_it_be_switched_off, let_sweeps_pass, newest_frame, plug_what_draws_no_power, port_setting,
                        port_status, powered_poll, request,
                        requests_after, set_bank, set_port, set_system, settings_after, status_code, system_status,
                        tell, unpowered_poll)

LINK_FAILURE = "link_mon_intf_param_get fail"
FAST = 1000


@pytest.fixture
def switch(make_world):
    return make_world(speed=FAST)


def polled_port(sent):
    return sent[2]


def polls(sent):
    """The ports of a list of requests in the order in which they were polled, without the ends of sweeps."""
    ports = []
    at = 0
    while at < len(sent):
        if sent[at:at + 3] == END_OF_SWEEP:
            at += 3
            continue
        if sent[at][0] == 0x44:
            ports.append(polled_port(sent[at]))
        at += 1
    return ports


def around_settings(sent):
    """The polls before and after the settings in a list of requests."""
    is_setting = [one[0] < 0x40 for one in sent]
    first, last = is_setting.index(True), len(sent) - 1 - is_setting[::-1].index(True)
    assert all(is_setting[first:last + 1]), "a port was polled between two settings"
    return polls(sent[:first]), polls(sent[last + 1:])


# --- the sweep --------------------------------------------------------------------------------------------------------


def test_a_sweep_over_four_powered_ports_is_five_transactions_a_port_and_three_at_its_end(switch):
    enable(switch, 0, 1, 2, 3)
    sweep = a_sweep(switch)
    assert sweep == [one for port in range(4) for one in powered_poll(port)] + END_OF_SWEEP
    assert len(sweep) == 23


def test_a_sweep_over_unpowered_ports_asks_for_temperatures_only(switch):
    assert a_sweep(switch) == [one for port in range(4) for one in unpowered_poll(port)] + END_OF_SWEEP


def test_each_port_of_a_sweep_is_polled_as_its_own_state_asks(switch):
    enable(switch, 1, 3)
    tell(switch, set_port(3, schedule=1), request(137, [3, 0, 0, 0]))
    let_sweeps_pass(switch)
    assert a_sweep(switch) == (unpowered_poll(0) + powered_poll(1) + unpowered_poll(2) + unpowered_poll(3) +
                               END_OF_SWEEP)


def test_every_poll_waits_9(switch):
    enable(switch, 0)
    before = newest_frame(switch)
    let_sweeps_pass(switch)
    assert {one["wait"] for one in switch.frames("--after", before)} == {9}


def test_a_sweep_s_end_asks_the_active_bank_and_records_its_limit_and_the_first_port_s_temperature(switch):
    switch.vswitch("answer", "41", *"00 00 00 00 03 00 00 00 00".split())
    switch.vswitch("answer", "4b/03", *"02 09 64 00 00 00 00 00 00".split())
    dictate(switch, 0x44, 0, 0, 0, 0, 0, 0, 200)
    switch.wait_for("the bank's limit", lambda: system_status(switch)[:4] == (240400, 0, 240400, 25000))
    assert frame(0x4B, 3) in requests_after(switch, newest_frame(switch) - 100)


def test_a_limit_that_cannot_be_read_stays_and_a_temperature_that_cannot_becomes_0(switch):
    switch.vswitch("fault", "checksum", "--key", "4b")
    switch.vswitch("fault", "checksum", "--key", "44")
    let_sweeps_pass(switch)
    assert system_status(switch)[:4] == (300000, 0, 300000, 0)


def test_one_bad_transfer_never_makes_the_budget_vanish(switch):
    for _ in range(5):
        switch.vswitch("fault", "checksum", "--key", "4b", "--times", 1)
        while switch.vswitch("show", "faults")["faults"]["faults"]:
            assert system_status(switch)[0] == 300000
        assert system_status(switch)[0] == 300000


# --- unpowered --------------------------------------------------------------------------------------------------------


def test_an_unpowered_port_is_zeros_but_for_its_temperature(switch):
    switch.vswitch("plug", 3, "--class", 4, "--load", 10)
    enable(switch, 2)
    switch.wait_for("power", lambda: status_code(switch, 2) == 1)
    for port, temperature in enumerate((200, 180, 160, 140)):
        dictate(switch, 0x44, port, 3, 0, 1, 0, 0, temperature, 0, 9)
    apply(switch, set_port(2, enable=0))
    block = port_status(switch, 2)
    assert block[:16] == bytes([2, 0, 0, 1, 0, 0, 0, 3]) + bytes(8)
    assert block[16:28] == bytes(12) and block[28:32] == (75000).to_bytes(4, "little") and block[32:72] == bytes(40)


def test_an_unpowered_port_whose_temperature_cannot_be_read_has_none(switch):
    switch.vswitch("fault", "checksum", "--key", "44")
    let_sweeps_pass(switch)
    assert [block[28:32] for block in combined(switch)[1]] == [bytes(4)] * 4


# --- a disabled system ------------------------------------------------------------------------------------------------


def test_a_disabled_system_reads_the_temperatures_of_all_four_ports(switch):
    enable(switch, 0, 1, 2, 3)
    apply(switch, set_system(enable=0))
    assert a_sweep(switch) == [one for port in range(4) for one in unpowered_poll(port)] + END_OF_SWEEP
    for port, count in enumerate((200, 180, 160, 140)):
        dictate(switch, 0x44, port, 0, 0, 0, 0, 0, count)
    let_sweeps_pass(switch)
    blocks = combined(switch)[1]
    assert [int.from_bytes(block[28:32], "little") for block in blocks] == [25000, 50000, 75000, 100000]
    assert [block[8:12] for block in blocks] == [bytes(4)] * 4


def test_a_disabled_system_looks_neither_at_links_nor_at_auto_off_marks(switch):
    # The power-off that comes with a disabled system takes the marks away; none is made while it lasts.
    let_it_be_switched_off(switch, 0)
    apply(switch, set_system(enable=0))
    asked = switch.show()["counters"]["link_queries"]
    dictate_port(switch, 0, state=1)
    before = newest_frame(switch)
    let_sweeps_pass(switch)
    assert switch.show()["counters"]["link_queries"] == asked
    assert settings_after(switch, before) == [] and not is_auto_off(switch, 0)


# --- changes in the middle of a sweep ---------------------------------------------------------------------------------


def seen_in_the_middle(world, requests):
    """(polls before, polls after) a change that came in the middle of a sweep."""
    for one in requests:
        before = newest_frame(world)
        apply(world, one)
        polled, polled_after = around_settings(requests_after(world, before))
        if polled and polled[-1] != 3:
            return polled, polled_after
    raise AssertionError("no change came in the middle of a sweep")


def test_a_change_of_a_port_s_power_begins_the_sweep_at_port_0_again(switch):
    toggles = [set_port(3, enable=1 - turn % 2) for turn in range(60)]
    _, polled = seen_in_the_middle(switch, toggles)
    assert polled[:4] == [0, 1, 2, 3]


def test_a_change_that_switches_nothing_lets_the_sweep_go_on_with_the_next_port(switch):
    banks = [set_bank(200 + turn % 2) for turn in range(60)]
    before, after = seen_in_the_middle(switch, banks)
    assert after[0] == before[-1] + 1


def test_a_burst_of_changes_is_applied_before_any_port_is_polled(switch):
    switch.vswitch("latency", 100_000)
    before = newest_frame(switch)
    switch.wait_for("a transaction under way", lambda: newest_frame(switch) > before)
    before = newest_frame(switch)
    client = switch.client()
    burst = [set_port(port, limit=100 + port) for port in range(4)]
    for one in burst:
        client.send(one)
    assert [client.receive() for _ in burst] == [bytes([129]) + bytes(7)] * 4
    switch.vswitch("latency", 0)
    let_sweeps_pass(switch)
    around_settings(requests_after(switch, before))
    limits = [one for one in settings_after(switch, before) if one[0] == 0x14]
    assert limits == [port_setting(0x14, (port, 25)) for port in range(4)]


# --- switched off automatically ---------------------------------------------------------------------------------------


def test_a_linked_port_without_a_powered_device_is_switched_off_until_its_link_goes_down(switch):
    before = newest_frame(switch)
    let_it_be_switched_off(switch, 1)
    powers = [one for one in settings_after(switch, before) if one[0] == 0x01]
    assert powers == [port_setting(0x01, (1, 1)), port_setting(0x01, (1, 0))]

    # It stays off, is read in full, and nothing else is sent while the link stays.
    before = newest_frame(switch)
    let_sweeps_pass(switch)
    assert settings_after(switch, before) == [] and is_auto_off(switch, 1)
    assert a_sweep(switch)[1:6] == powered_poll(1)

    before = newest_frame(switch)
    switch.vswitch("link", 2, "down")
    switch.wait_for("the search", lambda: status_code(switch, 1) == 12)
    assert settings_after(switch, before) == [port_setting(0x01, (1, 1))]
    assert not is_auto_off(switch, 1)


def test_the_power_command_of_a_lost_link_comes_before_the_port_s_poll(switch):
    let_it_be_switched_off(switch, 2)
    before = newest_frame(switch)
    switch.vswitch("link", 3, "down")
    switch.wait_for("the power command", lambda: settings_after(switch, before))
    let_sweeps_pass(switch)
    sent = requests_after(switch, before)
    at = sent.index(port_setting(0x01, (2, 1)))
    assert sent[at + 1:at + 6] == powered_poll(2)


def test_a_marked_port_that_is_no_longer_to_be_powered_loses_its_mark(switch):
    let_it_be_switched_off(switch, 0)
    assert apply(switch, set_port(0, enable=0))[0] == port_setting(0x01, (0, 0))
    assert not is_auto_off(switch, 0) and status_code(switch, 0) == 0


def test_only_marked_ports_and_searches_in_vain_ask_for_a_link(switch):
    for port in range(1, 5):
        switch.vswitch("plug", port, "--class", 3, "--load", 5)
        switch.vswitch("link", port, "up")
    for port in range(4):
        dictate_port(switch, port, state=2)
    enable(switch, 0, 1, 2, 3)
    let_sweeps_pass(switch)
    assert switch.show()["counters"]["link_queries"] == 0


# --- the link monitor fails -------------------------------------------------------------------------------------------


def test_a_link_monitor_that_fails_is_said_on_standard_output_and_counts_as_link_down_in_a_search(switch):
    plug_what_draws_no_power(switch, 0)
    switch.vswitch("fault", "link")
    before = newest_frame(switch)
    enable(switch, 0)
    switch.wait_for("the line", lambda: LINK_FAILURE in switch.stdout_lines())
    let_sweeps_pass(switch)
    assert port_setting(0x01, (0, 0)) not in settings_after(switch, before)
    assert status_code(switch, 0) == 12 and not is_auto_off(switch, 0)
    assert LINK_FAILURE not in switch.stderr_lines()
    switch.vswitch("fault", "clear")
    switch.wait_for("the mark", lambda: is_auto_off(switch, 0))


def test_a_link_monitor_that_fails_leaves_the_last_answer_in_force_for_a_marked_port(switch):
    let_it_be_switched_off(switch, 0)
    let_sweeps_pass(switch)
    switch.vswitch("fault", "link")
    switch.vswitch("link", 1, "down")
    before = newest_frame(switch)
    let_sweeps_pass(switch)
    assert settings_after(switch, before) == [] and is_auto_off(switch, 0)
    switch.vswitch("fault", "clear")
    switch.wait_for("power", lambda: port_setting(0x01, (0, 1)) in settings_after(switch, before))


def test_failing_power_commands_take_the_mark_away_all_the_same(switch):
    let_it_be_switched_off(switch, 0)
    dictate_port(switch, 0, state=0)
    switch.vswitch("fault", "checksum", "--key", "01")
    switch.vswitch("link", 1, "down")
    switch.wait_for("no mark", lambda: not is_auto_off(switch, 0))
    let_sweeps_pass(switch)
    assert status_code(switch, 0) == 0
