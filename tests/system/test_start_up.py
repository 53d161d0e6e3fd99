"""The daemon's start as its supervisor and its neighbours see it: budget, status file, sockets, order, fatal ends."""
import os
import pathlib
import re
import shlex
import shutil
import socket
import stat
import subprocess

import pytest

from world import IS_EMULATED, PREFIX, is_instrumented, words_that_start

EXTERNAL, RX, TX = (f"poe_driver_ipc_socket_{name}.txt"
                    for name in ("server", "internal_rx_server", "internal_tx_server"))
BINDING = {name: f"[IPC for {who}]: opening datagram socket OR binding name to datagram socket!" for name, who in
           ((EXTERNAL, "external program"), (RX, "internal thread rx"), (TX, "internal thread tx"))}
RUNNING = "poe user space driver running.\n"
NO_CONTROLLER = "poe device driver open(...) fail!"
BUDGET = "poe_external_set_power_budget.txt"
DAEMON = PREFIX / "sbin/poe_drv"
DAEMON_BEHIND_DASHES = ["--", *words_that_start(DAEMON), "/tmp/poe_status"]
MIB = 1 << 20


@pytest.fixture
def prepared(make_world):
    """prepared(...): a switch whose daemon has not been started yet."""
    return lambda **how: make_world(**{"stopped": True, "speed": 2000, **how})


@pytest.fixture(scope="session")
def parent(tmp_path_factory):
    """A parent that starts the daemon in an unusual way: see fixtures/parent.c."""
    program = tmp_path_factory.mktemp("parent") / "parent"
    source = pathlib.Path(__file__).parent / "fixtures/parent.c"
    subprocess.run(["cc", "-static", "-O1", "-Wall", "-Werror", "-o", program, source], check=True)
    return program


def run_until_it_gives_up(world):
    """The daemon's exit status."""
    world.vswitch("start")
    return world.wait_for("the daemon to end", lambda: (lambda now: not now["running"] and now)(world.daemon()))[
        "exit_status"]


def answers(world):
    return world.ask(bytes(8))[:1] == b"\0"


def status_file(world):
    return (world.tmp / "poe_status").read_text()


# --- the power budget -------------------------------------------------------------------------------------------------


def programmed_budget(world):
    """What the daemon said and the controller heard of it, in watts and in tenths of a watt."""
    world.start_daemon()
    said = re.search(r"do poe_set_power_banks\(g_poe_power_budget = (\d+)\)", "\n".join(world.stderr_lines()))
    heard = world.vswitch("frames", "--first", 60, "--key", "04")["frames"][0]["request"]
    return int(said[1]), heard[3] * 256 + heard[4]


@pytest.mark.parametrize("text", ["240", "240\n", " \t\r\n\v\f240", "240 watts", "240.9", "0240"])
def test_the_budget_file_holds_the_budget_in_watts(prepared, text):
    assert programmed_budget(prepared(tmp={BUDGET: text})) == (240, 2400)


@pytest.mark.parametrize("text, watts", [("0", 0), ("1", 1), ("6553", 6553), ("65535", 65535)])
def test_a_budget_is_a_number_from_0_to_65535(prepared, text, watts):
    assert programmed_budget(prepared(tmp={BUDGET: text})) == (watts, watts * 10 % 65536)


@pytest.mark.parametrize("text", ["", "\n", "much", "-5", "+240", "- 240", "65536", "65776", "4294967536", "9" * 40,
                                  b"\x00240", b"\xb2\xb4"])
def test_a_file_without_a_budget_leaves_300_watts(prepared, text):
    assert programmed_budget(prepared(tmp={BUDGET: text})) == (300, 3000)


def test_a_missing_budget_file_leaves_300_watts(prepared):
    assert programmed_budget(prepared()) == (300, 3000)


@pytest.mark.parametrize("make", [os.mkfifo, os.mkdir, lambda path: path.symlink_to("/tmp/nothing")])
def test_something_else_in_the_place_of_the_budget_file_leaves_300_watts(prepared, make):
    world = prepared()
    make(world.tmp / BUDGET)
    assert programmed_budget(world) == (300, 3000)


# --- the status file --------------------------------------------------------------------------------------------------


def test_a_running_daemon_says_so_in_its_status_file(prepared):
    world = prepared(tmp={"poe_status": "what an earlier daemon said\nat some length\n"})
    world.start_daemon()
    assert status_file(world) == RUNNING


@pytest.mark.parametrize("arguments", [[], ["/tmp/poe_status", "/tmp/other"], ["/tmp/poe_status", ""]])
def test_without_exactly_one_argument_there_is_no_status_file(prepared, arguments):
    world = prepared(arguments=arguments)
    world.start_daemon()
    (world.dev / "poe_kernel_drv").unlink()
    world.stop_daemon()
    assert run_until_it_gives_up(world) == 1
    assert {file.name for file in world.tmp.iterdir()}.isdisjoint({"poe_status", "other"})


def test_the_status_path_reaches_the_shell_as_it_stands(prepared):
    world = prepared(arguments=["/tmp/two words; echo $((6 * 7)) >/tmp/answer; : '"'`exit 3`'"'"])
    world.start_daemon()
    assert (world.tmp / "two").read_text() == "poe user space driver running. words\n"
    assert (world.tmp / "answer").read_text() == "42\n"


def test_a_fatal_ends_text_reaches_the_shell_the_same_way(prepared):
    world = prepared(arguments=["/tmp/two words"])
    (world.dev / "poe_kernel_drv").unlink()
    assert run_until_it_gives_up(world) == 1
    assert (world.tmp / "two").read_text() == f"{NO_CONTROLLER} words\n"


@pytest.mark.parametrize("length", [900, 1100, 100_000])
def test_a_long_status_path_is_used_whole(prepared, length):
    world = prepared(arguments=["/tmp/poe_status #" + "x" * length])
    world.start_daemon()
    assert status_file(world) == RUNNING and answers(world)


@pytest.mark.parametrize("path", ["", "/nowhere/status", "/tmp", "/tmp/" + "x" * 5000])
def test_a_status_file_that_cannot_be_written_stops_nobody(prepared, path):
    world = prepared(arguments=[path])
    world.start_daemon()
    assert answers(world)


def test_a_status_path_is_no_format(prepared):
    world = prepared(arguments=["/tmp/%s%n%d"])
    world.start_daemon()
    assert (world.tmp / "%s%n%d").read_text() == RUNNING


# --- the sockets ------------------------------------------------------------------------------------------------------


def bound_names(pid):
    """The names of a process's local sockets."""
    descriptors = pathlib.Path(f"/proc/{pid}/fd")
    mine = {match[1] for file in descriptors.iterdir()
            if (match := re.fullmatch(r"socket:\[(\d+)\]", os.readlink(file)))}
    rows = (line.split() for line in pathlib.Path(f"/proc/{pid}/net/unix").read_text().splitlines()[1:])
    return {row[7] for row in rows if row[6] in mine and len(row) > 7}


def test_three_sockets_are_bound_and_stay_open(world):
    assert bound_names(world.daemon()["pid"]) >= {f"/tmp/{name}" for name in (EXTERNAL, RX, TX)}
    for name in (EXTERNAL, RX, TX):
        assert stat.S_IMODE((world.tmp / name).stat().st_mode) == 0o660, name


@pytest.mark.parametrize("name", [RX, TX])
def test_an_internal_socket_carries_no_traffic(world, name):
    client = world.client()
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
        sender.bind(str(world.tmp / "sender"))
        sender.sendto(bytes(8), str(world.tmp / name))
        client.send(bytes(8))
        assert client.receive()[:1] == b"\0"  # and that one was sent later
        sender.setblocking(False)
        with pytest.raises(BlockingIOError):
            sender.recv(4096)


def test_a_child_of_the_daemon_inherits_standard_streams_only(world):
    pid = world.daemon()["pid"]
    for file in pathlib.Path(f"/proc/{pid}/fdinfo").iterdir():
        flags = int(re.search(r"flags:\s*(\d+)", file.read_text())[1], 8)
        assert int(file.name) <= 2 or flags & os.O_CLOEXEC, os.readlink(f"/proc/{pid}/fd/{file.name}")


@pytest.mark.parametrize("name", [EXTERNAL, RX, TX])
def test_a_name_that_is_taken_is_fatal(prepared, name):
    world = prepared(tmp={name: "not a socket"})
    assert run_until_it_gives_up(world) == 1
    assert world.stderr_lines() == [BINDING[name]]
    assert world.stdout_lines() == ["Turn off all PoE LED"]
    assert status_file(world) == BINDING[name] + "\n"
    assert world.vswitch("frames")["total"] == 0
    assert (world.tmp / name).read_text() == "not a socket"


def test_the_external_socket_is_bound_first_and_the_transmitting_one_last(prepared):
    world = prepared(tmp={RX: "taken", TX: "taken"})
    run_until_it_gives_up(world)
    assert world.stderr_lines() == [BINDING[RX]]
    assert (world.tmp / EXTERNAL).is_socket()
    world = prepared(tmp={TX: "taken"})
    run_until_it_gives_up(world)
    assert (world.tmp / EXTERNAL).is_socket() and (world.tmp / RX).is_socket()


def test_socket_files_of_a_daemon_that_was_killed_are_taken_over(prepared):
    world = prepared()
    world.start_daemon()
    os.kill(world.daemon()["pid"], 9)
    world.wait_for("the daemon to be gone", lambda: not world.daemon()["running"])
    assert all((world.tmp / name).is_socket() for name in (EXTERNAL, RX, TX))
    world.start_daemon()
    assert answers(world) and bound_names(world.daemon()["pid"]) >= {f"/tmp/{name}" for name in (EXTERNAL, RX, TX)}


def test_a_second_daemon_says_so_in_its_own_status_file_and_leaves_the_first_one_alone(world):
    frames = world.vswitch("frames", "--settings", "--all")["frames"]
    second = world.exec("poe_drv", "/tmp/second", attach=True)
    assert (second.returncode, second.stdout, second.stderr) == (1, "Turn off all PoE LED\n", BINDING[EXTERNAL] + "\n")
    assert (world.tmp / "second").read_text() == BINDING[EXTERNAL] + "\n"
    assert status_file(world) == RUNNING and answers(world)
    assert world.vswitch("frames", "--settings", "--all")["frames"] == frames


# --- order ------------------------------------------------------------------------------------------------------------


def test_leds_go_off_before_the_controller_is_asked_anything(prepared):
    world = prepared()
    world.start_daemon()
    notes = world.vswitch("frames", "--first", 1, "--notes")["notes"]
    assert [(note["text"], note["before_frame"]) for note in notes[:2]] == [
        ("daemon started", 1), ("cpld write register 10 value 0 mask 15", 1)]
    assert world.stdout_lines() == ["Turn off all PoE LED"]


def test_blink_bits_of_the_led_register_are_left_alone(prepared, stand_in):
    world = prepared()
    shutil.copy(stand_in, world.tmp)
    assert world.exec("/tmp/stand_in", "registers", attach=True).stdout.endswith("holds 0xa5\n")
    world.start_daemon()
    assert world.show()["registers"]["10"] == 0xA0


def test_files_appear_in_the_order_of_the_start(prepared):
    world = prepared(speed=50)  # the bring-up pauses for 5 s
    world.start_daemon()
    when = [(world.tmp / name).stat().st_mtime_ns for name in
            (EXTERNAL, RX, TX, "poe_driver_chip_information.txt", "poe_status")]
    assert when == sorted(when) and when[2] + 5_000_000_000 // 50 < when[3]


def test_a_request_made_during_the_bring_up_is_answered_after_it(prepared):
    world = prepared(speed=100)
    world.vswitch("start")
    world.wait_for("the bring-up", lambda: world.vswitch("frames")["total"] > 0)
    assert answers(world) and status_file(world) == RUNNING


def test_three_threads_run(world):
    assert world.daemon_threads() == 3


# --- what is missing or fails -----------------------------------------------------------------------------------------


def test_a_missing_cpld_is_said_once_and_stops_nobody(prepared):
    world = prepared()
    world.start_daemon()  # programs the controller, which sets register 9 too
    world.stop_daemon()
    (world.dev / "cpld_rtl819x").unlink()
    before = len(world.stderr_lines())
    world.start_daemon()
    lines = world.stderr_lines()[before:]
    assert lines[0] == "poe_drv open /dev/ cpld_rtl819x FAIL!!"
    assert [line for line in lines if "cpld" in line] == lines[:1]
    assert status_file(world) == RUNNING and answers(world)


def test_a_cpld_that_refuses_the_write_is_said_with_the_requests_number(prepared):
    world = prepared()
    world.vswitch("fault", "cpld", "--times", 1)
    world.start_daemon()
    assert world.stderr_lines()[0] == "poe_drv registerID(0x8003d203) failed"
    assert "registerID" not in "".join(world.stderr_lines()[1:]) and status_file(world) == RUNNING


def test_a_missing_controller_is_fatal(prepared):
    world = prepared()
    (world.dev / "poe_kernel_drv").unlink()
    assert run_until_it_gives_up(world) == 1
    assert world.stderr_lines() == [NO_CONTROLLER] and status_file(world) == NO_CONTROLLER + "\n"
    assert (world.tmp / TX).is_socket() and not (world.tmp / "poe_driver_chip_information.txt").exists()


# A sanitizer or an emulator needs more address space than can be limited.
@pytest.mark.only_if(not is_instrumented() and not IS_EMULATED)
@pytest.mark.parametrize("stack, who", [(2048, "poe_thread_tick_init_and_start"), (768, "poe_thread_init_and_start")])
def test_a_thread_that_cannot_be_created_is_fatal(prepared, parent, stack, who):
    world = prepared(program=parent, arguments=["stack", stack * MIB, "memory", 1024 * MIB, "--", DAEMON,
                                                "/tmp/poe_status"])
    assert run_until_it_gives_up(world) == 1
    assert world.stderr_lines()[-1] == f"{who}(...) fail!: Resource temporarily unavailable"
    assert status_file(world) == f"{who}(...) fail!\n"
    assert world.frames()[-1]["key"] == 0x40  # the last question of the bring-up


# --- unusual parents --------------------------------------------------------------------------------------------------


def test_closed_standard_streams_are_opened_on_nothing(prepared, parent):
    world = prepared(program=parent, arguments=["close", 0, "close", 1, "close", 2, *DAEMON_BEHIND_DASHES])
    world.start_daemon()
    pid = world.daemon()["pid"]
    assert [os.readlink(f"/proc/{pid}/fd/{standard}") for standard in range(3)] == ["/dev/null"] * 3
    assert status_file(world) == RUNNING and answers(world)


def test_only_the_stream_that_is_closed_is_opened(prepared, parent):
    world = prepared(program=parent, arguments=["close", 1, *DAEMON_BEHIND_DASHES])
    world.start_daemon()
    assert os.readlink(f"/proc/{world.daemon()['pid']}/fd/1") == "/dev/null"
    assert world.stderr_lines()[-1].endswith("poe_mcu_must_do_init_then_save = 1")


@pytest.mark.parametrize("streams", [[1], [2], [1, 2]])
def test_a_broken_pipe_on_its_streams_never_ends_the_daemon(prepared, parent, streams):
    words = [word for stream in streams for word in ("unread", stream)]
    world = prepared(program=parent, arguments=[*words, *DAEMON_BEHIND_DASHES])
    world.start_daemon()
    # A refused request makes the main thread write a line of its own.
    assert world.ask(bytes([129]) + bytes(7) + bytes([4]) + bytes(11))[7] == 1
    assert status_file(world) == RUNNING and answers(world)


def test_full_standard_streams_never_end_the_daemon(prepared):
    world = prepared()
    words = shlex.join(map(str, DAEMON_BEHIND_DASHES[1:]))
    done = world.exec("sh", "-c", f"exec {words} >/dev/full 2>&1", attach=False)
    assert done.returncode == 1 and status_file(world) == NO_CONTROLLER + "\n"  # there is none without the switch
