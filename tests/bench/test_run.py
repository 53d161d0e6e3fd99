"""What bench/run makes of a subject's numbers."""
import importlib.machinery
import importlib.util
import pathlib
import types

import pytest

from harness import report
from harness.registry import Absent, Measure, Subject

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "bench/run"
BENCH = types.SimpleNamespace(is_smoke=True, rounds=3, tree=None)


@pytest.fixture
def rows_of(monkeypatch):
    """rows_of(product, floor): what is measured of two contenders that are functions of their round."""
    monkeypatch.setattr("sys.dont_write_bytecode", True)
    loader = importlib.machinery.SourceFileLoader("bench_run", str(SCRIPT))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("bench_run", loader))
    loader.exec_module(module)

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
