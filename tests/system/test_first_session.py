"""docs/first-session.md, typed line by line: what it shows is what happens."""
import os
import re
import signal
import subprocess
import tempfile
import time

import pytest

from world import LOOK_AGAIN_S, PATIENCE_S, PREFIX, PROJECT, WORLDS

DOCUMENT = (PROJECT / "docs/first-session.md").read_text(encoding="utf-8")
PROMPT = "    $ "
# What only looks is looked at again until it shows what the document shows; everything else is typed once.
LOOKS = re.compile(r"poectl (status|watch|check|bank)\b(?!.* set )")
# What differs from run to run: how far a figure may be from the one in the document.
CLOSE_ENOUGH, CLOSE_ENOUGH_MA = 2.0, 12
DONE = "the shell is back"


def steps():
    """Every line that is typed, with what the document shows below it."""
    found = []
    for line in DOCUMENT.splitlines():
        if line.startswith(PROMPT):
            found.append((line.removeprefix(PROMPT), []))
            open_block = True
        elif found and line.startswith("    ") and open_block:
            found[-1][1].append(line[4:])
        elif found and line == "" and open_block:
            found[-1][1].append("")
        else:
            open_block = False
    return [(typed, "\n".join(shown).strip().splitlines()) for typed, shown in found]


def is_alike(word, shown):
    """A word of the output and that of the document: the same, or a figure that was measured a little differently."""
    if word == shown:
        return True
    if not re.sub(r"[\d.]+", "", word) == re.sub(r"[\d.]+", "", shown):
        return False
    figures = [[float(one) for one in re.findall(r"\d+(?:\.\d+)?", text)] for text in (word, shown)]
    if len(figures[0]) != len(figures[1]):
        return False
    if re.fullmatch(r"\d{3}", word) and re.fullmatch(r"\d{3}", shown):
        return abs(figures[0][0] - figures[1][0]) <= CLOSE_ENOUGH_MA
    has_fraction = re.search(r"\d\.\d", word) and re.search(r"\d\.\d", shown)
    return bool(has_fraction) and all(abs(one - other) <= CLOSE_ENOUGH for one, other in zip(*figures))


def told(lines):
    """The words of each line, without what is new each time: the clock, and names of folders made at random."""
    text = "\n".join(lines)
    text = re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", "NOW", text)
    text = re.sub(r"\S+/vswitch\S*/(world-\w+)(/control)?", r"WORLD\2", text)
    return [line.split() for line in text.splitlines()]


def shows(said, shown):
    said, shown = told(said), told(shown)
    return len(said) == len(shown) and all(
        len(one) == len(other) and all(map(is_alike, one, other)) for one, other in zip(said, shown))


class Shell:
    """A person's shell, its standard error on its standard output."""

    def __init__(self, folder):
        environment = {**os.environ, "PATH": f"{PREFIX}/bin:{os.environ['PATH']}", "XDG_RUNTIME_DIR": folder}
        environment.pop("VSWITCH_CONTROL", None)
        self._output = open(f"{folder}/output", "w+", encoding="utf-8")
        self._process = subprocess.Popen(["bash"], stdin=subprocess.PIPE, stdout=self._output, stderr=self._output,
                                         text=True, cwd=folder, env=environment, start_new_session=True)

    def type(self, line, ends_with=DONE):
        """What came until a line that begins in this way."""
        begin = self._output.seek(0, os.SEEK_END)
        self._process.stdin.write(f"{line}\n" + (f"echo {DONE}\n" if ends_with == DONE else ""))
        self._process.stdin.flush()
        until = time.monotonic() + PATIENCE_S
        while True:
            with open(self._output.name, encoding="utf-8") as output:
                output.seek(begin)
                lines = output.read().split("\n")[:-1]
            if lines and lines[-1].startswith(ends_with):
                return [one for one in lines if one != DONE]
            assert time.monotonic() < until, f"{line}: {lines}"
            time.sleep(LOOK_AGAIN_S)

    def close(self):
        os.killpg(self._process.pid, signal.SIGTERM)  # the shell, and the switch that it started
        self._process.stdin.close()
        self._process.wait(PATIENCE_S)
        self._output.close()


@pytest.fixture
def shell():
    with tempfile.TemporaryDirectory(prefix="fs-", dir=WORLDS, ignore_cleanup_errors=True) as folder:
        one = Shell(folder)
        yield one
        one.close()


def test_the_session_goes_as_the_document_shows_it(shell):
    for typed, shown in steps():
        ends_with = shown[0].split(":")[0] if typed.endswith("&") else DONE
        until = time.monotonic() + PATIENCE_S
        said = shell.type(typed, ends_with)
        while not shows(said, shown):
            assert LOOKS.match(typed) and time.monotonic() < until, f"$ {typed}\n" + "\n".join(said)
            said = shell.type(typed)


def test_the_session_meets_what_a_first_session_is_for():
    typed = " ".join(line for line, _ in steps())
    for needed in ("vswitch run", "status", "set --enable on", "--dry-run", "plug", "--why", "cycle", "watch", "check",
                   "--format json"):
        assert needed in typed, needed


@pytest.mark.parametrize("said, shown, alike", [
    ("12.5 W", "12.6 W", True), ("232 yes", "225 yes", True), ("searching (2)", "overload (3)", False),
    ("port 2", "port 1", False), ("12.5 W", "22.5 W", False), ("yes", "no", False), ("20 bytes", "12 bytes", False)])
def test_only_measured_figures_may_differ(said, shown, alike):
    assert shows([said], [shown]) == alike


def test_the_preset_and_the_folder_of_the_document_are_those_of_the_project():
    assert '"dev"' in (PROJECT / "CMakePresets.json").read_text()
    assert "cmake --workflow --preset dev" in DOCUMENT and "build/dev/installed/bin" in DOCUMENT
    for link in re.findall(r"\]\(([\w-]+\.md)\)", DOCUMENT):
        assert (PROJECT / "docs" / link).is_file(), link
