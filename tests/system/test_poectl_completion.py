"""Completion of poectl's command line in real shells, typed on a terminal."""
import contextlib
import os
import pty
import select
import shutil
import signal
import subprocess
import time

import pytest

from world import IS_EMULATED, PATIENCE_S, PREFIX

# An emulated program has no name that a shell could call.
pytestmark = pytest.mark.only_if(not IS_EMULATED)

ENVIRONMENT = {"PATH": f"{PREFIX}/bin:/usr/bin:/bin", "HOME": "/nonexistent", "TERM": "dumb", "LANG": "C.UTF-8"}
PROMPT = "ready> "
START_FILES = {
    "bash": f"PS1='{PROMPT}'\nbind 'set enable-bracketed-paste off'\nsource <(poectl completion bash)\n",
    "zsh": f"PS1='{PROMPT}'\nautoload -U compinit\ncompinit -D -u\nsource <(poectl completion zsh)\n"}


class Terminal:
    """A shell with somebody in front of it."""

    def __init__(self, command, environment):
        self.pid, self._terminal = pty.fork()
        if self.pid == 0:
            os.execvpe(command[0], command, ENVIRONMENT | environment)
        self._shown = ""

    def type(self, text):
        os.write(self._terminal, text.encode())

    def see(self, text):
        """Waits until the text is shown behind what was seen before."""
        until = time.monotonic() + PATIENCE_S
        while text not in self._shown:
            left = until - time.monotonic()
            assert left > 0 and select.select([self._terminal], [], [], left)[0], f"no {text!r} in {self._shown!r}"
            with contextlib.suppress(OSError):
                self._shown += os.read(self._terminal, 4096).decode(errors="replace").replace("\a", "")
        before, _, self._shown = self._shown.partition(text)
        return before

    def close(self):
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
        os.close(self._terminal)


@pytest.fixture(params=["bash", "zsh"])
def shell(request, tmp_path):
    """A shell that completes poectl and waits for somebody to type."""
    start_file = tmp_path / ".zshrc"
    start_file.write_text(START_FILES[request.param])
    command = {"bash": ["bash", "--noprofile", "--rcfile", str(start_file), "-i"], "zsh": ["zsh", "-d", "-i"]}
    terminal = Terminal(command[request.param], {"ZDOTDIR": str(tmp_path)})
    try:
        terminal.see(PROMPT)
        yield terminal
    finally:
        terminal.close()


@pytest.mark.parametrize("typed, completed", [
    ("poectl stat", "poectl status "), ("poectl port 2 set --prio", "poectl port 2 set --priority "),
    ("poectl port 2 set --priority cr", "poectl port 2 set --priority critical "),
    ("poectl port 2 set --priority=cr", "poectl port 2 set --priority=critical "),
    ("poectl --format jsonl ener", "poectl --format jsonl energy "), ("poectl completion fi", "poectl completion fish ")])
def test_one_word_is_completed(shell, typed, completed):
    shell.type(f"{typed}\t")
    shell.see(completed)


def test_a_path_is_completed_by_the_shell(shell, tmp_path):
    (tmp_path / "the-only-socket").touch()
    shell.type(f"poectl status --socket {tmp_path}/the-on\t")
    shell.see("/the-only-socket ")


def test_several_words_are_listed(shell):
    shell.type("poectl port 2 set --priority \t\t")
    for word in ("critical", "high", "low"):
        shell.see(word)


def fish(line):
    run = subprocess.run(["fish", "--no-config", "-c", f"poectl completion fish | source; complete -C '{line}'"],
                         env=ENVIRONMENT | {"HOME": "/tmp"}, capture_output=True, text=True, timeout=PATIENCE_S, check=True)
    return [one.split("\t")[0] for one in run.stdout.splitlines()]


@pytest.mark.parametrize("typed, words", [
    ("poectl stat", ["status"]), ("poectl port 2 set --prio", ["--priority"]),
    ("poectl port 2 set --priority ", ["critical", "high", "low"]),
    ("poectl port 2 set --priority=cr", ["--priority=critical"]), ("poectl completion ", ["bash", "fish", "zsh"])])
def test_fish_completes(typed, words):
    assert sorted(fish(typed)) == sorted(words)


def test_fish_completes_paths(tmp_path):
    (tmp_path / "the-only-socket").touch()
    assert fish(f"poectl status --socket {tmp_path}/the-on") == [f"{tmp_path}/the-only-socket"]


@pytest.mark.parametrize("name, check", [("bash", ["-n"]), ("zsh", ["-n"]), ("fish", ["--no-execute"])])
def test_the_lines_for_a_shell_are_good_lines(name, check, tmp_path):
    lines = subprocess.run([PREFIX / "bin/poectl", "completion", name], capture_output=True, text=True, check=True).stdout
    file = tmp_path / f"completion.{name}"
    file.write_text(lines)
    run = subprocess.run([shutil.which(name), *check, file], capture_output=True, text=True, check=False)
    assert (run.returncode, run.stderr) == (0, "")
