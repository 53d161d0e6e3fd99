"""The daemon killed at every system call of each file that it writes, and those calls failing: the error marks, the
statistics, and the two lines that a shell writes for it."""
import functools
import os
import re

from cells import Cell
from judgement import STATISTICS_FILE, VERSION_FILE, files_are_whole, is_whole, works
from messages import acknowledgement, get_port_statistics, request
from start_up import start_again
from tracing import RUNNING, Pool, TracedWorld, points_in

FLASH = ("/flash/", "/flash")
STRUCK = re.compile(r"killed by SIGKILL|stopped by SIGSTOP|INJECTED")

SHORT_MARKS, SHORT_STATISTICS, SHORT_SHELLS = 20, 16, 12


def stopped_world():
    """On a controller that is programmed: programming it has a file of its own."""
    world = TracedWorld().start()
    world.start_daemon()
    world.stop_daemon()
    return world


def empty_flash(world):
    for name in os.listdir(world.flash):
        (world.flash / name).unlink()


def read(path):
    return path.read_text() if path.exists() else None


def clean_start(world):
    world.leave_alone()
    world.forget_the_last_start()
    world.vswitch("fault", "clear")


# --- error marks ------------------------------------------------------------------------------------------------------

MARK_OF = {"no-answer": "poe_error_rx_timeout.txt", "checksum": "poe_error_rx_checksum.txt",
           "key-b": "poe_error_tx_checksum.txt"}
ENOUGH_FOR_10 = 120  # a command is tried ten times
MARKS = ("", "1\n", "1\n10\n", "1\n10\n100\n")
EARLIER_RUN = "1\n"


def no_fault_is_left(world):
    return not world.vswitch("show", "faults")["faults"]["faults"]


def fail(world, fault):
    world.vswitch("fault", fault, "--times", ENOUGH_FOR_10)


def marks_paths(fault):
    return f"/flash/{MARK_OF[fault]}", *FLASH


def drive_marks(world, fault, when, old):
    """Until the controller has failed often enough for two marks, or the daemon is gone."""
    empty_flash(world)
    if old is not None:
        (world.flash / MARK_OF[fault]).write_text(old)
    if when == "start-up":
        fail(world, fault)
    world.launch()
    if when == "supervision":
        world.wait_for("the daemon to run", lambda: world.runs() or world.has_ended())
        fail(world, fault)
    world.wait_for("the faults to strike", lambda: world.has_ended() or (world.runs() and no_fault_is_left(world)))


def record_marks(world, fault, when):
    clean_start(world)
    world.record(*marks_paths(fault))
    drive_marks(world, fault, when, None)
    works(world)
    world.stop_daemon()
    points = points_in(world.log())
    assert read(world.flash / MARK_OF[fault]) in MARKS[2:], read(world.flash / MARK_OF[fault])
    assert len(points) >= 2 * 7, points  # open, write, sync, close; the folder's open, sync, close
    return points


def killed_while_marking(pool, fault, when, old, point):
    with pool.world() as world:
        clean_start(world)
        world.strike(point, "signal=KILL", *marks_paths(fault))
        drive_marks(world, fault, when, old)
        world.wait_until_it_is_killed()
        files_are_whole(world)
        left = read(world.flash / MARK_OF[fault])
        allowed = [old] + [(old or "") + text for text in MARKS]
        assert left in allowed, left
        clean_start(world)
        start_again(world)
        assert read(world.flash / MARK_OF[fault]) == left
        world.stop_daemon()
    return 1


def failing_while_marking(pool, fault, when, old, point, error):
    with pool.world() as world:
        clean_start(world)
        world.strike(point, f"error={error}", *marks_paths(fault))
        drive_marks(world, fault, when, old)
        assert any("INJECTED" in line for line in world.log()), "the call did not fail"
        works(world)
        files_are_whole(world)
        world.stop_daemon()
        clean_start(world)
    return 1


def plan_marks(plan):
    pool = Pool(stopped_world)
    plan.afterwards.append(pool.close)
    everything = []
    with pool.world() as world:
        for fault in MARK_OF:
            for when in ("supervision", "start-up"):
                points = record_marks(world, fault, when)
                old_too = [(fault, when, old, point) for old in (None, EARLIER_RUN) for point in points]
                everything += [(killed_while_marking, *one) for one in old_too]
                everything += [(failing_while_marking, fault, when, EARLIER_RUN, point, error) for point in points
                               for error in ("ENOSPC", "EIO")]
    chosen = plan.choose("marks", everything, SHORT_MARKS)
    print(f"error marks: {len(chosen)} of {len(everything)}", flush=True)
    return [Cell(f"{do.__name__.split('_')[0]}, {fault} in {when}, {'over an old file' if old else 'no file'}, "
                 f"{' '.join(map(str, rest))}", functools.partial(do, pool, fault, when, old, *rest))
            for do, fault, when, old, *rest in chosen]


# --- the statistics file ----------------------------------------------------------------------------------------------

TOTALS = "0, 10, 3600000\n1, 20, 7200000\n2, 30, 10800000\n3, 40, 14400001\n"
OLD = "0, 1000, 1000\n1, 2000, 2000\n2, 3000, 3000\n3, 4000, 4000000000000\n"
SECONDS = {TOTALS: [10, 20, 30, 40], OLD: [1000, 2000, 3000, 4000], None: [0] * 4}
STATISTICS_PATHS = (f"/flash/{STATISTICS_FILE}", f"/flash/{STATISTICS_FILE}.new", *FLASH)
ON = request(144, [1])
SAVES = {"switching on over an old file": (ON, OLD), "switching on where there was none": (ON, None),
         "clearing over an old file": (request(83, [0]), OLD)}


def put(world, text):
    empty_flash(world)
    if text is not None:
        (world.flash / STATISTICS_FILE).write_text(text)


def is_served(world, one):
    """Whether the request was acknowledged; not when the daemon ended on it."""
    client = world.client()
    client.send(one)
    world.wait_for("a reply or the end", lambda: world.has_ended() or not client.hears_nothing(0.002))
    return not world.has_ended()


def drive_statistics(world, saving):
    """Totals are restored, and then saved into what stands there. Returns how many of both were done."""
    one, old = SAVES[saving]
    put(world, TOTALS)
    world.launch()
    world.wait_for("the daemon to run", lambda: world.runs() or world.has_ended())
    if world.has_ended() or not is_served(world, ON):
        return 0
    put(world, old)
    return 1 + is_served(world, one)


def record_statistics(world, saving):
    clean_start(world)
    world.record(*STATISTICS_PATHS)
    assert drive_statistics(world, saving) == 2
    works(world)
    world.stop_daemon()
    points = points_in(world.log())
    assert read(world.flash / STATISTICS_FILE) == TOTALS and len(points) >= 3 + 7, points
    return points


def seconds_of(world):
    return [int.from_bytes(world.ask(get_port_statistics(port))[12:16], "little") for port in range(4)]


def killed_while_saving(pool, saving, point):
    with pool.world() as world:
        clean_start(world)
        world.strike(point, "signal=KILL", *STATISTICS_PATHS)
        done = drive_statistics(world, saving)
        world.wait_until_it_is_killed()
        files_are_whole(world, drafts=(f"{STATISTICS_FILE}.new",))
        left = read(world.flash / STATISTICS_FILE)
        assert left in ((TOTALS,) if done == 0 else (SAVES[saving][1], TOTALS)), left
        clean_start(world)
        world.start_daemon()
        for _ in range(2):  # restores, and saves
            assert world.ask(ON) == acknowledgement(144)
        assert seconds_of(world) == SECONDS[left], seconds_of(world)
        assert os.listdir(world.flash) == [STATISTICS_FILE], os.listdir(world.flash)
        works(world)
        files_are_whole(world)
        world.stop_daemon()
    return 1


def plan_statistics(plan):
    pool = Pool(stopped_world)
    plan.afterwards.append(pool.close)
    with pool.world() as world:
        everything = [(saving, point) for saving in SAVES for point in record_statistics(world, saving)]
    chosen = plan.choose("statistics", everything, SHORT_STATISTICS)
    print(f"statistics file: {len(chosen)} of {len(everything)}", flush=True)
    return [Cell(f"{saving}, killed at {point}", functools.partial(killed_while_saving, pool, saving, point))
            for saving, point in chosen]


# --- what a shell writes ----------------------------------------------------------------------------------------------

SHELL_FILES = ("poe_status", VERSION_FILE)
BLOWS = ("signal=KILL", "signal=STOP", "error=ENOSPC")


def record_shell(world, name):
    clean_start(world)
    world.record(f"/tmp/{name}")
    world.launch()
    world.wait_until_it_runs()
    works(world)
    world.stop_daemon()
    return points_in(world.log())


def strike_shell(pool, name, point, blow):
    """The shell alone is killed, or its call fails, and the daemon goes on; or all of it is killed while the shell stands
    still at that call; or the point is the daemon's own."""
    with pool.world() as world:
        clean_start(world)
        (world.tmp / name).write_text({"poe_status": f"{RUNNING}\n", VERSION_FILE: "SW_VERSION:fff\n"}[name])
        world.strike(point, blow, f"/tmp/{name}")
        world.launch()
        world.wait_for("the blow", lambda: any(STRUCK.search(line) for line in world.log()))
        if blow == "signal=STOP":
            os.killpg(world.daemon()["pid"], 9)
            world.wait_until_it_is_killed()
        else:
            world.wait_for("an answer", world.ends_or_answers)
        if not world.has_ended():
            works(world)
            world.stop_daemon()
        assert is_whole(name, (world.tmp / name).read_bytes())
        files_are_whole(world)
        clean_start(world)
        start_again(world)
        world.stop_daemon()
    return 1


def plan_shells(plan):
    pool = Pool(stopped_world)
    plan.afterwards.append(pool.close)
    with pool.world() as world:
        everything = [(name, point, blow) for name in SHELL_FILES for point in record_shell(world, name)
                      for blow in BLOWS]
    chosen = plan.choose("shells", everything, SHORT_SHELLS)
    print(f"status and version file: {len(chosen)} of {len(everything)}", flush=True)
    return [Cell(f"{name}: {point}, {blow}", functools.partial(strike_shell, pool, name, point, blow))
            for name, point, blow in chosen]
