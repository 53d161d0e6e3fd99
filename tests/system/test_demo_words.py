"""The words of ./demo and of the board's walk: which walk they choose, and that a word nobody knows is refused."""
import shutil
import subprocess

import pytest

from world import PROJECT


@pytest.fixture
def demo(tmp_path):
    """demo(words): status, and what was started: ./demo in a tree in which everything else only says that it was started."""
    shutil.copy(PROJECT / "demo", tmp_path / "demo")
    for name in ("scripts/install_dependencies", "tests/board/show"):
        script = tmp_path / name
        script.parent.mkdir(parents=True)
        script.write_text(f'#!/bin/sh\necho {name} "$@" >>{tmp_path}/started\n')
        script.chmod(0o755)

    def run(*words):
        done = subprocess.run([tmp_path / "demo", *words], capture_output=True, text=True, timeout=60, check=False)
        started = tmp_path / "started"
        return done.returncode, started.read_text().splitlines() if started.exists() else [], done.stderr
    return run


BOARD = "scripts/install_dependencies board"


@pytest.mark.parametrize("words, started", [
    (["--board"], [BOARD, "tests/board/show"]),
    (["--board", "--stay"], [BOARD, "tests/board/show --stay"]),
    (["--stay", "--board"], [BOARD, "tests/board/show --stay"])])
def test_the_board_is_shown_whatever_the_order_of_the_words(demo, words, started):
    assert demo(*words)[:2] == (0, started)


@pytest.mark.parametrize("words", [["--boards"], ["--board", "please"], ["--stay", "--stay?"], ["", "--board"]])
def test_a_word_that_nobody_knows_is_refused_before_anything_is_started(demo, words):
    status, started, said = demo(*words)
    assert (status, started) == (2, []) and "usage: ./demo [--board] [--stay]" in said


@pytest.mark.parametrize("words", [["please"], ["--stays"], ["--stay", "now"]])
def test_the_boards_walk_refuses_it_too(words):
    done = subprocess.run(["/usr/bin/python3", "-B", PROJECT / "tests/board/show", *words], capture_output=True, text=True,
                          timeout=60, check=False)
    assert done.returncode == 2 and "usage: show [-h] [--stay]" in done.stderr and done.stdout == ""
