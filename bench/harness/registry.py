"""What is measured: subjects, each with its measures, from the files of bench/measures.

A subject says how its numbers are had, from the product and from its floor. Both are generators that set something up,
yield a function that takes one round's numbers, and clear up:

    @subject("queries", Measure("type_0_p50", "query type 0, p50", "us", bar=1.08, aim=1.00))
    def queries(bench, tree):                # the product of `tree`
        with daemon(bench, tree) as one:
            yield lambda: {"type_0_p50": ...}

    @queries.floor("the required calls")
    def queries_floor(bench):                # the floor: same names, same units
        ...

The rounds of the two alternate. With a floor, a measure is judged by the ratio to it, otherwise (and with
judged="value") by the value. `better` says which way is good. A measure without a bar is only shown.

For --compare the product's function runs on two trees and there is no floor. Raise Absent("why") for what this machine
or this revision does not have: it is shown, and is no failure.
"""
import dataclasses
import importlib
import pathlib
import pkgutil
import sys

from harness.figures import LESS, MORE, RATIO, VALUE

MEASURES = pathlib.Path(__file__).resolve().parents[1] / "measures"

_subjects = {}


class Absent(Exception):
    """Something that the measure needs is not on this machine, or not in this revision."""


@dataclasses.dataclass(frozen=True)
class Measure:
    name: str
    title: str
    unit: str
    bar: float = None
    aim: float = None
    better: str = LESS
    judged: str = RATIO

    def __post_init__(self):
        assert self.better in (LESS, MORE) and self.judged in (RATIO, VALUE)


@dataclasses.dataclass
class Subject:
    name: str
    measures: tuple
    product: callable
    repeats: bool  # False: one round tells everything, like the size of a file
    control: bool  # judges the run, not the product; always measured
    floor_title: str = ""
    floor_of: callable = None

    def floor(self, title):
        def keep(function):
            self.floor_title, self.floor_of = title, function
            return function
        return keep

    def measure(self, name):
        return next(one for one in self.measures if one.name == name)


def subject(name, *measures, repeats=True, control=False):
    def keep(function):
        taken = {one.name for other in _subjects.values() for one in other.measures}
        assert name not in _subjects and not taken & {one.name for one in measures}, f"{name}: named twice"
        _subjects[name] = Subject(name, measures, function, repeats, control)
        return _subjects[name]
    return keep


def all_subjects():
    """Every subject of bench/measures, in the order of the files' names; controls come first, what no bar judges last."""
    sys.path.insert(0, str(MEASURES.parent))
    for module in sorted(one.name for one in pkgutil.iter_modules([str(MEASURES)])):
        importlib.import_module(f"measures.{module}")
    return in_order(_subjects.values())


def in_order(subjects):
    return sorted(subjects, key=lambda one: (not one.control, all(measure.bar is None for measure in one.measures)))


def chosen(subjects, names):
    """The subjects that are meant by names of subjects or measures; controls are always among them. KeyError for a name
    that nothing has."""
    for name in names:
        if not any(name in (one.name, *(measure.name for measure in one.measures)) for one in subjects):
            raise KeyError(name)
    return [one for one in subjects
            if not names or one.control or {one.name, *(measure.name for measure in one.measures)} & set(names)]
