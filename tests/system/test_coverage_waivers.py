"""What the coverage run lets pass: nothing but lines that a waiver names, one each, ten at most, and none in vain."""
import pytest

from world import PROJECT

SOURCE = """int answer(int asked) {
    if (asked < 0) return 1;
    if (asked > 9) return 1;
    return 0;
}
"""
LINES = len(SOURCE.splitlines())
COPIES = 6


@pytest.fixture
def judged(monkeypatch, script, tmp_path):
    """judged(waivers, unreached): whether the run ends well when lines of a source are never run, and what is waived."""
    coverage = script(PROJECT / "tests/coverage/run")
    (tmp_path / "room").mkdir()
    (tmp_path / "room/answer.cpp").write_text(SOURCE * COPIES)

    def judge(waivers, unreached):
        (tmp_path / "waivers").write_text("# FILE:LINE  REASON\n" + "".join(f"{one}\n" for one in waivers))
        monkeypatch.setattr(coverage, "SOURCES", tmp_path)
        monkeypatch.setattr(coverage, "WAIVERS", tmp_path / "waivers")
        counts = {line: 0 if line in unreached else 1 for line in range(1, COPIES * LINES + 1)}
        monkeypatch.setattr(coverage, "line_counts", lambda: {"room/answer.cpp": counts})
        monkeypatch.setattr(coverage, "branch_counts", lambda: {"room/answer.cpp": {(2, 9): [1, 1]}})
        return coverage.judge()

    return judge


def test_whatever_runs_needs_no_waiver(judged):
    assert judged([], [])


def test_a_line_that_never_runs_fails(judged):
    assert not judged([], [3])


def test_a_line_with_a_waiver_of_its_own_passes(judged):
    assert judged(["room/answer.cpp:3  the kernel never says so"], [3])


def test_a_waiver_for_another_line_does_not_help(judged):
    assert not judged(["room/answer.cpp:2  the kernel never says so"], [3])


def test_a_waiver_for_a_line_that_runs_fails(judged):
    assert not judged(["room/answer.cpp:3  the kernel never says so"], [])


def test_a_waiver_by_a_text_of_several_lines_fails(judged):
    assert not judged(["room/answer.cpp:return 1;  the kernel never says so"], [2, 3])


def test_ten_waivers_pass_and_eleven_do_not(judged):
    lines = [LINES * copy + line for copy in range(COPIES) for line in (2, 3)]
    assert judged([f"room/answer.cpp:{line}  never" for line in lines[:10]], lines[:10])
    assert not judged([f"room/answer.cpp:{line}  never" for line in lines[:11]], lines[:11])
