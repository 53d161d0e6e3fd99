"""The link between the daemon and its controller, seen from the controller's side: what is asked, how often, with what
pauses; what the daemon counts, says and leaves in flash when the answers are wrong."""
import os
import re
import struct

import pytest

SILENCE, UNDEFINED, CHECKSUM = "no-answer", "key-a", "key-b"
DAMAGED = "checksum"
PAUSE_US = 550_000
FIRST_REQUEST = [0x48, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x40]
SECOND_REQUEST = [0x48, 0x00, 0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x41]
GAVE_UP = "[poe_kernel_drv_send_recv() , 1370]: ERROR!! ERROR!! ERROR!!!"
TIMEOUT = "receive poe mcu message timeout!!!"
DAMAGED_ANSWER = "receive poe mcu message checksum error!!!"
WRONG_CHECKSUM = "poe mcu say [wrong checksum]!!!"
UNDEFINED_KEY = "poe mcu say [undefined key value]!!!"
MARKS = {TIMEOUT: "poe_error_rx_timeout.txt", DAMAGED_ANSWER: "poe_error_rx_checksum.txt",
         WRONG_CHECKSUM: "poe_error_tx_checksum.txt"}
COUNTERS = ("total", "rx_retry", "rx_timeout", "rx_chksum_error", "tx_correctly_executed", "tx_chksum_error",
            "tx_subject_byte_conflict", "tx_wrong_data_byte_value", "undefined_key_value")


def counters(world):
    reply = world.ask(bytes([12]))
    assert len(reply) == 80 and reply[:8] == bytes([12, 0, 0, 0, 0, 0, 0, 0])
    return dict(zip(COUNTERS, struct.unpack("<9Q", reply[8:])))


def about_the_link(world):
    """The lines of standard error that the link's troubles cause, without their line numbers where those may change."""
    said = [line for line in world.stderr_lines() if "poe mcu" in line or "ERROR!!" in line or "setup failed" in line]
    return [line if GAVE_UP in line or "setup failed" in line else re.sub(r"\(\) , [1-9]\d*\]", "()]", line)
            for line in said]


def marks(world):
    return {file.name: file.read_text() for file in world.flash.iterdir() if file.name.startswith("poe_error")}


def start_with(make_world, *troubles, **how):
    """A daemon whose first transactions, the bring-up's, meet these troubles: (fault, times) or (fault, times, errno)."""
    world = make_world(**{"speed": 1000, "stopped": True, **how})
    for kind, times, *errno in troubles:
        world.vswitch("fault", kind, "--times", times, *(["--errno", errno[0]] if errno else []))
    world.start_daemon()
    return world


def freeze(world):
    """Holds the daemon in a transaction that is not answered any more, and returns how many frames it has sent."""
    world.vswitch("latency", 60_000_000)
    return world.wait_for("a transaction that hangs",
                          lambda: (lambda log: log["frames"][0]["delay_us"] > 30_000_000 and log["total"])(
                              world.vswitch("frames", "--last", 1)))


def pauses(frames):
    """Between the end of each attempt and the beginning of the next."""
    return [after["at_us"] - before["at_us"] - before["delay_us"] for before, after in zip(frames, frames[1:])]


def first_transaction(world, attempts):
    """The pauses of the first transaction, which must have this many attempts, all alike; the last is before the next."""
    frames = world.frames("--first", attempts + 1)
    assert [frame["request"] for frame in frames] == [FIRST_REQUEST] * attempts + [SECOND_REQUEST]
    assert {frame["wait"] for frame in frames} == {9}
    return pauses(frames)


def attempts_beyond_the_first(count):
    return count - 1


# --- asking again -----------------------------------------------------------------------------------------------------


def test_a_good_answer_is_taken_at_once(make_world):
    world = start_with(make_world)
    assert first_transaction(world, 1) == [0]
    assert about_the_link(world) == [] and marks(world) == {}
    sent = freeze(world)
    assert counters(world) == {**dict.fromkeys(COUNTERS, 0), "total": sent, "tx_correctly_executed": sent - 1}


TROUBLES = {
    # name: (troubles, attempts, pauses, what is said, marks, counters that are not 0)
    "one silence": ([(SILENCE, 1)], 2, 1, [], {}, {"rx_retry": 1}),
    "nine silences": ([(SILENCE, 9)], 10, 9, [], {}, {"rx_retry": 9}),
    "ten silences": ([(SILENCE, 10)], 10, 10, [GAVE_UP, TIMEOUT], {TIMEOUT: "1\n"}, {"rx_retry": 10, "rx_timeout": 1}),
    "ten failing ioctls": ([("ioctl", 10, 5)], 10, 10, [GAVE_UP, TIMEOUT], {TIMEOUT: "1\n"},
                           {"rx_retry": 10, "rx_timeout": 1}),
    "interrupted ioctls": ([("ioctl", 3, 4)], 4, 3, [], {}, {"rx_retry": 3}),
    "nine wrong checksums": ([(CHECKSUM, 9)], 10, 9, [], {}, {}),
    "ten wrong checksums": ([(CHECKSUM, 10)], 10, 10, [WRONG_CHECKSUM], {WRONG_CHECKSUM: "1\n"},
                            {"tx_chksum_error": 1}),
    "nine undefined keys": ([(UNDEFINED, 9)], 10, 9, [], {}, {}),
    "ten undefined keys": ([(UNDEFINED, 10)], 10, 10, [UNDEFINED_KEY], {}, {"undefined_key_value": 1}),
    "nine wrong checksums and an undefined key": ([(CHECKSUM, 9), (UNDEFINED, 1)], 10, 10, [UNDEFINED_KEY], {},
                                                  {"undefined_key_value": 1}),
    "nine undefined keys and a wrong checksum": ([(UNDEFINED, 9), (CHECKSUM, 1)], 10, 10, [WRONG_CHECKSUM],
                                                 {WRONG_CHECKSUM: "1\n"}, {"tx_chksum_error": 1}),
    "report keys in failing ioctls": ([(CHECKSUM, 9, 5), (UNDEFINED, 1, 110)], 10, 10, [UNDEFINED_KEY], {},
                                      {"undefined_key_value": 1}),
    "nine of each": ([(SILENCE, 9), (UNDEFINED, 9)], 19, 18, [], {}, {"rx_retry": 9}),
    "nine of each, then a silence": ([(UNDEFINED, 9), (SILENCE, 10)], 19, 19, [GAVE_UP, TIMEOUT], {TIMEOUT: "1\n"},
                                     {"rx_retry": 10, "rx_timeout": 1}),
    "nine of each, then a refusal": ([(SILENCE, 9), (CHECKSUM, 10)], 19, 19, [WRONG_CHECKSUM],
                                     {WRONG_CHECKSUM: "1\n"}, {"rx_retry": 9, "tx_chksum_error": 1}),
    "a damaged answer": ([(DAMAGED, 1)], 1, 0, [DAMAGED_ANSWER], {DAMAGED_ANSWER: "1\n"}, {"rx_chksum_error": 1}),
    "silences, then a damaged answer": ([(SILENCE, 2), (DAMAGED, 1)], 3, 2, [DAMAGED_ANSWER], {DAMAGED_ANSWER: "1\n"},
                                        {"rx_retry": 2, "rx_chksum_error": 1}),
}


@pytest.mark.parametrize("name", TROUBLES)
def test_a_transaction_is_asked_again_counted_and_reported(make_world, name):
    troubles, attempts, paused, said, marked, counted = TROUBLES[name]
    world = start_with(make_world, *troubles)
    assert first_transaction(world, attempts) == [PAUSE_US] * paused + [0] * (attempts - paused)
    assert about_the_link(world) == [line if line == GAVE_UP else "[_rtl_port_basic_cfg_get()]: " + line
                                     for line in said]
    assert marks(world) == {MARKS[what]: lines for what, lines in marked.items()}
    sent = freeze(world)
    transactions = sent - attempts_beyond_the_first(attempts)
    executed = transactions - 1 - (1 if said else 0)
    assert counters(world) == {**dict.fromkeys(COUNTERS, 0), "total": transactions, "tx_correctly_executed": executed,
                               **counted}


def test_a_pause_takes_its_time(make_world):
    started = os.times().elapsed
    start_with(make_world, (SILENCE, 4), speed=10)
    assert os.times().elapsed - started >= 4 * 0.055


# --- who says it ------------------------------------------------------------------------------------------------------

BRING_UP_COMMANDS = [
    *["_rtl_port_basic_cfg_get"] * 4, "_rtl_global_pm_cfg_get", "_rtl_cfg_info_clear", "_rtl_global_set",
    "_rtl_port_mapping_enable_set", *["_rtl_port_pair_mapping_set"] * 4, "_rtl_port_mapping_enable_set",
    "_rtl_global_set", *["_rtl_global_power_source_set"] * 8, "_rtl_global_parameters_set",
    *["_rtl_port_set"] * 8, "_rtl_global_set", "_rtl_cfg_info_save", "_rtl_global_power_status_get",
    "_rtl_global_pm_cfg_get", "_rtl_port_measurement_get", "_rtl_global_set", "_rtl_global_status_get"]


@pytest.mark.parametrize("fault, text", [(DAMAGED, DAMAGED_ANSWER), (UNDEFINED, UNDEFINED_KEY),
                                         (CHECKSUM, WRONG_CHECKSUM), (SILENCE, TIMEOUT)])
def test_a_bring_up_whose_every_command_fails_goes_on_to_its_end_and_names_each(make_world, fault, text):
    each = 1 if fault == DAMAGED else 10
    world = start_with(make_world, (fault, each * len(BRING_UP_COMMANDS)), speed=5000)
    said = [f"[{command}()]: {text}" for command in BRING_UP_COMMANDS]
    assert [line for line in about_the_link(world) if line != GAVE_UP] == said
    assert about_the_link(world).count(GAVE_UP) == (len(said) if fault == SILENCE else 0)
    assert marks(world) == ({MARKS[text]: "1\n10\n"} if text in MARKS else {})
    assert not (world.tmp / "poe_driver_chip_information.txt").exists()
    assert len(world.ask(bytes([12]))) == 80


@pytest.mark.parametrize("key, command", [("42", "_rtl_port_status_get"), ("45", "_rtl_port_mib_counter_get"),
                                          ("4f", "_rtl_port_channel_vol_cur_get"), ("4e", "_rtl_channel_status_get"),
                                          ("4b", "_rtl_global_pm_cfg_get")])
def test_a_reading_that_fails_is_reported_under_its_own_name(make_world, key, command):
    world = make_world(speed=1000)
    enable_every_port(world)
    world.vswitch("fault", DAMAGED, "--key", key, "--times", 2)
    world.wait_for("two reports", lambda: len(about_the_link(world)) >= 2)
    assert about_the_link(world) == [f"[{command}()]: {DAMAGED_ANSWER}"] * 2


def test_readings_of_the_stored_configuration_are_reported_under_their_own_names(make_world):
    world = make_world(speed=1000)
    world.stop_daemon()
    world.vswitch("fault", DAMAGED, "--key", "49", "--times", 1)
    world.start_daemon()
    world.stop_daemon()
    world.vswitch("fault", DAMAGED, "--key", "4a", "--times", 1)
    world.start_daemon()
    assert about_the_link(world) == [f"[_rtl_port_extended_cfg_get()]: {DAMAGED_ANSWER}",
                                     f"[_rtl_global_parameters_get()]: {DAMAGED_ANSWER}"]


def enable_every_port(world):
    request = bytes([132, 0, 0, 0, 0, 0, 0, 0]) + struct.pack("<BbbbbbxxI", 0, 1, 3, 0, 2, 10, 900)
    assert world.ask(request) == bytes([132, 0, 0, 0, 0, 0, 0, 0])
    world.wait_for("the ports to be polled", lambda: world.frames("--key", "4e", "--last", 1))


# --- refused settings -------------------------------------------------------------------------------------------------


def bring_up_requests(world):
    """From the clearing of the configuration to its saving, with the driver's wait of each."""
    return [(frame["wait"], frame["request"]) for frame in world.frames("--first", 38)[5:33]]


REFUSALS = ["C0/02 01", "10 01", "05 01", "05 FF 01", "06 FF 01", "06 FF FF 01", "06 FF FF FF 01", "06 FF FF FF FF 01",
            "06 FF FF FF FF FF FF FF FF 01", "02 01", "04 FF 01", "0E 01", "16 01", "C0/01 01", "11 01"]


@pytest.mark.parametrize("answer", REFUSALS)
def test_a_refused_setting_is_silent_and_counts_as_executed(make_world, answer):
    world = make_world(speed=1000, stopped=True)
    key, *data = answer.split()
    world.vswitch("answer", key, *data, *["FF"] * (9 - len(data)))
    world.start_daemon()
    assert any(frame["dictated"] for frame in world.frames("--first", 38))
    assert about_the_link(world) == [] and marks(world) == {}
    sent = freeze(world)
    assert counters(world)["tx_correctly_executed"] == sent - 1


def test_every_setting_is_sent_although_every_one_is_refused(make_world):
    taken, refused = make_world(speed=1000), make_world(speed=1000, stopped=True)
    for key in ("C0", "10", "05", "06", "02", "04", "0E", "16", "11", "01", "08", "0F", "0C", "12", "14", "15"):
        refused.vswitch("answer", key, *["01"] * 9)
    refused.start_daemon()
    assert bring_up_requests(refused) == bring_up_requests(taken)
    assert about_the_link(refused) == ["[_rtl_port_set() , 1517]: Port 1 setup failed!!!"] * (4 * 8)
    assert about_the_link(taken) == []


@pytest.mark.parametrize("key", ["01", "08", "0F", "0C", "12", "14", "15"])
def test_a_port_setting_names_the_ports_that_the_controller_refused(make_world, key):
    world = make_world(speed=1000, stopped=True)
    world.vswitch("answer", key, *"00 01 01 00 02 02 03 01 01".split())
    world.start_daemon()
    times = 2 if key == "01" else 1
    assert about_the_link(world) == ["[_rtl_port_set() , 1517]: Port 0 setup failed!!!",
                                     "[_rtl_port_set() , 1517]: Port 3 setup failed!!!"] * times
    assert marks(world) == {}


def test_the_port_that_is_named_is_the_answers(make_world):
    world = make_world(speed=1000, stopped=True)
    world.vswitch("answer", "15", *"FF 01 C8 01 00 00 00 00 00".split())
    world.start_daemon()
    assert about_the_link(world) == ["[_rtl_port_set() , 1517]: Port 255 setup failed!!!",
                                     "[_rtl_port_set() , 1517]: Port 200 setup failed!!!"]


@pytest.mark.parametrize("answer", ["04 01 00", "04 01 02", "10 02", "06 01 00 00 00 00 01 01 01 00",
                                    "05 02 00 01 01", "0E 00 01 01 01", "15 01 00 01 00 01 00 01 00 01"])
def test_only_a_1_in_a_result_byte_refuses(make_world, answer):
    world = make_world(speed=1000, stopped=True)
    key, *data = answer.split()
    world.vswitch("answer", key, *data, *["FF"] * (9 - len(data)))
    world.start_daemon()
    assert any(frame["dictated"] for frame in world.frames("--first", 38)) and about_the_link(world) == []


def test_a_query_that_answers_with_ones_refuses_nothing(make_world):
    world = make_world(speed=1000)
    for key in ("40", "41", "44", "4B"):
        world.vswitch("answer", key, *["01"] * 9)
    world.restart_daemon()
    assert about_the_link(world) == []


# --- marks in flash ---------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("fault, attempts, text", [(SILENCE, 10, TIMEOUT), (CHECKSUM, 10, WRONG_CHECKSUM),
                                                   (DAMAGED, 1, DAMAGED_ANSWER)])
def test_the_1st_the_10th_and_the_100th_failure_leave_a_mark(make_world, fault, attempts, text):
    world = make_world(speed=10000)
    failures = 0
    for more, lines in [(1, "1\n"), (8, "1\n"), (1, "1\n10\n"), (89, "1\n10\n"), (1, "1\n10\n100\n"),
                        (60, "1\n10\n100\n")]:
        failures += more
        world.vswitch("fault", fault, "--times", more * attempts)
        world.wait_for(f"failure {failures}", lambda: "\n".join(world.stderr_lines()).count(text) >= failures)
        assert marks(world) == {MARKS[text]: lines}, failures
    assert "\n".join(world.stderr_lines()).count(text) == failures


def test_an_undefined_key_leaves_no_mark(make_world):
    world = make_world(speed=10000)
    world.vswitch("fault", UNDEFINED, "--times", 10 * 12)
    world.wait_for("twelve reports", lambda: len(about_the_link(world)) >= 12)
    assert marks(world) == {}


def test_every_run_appends_its_own_marks(make_world):
    world = start_with(make_world, (DAMAGED, 12), flash={"poe_error_rx_checksum.txt": "from before\n"})
    assert marks(world) == {"poe_error_rx_checksum.txt": "from before\n1\n10\n"}
    world.stop_daemon()
    world.vswitch("fault", DAMAGED, "--times", 2)
    world.start_daemon()
    assert marks(world) == {"poe_error_rx_checksum.txt": "from before\n1\n10\n1\n"}


def test_a_read_only_flash_loses_the_mark_of_this_run_and_nothing_else(make_world):
    world = make_world(speed=1000)
    assert world.exec("mount", "-o", "remount,bind,ro", "/flash").returncode == 0
    world.vswitch("fault", DAMAGED, "--times", 1)
    world.wait_for("the report", lambda: about_the_link(world))
    assert world.exec("mount", "-o", "remount,bind,rw", "/flash").returncode == 0
    world.vswitch("fault", DAMAGED, "--times", 9)
    world.wait_for("ten reports", lambda: len(about_the_link(world)) >= 10)
    assert marks(world) == {"poe_error_rx_checksum.txt": "10\n"}
    assert counters(world)["rx_chksum_error"] == 10


@pytest.mark.parametrize("obstacle", ["folder", "pipe", "dangling link"])
def test_what_stands_in_a_marks_place_does_not_hold_the_daemon_up(make_world, obstacle):
    world = make_world(speed=1000, stopped=True)
    place = world.flash / "poe_error_rx_checksum.txt"
    if obstacle == "folder":
        place.mkdir()
    elif obstacle == "pipe":
        os.mkfifo(place)
    else:
        place.symlink_to("/flash/missing/file")
    world.vswitch("fault", DAMAGED, "--times", 10)
    world.start_daemon()
    assert len(about_the_link(world)) == 10 and counters(world)["rx_chksum_error"] == 10
    assert os.listdir(world.flash) == [place.name]
