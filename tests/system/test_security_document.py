"""docs/security.md: every threat has an answer, and tests that are there."""
import re

import pytest

from world import PROJECT

DOCUMENT = (PROJECT / "docs/security.md").read_text(encoding="utf-8")
WITHOUT_A_TEST = "nothing to test"


def threats():
    """Threat, answer and what shows it, a row each."""
    part = DOCUMENT[DOCUMENT.index("## Threats and answers"):DOCUMENT.index("## Known limits")]
    rows = [[cell.strip() for cell in line.strip("| ").split(" | ")] for line in part.splitlines() if line.startswith("| ")]
    return [row for row in rows if row[0] != "Threat"]


def has_system_test(file, test):
    path = PROJECT / "tests/system" / file
    return path.exists() and (not test or re.search(rf"^def {test}\(", path.read_text(encoding="utf-8"), re.MULTILINE))


def has_unit_test(folder, suite, test):
    wanted = re.compile(rf"^TEST(?:_[FP])?\({suite},\s*{test or '[a-z0-9_]+'}\)", re.MULTILINE)
    return any(wanted.search(file.read_text(encoding="utf-8")) for file in (PROJECT / folder).glob("*.cpp"))


def missing(shown_by):
    """Of the tests named in a cell, those that are not there. `::test_x` is of the file that was named last."""
    folder = file = None
    for name in re.findall(r"`([^`]+)`", shown_by):
        if name.startswith(("tests/", "./")):
            folder = name
            there = (PROJECT / name).exists()
        elif match := re.fullmatch(r"(test_\w+\.py)?(?:::(test_\w+))?", name):
            file = match[1] or file
            there = has_system_test(file, match[2])
        else:
            there = has_unit_test(folder, *name.partition(".")[::2])
        if not there:
            yield name


def test_there_are_threats():
    assert len(threats()) > 20


def test_the_tests_of_the_known_limits_are_there():
    assert not list(missing(" ".join(re.findall(r"`test_\w+\.py[^`]*`", DOCUMENT))))


@pytest.mark.parametrize("row", threats(), ids=lambda row: row[0][:40])
def test_a_threat_has_an_answer_and_tests_that_are_there(row):
    threat, answer, shown_by = row
    assert threat and answer
    assert "`" in shown_by or shown_by == WITHOUT_A_TEST, shown_by
    assert not list(missing(shown_by))
