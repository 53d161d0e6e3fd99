"""The board's run skips what a kernel without CUSE cannot show, takes no fault of its own for such a kernel, and goes on
behind a scenario that failed."""
import argparse
import contextlib
import os
import re
import shutil
import subprocess
import sys

import pytest

from world import PROJECT

BOARD = PROJECT / "tests/board"
NO_DEVICES = "init: the controller's driver has ended with status 4: vswitch: this kernel has no CUSE\ninit: ready\n"
ALL_IS_WELL = "init: the virtual switch is ready\ninit: ready\n"


class Machine:
    """Says the same at every boot, and nothing ever goes wrong on it."""

    def __init__(self, said):
        self.said = said

    def boot(self, *_):
        return self.said, 1.0

    def cut_the_power(self):
        pass


@pytest.fixture
def board(monkeypatch, script, tmp_path):
    """board(said, without_cuse, modules): whether the run ended well."""
    monkeypatch.syspath_prepend(str(BOARD))
    module = script(BOARD / "run")

    def run(said, without_cuse=False, modules=None, cell=lambda *_: None):
        folder = tmp_path / "packages/lib/modules/6.1/kernel"
        folder.mkdir(parents=True)
        for name in sys.modules["ram_disk"].MODULES if modules is None else modules:
            (folder / f"{name}.ko").touch()
        monkeypatch.setattr(module.preparing, "OURS", tmp_path)
        monkeypatch.setattr(module.preparing, "prepare", lambda: None)
        monkeypatch.setattr(module.preparing, "new_machine", lambda _: contextlib.nullcontext(Machine(said)))
        one = module.Board(argparse.Namespace(long=False, measure=False, without_cuse=without_cuse))
        cell.__name__ = "something_happens"
        one.boots = [(words, [cell for _ in cells]) for words, cells in one.boots]
        return one.all()

    yield run
    for name in ("console", "measuring", "packages", "preparing", "ram_disk", "scenarios"):
        sys.modules.pop(name, None)


def all_modules_but(name):
    return [one for one in ("crc16", "crc32c_generic", "mbcache", "jbd2", "ext4", "ata_piix", "fuse", "cuse", "e1000")
            if one != name]


def test_a_machine_with_its_device_files_runs_everything(board, capsys):
    assert board(ALL_IS_WELL)
    assert "skipped" not in capsys.readouterr().out


def test_a_machine_without_device_files_fails_the_run_when_its_kernel_has_the_module(board, capsys):
    assert not board(NO_DEVICES)
    said = capsys.readouterr().out
    assert "FAILED: boot 1: the kernel has CUSE, and yet the controller has no device file; init: " in said
    assert "skipped" not in said and "1 failures" in said


def test_a_kernel_without_the_module_is_a_skip_that_the_last_line_counts(board, capsys):
    assert board(NO_DEVICES, modules=all_modules_but("cuse"))
    assert re.search(r" 0 of (\d+) cells, \1 skipped for want of CUSE, ", capsys.readouterr().out.splitlines()[-1])


def test_so_is_one_that_is_not_to_load_it(board, capsys):
    assert board(NO_DEVICES, without_cuse=True)
    assert "skipped for want of CUSE" in capsys.readouterr().out.splitlines()[-1]


def test_a_kernel_without_another_module_ends_the_run(board):
    with pytest.raises(SystemExit, match="no module ext4"):
        board(NO_DEVICES, modules=all_modules_but("ext4"))


def test_a_scenario_that_trips_over_what_it_sees_fails_with_it_and_the_others_go_on(board, capsys):
    sweeps = iter(["", "none"])
    assert not board(ALL_IS_WELL, cell=lambda *_: int(next(sweeps, "1")))
    said = capsys.readouterr().out
    assert "FAILED: something happens: " in said and "invalid literal for int() with base 10: 'none'" in said
    assert re.search(r" (\d+) of \1 cells, 0 faults delivered, 2 failures$", said.splitlines()[-1])


@pytest.fixture
def whole_test(tmp_path):
    """whole_test(board_says): the last line of ./test in a tree in which everything it calls is done well and says nothing,
    but for the board."""
    def stub(name, says=""):
        script = tmp_path / name
        script.parent.mkdir(parents=True, exist_ok=True)
        script.write_text(f"#!/bin/sh\necho '{says}'\n")
        script.chmod(0o755)

    def run(board_says):
        shutil.copy(PROJECT / "test", tmp_path / "test")
        campaigns = re.findall(r"campaigns/\w+", (PROJECT / "test").read_text())
        for name in ("bin/cmake", "bin/ctest", "scripts/install_dependencies", "scripts/check_format", "scripts/lint",
                     "bench/run", "bench/instructions",
                     *(f"tests/{one}/run" for one in ("coverage", "fuzz", "gates", "machines", *campaigns))):
            stub(name)
        stub("tests/board/run", board_says)
        shutil.copy(PROJECT / "scripts/count_results", tmp_path / "scripts")
        done = subprocess.run([tmp_path / "test"], capture_output=True, text=True, timeout=100, check=False,
                              env={**os.environ, "PATH": f"{tmp_path}/bin:/usr/bin:/bin"})
        return done.stdout.splitlines()[-1]
    return run


def test_the_whole_tests_line_counts_what_the_board_skipped_and_takes_it_for_no_success(whole_test):
    ran = whole_test("board: short form, 13 of 13 cells, 9 faults delivered, 0 failures")
    passed, failed = re.fullmatch(r"(\d+) passed, (\d+) failed", ran).groups()
    skipped = whole_test("board: short form, 0 of 13 cells, 13 skipped for want of CUSE, 0 faults delivered, 0 failures")
    assert skipped == f"{int(passed) - 1} passed, {failed} failed, 13 skipped"
