"""Worlds for tests: one fresh world a test, made when the test asks for it and gone when it ends."""
import pathlib
import signal
import subprocess

import pytest

from world import CC, World

FIXTURES = pathlib.Path(__file__).parent / "fixtures"


# Whoever started this in the background or under nohup ignores these, and so would every program of a test. A signal that
# is caught here is a program's default again.
for ignored in (signal.SIGINT, signal.SIGHUP):
    if signal.getsignal(ignored) == signal.SIG_IGN:
        signal.signal(ignored, lambda number, frame: None)


# What is about the command, the library, the documents and the way to install them. Here the daemon only lends its answers.
AROUND_THE_DAEMON = ("test_board_*", "test_client_library*", "test_coverage_*", "test_demo_*", "test_first_session*",
                     "test_fuzz_*", "test_manual*", "test_operators_guide*", "test_poectl*", "test_porting*",
                     "test_security_document*")


def pytest_addoption(parser):
    parser.addoption("--only-the-daemon", action="store_true", help="leave out what only stands around the daemon")


def pytest_ignore_collect(collection_path, config):
    around = any(collection_path.match(name) for name in AROUND_THE_DAEMON)
    return True if around and config.getoption("only_the_daemon") else None


def pytest_configure(config):
    config.addinivalue_line("markers", "only_if(condition): the test exists only where the condition holds")


def pytest_collection_modifyitems(config, items):
    absent = [item for item in items if not all(mark.args[0] for mark in item.iter_markers("only_if"))]
    if absent:
        config.hook.pytest_deselected(items=absent)
        items[:] = [item for item in items if item not in absent]


@pytest.fixture
def make_world(request):
    """make_world(speed=100, ...) starts a World that ends with the test."""
    worlds = []

    def make(**how):
        world = World(**how)
        worlds.append(world)
        return world.start()

    request.node.worlds = worlds
    yield make
    failed = getattr(request.node, "failed", False)
    problems = []
    for world in worlds:
        try:
            world.close(check=not failed)
        except AssertionError as problem:
            problems.append(problem)
    if problems:
        raise problems[0]


@pytest.fixture
def world(make_world):
    """The daemon on a switch with nothing plugged in, serving its clients."""
    return make_world()


@pytest.fixture(scope="session")
def stand_in(tmp_path_factory):
    """A small program in the daemon's place: see fixtures/stand_in.c."""
    program = tmp_path_factory.mktemp("stand-in") / "stand_in"
    subprocess.run([CC, "-O1", "-Wall", "-Werror", "-o", program, FIXTURES / "stand_in.c"], check=True)
    return program


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    report = (yield).get_result()
    if report.when == "call" and report.failed:
        item.failed = True
        for world in getattr(item, "worlds", []):
            report.sections.append(("the world", world.story()))
