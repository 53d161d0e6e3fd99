"""The virtual switch around a program: its world, its devices, its time, its command."""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile

import pytest

from world import PATIENCE_S, PREFIX, Refused


@pytest.fixture
def serving(make_world, stand_in):
    """A switch on which the stand-in makes one transaction after the other."""
    world = make_world(program=stand_in, arguments=["serve"], ready="started")
    world.wait_for("the stand-in to serve", lambda: world.stdout_lines())
    return world


def run_to_its_end(make_world, stand_in, *words, **how):
    world = make_world(program=stand_in, arguments=words, ready="started", stays=False, **how)
    world.wait_for_exit()
    return world


# --- the world --------------------------------------------------------------------------------------------------------


def test_the_daemon_sees_private_tmp_flash_and_device_folders(make_world, stand_in):
    world = make_world(program=stand_in, arguments=["serve"], ready="started", flash={"kept": "from before\n"})
    inside = world.exec("sh", "-c", "cat /flash/kept; touch /tmp/in_tmp /flash/in_flash; ls /dev")
    assert inside.stdout.startswith("from before\n"), inside
    assert (world.tmp / "in_tmp").exists() and (world.flash / "in_flash").exists()
    assert not pathlib.Path("/tmp/in_tmp").exists() and not pathlib.Path("/flash/in_flash").exists()
    assert set(inside.stdout.split()) >= {"null", "zero", "full", "random", "urandom", "tty", "kmsg"}


def test_the_private_devices_of_the_machine_work(serving):
    done = serving.exec("sh", "-c", "echo lost >/dev/null && head -c 3 /dev/zero | od -An -tx1 && ls -A /dev/null")
    assert done.stdout.split() == ["00", "00", "00", "/dev/null"]


def test_the_host_keeps_its_root_folder_and_mounts(make_world, stand_in):
    before = sorted(os.listdir("/")), pathlib.Path("/proc/self/mounts").read_text()
    world = make_world(program=stand_in, arguments=["serve"], ready="started")
    world.exec("touch", "/flash/mark")
    assert (sorted(os.listdir("/")), pathlib.Path("/proc/self/mounts").read_text()) == before


@pytest.fixture
def short_folder():
    """For what holds local sockets."""
    with tempfile.TemporaryDirectory(dir="/var/tmp") as folder:
        yield pathlib.Path(folder)


def test_a_fresh_world_goes_with_its_switch(stand_in, short_folder):
    done = subprocess.run([PREFIX / "bin/vswitch", "run", "--ready", "started", "--", stand_in, "end", "0"],
                          capture_output=True, text=True, timeout=PATIENCE_S, check=False,
                          env={**os.environ, "XDG_RUNTIME_DIR": str(short_folder)})
    folder = pathlib.Path(re.search("virtual switch ready: control (.*)/control, world (.*)\n", done.stdout)[2])
    assert done.returncode == 0 and folder.is_relative_to(short_folder) and not folder.exists()
    assert os.listdir(short_folder / "vswitch") == []


def test_the_kernel_log_can_be_read_back(make_world, stand_in):
    world = run_to_its_end(make_world, stand_in, "environment")
    assert (world.dev / "kmsg").read_text() == "[shell child]\n"


def test_a_program_under_a_hidden_folder_stays_reachable(make_world, stand_in):
    with tempfile.TemporaryDirectory(dir="/tmp") as folder:
        program = shutil.copy(stand_in, pathlib.Path(folder) / "a program")
        world = run_to_its_end(make_world, program, "end", "9")
        assert world.process.returncode == 9


def test_a_folder_that_is_kept_is_the_same_inside(make_world, stand_in, tmp_path):
    kept = tmp_path / "kept"
    kept.mkdir()
    world = make_world(program=stand_in, arguments=["serve"], ready="started", options=["--keep", kept])
    world.exec("sh", "-c", f"echo report > {kept}/report")
    assert (kept / "report").read_text() == "report\n"


# An ordinary user runs every test of this file in a user namespace anyway.
@pytest.mark.only_if(os.geteuid() == 0)
def test_an_ordinary_user_gets_a_world_through_a_user_namespace(make_world, stand_in):
    outer = make_world(program=stand_in, arguments=["serve"], ready="started")
    # Copied to where anybody may go: the tree and the program may lie below a private home.
    script = (f"mkdir -m 777 /tmp/nobody && cp -r {PREFIX}/bin {PREFIX}/lib /tmp/nobody && "
              f"cp {stand_in} /tmp/nobody/program && chmod -R a+rX /tmp/nobody && "
              "exec setpriv --reuid 65534 --regid 65534 --clear-groups /tmp/nobody/bin/vswitch "
              "--control /tmp/nobody/world/control run --world /tmp/nobody/world --ready started -- "
              "/tmp/nobody/program environment end 6")
    done = outer.exec("sh", "-c", script)
    assert done.returncode == 6, done
    assert "no world of its own" not in done.stderr
    assert (outer.tmp / "nobody/world/dev/kmsg").read_text() == "[shell child]\n"


def test_without_namespaces_it_says_so_and_uses_the_plain_file_system(make_world, stand_in):
    # Within a world, whose /tmp and /flash take the place of a machine's own.
    outer = make_world(program=stand_in, arguments=["serve"], ready="started")
    folder = outer.tmp / "plain"
    done = outer.exec(PREFIX / "bin/vswitch", "--control", "/tmp/plain/control", "run", "--world", "/tmp/plain",
                      "--plain-files", "--ready", "started", "--", stand_in, "opens", "links", "end", "5")
    assert done.returncode == 5, done
    assert "no world of its own" in done.stderr and "own /tmp and /flash" in done.stderr
    assert "open: answers" in done.stdout and "other files: open" in done.stdout
    assert (outer.flash / "made").exists() and not (folder / "flash/made").exists()


# --- devices ----------------------------------------------------------------------------------------------------------


def test_every_way_of_opening_a_device_reaches_the_switch(make_world, stand_in):
    world = run_to_its_end(make_world, stand_in, "opens")
    assert world.stdout_lines() == [
        "open: answers", "open64: answers", "openat: answers", "openat64: answers", "__open_2: answers",
        "__open64_2: answers", "close-on-exec: yes", "unknown request: refused", "other files: open",
        "other devices: missing"]
    assert (world.flash / "made").stat().st_mode & 0o777 == 0o640


def test_a_missing_device_fails_to_open(make_world, stand_in):
    world = make_world(program=stand_in, arguments=["serve"], ready="started", stopped=True, stays=False)
    (world.dev / "poe_kernel_drv").unlink()
    world.vswitch("start")
    assert world.wait_for_exit() == 3
    assert world.stdout_lines() == ["open: No such file or directory"]


def test_masked_register_writes_read_back(make_world, stand_in):
    world = run_to_its_end(make_world, stand_in, "registers")
    assert world.stdout_lines() == ["cpld: write 0, read 0, register 10 holds 0xa5"]


def test_links_are_what_the_switch_was_told(make_world, stand_in):
    world = make_world(program=stand_in, arguments=["links", "serve"], ready="started", stopped=True)
    world.vswitch("link", "1", "up")
    world.vswitch("link", "2", "down")
    world.vswitch("link", "3", "up")
    world.vswitch("link", "4", "down")
    world.vswitch("start")
    world.wait_for("the links", lambda: world.stdout_lines())
    assert world.stdout_lines()[0] == "link monitor: 0, up 1 0 1 0"


def test_a_lost_switch_is_an_input_output_error(serving):
    pid = serving.daemon()["pid"]
    out = serving.folder / "stdout"
    # A second program, which does not end with the switch.
    second = subprocess.Popen([PREFIX / "bin/vswitch", "--control", serving.control, "exec", "--attach", "--",
                               serving._command[0], "serve"], stdout=subprocess.PIPE, text=True)
    assert second.stdout.readline().startswith("serving")
    serving.process.kill()
    assert second.wait(PATIENCE_S) == 4
    assert second.stdout.read() == "transaction: Input/output error\n"
    serving.wait_for("the daemon to end with its switch", lambda: not pathlib.Path(f"/proc/{pid}").exists())
    assert "transaction" not in out.read_text() or "Input/output error" in out.read_text()


def test_shell_children_run_plain(make_world, stand_in):
    world = run_to_its_end(make_world, stand_in, "environment")
    assert not [line for line in world.stdout_lines() if line.startswith(("LD_PRELOAD=", "VSWITCH_"))]


def test_traps_are_taken_out_of_the_pipe(serving):
    serving.exec("sh", "-c", r"printf '\253\061\022\203\007\001\000\000\000\000\005\000\000\000\000\000\000\000\000\000\000'"
                             " >/tmp/snmp_proc_pipe")
    assert len(serving.traps()) == 1


# --- time -------------------------------------------------------------------------------------------------------------


def test_every_sleep_is_divided_by_the_speed(make_world, stand_in):
    world = run_to_its_end(make_world, stand_in, "sleeps", speed=20)
    measured = dict(line.removesuffix(" ms").split(": ") for line in world.stdout_lines())
    assert list(measured) == ["usleep", "nanosleep", "clock_nanosleep", "clock_nanosleep until", "sleep"]
    for how, milliseconds in measured.items():
        assert 49 <= float(milliseconds) < 500, how


def test_the_controller_takes_its_latency_to_answer(make_world, stand_in):
    slow = make_world(program=stand_in, arguments=["opens"], ready="started", latency=100_000, stays=False,
                      stopped=True)
    started = os.times().elapsed
    slow.vswitch("start")
    slow.wait_for_exit()
    assert os.times().elapsed - started > 6 * 0.1


def test_the_latency_can_change_while_the_daemon_runs(serving):
    serving.vswitch("latency", "20000")
    assert serving.vswitch("world")["latency_us"] == 20000
    before = serving.vswitch("frames")["total"]
    started = os.times().elapsed
    serving.wait_for("ten transactions", lambda: serving.vswitch("frames")["total"] >= before + 10)
    assert os.times().elapsed - started > 0.15
    with pytest.raises(Refused, match="microseconds"):
        serving.vswitch("latency", "soon")


def test_the_controller_lives_through_the_daemons_pauses(make_world, stand_in):
    world = make_world(program=stand_in, arguments=["opens", "sleeps", "opens", "serve"], ready="started", speed=1000)
    world.wait_for("the stand-in to serve", lambda: "serving" in "".join(world.stdout_lines()))
    times = [frame["at_us"] for frame in world.frames()]
    assert 4_999_999 <= times[6] - times[5] < 5_100_000


# --- the daemon as a process ------------------------------------------------------------------------------------------


@pytest.mark.parametrize("words, status", [(["end", "0"], 0), (["end", "3"], 3), (["die"], 128 + signal.SIGABRT)])
def test_run_ends_with_the_daemons_own_exit_status(make_world, stand_in, words, status):
    world = run_to_its_end(make_world, stand_in, *words)
    assert world.process.returncode == status


def test_a_switch_that_stays_tells_how_the_daemon_ended(make_world, stand_in):
    world = make_world(program=stand_in, arguments=["end", "3"], ready="started")
    ended = world.wait_for("the end", lambda: (lambda now: not now["running"] and now)(world.daemon()))
    assert (ended["exit_status"], ended["signal"], ended["pid"]) == (3, None, None)


def test_restart_gives_the_daemon_a_new_process_in_the_same_world(serving):
    first = serving.daemon()["pid"]
    (serving.tmp / "mark").touch()
    serving.vswitch("restart")
    now = serving.daemon()
    assert now["running"] and now["pid"] != first and now["starts"] == 2
    assert serving.exec("ls", "/tmp/mark").returncode == 0
    assert not pathlib.Path(f"/proc/{first}").exists()


def test_stop_and_start(serving):
    assert serving.vswitch("stop")["running"] is False
    with pytest.raises(Refused, match="does not run"):
        serving.vswitch("wait")
    assert serving.vswitch("start")["running"] is True
    with pytest.raises(Refused, match="already runs"):
        serving.vswitch("start")


def test_a_stopped_switch_waits_for_start(make_world, stand_in):
    world = make_world(program=stand_in, arguments=["serve"], ready="started", stopped=True)
    assert world.daemon()["starts"] == 0 and world.stdout_lines() == []
    world.vswitch("start")
    world.wait_for("the stand-in to serve", lambda: world.stdout_lines())


def test_quit_ends_the_daemon_and_the_switch(serving):
    pid = serving.daemon()["pid"]
    assert serving.run_vswitch("quit").returncode == 0
    assert serving.wait_for_exit() == 0
    assert not pathlib.Path(f"/proc/{pid}").exists() and not serving.control.exists()


def test_a_signal_ends_the_daemon_and_the_switch(serving):
    pid = serving.daemon()["pid"]
    serving.process.send_signal(signal.SIGINT)
    assert serving.wait_for_exit() == 128 + signal.SIGINT
    assert not pathlib.Path(f"/proc/{pid}").exists()


def test_the_daemons_output_passes_through(make_world, stand_in):
    world = run_to_its_end(make_world, stand_in, "complain", "registers")
    assert world.stderr_lines() == ["a line of its own"] and len(world.stdout_lines()) == 1


def test_the_daemons_output_goes_into_its_log(make_world, stand_in, tmp_path):
    log = tmp_path / "log"
    log.write_text("from before\n")
    world = run_to_its_end(make_world, stand_in, "complain", "registers", options=["--daemon-log", log])
    assert log.read_text().splitlines()[:2] == ["from before", "a line of its own"]
    assert len(log.read_text().splitlines()) == 3 and world.stdout_lines() == world.stderr_lines() == []


def test_a_second_program_shares_the_switch(serving, stand_in):
    done = serving.exec(stand_in, "opens", attach=True)
    assert done.stdout.startswith("open: answers\n")
    assert serving.exec(stand_in, "serve").stdout == "open: No such device or address\n"
    assert serving.daemon()["running"]


# --- the daemon itself ------------------------------------------------------------------------------------------------


def test_a_world_is_ready_when_the_daemon_answers(world):
    assert len(world.ask(bytes(1))) == 16
    assert world.wait_for("the status line", world.status_line) == "poe user space driver running."
    assert world.daemon()["ready"]


def test_a_second_daemon_gives_up_and_leaves_the_first_one_working(world):
    second = world.exec("poe_drv", attach=True)
    assert second.returncode == 1
    assert "[IPC for external program]: opening datagram socket OR binding name" in second.stderr
    assert len(world.ask(bytes(1))) == 16 and world.daemon()["starts"] == 1


def test_a_restarted_daemon_finds_a_controller_that_it_programmed(world):
    assert "poe_mcu_must_do_init_then_save = 1" in "\n".join(world.stderr_lines())
    first = len(world.stderr_lines())
    world.restart_daemon()
    assert "poe_mcu_must_do_init_then_save = 0" in "\n".join(world.stderr_lines()[first:])


# --- the command ------------------------------------------------------------------------------------------------------


def test_the_only_switch_that_runs_needs_no_name(serving):
    done = subprocess.run([PREFIX / "bin/vswitch", "--json", "daemon"], capture_output=True, text=True, check=False,
                          timeout=PATIENCE_S, env=serving._environment)
    assert done.returncode == 0 and '"running": true' in done.stdout, done


@pytest.mark.parametrize("words", [[], ["run", "not-behind-dashes"], ["run", "--speed", "0"], ["run", "--no-such-option"],
                                   ["exec"], ["exec", "ls"]])
def test_bad_usage_ends_with_2(serving, words):
    done = serving.run_vswitch(*words)
    assert done.returncode == 2 and done.stderr, done


def test_no_switch_ends_with_3(tmp_path):
    environment = {**os.environ, "XDG_RUNTIME_DIR": str(tmp_path)}
    for words in (["show"], ["--control", str(tmp_path / "nothing"), "show"], ["exec", "--", "true"]):
        done = subprocess.run([PREFIX / "bin/vswitch", *words], capture_output=True, text=True, check=False,
                              timeout=PATIENCE_S, env=environment)
        assert done.returncode == 3 and "no virtual switch" in done.stderr, done


def test_serving_devices_without_cuse_ends_with_4_and_touches_nothing(serving, tmp_path):
    done = serving.exec(PREFIX / "bin/vswitch", "--control", tmp_path / "control", "serve", "--traps", tmp_path / "traps")
    assert done.returncode == 4 and "CUSE" in done.stderr, done
    assert not list(tmp_path.iterdir())


def test_a_refused_verb_ends_with_1(serving):
    done = serving.run_vswitch("frobnicate")
    assert done.returncode == 1 and done.stderr.startswith("vswitch: "), done


def test_a_program_that_is_not_there_ends_with_127(make_world, tmp_path):
    world = make_world(program="no-such-program", ready="started")
    assert world.wait_for_exit() == 127 and "no-such-program" in world.stderr_lines()[0]


def test_a_world_with_a_running_switch_is_not_taken_over(serving, stand_in):
    done = subprocess.run([PREFIX / "bin/vswitch", "run", "--world", serving.folder, "--", stand_in],
                          capture_output=True, text=True, timeout=PATIENCE_S, check=False)
    assert done.returncode == 1 and "already answers" in done.stderr
    assert serving.exec(stand_in, "opens", attach=True).stdout.startswith("open: answers\n")


def test_a_world_with_too_long_a_path_is_refused(stand_in, tmp_path):
    done = subprocess.run([PREFIX / "bin/vswitch", "run", "--world", tmp_path / ("long" * 20), "--", stand_in],
                          capture_output=True, text=True, timeout=PATIENCE_S, check=False)
    assert done.returncode == 2 and "too long" in done.stderr
