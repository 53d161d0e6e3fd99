"""The conversation with the controller at the daemon's start: what is checked, what is programmed, what is published."""
import os
import re
import struct

import pytest

BUDGET = "poe_external_set_power_budget.txt"
VERSION = "poe_driver_chip_information.txt"
VERSION_LINE = "SW_VERSION:101a\n"

ENABLES = [f"48 00 0{port} ff ff ff ff ff ff ff ff 4{port}" for port in range(4)]
METHOD = "4b 00 ff ff ff ff ff ff ff ff ff 42"
MAPPINGS = [f"49 00 0{port} ff ff ff ff ff ff ff ff 4{port + 1}" for port in range(4)]
BANK = ["4b 00 ff ff ff ff ff ff ff ff ff 42", "4a 00 ff ff ff ff ff ff ff ff ff 41"]
CHECKS = [*ENABLES, METHOD, *MAPPINGS, *BANK]
PROGRAMMING = [
    "c0 02 ff ff ff ff ff ff ff ff ff b9",  # clear the stored configuration
    "10 00 02 ff ff ff ff ff ff ff ff 0a",  # dynamic with priority
    "05 00 00 04 ff ff ff ff ff ff ff 02",  # begin the matrix
    "06 00 00 01 00 00 01 ff ff ff ff 04",
    "06 00 01 01 00 02 03 ff ff ff ff 09",
    "06 00 02 01 00 04 05 ff ff ff ff 0e",
    "06 00 03 01 00 06 07 ff ff ff ff 13",
    "05 00 01 04 ff ff ff ff ff ff ff 03",  # make it active
    "02 00 01 ff ff ff ff ff ff ff ff fb",  # reset
    "04 00 00 0b b8 00 00 ff ff ff ff c3",  # eight banks of 300 W
    "04 00 01 0b b8 00 00 ff ff ff ff c4",
    "04 00 02 0b b8 00 00 ff ff ff ff c5",
    "04 00 03 0b b8 00 00 ff ff ff ff c6",
    "04 00 04 0b b8 00 00 ff ff ff ff c7",
    "04 00 05 0b b8 00 00 ff ff ff ff c8",
    "04 00 06 0b b8 00 00 ff ff ff ff c9",
    "04 00 07 0b b8 00 00 ff ff ff ff ca",
    "0e 00 b3 ff 09 ff ff ff ff ff ff c3",  # thresholds
    "01 00 00 00 01 00 02 00 03 00 ff 06",  # every port off, inline mode 2
    "08 00 00 00 01 00 02 00 03 00 ff 0d",
    "0f 00 00 02 01 02 02 02 03 02 ff 1c",
    "0c 00 00 06 01 06 02 06 03 06 ff 29",
    "12 00 00 01 01 01 02 01 03 01 ff 1b",
    "01 00 00 00 01 00 02 00 03 00 ff 06",  # every port off, 90 W, lowest priority
    "14 00 00 e1 01 e1 02 e1 03 e1 ff 9d",
    "15 00 00 00 01 00 02 00 03 00 ff 1a",
    "16 00 06 ff ff ff ff ff ff ff ff 14",  # event code
    "c0 01 ff ff ff ff ff ff ff ff ff b8",  # save
]
LAST_STEPS = [
    "41 00 ff ff ff ff ff ff ff ff ff 38",  # measurements
    "4b 00 ff ff ff ff ff ff ff ff ff 42",
    "44 00 00 ff ff ff ff ff ff ff ff 3c",
    "11 00 01 ff ff ff ff ff ff ff ff 0a",  # system mask
    "40 00 ff ff ff ff ff ff ff ff ff 37",  # software version
]


def said(line, text):
    return f"[poe_chip_init() , {line}]: {text}"


CHECKING_PORTS = said(958, "Check whether the all port power is disabled.")
CHECKING_METHOD = said(976, "Check whether the power management mode is dynamic mode with priority.")
CHECKING_MATRIX = said(988, "Check whether the port mapping configuration is correct.")
CHECKING_BANK = said(1008, "Check whether the total budget configuration is correct.")
ACCEPTED = said(1082, "poe_mcu_must_do_init_then_save = 0")


def programming_lines(budget=300):
    return [said(1025, "Set the default configuration of ORV to MCU and save it."),
            said(1031, "do poe_set_pm_method"),
            said(1039, "do poe_program_global_matrix"),
            said(1044, "do poe_set_temporary_matrix"),
            said(1050, "do poe_program_global_matrix"),
            said(1055, "do _rtl_global_set(do global reset)"),
            said(1061, f"do poe_set_power_banks(g_poe_power_budget = {budget})"),
            said(1067, "do poe_set_enable_disable_channels"),
            said(1069, "do poe_set_port_parameters"),
            said(1075, "eventCode : 6"),
            said(1078, "do poe_save_system_settings"),
            said(1082, "poe_mcu_must_do_init_then_save = 1")]


@pytest.fixture
def prepared(make_world):
    """prepared(...): a factory-fresh controller, whose daemon has not been started yet."""
    return lambda **how: make_world(**{"stopped": True, "speed": 5000, **how})


@pytest.fixture
def programmed(prepared):
    """programmed(...): a controller that an earlier daemon has programmed and saved; no daemon runs."""
    def make(**how):
        world = prepared(**how)
        world.start_daemon()
        world.stop_daemon()
        return world
    return make


def bring_up(world):
    """Starts the daemon; what it said meanwhile, and the first frames of its conversation."""
    world.vswitch("frames", "clear")
    before = len(world.stderr_lines())
    world.start_daemon()
    return world.stderr_lines()[before:], first_frames(world)


def first_frames(world):
    return world.vswitch("frames", "--first", 100)["frames"]


def texts(frames):
    return [bytes(frame["request"]).hex(" ") for frame in frames]


def version_file(world):
    return (world.tmp / VERSION).read_text()


# --- the conversation -------------------------------------------------------------------------------------------------


def test_a_programmed_controller_is_accepted_with_reads_alone(programmed):
    world = programmed()
    lines, frames = bring_up(world)
    assert texts(frames)[:len(CHECKS + LAST_STEPS)] == CHECKS + LAST_STEPS
    assert lines == [CHECKING_PORTS, CHECKING_METHOD, CHECKING_MATRIX, CHECKING_BANK, ACCEPTED]
    assert (world.dev / "kmsg").read_text().count("reset chipset") == 1  # the earlier daemon's


def test_a_factory_fresh_controller_is_programmed_step_by_step_and_told_to_save(prepared):
    world = prepared()
    lines, frames = bring_up(world)
    road = [*ENABLES, METHOD, *PROGRAMMING, *LAST_STEPS]
    assert texts(frames)[:len(road)] == road
    assert lines == [CHECKING_PORTS, CHECKING_METHOD,
                     said(980, "Power management is not dynamic mode with priority (0)"), *programming_lines()]
    assert (world.dev / "kmsg").read_text() == "[poe_dev] reset chipset configuration...\n"
    stored = world.show()["configuration"]["stored"]
    assert stored["method"] == 2 and stored["banks_w"] == [300.0] * 8
    assert [(port["pair_a"], port["pair_b"]) for port in stored["ports"]] == [(0, 1), (2, 3), (4, 5), (6, 7)]


def test_the_slow_commands_wait_longer(prepared):
    _, frames = bring_up(prepared())
    waits = {(frame["key"], frame["wait"]) for frame in frames}
    assert {key for key, wait in waits if wait == 204} == {0x02, 0x05}
    assert {wait for key, wait in waits if key not in (0x02, 0x05)} == {9}


def test_programming_pauses_after_the_matrix_and_the_reset(prepared):
    _, frames = bring_up(prepared())
    frames = frames[:len(ENABLES) + 1 + len(PROGRAMMING)]
    pauses = [(before["key"], before["request"][2], after["at_us"] - before["at_us"] - before["delay_us"])
              for before, after in zip(frames, frames[1:])]
    assert [pause for pause in pauses if pause[2] > 0] == [(5, 0, 2_000_000), (5, 1, 1_000_000), (2, 1, 2_000_000)]


def test_every_port_is_off_in_the_inline_register_too(prepared):
    world = prepared()
    bring_up(world)
    notes = world.vswitch("frames", "--first", 1, "--notes")["notes"]
    writes = [(note["text"], note["before_frame"]) for note in notes if note["text"].startswith("cpld")]
    assert writes[1] == ("cpld write register 9 value 15 mask 15", len(ENABLES) + 1 + 23 + 1)


# --- the checks -------------------------------------------------------------------------------------------------------


def dictated(programmed, *answers):
    """The lines of a start on a controller that is programmed but gives these answers."""
    world = programmed()
    for answer in answers:
        world.vswitch("answer", *answer.split())
    lines, frames = bring_up(world)
    return lines, texts(frames)


@pytest.mark.parametrize("panel, port", [(1, 0), (2, 1), (3, 2), (4, 3)])
def test_an_enabled_port_is_foreign(programmed, panel, port):
    lines, frames = dictated(programmed, f"48 {panel} 0{port} 01 00 02 ff 01 00 ff ff")
    assert lines == [CHECKING_PORTS, said(966, f"Port {port} is not disabled (1)"), *programming_lines()]
    assert frames[:4 + len(PROGRAMMING)] == ENABLES + PROGRAMMING


def test_the_first_enabled_port_is_the_one_that_is_named(programmed):
    lines, _ = dictated(programmed, "48 4 03 01 00 02 ff 01 00 ff ff", "48 3 02 01 00 02 ff 01 00 ff ff")
    assert lines[1] == said(966, "Port 2 is not disabled (1)") and "Port 3" not in "".join(lines)


@pytest.mark.parametrize("method", [0, 1, 3, 254, 255])
def test_another_method_is_foreign(programmed, method):
    lines, frames = dictated(programmed, f"4b {method:02x} 0b b8 00 00 00 00 00 00")
    assert lines == [CHECKING_PORTS, CHECKING_METHOD,
                     said(980, f"Power management is not dynamic mode with priority ({method})"), *programming_lines()]
    assert frames[:5 + len(PROGRAMMING)] == [*ENABLES, METHOD, *PROGRAMMING]


@pytest.mark.parametrize("panel, pair_a, pair_b", [(1, 1, 0), (1, 0, 2), (2, 2, 255), (3, 5, 5), (4, 0, 7), (4, 6, 0)])
def test_another_matrix_is_foreign(programmed, panel, pair_a, pair_b):
    port = panel - 1
    lines, frames = dictated(programmed, f"49 {panel} 0{port} 00 00 e1 00 00 {pair_a:02x} {pair_b:02x} 00")
    assert lines == [CHECKING_PORTS, CHECKING_METHOD, CHECKING_MATRIX,
                     said(995, f"Port {port}'s mapping configuration error!!"),
                     said(996, f"POE_SW2PAIR : pair-a({2 * port}), pair-b({2 * port + 1})"),
                     said(997, f"Device Cfg  : pair-a({pair_a}), pair-b({pair_b})"), *programming_lines()]
    read = [*ENABLES, METHOD, *MAPPINGS[:panel]]
    assert frames[:len(read) + len(PROGRAMMING)] == read + PROGRAMMING


@pytest.mark.parametrize("bank, thresholds, read", [
    ("0b ae", "b1 ff 00 00 00 09", (299, 575, 444)),
    ("0b c2", "b1 ff 00 00 00 09", (301, 575, 444)),
    ("ff ff", "b1 ff 00 00 00 09", (6553, 575, 444)),
    ("0b b8", "b1 ff 00 00 00 0a", (300, 576, 444)),  # as programmed, and refused all the same
    ("0b b8", "b4 ff 00 00 00 09", (300, 575, 446)),
    ("0b b8", "b4 ff 00 00 00 0a", (300, 576, 446)),
    ("00 00", "00 ff 00 00 00 00", (0, 570, 330))])
def test_another_bank_is_foreign(programmed, bank, thresholds, read):
    lines, frames = dictated(programmed, f"4b 02 {bank} 00 00 00 00 00 00", f"4a {thresholds} ff ff ff")
    assert lines == [CHECKING_PORTS, CHECKING_METHOD, CHECKING_MATRIX, CHECKING_BANK,
                     said(1015, "power bank error ({}, {}, {})".format(*read)), *programming_lines()]
    assert frames[:len(CHECKS) + len(PROGRAMMING)] == CHECKS + PROGRAMMING


def test_a_bank_is_compared_in_whole_watts(programmed):
    lines, _ = dictated(programmed, "4b 02 0b c1 00 00 00 00 00 00", "4a b1 ff 00 00 00 09 ff ff ff")  # 300.9 W
    assert lines[-1] == ACCEPTED


def test_a_controller_that_reads_back_its_thresholds_as_programmed_is_programmed_at_every_start(programmed):
    world = programmed()
    world.vswitch("answer", *"4a b4 ff 00 00 00 0a ff ff ff".split())
    for _ in range(2):
        lines, _ = bring_up(world)
        assert said(1015, "power bank error (300, 576, 446)") in lines and lines[-1] == programming_lines()[-1]
        world.stop_daemon()


def test_a_changed_budget_programs_the_controller_anew(programmed):
    world = programmed()
    (world.tmp / BUDGET).write_text("240\n")
    lines, frames = bring_up(world)
    assert lines == [CHECKING_PORTS, CHECKING_METHOD, CHECKING_MATRIX, CHECKING_BANK,
                     said(1015, "power bank error (300, 575, 444)"), *programming_lines(240)]
    assert [text for text in texts(frames) if text.startswith("04 ")][7] == "04 00 07 09 60 00 00 ff ff ff ff 70"
    world.stop_daemon()
    assert bring_up(world)[0][-1] == ACCEPTED


def test_a_programming_that_was_interrupted_is_done_again_although_every_check_passes(programmed):
    world = programmed()
    mark = world.flash / "poe_controller_programming"
    mark.touch()
    lines, frames = bring_up(world)
    assert lines[:4] == [CHECKING_PORTS, CHECKING_METHOD, CHECKING_MATRIX, CHECKING_BANK]
    assert re.fullmatch(r"\[poe_chip_init\(\) , \d+\]: The last programming was interrupted\.", lines[4])
    assert lines[5:] == programming_lines() and texts(frames)[len(CHECKS)] == "c0 02" + " ff" * 9 + " b9"
    assert not mark.exists()
    world.stop_daemon()
    assert bring_up(world)[0][-1] == ACCEPTED


# --- a controller that does not answer --------------------------------------------------------------------------------


def deaf(programmed, key, times):
    """The lines of a start on a programmed controller that fails the first requests with this key."""
    world = programmed()
    world.vswitch("fault", "no-answer", "--key", key, "--times", times)
    lines, _ = bring_up(world)
    return world, [re.sub(r"_rtl_(\w+)\(\) , \d+", r"_rtl_\1() , LINE", line) for line in lines]


TIMEOUT = "[poe_kernel_drv_send_recv() , 1370]: ERROR!! ERROR!! ERROR!!!"


def gave_up(function):
    return [TIMEOUT, f"[{function}() , LINE]: receive poe mcu message timeout!!!"]


def test_an_unread_enable_counts_as_disabled(programmed):
    _, lines = deaf(programmed, "48", 40)
    assert lines == [CHECKING_PORTS, *gave_up("_rtl_port_basic_cfg_get") * 4, CHECKING_METHOD, CHECKING_MATRIX,
                     CHECKING_BANK, ACCEPTED]


def test_an_unread_method_is_255(programmed):
    _, lines = deaf(programmed, "4b", 10)
    assert lines == [CHECKING_PORTS, CHECKING_METHOD, *gave_up("_rtl_global_pm_cfg_get"),
                     said(980, "Power management is not dynamic mode with priority (255)"), *programming_lines()]


def test_an_unread_mapping_is_0_and_0(programmed):
    _, lines = deaf(programmed, "49", 10)
    assert lines == [CHECKING_PORTS, CHECKING_METHOD, CHECKING_MATRIX, *gave_up("_rtl_port_extended_cfg_get"),
                     said(995, "Port 0's mapping configuration error!!"),
                     said(996, "POE_SW2PAIR : pair-a(0), pair-b(1)"),
                     said(997, "Device Cfg  : pair-a(0), pair-b(0)"), *programming_lines()]


def test_unread_thresholds_are_0(programmed):
    _, lines = deaf(programmed, "4a", 10)
    assert lines == [CHECKING_PORTS, CHECKING_METHOD, CHECKING_MATRIX, CHECKING_BANK,
                     *gave_up("_rtl_global_parameters_get"), said(1015, "power bank error (300, 0, 0)"),
                     *programming_lines()]


@pytest.mark.parametrize("key", ["48", "4b", "49", "4a"])
def test_one_lost_answer_is_asked_for_again_and_changes_nothing(programmed, key):
    _, lines = deaf(programmed, key, 1)
    assert lines == [CHECKING_PORTS, CHECKING_METHOD, CHECKING_MATRIX, CHECKING_BANK, ACCEPTED]


def test_programming_goes_on_past_commands_that_fail(prepared):
    world = prepared(speed=100_000)
    for key in ("c0", "10", "05", "06", "02", "04", "0e", "01", "16"):
        world.vswitch("fault", "ioctl", "--key", key)
    lines, _ = bring_up(world)
    steps = programming_lines()
    assert [line for line in lines if line in steps] == steps
    asked = texts(world.vswitch("frames", "--settings", "--all")["frames"])
    assert [text for text, before in zip(asked, [None, *asked]) if text != before][:len(PROGRAMMING)] == PROGRAMMING
    assert (world.tmp / "poe_status").read_text() == "poe user space driver running.\n"
    assert version_file(world) == VERSION_LINE


def test_a_dead_controller_stops_nobody(prepared):
    world = prepared(speed=100_000)
    world.vswitch("fault", "ioctl")
    lines, _ = bring_up(world)
    assert said(980, "Power management is not dynamic mode with priority (255)") in lines
    assert programming_lines()[-1] in lines
    assert not (world.tmp / VERSION).exists()
    assert world.ask(bytes(8))[:1] == b"\0"


# --- the version file -------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("version, patch, line", [(0x10, 0x1A, "101a"), (0x05, 0x0B, "5b"), (0x00, 0x00, "00"),
                                                  (0xFF, 0xFF, "ffff"), (0xA0, 0x01, "a01")])
def test_the_version_is_published_as_two_hexadecimal_numbers(prepared, version, patch, line):
    world = prepared()
    world.vswitch("answer", *f"40 ff 04 01 00 39 {version:02x} 01 05 {patch:02x}".split())
    world.start_daemon()
    assert version_file(world) == f"SW_VERSION:{line}\n"


def test_the_version_file_is_replaced_at_every_start(prepared):
    world = prepared(tmp={VERSION: "SW_VERSION:0000\nand more\n"})
    world.start_daemon()
    assert version_file(world) == VERSION_LINE


def test_an_unread_version_leaves_the_file_alone(programmed):
    world = programmed()
    (world.tmp / VERSION).write_text("from before\n")
    world.vswitch("fault", "ioctl", "--key", "40")
    lines, _ = bring_up(world)
    assert version_file(world) == "from before\n"
    assert re.fullmatch(r"\[_rtl_global_status_get\(\) , \d+\]: receive poe mcu message timeout!!!", lines[-1])


def test_a_pipe_in_the_version_files_place_holds_nobody_up(prepared):
    world = prepared()
    os.mkfifo(world.tmp / VERSION)
    world.start_daemon()
    assert version_file(world) == VERSION_LINE


def test_a_link_in_the_version_files_place_is_replaced_and_not_followed(prepared):
    world = prepared(flash={"precious": "kept\n"})
    (world.tmp / VERSION).symlink_to("/flash/precious")
    world.start_daemon()
    assert not (world.tmp / VERSION).is_symlink() and version_file(world) == VERSION_LINE
    assert (world.flash / "precious").read_text() == "kept\n"


def test_an_empty_folder_in_the_version_files_place_is_replaced(prepared):
    world = prepared()
    (world.tmp / VERSION).mkdir()
    world.start_daemon()
    assert version_file(world) == VERSION_LINE


# --- the first measurements -------------------------------------------------------------------------------------------


def system_power(world):
    """total, consumed, remaining and the supply figure"""
    return struct.unpack_from("<4I", world.ask(bytes([5]) + bytes(7)), 8)


def test_the_total_is_the_controllers_limit_and_the_supply_figure_port_1s_temperature(programmed):
    world = programmed()
    world.vswitch("answer", *"4b 02 0b c1 00 00 00 00 00 00".split())  # 300.9 W
    world.vswitch("answer", *"44 1 00 00 00 00 00 00 c8 00 00".split())  # 25.0 degrees
    bring_up(world)
    total, _, _, supply = system_power(world)
    assert (total, supply) == (300_900, 25_000)


def test_the_active_banks_limit_counts(programmed):
    world = programmed()
    world.vswitch("answer", *"41 00 00 0b b8 03 03 45 ff ff".split())
    world.vswitch("answer", *"4b/03 02 07 d0 00 00 00 00 00 00".split())
    bring_up(world)
    assert system_power(world)[0] == 200_000


def test_an_unread_limit_leaves_the_budget_in_force(programmed):
    world = programmed(speed=100_000)
    (world.tmp / BUDGET).write_text("240")
    world.vswitch("fault", "ioctl", "--key", "4b")
    bring_up(world)
    assert system_power(world)[0] == 240_000
