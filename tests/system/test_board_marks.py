"""What the board's run takes for error marks that a power cut has left whole."""
import sys

import pytest

from world import PROJECT


@pytest.fixture
def judged(monkeypatch):
    """judged(before, after): what one file held; nothing, or an exception that says what was seen."""
    monkeypatch.syspath_prepend(str(PROJECT / "tests/board"))
    monkeypatch.setattr(sys, "dont_write_bytecode", True)
    import scenarios

    def judge(before, after):
        class Machine:
            def say(self, command):
                return {"/flash/poe_error_rx_timeout.txt": after,
                        "/flash/poe_error_rx_checksum.txt": "1\n"}[command.split()[1]]

            def expect(self, *_):
                pass
        scenarios.the_marks_are_found_again(Machine(), scenarios.Run(marks={"timeout": before, "checksum": ["1"]}))

    yield judge
    for name in ("console", "flash", "measuring", "packages", "preparing", "ram_disk", "scenarios", "system_calls"):
        sys.modules.pop(name, None)


@pytest.mark.parametrize("before, after", [(["1"], "1\n"), (["1", "10"], "1\n10\n"), (["1", "10"], "1\n10\n100\n")])
def test_marks_that_are_all_there_are_found(judged, before, after):
    judged(before, after)


@pytest.mark.parametrize("before, after, seen", [
    (["1", "10"], "1\n", r"none of rx_timeout is lost; seen: .*\['1', '10'\], \['1'\]"),
    (["1"], "", "whole lines"), (["1", "10"], "1\n1", "whole lines"), (["1"], "1\n1\n", "whole lines")])
def test_a_mark_that_is_lost_or_torn_is_missed(judged, before, after, seen):
    with pytest.raises(Exception, match=seen):
        judged(before, after)
