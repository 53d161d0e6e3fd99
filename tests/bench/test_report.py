"""The table, and the JSON beside it."""
import json

from harness import report
from harness.figures import MORE, VALUE, Figure
from harness.registry import Measure
from harness.report import Row

P50 = Measure("p50", "round trip", "us", bar=1.08, aim=1.0)
RATE = Measure("rate", "a second", "/s", bar=0.93, aim=1.0, better=MORE)
LONGEST = Measure("longest", "longest", "ms", bar=2, aim=1.3, judged=VALUE)

GOOD = Row("queries", P50, "an echo", Figure(9.651, 9.651, 1.0, (0.99, 1.01)))
BAD = Row("queries", RATE, "an echo", Figure(90000, 100000, 0.9, (0.89, 0.91)))
ITSELF = Row("control", P50, "itself", Figure(10, 10, 1.02, (1, 1.1)), is_control=True)
ABSENT = Row("beside", P50, "a store", absent="it is not installed")

HOW = {"machine": {"cores": 2}, "revision": "abc", "compared_with": None, "rounds": 15, "mode": "normal"}


def cells(row):
    return report.cells_of(row)


def test_a_row_says_value_floor_ratio_limits_and_verdict():
    assert cells(GOOD) == ("round trip", "9.65 us", "9.65 us", "1.000", "<= 1.08", "<= 1.00", "aim")
    assert cells(BAD) == ("a second", "90000 /s", "100000 /s", "0.900", ">= 0.93", ">= 1.00", "MISSED")


def test_a_value_that_is_judged_has_limits_in_its_unit_though_there_is_a_floor():
    row = Row("unread", LONGEST, "an echo", Figure(1.1, 1.05, 1.05, (1, 2)))
    assert cells(row) == ("longest", "1.1 ms", "1.05 ms", "1.050", "<= 2 ms", "<= 1.3 ms", "aim")


def test_without_a_floor_limits_are_in_the_unit():
    row = Row("size", Measure("size", "size", "kB", bar=100, aim=64), figure=Figure(77.24, spread=(77, 77)))
    assert cells(row) == ("size", "77.2 kB", "-", "-", "<= 100 kB", "<= 64 kB", "bar")


def test_what_is_not_on_this_machine_says_so_and_misses_nothing():
    assert cells(ABSENT)[-1] == "not here: it is not installed"
    assert report.missed([ABSENT]) == [] and report.broken([ABSENT]) == []


def test_a_control_off_one_is_not_trusted():
    assert cells(ITSELF)[-1] == "as it must be"
    off = Row("control", P50, "itself", Figure(10, 9, 1.11, (1, 1.2)), is_control=True)
    assert cells(off)[-1] == "NOT TRUSTWORTHY"
    assert report.json_of([ITSELF, off], **HOW)["trustworthy"] is False


def test_nothing_is_judged_where_two_revisions_are_compared():
    row = Row("queries", RATE, "abc", BAD.figure, is_judged=False)
    assert cells(row)[4:] == ("-", "-", "-") and report.missed([row]) == []


def test_what_missed_its_bar_is_found():
    assert report.missed([GOOD, BAD, ITSELF, ABSENT]) == [BAD]


def test_what_broke_or_gave_no_number_is_found():
    broken = Row("queries", P50, broken="AssertionError('no answer')")
    no_number = Row("queries", P50, "an echo", Figure(1, 0, float("nan"), (0, 0)))
    assert report.broken([GOOD, broken, no_number]) == [broken, no_number]
    assert cells(broken)[-1] == "BROKEN: AssertionError('no answer')"


def test_the_tables_columns_are_aligned():
    lines = report.table([GOOD, BAD])
    assert lines == [
        "measure        value      floor  ratio      bar      aim  verdict",
        "----------  --------  ---------  -----  -------  -------  -------",
        "round trip   9.65 us    9.65 us  1.000  <= 1.08  <= 1.00  aim",
        "a second    90000 /s  100000 /s  0.900  >= 0.93  >= 1.00  MISSED"]


def test_the_json_holds_what_the_table_shows_and_how_it_was_had():
    told = json.loads(json.dumps(report.json_of([ITSELF, GOOD, ABSENT], **HOW)))
    assert {name: told[name] for name in ("schema", "mode", "revision", "rounds", "control_ratios", "trustworthy")} == {
        "schema": 1, "mode": "normal", "revision": "abc", "rounds": 15, "control_ratios": [1.02], "trustworthy": True}
    assert told["machine"] == {"cores": 2}
    _, good, absent = told["measures"]
    assert good == {
        "subject": "queries", "name": "p50", "title": "round trip", "unit": "us", "better": "less", "judged": "ratio",
        "bar": 1.08, "aim": 1.0, "floor_title": "an echo", "control": False, "absent": None, "broken": None,
        "value": 9.651, "floor": 9.651, "ratio": 1.0, "spread": [0.99, 1.01], "verdict": "aim"}
    assert absent["absent"] == "it is not installed"
    assert [absent[name] for name in ("value", "floor", "ratio", "spread", "verdict")] == [None] * 5


def test_a_run_without_a_control_is_not_trusted():
    assert report.json_of([GOOD], **HOW)["trustworthy"] is False
