"""The board's machine from outside when its emulator fails: the run says what was seen, and can end."""
import sys
import textwrap

import pytest

from world import PROJECT

NEVER_STARTS = "sys.exit('no machine today')"
BOOTS = """
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(sys.argv[sys.argv.index("-qmp") + 1].split(":", 1)[1].split(",")[0])
    listener.listen()
    control = listener.accept()[0].makefile("rw")
    print("{}", file=control, flush=True)
    for line in control:
        print('{"event": "SOMETHING"}\\n' + ("{}" if FAILS_AT in line else '{"return": {}}'), file=control, flush=True)
        if FAILS_AT in line:
            control.close()
            break
        if "cont" in line:
            print("init: ready", flush=True)
            break
"""
ENDS_WHEN_ASKED = "sys.stdin.readline(); print('so far', flush=True)"
ENDS_AT_ONCE = ""


@pytest.fixture
def machine(monkeypatch, tmp_path):
    """machine(emulator, fails_at): a machine whose emulator is these lines of Python."""
    monkeypatch.syspath_prepend(str(PROJECT / "tests/board"))
    monkeypatch.setattr(sys, "dont_write_bytecode", True)
    monkeypatch.setenv("PATH", f"{tmp_path}:/usr/bin:/bin")
    import console

    def make(*emulator, fails_at="nothing"):
        program = tmp_path / "qemu-system-mipsel"
        lines = textwrap.dedent("\n".join(map(textwrap.dedent, emulator)))
        program.write_text(f"#!/usr/bin/python3\nimport socket, sys\nFAILS_AT = '{fails_at}'\n{lines}\n")
        program.chmod(0o755)
        one = console.Machine("kernel", "ram-disk", tmp_path / "flash", tmp_path / "log")
        one.missed = console.Missed
        return one

    yield make
    sys.modules.pop("console", None)


def test_an_emulator_that_does_not_start_is_missed(machine):
    with machine(NEVER_STARTS) as one, pytest.raises(one.missed, match="not started; see .*/log.emulator"):
        one.boot()
    assert "no machine today" in one.transcript.with_suffix(".emulator").read_text()


def test_an_emulator_that_ends_while_its_machine_boots_is_missed(machine):
    with machine(BOOTS, fails_at="set_link") as one, pytest.raises(one.missed, match="the emulator answers no more"):
        one.boot()


def test_an_emulator_that_ends_within_a_command_is_missed_with_what_was_said(machine):
    with machine(BOOTS, ENDS_WHEN_ASKED) as one:
        one.boot()
        with pytest.raises(one.missed, match="(?s)the machine has ended; .*so far"):
            one.run("poectl status")


def test_so_is_everything_that_is_asked_of_it_afterwards(machine):
    with machine(BOOTS, ENDS_AT_ONCE) as one:
        one.boot()
        one.process.wait()
        for _ in range(2):
            with pytest.raises(one.missed, match="the machine has ended"):
                one.run("poectl status")
            with pytest.raises(one.missed, match="the emulator answers no more"):
                one.cable(1, plugged=True)
    assert one.transcript.read_text().endswith("=== the power is cut ===\n")


def test_what_should_be_json_and_is_not_is_missed_with_what_was_said(machine):
    answers = "sys.stdin.readline(); print('Segmentation fault\\n==1== 0', flush=True); sys.stdin.readline()"
    with machine(BOOTS, answers) as one:
        one.boot()
        with pytest.raises(one.missed, match="'vswitch traps' .*Segmentation fault"):
            one.json("vswitch traps")
