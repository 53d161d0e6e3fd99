"""What bench/run makes of a subject's numbers, and what a whole run ends with."""
import itertools
import json
import pathlib
import types

import pytest

from harness import report
from harness.registry import Absent, Measure, Subject

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "bench/run"
BENCH = types.SimpleNamespace(is_smoke=True, rounds=3, tree=None)


@pytest.fixture
def rows_of(monkeypatch, script):
    """rows_of(product, floor): what is measured of two contenders that are functions of their round."""
    module = script(SCRIPT)

    def contender(sample):
        def generator(*_):
            turns = iter(range(BENCH.rounds))
            yield lambda: sample(next(turns))
        return generator

    def measured(product, floor=None):
        subject = Subject("queries", (Measure("p50", "round trip", "us", bar=1.08),), contender(product), True, False,
                          "an echo" if floor else "", contender(floor) if floor else None)
        return module.measured(subject, BENCH, None)
    return measured


def good(turn):
    return {"p50": 10 + turn}


def test_numbers_of_every_round_become_a_figure(rows_of):
    row, = rows_of(good, good)
    assert (row.figure.value, row.figure.ratio) == (11, 1)
    assert report.broken([row]) == []


@pytest.mark.parametrize("product, floor, counts", [
    (lambda _: {"p_50": 1}, good, "0 and 3"), (good, lambda _: {}, "3 and 0"),
    (good, lambda turn: good(turn) if turn else {}, "3 and 2"), (lambda _: {}, None, "0")])
def test_a_contender_that_gives_no_number_breaks_the_measure(rows_of, product, floor, counts):
    row, = rows_of(product, floor)
    assert row.broken == f"gave {counts} numbers"
    assert report.broken([row]) == [row]


def test_a_contender_that_fails_breaks_the_measure(rows_of):
    row, = rows_of(lambda _: 1 / 0, good)
    assert "division by zero" in row.broken


def test_what_this_machine_does_not_have_is_absent(rows_of):
    def without(_):
        raise Absent("it is not installed")
    row, = rows_of(without, good)
    assert row.absent == "it is not installed" and report.broken([row]) == []


# --- a whole run: what it ends with, and what it compares ---

OURS, REVISION = "this tree", "abc1234"


class Numbers:
    """A subject's numbers, by tree and for the floor; keeps who was asked."""

    def __init__(self, ours=1, floor=1, other=1):
        self.of = {OURS: ours, REVISION: other, "floor": floor}
        self.asked = []

    def contender(self, who):
        self.asked.append(who)
        if isinstance(self.of[who], Exception):
            raise self.of[who]
        yield lambda: {self.name: self.of[who]}

    def subject(self, name, control=False, **how):
        self.name = name
        return Subject(name, (Measure(name, name, "us", **how),), lambda _, tree: self.contender(tree.revision), True, control,
                       "" if control else "an echo", None if control else lambda _: self.contender("floor"))


@pytest.fixture
def run(monkeypatch, script, tmp_path):
    """run(words, numbers, control): what the run ends with, and its JSON. The trees are names, nothing is built."""
    module = script(SCRIPT)
    built = []
    tree_of = {OURS: types.SimpleNamespace(revision=OURS, build=tmp_path),
               REVISION: types.SimpleNamespace(revision=REVISION, build=tmp_path / "other")}
    monkeypatch.setattr(module.tree, "here", lambda build: built.append(build) or tree_of[OURS])
    monkeypatch.setattr(module.tree, "other", lambda revision: tree_of[revision])
    monkeypatch.setattr(module.tree, "built_revision", lambda tree: tree.revision)
    monkeypatch.setattr(module.machine, "stay_aside", lambda: None)

    def whole_run(*words, numbers=None, control=None):
        subjects = [(control or Numbers()).subject("control", control=True),
                    (numbers or Numbers()).subject("queries", bar=1.08, aim=1.0)]
        monkeypatch.setattr(module.registry, "all_subjects", lambda: subjects)
        status = module.main(["--rounds", "3", *words])
        return status, json.loads((tmp_path / "results.json").read_text())
    whole_run.built = built
    return whole_run


def drifting():
    """A program that is 4 % from itself."""
    one = Numbers()
    turns = itertools.cycle([100, 104])

    def contender(who):
        one.asked.append(who)
        number = next(turns)
        yield lambda: {one.name: number}
    one.contender = contender
    return one


GOOD, SLOW, BROKEN = {"ours": 1}, {"ours": 1.2}, {"ours": RuntimeError("no answer")}


@pytest.mark.parametrize("numbers, is_steady, status", [
    (GOOD, True, 0), (SLOW, True, 1), (GOOD, False, 3), (SLOW, False, 3), (BROKEN, True, 4), (BROKEN, False, 4)])
def test_what_a_run_ends_with(run, capsys, numbers, is_steady, status):
    found, told = run(numbers=Numbers(**numbers), control=None if is_steady else drifting())
    assert found == status and told["trustworthy"] is is_steady
    assert ("do not trust this run" in capsys.readouterr().out) is (status == 3)


@pytest.mark.parametrize("numbers, is_steady, status", [(SLOW, True, 0), (GOOD, False, 0), (BROKEN, True, 4)])
def test_a_smoke_run_judges_no_time_but_everything_must_give_numbers(run, capsys, numbers, is_steady, status):
    found, told = run("--smoke", numbers=Numbers(**numbers), control=None if is_steady else drifting())
    assert (found, told["mode"]) == (status, "smoke")
    assert told["measures"][1]["verdict"] == (None if status else "-")
    assert capsys.readouterr().out.splitlines()[-1] == (
        f"smoke: {2 - bool(status)} measures run, 0 have nothing here to run on, {bool(status):d} broken")


def test_a_subject_that_has_nothing_here_to_run_on_misses_nothing(run, capsys):
    absent = {"ours": Absent("it is not installed")}
    assert run(numbers=Numbers(**absent))[0] == 0
    assert run("--smoke", numbers=Numbers(**absent))[0] == 0
    assert "smoke: 1 measures run, 1 have nothing here to run on, 0 broken" in capsys.readouterr().out


def test_two_revisions_are_compared_with_each_other_and_not_with_the_floor(run, capsys):
    numbers = Numbers(ours=3, floor=1, other=2)
    status, told = run("--compare", REVISION, numbers=numbers)
    assert set(numbers.asked) == {OURS, REVISION}
    _, row = told["measures"]
    assert (row["value"], row["floor"], row["ratio"], row["floor_title"]) == (3, 2, 1.5, REVISION)
    assert (told["compared_with"], told["revision"]) == (REVISION, OURS)
    assert capsys.readouterr().out.splitlines()[0].split() == ["measure", "value", REVISION, "ratio", "bar", "aim", "verdict"]
    assert (status, row["verdict"]) == (0, "-")  # no bar judges another revision


def test_the_control_of_a_comparison_is_this_tree_against_itself_and_still_decides(run):
    control = drifting()
    assert run("--compare", REVISION, control=control)[0] == 3
    assert control.asked == [OURS, OURS]


def test_what_the_other_revision_does_not_know_yet_is_absent_and_what_breaks_there_is_broken(run):
    status, told = run("--compare", REVISION, numbers=Numbers(other=Absent("floor/echo was not built")))
    assert (status, told["measures"][1]["absent"]) == (0, "floor/echo was not built")
    assert run("--compare", REVISION, numbers=Numbers(other=RuntimeError("it has ended")))[0] == 4


def test_only_a_run_that_may_builds(run):
    run()
    run("--no-build")
    assert run.built == [True, False]


def test_a_name_that_nothing_has_ends_the_run_before_anything_is_built(run, capsys):
    with pytest.raises(SystemExit) as ended:
        run("queues")
    assert ended.value.code == 2 and "there is no measure 'queues'" in capsys.readouterr().err
    assert run.built == []


def test_the_list_names_subjects_and_measures_and_builds_nothing(run, capsys):
    with pytest.raises(FileNotFoundError):  # there are no results
        run("--list")
    assert "queries: queries" in capsys.readouterr().out and run.built == []
