"""Two instances, started and ended in every order; both started in the same moment; and a second one started while the
first stands still at one of the calls of its start-up."""
import contextlib
import functools
import itertools
import signal
import subprocess

from cells import Cell
from judgement import answers, works
from start_up import FATAL, FIRST_CALL_OF_MAIN, factory_fresh, recorded
from tracing import RUNNING, SPEED, World
from world import PATIENCE_S, PREFIX

SHORT_ORDERS, SHORT_RACES, SHORT_STANDSTILLS = 6, 4, 12
LONG_RACES = 40
ORDER_LENGTH = 5
ENDINGS = (signal.SIGKILL, signal.SIGTERM)
NAMES = ("A", "B")
REFUSED = FATAL[0]


class Instance:
    """A daemon beside the one that the switch itself would start, with a status file of its own."""

    def __init__(self, world, name):
        self.world, self.status = world, world.tmp / f"status-{name}"
        self.status.unlink(missing_ok=True)
        with open(world.folder / f"stderr-{name}", "wb") as err:
            self.process = subprocess.Popen(
                [PREFIX / "bin/vswitch", "--control", world.control, "exec", "--attach", "--", "poe_drv",
                 f"/tmp/status-{name}"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=err,
                env=world._environment)
        self.errors = world.folder / f"stderr-{name}"

    def says(self):
        return self.status.read_text().strip() if self.status.exists() else ""

    def runs(self):
        return self.process.poll() is None and self.says() == RUNNING

    def is_settled(self):
        return self.runs() or self.process.poll() is not None

    def has_given_up(self):
        assert self.process.wait(PATIENCE_S) == 1, self.process.returncode
        assert self.says() == REFUSED and self.errors.read_text() == f"{REFUSED}\n", self.errors.read_text()
        return True

    def end(self, how):
        self.process.send_signal(how)
        assert self.process.wait(PATIENCE_S) == -how, self.process.returncode


@contextlib.contextmanager
def empty_switch():
    world = World(speed=SPEED, stopped=True, ready="started").start()
    instances = []
    try:
        yield world, instances
    finally:
        for one in instances:
            if one.process.poll() is None:
                one.process.kill()
                one.process.wait()
        world.close(check=False)


# --- every order ------------------------------------------------------------------------------------------------------


def orders(length):
    """Every sequence of starts and ends that begins with A, in which only what does not run is started and only what runs
    ends: (name, starts it?)."""
    def go_on(alive, so_far):
        if len(so_far) == length:
            yield tuple(so_far)
            return
        if alive is not None:
            yield from go_on(None, [*so_far, (alive, False)])
        for name in NAMES:
            if name != alive:
                yield from go_on(alive or name, [*so_far, (name, True)])
    return [order for order in go_on(None, []) if order[0] == ("A", True)]


def in_order(order, how):
    with empty_switch() as (world, started):
        alive = None
        for name, starts in order:
            if not starts:
                alive.end(how)
                alive = None
                continue
            one = Instance(world, name)
            started.append(one)
            if alive is None:
                world.wait_for("it to run", lambda one=one: one.is_settled())
                assert one.runs(), one.errors.read_text()
                alive = one
            else:
                one.has_given_up()
            works(world, alive.process.pid)
    return sum(not starts for _, starts in order)


# --- in the same moment -----------------------------------------------------------------------------------------------


def both_at_once(stale):
    """`stale`: the names of one that was killed are still there."""
    with empty_switch() as (world, started):
        if stale:
            started.append(Instance(world, "C"))
            world.wait_for("it to run", started[0].is_settled)
            started.pop().end(signal.SIGKILL)
        started += [Instance(world, name) for name in NAMES]
        world.wait_for("both to be settled", lambda: all(one.is_settled() for one in started))
        world.wait_for("one to give up", lambda: any(one.process.poll() is not None for one in started))
        running = [one for one in started if one.process.poll() is None]
        assert len(running) == 1, [one.says() for one in started]
        for one in started:
            assert one in running or one.has_given_up()
        works(world, running[0].process.pid)
    return 1


# --- beside one that stands still -------------------------------------------------------------------------------------


def beside_one_that_stands_still(point):
    """The first one stops at a call of its start-up, the second one is started, then the first one goes on."""
    world = factory_fresh()
    second = None
    try:
        world.strike(point, "signal=STOP")
        world.launch()
        world.wait_for("the standstill", lambda: any("stopped by SIGSTOP" in line for line in world.log()))
        pid = world.daemon()["pid"]
        second = Instance(world, "B")
        world.wait_for("the second to be settled", second.is_settled)
        subprocess.run(["kill", "-CONT", str(pid)], check=True)
        world.wait_for("the first to be settled", lambda: world.has_ended() or world.runs())
        if second.runs():
            assert world.wait_for("the first to give up", world.has_ended)["exit_status"] == 1
            assert world.status_line() in FATAL, world.status_line()
            works(world, second.process.pid)
        else:
            assert second.has_given_up() and answers(world)
            works(world)
    finally:
        if second is not None and second.process.poll() is None:
            second.process.kill()
            second.process.wait()
        world.close(check=False)
    return 1


def plan(of):
    chosen = of.choose("orders", itertools.product(orders(ORDER_LENGTH), ENDINGS), SHORT_ORDERS)
    cells = [Cell(" ".join(("+" if starts else "-") + name for name, starts in order) + f" by {how.name}",
                  functools.partial(in_order, order, how)) for order, how in chosen]
    cells += [Cell(f"both at once, {at}, {'stale names' if at % 2 else 'no names'}",
                   functools.partial(both_at_once, at % 2 == 1)) for at in range(LONG_RACES if of.long else SHORT_RACES)]
    world = factory_fresh()
    try:
        points = recorded(world)
    finally:
        world.close(check=False)
    main = next(at for at, point in enumerate(points) if point.text.startswith(FIRST_CALL_OF_MAIN))
    cells += [Cell(f"standing still at {point}", functools.partial(beside_one_that_stands_still, point))
              for point in of.choose("standstills", points[main:], SHORT_STANDSTILLS)]
    return cells
