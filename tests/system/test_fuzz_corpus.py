"""How inputs get into the fuzzers' committed corpus: a line each, in order, and never twice."""
import sys

import pytest

from world import PROJECT

TARGET = "budget_file"
# In the fuzzer's place: takes whatever a long run found for new, or for an input that fails.
FUZZER_THAT_TAKES_ALL = '#!/bin/sh\nwhile [ $# -gt 2 ]; do shift; done\ncp "$2"/* "$1"\n'
FUZZER_THAT_FAILS = """#!/bin/sh
for word; do case $word in -artifact_prefix=*) : > "${word#*=}crash"; esac; done
while [ $# -gt 2 ]; do shift; done
cp "$2"/* "$1"
"""


@pytest.fixture
def fuzz(monkeypatch, script, tmp_path):
    """The program, over a tree of its own where the text has two inputs and a long run found two."""
    program = script(PROJECT / "tests/fuzz/run")
    monkeypatch.setattr(program, "CORPUS", tmp_path)
    monkeypatch.setattr(program, "BUILD", tmp_path / "build")
    monkeypatch.setattr(program, "build", lambda: None)
    program.text = tmp_path / f"{TARGET}.txt"
    program.text.write_text("# why\nlarge 3030\n36\n")
    for folder in program.first_inputs(TARGET):
        folder.mkdir(parents=True)
    found = tmp_path / "build/corpus" / TARGET
    found.mkdir(parents=True)
    (found / "known").write_bytes(b"00")
    (found / "new").write_bytes(b"1")

    def run(*words, fuzzer=FUZZER_THAT_TAKES_ALL):
        path = tmp_path / "build/tests/fuzz" / f"fuzz_{TARGET}"
        path.write_text(fuzzer)
        path.chmod(0o755)
        monkeypatch.setattr(sys, "argv", ["run", *map(str, words)])
        return program.main()

    program.run = run
    program.finding = found / "new"
    return program


def test_what_a_long_run_found_becomes_lines_in_order(fuzz, capsys):
    assert fuzz.run("--keep", TARGET) == 0
    assert fuzz.text.read_text() == "# why\nlarge 3030\n31\n36\n"
    assert capsys.readouterr().out == "budget_file: 1 of 2 inputs added, 3 lines\n"


def test_keeping_again_adds_nothing(fuzz, capsys):
    fuzz.run("--keep", TARGET)
    kept = fuzz.text.read_text()
    capsys.readouterr()
    assert fuzz.run("--keep", TARGET) == 0
    assert fuzz.text.read_text() == kept
    assert capsys.readouterr().out == "budget_file: 0 of 2 inputs added, 3 lines\n"


def test_nothing_is_kept_while_an_input_fails(fuzz):
    before = fuzz.text.read_text()
    assert fuzz.run("--keep", TARGET, fuzzer=FUZZER_THAT_FAILS) != 0
    assert fuzz.text.read_text() == before


def test_a_finding_becomes_a_line_with_a_name(fuzz):
    assert fuzz.run("--add", TARGET, "a_single_digit", fuzz.finding) == 0
    assert fuzz.text.read_text() == "# why\nlarge 3030\na_single_digit 31\n36\n"


def test_a_finding_that_is_there_already_gets_its_name(fuzz):
    fuzz.finding.write_bytes(b"6")
    assert fuzz.run("--add", TARGET, "six", fuzz.finding) == 0
    assert fuzz.text.read_text() == "# why\nlarge 3030\nsix 36\n"


def test_a_finding_of_no_target_is_refused(fuzz):
    with pytest.raises(SystemExit) as ended:
        fuzz.run("--add", "budget", "a_single_digit", fuzz.finding)
    assert ended.value.code != 0
