"""From the rounds' numbers to figures and verdicts."""
import math

import pytest

from harness.figures import (AIM, BAR, LESS, MISSED, MORE, SHOWN, VALUE, Figure, figure_of, is_trustworthy, quartiles,
                             reaches, verdict_of)
from harness.registry import Measure


def measure(**how):
    return Measure("one", "one", "us", **{"bar": 1.08, "aim": 1.0, **how})


def test_a_figure_is_made_of_medians():
    figure = figure_of([10, 30, 20], [5, 10, 100])
    assert (figure.value, figure.floor) == (20, 10)


def test_a_ratio_is_that_of_neighbours_so_that_a_slow_while_slows_both():
    assert figure_of([10, 100, 1000], [10, 100, 1000]).ratio == 1
    assert figure_of([1, 2, 300], [1, 1, 100]).ratio == 2


def test_one_outlier_moves_neither_value_nor_ratio():
    assert figure_of([10] * 14 + [5000], [10] * 15) == figure_of([10] * 15, [10] * 15)


def test_the_spread_is_first_and_third_quartile_of_what_is_judged():
    assert figure_of([1, 2, 3, 4, 5]).spread == (2, 4)
    assert figure_of([10, 20, 30, 40, 50], [10] * 5).spread == (2, 4)
    assert quartiles([7]) == (7, 7)


def test_without_a_floor_there_is_no_ratio():
    assert figure_of([3, 1, 2]) == Figure(2, None, None, (1.5, 2.5))


def test_a_floor_of_nothing_gives_no_number():
    assert math.isnan(figure_of([1], [0]).ratio)


def test_rounds_without_a_neighbour_are_refused():
    with pytest.raises(AssertionError):
        figure_of([1, 2], [1])


@pytest.mark.parametrize("number, limit, better, reached", [
    (1.08, 1.08, LESS, True), (1.081, 1.08, LESS, False), (0.93, 0.93, MORE, True), (0.929, 0.93, MORE, False)])
def test_a_limit_itself_is_reached(number, limit, better, reached):
    assert reaches(number, limit, better) is reached


@pytest.mark.parametrize("ratio, verdict", [(0.9, AIM), (1.0, AIM), (1.01, BAR), (1.08, BAR), (1.09, MISSED)])
def test_a_ratio_is_judged_by_bar_and_aim(ratio, verdict):
    assert verdict_of(Figure(ratio * 10, 10, ratio), measure()) == verdict


@pytest.mark.parametrize("ratio, verdict", [(0.92, MISSED), (0.93, BAR), (1.0, AIM)])
def test_where_more_is_better_less_misses_the_bar(ratio, verdict):
    assert verdict_of(Figure(ratio * 10, 10, ratio), measure(bar=0.93, better=MORE)) == verdict


def test_a_value_is_judged_without_a_floor_and_where_it_is_asked_for():
    assert verdict_of(Figure(2), measure(bar=2, aim=1)) == BAR
    assert verdict_of(Figure(2, 1, 2.0), measure(bar=2, aim=1, judged=VALUE)) == BAR
    assert verdict_of(Figure(2, 10, 0.2), measure(bar=1, aim=None, judged=VALUE)) == MISSED


def test_without_an_aim_the_bar_is_all_there_is_to_reach():
    assert verdict_of(Figure(1, 1, 1.0), measure(aim=None)) == BAR


def test_without_a_bar_nothing_is_judged():
    assert verdict_of(Figure(1, 1, 99.0), measure(bar=None, aim=None)) == SHOWN


@pytest.mark.parametrize("ratios, trusted", [([1.0, 0.971, 1.029], True), ([1.0, 1.031], False), ([0.969], False)])
def test_a_run_is_trusted_when_each_program_is_as_fast_as_itself(ratios, trusted):
    assert is_trustworthy(ratios) is trusted
