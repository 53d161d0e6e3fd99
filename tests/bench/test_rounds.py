"""Contenders take turns."""
from harness.rounds import interleaved


def test_contenders_take_turns_and_who_begins_alternates():
    order = []

    def contender(name):
        def sample():
            order.append(name)
            return {"number": len(order)}
        return sample

    taken = interleaved([contender("ours"), contender("floor")], 3)
    assert order == ["ours", "floor", "floor", "ours", "ours", "floor"]
    assert taken == [{"number": [1, 4, 5]}, {"number": [2, 3, 6]}]


def test_a_single_contender_is_measured_once_a_round():
    assert interleaved([lambda: {"bytes": 7}], 2) == [{"bytes": [7, 7]}]
