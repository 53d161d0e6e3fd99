"""The stress test of the controller's link, which takes the place of normal service when its flag file exists."""
import os
import re

import pytest

from world import IS_EMULATED

FLAG = "PoE_Stress_Test"
WHO = "40 00 ff ff ff ff ff ff ff ff ff 37"
MEASUREMENTS = ["41 00 ff ff ff ff ff ff ff ff ff 38", "4b 00 ff ff ff ff ff ff ff ff ff 42",
                "44 00 00 ff ff ff ff ff ff ff ff 3c"]
ROUND = re.compile(r"""={35}
total_count            : (?P<rounds>\d{10})
data_fail_count        : (?P<foreign>\d{10})
\[dbg\]
  total                : (?P<total>\d{10})
  undefined_key_value  : (?P<undefined_key>\d{10})
  \[rx\]
    retry              : (?P<retry>\d{10})
    timeout            : (?P<timeout>\d{10})
    chksum_error       : (?P<rx_checksum>\d{10})
  \[tx\]
    correctly_executed : (?P<correct>\d{10})
    chksum_error       : (?P<tx_checksum>\d{10})
""")


@pytest.fixture
def stressed(make_world):
    """stressed(...): a switch with the flag file. The daemon is started with .vswitch("start")."""
    return lambda **how: make_world(**{"stopped": True, "ready": "started", "speed": 100_000, "latency": 300,
                                       "flash": {FLAG: ""}, **how})


def rounds_after(world, skip, count):
    """`count` rounds, as numbers, once the daemon has printed them after its first `skip` rounds."""
    def enough():
        found = ROUND.findall("\n".join(world.stderr_lines()) + "\n")
        return len(found) >= skip + count and found
    world.wait_for("the rounds", enough)
    text = "\n".join(world.stderr_lines()) + "\n"
    return [{name: int(value) for name, value in found.groupdict().items()} for found in ROUND.finditer(text)][
        skip:skip + count]


def rounds(world, count, skip=0):
    world.vswitch("start")
    return rounds_after(world, skip, count)


def test_every_round_counts_and_is_printed_whole(stressed):
    world = stressed()
    first, second, third = rounds(world, 3)
    assert [one["rounds"] for one in (first, second, third)] == [1, 2, 3]
    # The bring-up of a factory-fresh controller: 5 checks, 28 settings, 5 last steps.
    assert first["total"] == first["correct"] == 5 + 28 + 5 + 4
    assert second["total"] == second["correct"] == first["total"] + 4
    others = set(first) - {"rounds", "total", "correct"}
    assert all(one[name] == 0 for one in (first, second, third) for name in others)


def test_the_printout_has_nothing_between_its_rounds(stressed):
    world = stressed()
    rounds(world, 5)
    world.stop_daemon()
    text = "\n".join(world.stderr_lines()) + "\n"
    after = text[text.index("====="):]
    assert re.fullmatch(f"(?:{re.sub('[?]P<[a-z_]+>', '', ROUND.pattern)})+(?s:.{{0,420}})", after)


def test_a_round_asks_for_the_version_and_then_for_the_measurements(stressed):
    world = stressed()
    rounds(world, 3)
    frames = [bytes(frame["request"]).hex(" ") for frame in world.vswitch("frames", "--first", 60)["frames"]]
    start = 5 + 28 + 5
    assert frames[start - 1:start + 9] == [WHO, WHO, *MEASUREMENTS, WHO, *MEASUREMENTS, WHO]


def test_rounds_do_not_pause(stressed):
    world = stressed(speed=1)
    # Without the pauses of the programming: everything that is checked reads as it should.
    for port in range(4):
        world.vswitch("answer", "49", port + 1, *f"0{port} 00 00 e1 00 00 0{2 * port} 0{2 * port + 1} 00".split())
    world.vswitch("answer", *"4b 02 0b b8 00 00 00 00 00 00".split())
    world.vswitch("answer", *"4a b1 ff 00 00 00 09 ff ff ff".split())
    rounds(world, 5)
    frames = world.vswitch("frames", "--first", 36)["frames"]
    assert all(after["at_us"] == before["at_us"] + before["delay_us"] for before, after in zip(frames, frames[1:]))


@pytest.mark.parametrize("at, byte", [(1, 0x05), (2, 0x02), (3, 0x01), (4, 0x38), (5, 0x11), (6, 0x02), (7, 0x04),
                                      (7, 0x07), (7, 0x01), (8, 0x1B)])
def test_an_answer_of_another_controller_is_a_data_failure_a_round(stressed, at, byte):
    answer = [0xFF, 0x04, 0x01, 0x00, 0x39, 0x10, 0x01, 0x05, 0x1A]
    answer[at] = byte
    world = stressed()
    world.vswitch("answer", "40", *(f"{one:02x}" for one in answer))
    assert [one["foreign"] for one in rounds(world, 3)] == [1, 2, 3]


@pytest.mark.parametrize("at, byte", [(0, 0x00), (7, 0xFD)])
def test_bytes_without_a_meaning_are_no_data_failure(stressed, at, byte):
    answer = [0xFF, 0x04, 0x01, 0x00, 0x39, 0x10, 0x01, 0x05, 0x1A]
    answer[at] = byte
    world = stressed()
    world.vswitch("answer", "40", *(f"{one:02x}" for one in answer))
    assert [one["foreign"] for one in rounds(world, 2)] == [0, 0]


def test_an_unplugged_controller_counts_timeouts_and_no_data_failure(stressed):
    world = stressed(latency=0)
    world.vswitch("start")
    before = rounds_after(world, 0, 1)[0]
    world.vswitch("fault", "no-answer")
    seen = len(ROUND.findall("\n".join(world.stderr_lines()) + "\n"))
    one, two = rounds_after(world, seen + 2, 2)
    assert two["rounds"] == one["rounds"] + 1 and two["total"] == one["total"] + 4
    assert two["timeout"] == one["timeout"] + 4 and two["retry"] == one["retry"] + 40
    assert one["foreign"] == two["foreign"] == before["timeout"] == 0
    assert two["correct"] == one["correct"]
    assert (world.flash / "poe_error_rx_timeout.txt").read_text().startswith("1\n")
    assert "[poe_kernel_drv_send_recv() , 1370]: ERROR!! ERROR!! ERROR!!!" in world.stderr_lines()


@pytest.mark.parametrize("fault, counter", [("key-a", "undefined_key"), ("key-b", "tx_checksum"),
                                            ("checksum", "rx_checksum")])
def test_each_kind_of_trouble_has_its_own_counter(stressed, fault, counter):
    world = stressed()
    rounds(world, 1)
    world.vswitch("fault", fault, "--key", "40")
    seen = len(ROUND.findall("\n".join(world.stderr_lines()) + "\n"))
    one, two = rounds_after(world, seen + 2, 2)
    changed = {name for name in one if one[name] != two[name]}
    assert changed == {"rounds", "total", "correct", counter}
    assert (two[counter], two["correct"]) == (one[counter] + 1, one["correct"] + 3)


def test_sockets_are_bound_and_the_controller_is_brought_up_but_nobody_is_served(stressed):
    world = stressed()
    client = world.client()
    rounds(world, 1)
    client.send(bytes(8))
    assert client.hears_nothing()
    pid = world.daemon()["pid"]
    assert len(os.listdir(f"/proc/{pid}/task")) == 1 + IS_EMULATED
    assert {file.name for file in world.tmp.iterdir()} >= {
        f"poe_driver_ipc_socket_{name}.txt" for name in ("server", "internal_rx_server", "internal_tx_server")}
    assert (world.tmp / "poe_driver_chip_information.txt").read_text() == "SW_VERSION:101a\n"
    assert world.show()["configuration"]["stored"]["method"] == 2
    assert not (world.tmp / "poe_status").exists()


def test_ports_leds_and_traps_are_left_alone(stressed):
    world = stressed(tmp={"poe_send_start_up_trap": ""})
    rounds(world, 1)
    before = world.show()
    world.vswitch("plug", "1", "--class", "4", "--load", "12.5")
    rounds_after(world, len(ROUND.findall("\n".join(world.stderr_lines()) + "\n")), 5)
    after = world.show()
    for counted in ("settings", "cpld_writes", "cpld_reads", "link_queries", "traps"):
        assert after["counters"][counted] == before["counters"][counted], counted
    assert after["leds"] == ["off"] * 4 and after["counters"]["traps"] == 0


@pytest.mark.parametrize("make", [lambda flag: flag.write_text("0\n"), os.mkdir, os.mkfifo])
def test_whatever_stands_under_the_flags_name_selects_the_stress_test(stressed, make):
    world = stressed(flash={})
    make(world.flash / FLAG)
    assert rounds(world, 1)[0]["rounds"] == 1


def test_a_flag_that_appears_later_changes_nothing(world):
    (world.flash / FLAG).write_text("")
    assert world.ask(bytes(8))[:1] == b"\0"
    assert "total_count" not in "".join(world.stderr_lines())


def test_without_the_flag_file_the_next_start_is_a_normal_one(stressed):
    world = stressed()
    rounds(world, 1)
    world.stop_daemon()
    (world.flash / FLAG).unlink()
    world.vswitch("start")
    world.wait_for("the status file", lambda: world.status_line() == "poe user space driver running.")
    assert world.ask(bytes(8))[:1] == b"\0"


def test_a_missing_controller_is_fatal_in_this_mode_too(stressed):
    world = stressed()
    (world.dev / "poe_kernel_drv").unlink()
    world.vswitch("start")
    ended = world.wait_for("the end", lambda: (lambda now: not now["running"] and now)(world.daemon()))
    assert ended["exit_status"] == 1 and world.status_line() == "poe device driver open(...) fail!"
