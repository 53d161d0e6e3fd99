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


def test_the_promises_to_clients_are_measured():
    bars = {one.name: (one.bar, one.aim) for each in all_subjects() for one in each.measures}
    assert {name: bars[name] for name in ("type_0_p50", "type_6_p50", "type_11_p50", "type_0_cpu", "type_6_cpu",
                                          "type_11_cpu", "type_17_p50", "throughput", "unread_p99_9", "unread_max")} == {
        "type_0_p50": (1.08, 1.0), "type_6_p50": (1.08, 1.0), "type_11_p50": (1.08, 1.0), "type_0_cpu": (1.12, 1.03),
        "type_6_cpu": (1.12, 1.03), "type_11_cpu": (1.12, 1.03), "type_17_p50": (1.25, 1.1), "throughput": (0.93, 1.0),
        "unread_p99_9": (0.2, 0.1), "unread_max": (2, 1.3)}
