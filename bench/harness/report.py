"""The table for people and the JSON for programs, from the same rows. Pure."""
import dataclasses
import math

from harness.figures import CONTROL_TOLERANCE, MISSED, MORE, RATIO, SHOWN, is_trustworthy, verdict_of

SCHEMA = 1

HEADINGS = ("measure", "value", "floor", "ratio", "bar", "aim", "verdict")


@dataclasses.dataclass(frozen=True)
class Row:
    subject: str
    measure: object            # registry.Measure
    floor_title: str = ""      # what `figure.floor` is of
    figure: object = None      # None when absent or broken
    absent: str = ""           # why there is none here
    broken: str = ""           # what went wrong
    is_control: bool = False
    is_judged: bool = True     # no bar judges two revisions, or one tiny round


def number_text(number, unit=""):
    if number is None:
        return "-"
    text = f"{number:.0f}" if abs(number) >= 1000 or number == int(number) else f"{number:.3g}"
    return f"{text} {unit}".rstrip()


def ratio_text(number):
    return "-" if number is None else f"{number:.3f}"


def limit_text(measure, limit, has_floor):
    if limit is None:
        return "-"
    sign = ">=" if measure.better == MORE else "<="
    is_ratio = measure.judged == RATIO and has_floor
    return f"{sign} {limit:.2f}" if is_ratio else f"{sign} {number_text(limit, measure.unit)}"


def verdict_text(row):
    if row.broken:
        return f"BROKEN: {row.broken}"
    if row.figure is None:
        return f"not here: {row.absent}"
    if not row.is_judged:
        return SHOWN
    if row.is_control:
        return "as it must be" if is_trustworthy([row.figure.ratio]) else "NOT TRUSTWORTHY"
    return verdict_of(row.figure, row.measure)


def cells_of(row):
    measure, figure = row.measure, row.figure
    has_floor = bool(row.floor_title)
    limits = ("-", "-")
    if row.is_control:
        limits = (f"1 +- {CONTROL_TOLERANCE}", "-")
    elif row.is_judged:
        limits = (limit_text(measure, measure.bar, has_floor), limit_text(measure, measure.aim, has_floor))
    if figure is None:
        return (measure.title, "-", "-", "-", *limits, verdict_text(row))
    return (measure.title, number_text(figure.value, measure.unit), number_text(figure.floor, measure.unit),
            ratio_text(figure.ratio), *limits, verdict_text(row))


def table(rows, headings=HEADINGS):
    """Lines of aligned columns, the texts on the left and the numbers on the right."""
    lines = [headings, *map(cells_of, rows)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(headings))]
    last = len(headings) - 1

    def line_of(cells):
        return "  ".join(cell.ljust(width) if column in (0, last) else cell.rjust(width)
                         for column, (cell, width) in enumerate(zip(cells, widths))).rstrip()

    return [line_of(headings), "  ".join("-" * width for width in widths), *map(line_of, lines[1:])]


def control_ratios(rows):
    return [row.figure.ratio for row in rows if row.is_control and row.figure is not None]


def missed(rows):
    return [row for row in rows if row.figure is not None and verdict_text(row) == MISSED]


def broken(rows):
    """What did not run to its end, or gave something that is no number."""
    return [row for row in rows if row.broken or row.figure is not None and not all(
        math.isfinite(one) for one in (row.figure.value, row.figure.floor, row.figure.ratio) if one is not None)]


def json_of(rows, *, machine, revision, compared_with, rounds, mode):
    """schema 1. A ratio is that of the medians' neighbours (value / floor, or value / the compared revision's)."""
    ratios = control_ratios(rows)
    return {
        "schema": SCHEMA, "mode": mode, "machine": machine, "revision": revision, "compared_with": compared_with,
        "rounds": rounds, "control_ratios": ratios, "trustworthy": bool(ratios) and is_trustworthy(ratios),
        "measures": [{
            "subject": row.subject, "name": row.measure.name, "title": row.measure.title, "unit": row.measure.unit,
            "better": row.measure.better, "judged": row.measure.judged, "bar": row.measure.bar, "aim": row.measure.aim,
            "floor_title": row.floor_title, "control": row.is_control, "absent": row.absent or None,
            "broken": row.broken or None,
            "value": row.figure and row.figure.value, "floor": row.figure and row.figure.floor,
            "ratio": row.figure and row.figure.ratio, "spread": row.figure and list(row.figure.spread),
            "verdict": verdict_text(row) if row.figure else None} for row in rows]}
