"""The daemon killed at every system call of its start-up, and every system call of its start-up failing, on a controller
that comes from the factory and on one that is programmed and delivers power."""
import functools

from cells import Cell
from judgement import PROGRAMMING_MARK, VERSION_FILE, configuration, files_are_whole, is_powered, works
from supervised import enable
from tracing import Pool, TracedWorld, points_in

SETTINGS_OF_AN_ACCEPTED_START = {0x11}  # the system mask
WAITS_FOR_REQUESTS = "pselect6("
FIRST_CALL_OF_MAIN = "rt_sigaction(SIGPIPE"
SHORT_KILLS, SHORT_FAILURES = 40, 40

FATAL = ("[IPC for external program]: opening datagram socket OR binding name to datagram socket!",
         "[IPC for internal thread rx]: opening datagram socket OR binding name to datagram socket!",
         "[IPC for internal thread tx]: opening datagram socket OR binding name to datagram socket!",
         "poe device driver open(...) fail!", "poe_thread_tick_init_and_start(...) fail!",
         "poe_thread_init_and_start(...) fail!")

# What a call may fail with. A call that is not here cannot fail (the kernel's brk has no error), or is the C library's own
# business.
ERRORS = {
    "fcntl": ("EBADF",), "openat": ("EMFILE", "EACCES"), "read": ("EIO", "EINTR"), "write": ("EIO", "ENOSPC", "EINTR"),
    "socket": ("EMFILE", "ENOBUFS"), "connect": ("ECONNREFUSED", "EINTR"), "sendto": ("EIO", "EINTR"),
    "recvfrom": ("ENOMEM", "EINTR"), "close": ("EIO",), "flock": ("EINTR", "EAGAIN"),
    "bind": ("EADDRINUSE", "EACCES", "ENOSPC"), "setsockopt": ("EPERM",), "newfstatat": ("EACCES",),
    "access": ("EACCES",), "clone3": ("EAGAIN", "ENOMEM"), "wait4": ("ECHILD", "EINTR"), "clock_nanosleep": ("EINTR",),
    "mmap": ("ENOMEM",), "mprotect": ("ENOMEM",), "unlink": ("EACCES",), "rename": ("EROFS",), "fsync": ("EIO",),
    "pselect6": ("EINTR", "ENOMEM"), "getrandom": ("ENOSYS",),
}


def recorded(world):
    """The points of one whole start, without the one that brings the daemon in; the daemon runs on, untraced."""
    world.record()
    world.forget_the_last_start()
    world.launch()
    world.wait_until_it_runs()
    world.wait_for("the request loop", lambda: world.log() and world.log()[-1].startswith(WAITS_FOR_REQUESTS))
    points = [point for point in points_in(world.log()) if point.name != "execve"]
    world.stop_daemon()
    world.leave_alone()
    return points


def start_again(world):
    world.leave_alone()
    world.start_daemon()
    works(world)
    files_are_whole(world)
    assert (world.tmp / VERSION_FILE).read_text().startswith("SW_VERSION:")
    assert not (world.flash / PROGRAMMING_MARK).exists()


def factory_fresh():
    return TracedWorld().start()


def programmed_and_powered():
    world = TracedWorld().start()
    world.start_daemon()
    world.vswitch("plug", 1, "--class", 4, "--load", 10)
    enable(world, 0)
    world.wait_for("power", lambda: is_powered(world))
    world.stop_daemon()
    return world


def reference_configuration():
    """What a start that nobody disturbs leaves in a fresh controller."""
    world = factory_fresh()
    try:
        world.start_daemon()
        return configuration(world)
    finally:
        world.close(check=False)


def killed_on_a_fresh_controller(reference, point):
    world = factory_fresh()
    try:
        world.strike(point, "signal=KILL")
        world.launch()
        world.wait_until_it_is_killed()
        files_are_whole(world)
        start_again(world)
        assert configuration(world) == reference, configuration(world)
    finally:
        world.close(check=False)
    return 1


def settings_since(world, number):
    return [frame["key"] for frame in world.frames("--after", number, "--settings")]


def killed_with_a_powered_port(pool, point):
    with pool.world() as world:
        before, frames = configuration(world), world.vswitch("frames", "--last", 1)["total"]
        world.strike(point, "signal=KILL")
        world.forget_the_last_start()
        world.launch()
        world.wait_until_it_is_killed()
        files_are_whole(world)
        start_again(world)
        assert set(settings_since(world, frames)) == SETTINGS_OF_AN_ACCEPTED_START, settings_since(world, frames)
        assert is_powered(world) and configuration(world) == before
        world.stop_daemon()
    return 1


def half_started(world, point):
    """What is wrong with a daemon that had a failing call behind it, once it serves or has ended."""
    world.wait_for("the request loop or the end", lambda: world.has_ended() or world.runs() or has_a_socket(world))
    ended = world.has_ended()
    if not ended:
        works(world)
        return
    assert ended["exit_status"] == 1, ended
    said = [text for text in FATAL if any(line.startswith(text) for line in world.stderr_lines())]
    shell_failed = point.name in ("clone3", "wait4", "rt_sigaction", "rt_sigprocmask", "mmap", "munmap")
    # The line itself may be what failed.
    assert said or point.name == "write", world.stderr_lines()
    assert world.status_line() in FATAL or shell_failed, world.status_line()


def has_a_socket(world):
    """It serves, with or without a status line: its own shell may be what failed."""
    return any(line.startswith(WAITS_FOR_REQUESTS) for line in world.log()[-2:])


def failing_on_a_fresh_controller(reference, point, error):
    world = factory_fresh()
    try:
        world.strike(point, f"error={error}")
        world.launch()
        half_started(world, point)
        assert any("INJECTED" in line for line in world.log()), "the call did not fail"
        files_are_whole(world)
        if not world.has_ended():
            world.stop_daemon()
        start_again(world)
        assert configuration(world) == reference, configuration(world)
    finally:
        world.close(check=False)
    return 1


# --- plans ------------------------------------------------------------------------------------------------------------


def plan_kills_on_a_fresh_controller(plan):
    world = factory_fresh()
    try:
        points = recorded(world)
    finally:
        world.close(check=False)
    reference = reference_configuration()
    chosen = plan.choose("kills, fresh", points, SHORT_KILLS)
    print(f"start-up on a fresh controller: {len(chosen)} of {len(points)} system calls", flush=True)
    return [Cell(f"killed at {point}", functools.partial(killed_on_a_fresh_controller, reference, point))
            for point in chosen]


def plan_kills_with_a_powered_port(plan):
    pool = Pool(programmed_and_powered)
    with pool.world() as world:
        points = recorded(world)
    chosen = plan.choose("kills, powered", points, SHORT_KILLS)
    print(f"start-up on a programmed controller: {len(chosen)} of {len(points)} system calls", flush=True)
    cells = [Cell(f"killed at {point}", functools.partial(killed_with_a_powered_port, pool, point)) for point in chosen]
    plan.afterwards.append(pool.close)
    return cells


def plan_failures(plan):
    world = factory_fresh()
    try:
        points = recorded(world)
    finally:
        world.close(check=False)
    reference = reference_configuration()
    main = next(at for at, point in enumerate(points) if point.text.startswith(FIRST_CALL_OF_MAIN))
    pairs = [(point, error) for point in points[main:] for error in ERRORS.get(point.name, ())]
    chosen = plan.choose("failures", pairs, SHORT_FAILURES)
    print(f"failures of start-up: {len(chosen)} of {len(pairs)}", flush=True)
    return [Cell(f"{point}: {error}", functools.partial(failing_on_a_fresh_controller, reference, point, error))
            for point, error in chosen]
