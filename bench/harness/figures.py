"""From the rounds' numbers to figures and verdicts. Pure."""
import dataclasses
import statistics

LESS, MORE = "less", "more"
RATIO, VALUE = "ratio", "value"

# How far from 1.0 a program measured against itself may come out.
CONTROL_TOLERANCE = 0.03

# What a verdict can be, best first.
AIM, BAR, MISSED, SHOWN = "aim", "bar", "MISSED", "-"


@dataclasses.dataclass(frozen=True)
class Figure:
    """One measure of one run: medians over the rounds, and the spread of the deciding number."""
    value: float
    floor: float = None   # None without a floor
    ratio: float = None
    spread: tuple = None  # first and third quartile of what is judged


def quartiles(numbers):
    """First and third; of one number, the number."""
    if len(numbers) == 1:
        return numbers[0], numbers[0]
    first, _, third = statistics.quantiles(numbers, n=4, method="inclusive")
    return first, third


def figure_of(values, floors=None):
    """values and floors: one number a round. A ratio is that of neighbours in time, so that what slows the machine down
    for a while slows down both."""
    value = statistics.median(values)
    if floors is None:
        return Figure(value, spread=quartiles(values))
    assert len(values) == len(floors)
    ratios = [one / other if other else float("nan") for one, other in zip(values, floors)]
    return Figure(value, statistics.median(floors), statistics.median(ratios), quartiles(ratios))


def reaches(number, limit, better):
    return number <= limit if better == LESS else number >= limit


def verdict_of(figure, measure):
    if measure.bar is None:
        return SHOWN
    number = figure.ratio if measure.judged == RATIO and figure.ratio is not None else figure.value
    if not reaches(number, measure.bar, measure.better):
        return MISSED
    return AIM if measure.aim is not None and reaches(number, measure.aim, measure.better) else BAR


def is_trustworthy(control_ratios):
    return all(abs(ratio - 1) <= CONTROL_TOLERANCE for ratio in control_ratios)
