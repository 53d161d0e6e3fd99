"""What there is to measure, and what is chosen of it."""
import pytest

from harness.registry import Measure, Subject, all_subjects, chosen, in_order


def subject(name, *measures, control=False):
    return Subject(name, tuple(Measure(one, one, "us", bar=bar) for one, bar in measures), None, True, control)


CONTROL = subject("control", ("itself", None), control=True)
QUERIES = subject("queries", ("type_0", 1.08), ("type_6", 1.08))
BESIDE = subject("beside", ("store", None))


def test_controls_come_first_and_what_no_bar_judges_last():
    assert in_order([BESIDE, QUERIES, CONTROL]) == [CONTROL, QUERIES, BESIDE]


def test_without_a_name_everything_is_chosen():
    assert chosen([CONTROL, QUERIES, BESIDE], []) == [CONTROL, QUERIES, BESIDE]


@pytest.mark.parametrize("name", ["queries", "type_6"])
def test_a_subject_or_a_measure_chooses_the_subject_and_the_controls_with_it(name):
    assert chosen([CONTROL, QUERIES, BESIDE], [name]) == [CONTROL, QUERIES]


def test_a_name_that_nothing_has_is_refused():
    with pytest.raises(KeyError):
        chosen([CONTROL, QUERIES], ["type_7"])


def test_every_promise_has_a_bar_a_name_of_its_own_and_an_aim_that_is_no_weaker():
    measures = [one for each in all_subjects() for one in each.measures]
    assert len({one.name for one in measures}) == len(measures)
    for one in measures:
        if one.bar is not None and one.aim is not None:
            assert one.aim <= one.bar if one.better == "less" else one.aim >= one.bar, one.name


# Bar, aim, and what of the figure is judged: its ratio to a floor, or the value where there is none or none counts.
PROMISES = {
    "type_0_p50": (1.08, 1.00, "ratio"), "type_6_p50": (1.08, 1.00, "ratio"), "type_11_p50": (1.08, 1.00, "ratio"),
    "type_0_cpu": (1.12, 1.03, "ratio"), "type_6_cpu": (1.12, 1.03, "ratio"), "type_11_cpu": (1.12, 1.03, "ratio"),
    "type_17_p50": (1.25, 1.10, "ratio"), "throughput": (0.93, 1.00, "ratio"),
    "unread_p99_9": (0.2, 0.1, "value"), "unread_max": (2, 1.3, "value"),
    "queue_push": (1.3, 1.0, "ratio"), "queue_record": (88, 80, "value"), "queue_record_resident": (88, 80, "value"),
    "queue_drain": (10, 3, "value"), "after_burst": (1.2, 1.05, "value"),
    "sweep_instant": (12, 6, "ratio"), "sweep_system_call": (1.25, 1.10, "ratio"), "sweep_bus": (1.01, 1.00, "ratio"),
    "resident": (1.25, 1.10, "ratio"), "private_dirty": (1.6, 1.3, "ratio"),
    "stripped": (100, 64, "value"), "stripped_mipsel": (100, None, "value"), "stripped_arm": (100, None, "value"),
    "libraries": (0, 0, "value"), "libraries_mipsel": (0, None, "value"), "libraries_arm": (0, None, "value"),
    "start": (1.5, 1.0, "ratio"), "trap_worst": (2, None, "value")}
MORE_IS_BETTER = {"throughput"}


def test_every_promise_is_measured_and_judged_by_its_bar_and_nothing_else_is():
    judged = {}
    for each in all_subjects():
        for one in each.measures:
            if one.bar is not None:
                by_ratio = one.judged == "ratio" and each.floor_of is not None
                judged[one.name] = (one.bar, one.aim, "ratio" if by_ratio else "value")
                assert (one.better == "more") == (one.name in MORE_IS_BETTER), one.name
    assert judged == PROMISES
