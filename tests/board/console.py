"""The emulated machine from outside: its console, its cables, and its power."""
import contextlib
import json
import os
import pathlib
import queue
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time

# Emulation on a machine that is busy with other things is slow at times; nothing is judged by its pace.
PATIENCE_S = float(os.environ.get("POE_BOARD_PATIENCE", "120"))
LOOK_AGAIN = "usleep 100000"
LONGEST_LOOK_S = 1
SHORT_PAUSE_S = 0.01
PORTS = 4


class Missed(Exception):
    """Something did not happen; says what was seen instead."""


class Patience:
    """Seconds of waiting, of which a time in which nobody looked counts as one: a run that was stopped for a while has not
    waited, nor had its machine the time."""

    def __init__(self, seconds):
        self.left = seconds
        self._looked = time.monotonic()

    def is_over(self):
        now = time.monotonic()
        self.left -= min(now - self._looked, LONGEST_LOOK_S)
        self._looked = now
        return self.left < 0


class Machine:
    def __init__(self, kernel, ram_disk, flash, transcript):
        self.kernel, self.ram_disk, self.flash, self.transcript = kernel, ram_disk, flash, transcript
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="board-", dir="/var/tmp"))
        self.process = self._control = None
        self._said = ""
        self._lines = queue.Queue()
        self._commands = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.cut_the_power()
        shutil.rmtree(self.folder, ignore_errors=True)

    # --- power --------------------------------------------------------------------------------------------------------

    def boot(self, *options):
        """Until init is ready. Returns what was said on the way, and the seconds that it took."""
        began = time.monotonic()
        control = self.folder / "qmp"
        control.unlink(missing_ok=True)
        interfaces = [word for port in range(1, PORTS + 1)
                      for word in ("-netdev", f"hubport,id=cable{port},hubid={port}",
                                   "-device", f"e1000,netdev=cable{port},id=lan{port},romfile=")]
        # A run that is killed leaves no machine behind.
        command = ["setpriv", "--pdeathsig", "KILL", "qemu-system-mipsel", "-M", "malta", "-cpu", "24Kc", "-m", "256",
                   "-vga", "none", "-display", "none", "-monitor", "none", "-serial", "stdio", "-no-reboot", "-nic", "none", *interfaces,
                   "-drive", f"file={self.flash},format=raw,if=ide", "-qmp", f"unix:{control},server=on,wait=off", "-S",
                   "-kernel", self.kernel, "-initrd", self.ram_disk,
                   "-append", " ".join(["console=ttyS0 panic=1 quiet nokaslr", *(["--", *options] if options else [])])]
        with open(self._complaints(), "ab") as complaints:
            self.process = subprocess.Popen([*map(str, command)], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                            stderr=complaints, start_new_session=True)
        self._control = None
        self._said = ""
        self._lines = queue.Queue()
        threading.Thread(target=self._listen, args=(self.process.stdout, self._lines), daemon=True).start()
        self._connect(control)
        for port in range(1, PORTS + 1):
            self.cable(port, plugged=False)
        self._ask("cont")
        said = self._until(r"init: ready\n", "the machine to boot")
        return said, time.monotonic() - began

    def cut_the_power(self):
        """Without a warning: what the machine had not written yet is gone."""
        if self.process is None:
            return
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()
        for line in (self.process.stdin, self._control):
            if line is not None:
                with contextlib.suppress(OSError):  # it may hold words for an emulator that ended by itself
                    line.close()
        self.process = None
        with open(self.transcript, "a", encoding="utf-8") as transcript:
            transcript.write("\n=== the power is cut ===\n")

    def flash_now(self, copy):
        """Copies the flash as a power cut in this moment would leave it. The machine notices nothing but the time."""
        self.process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, self.process.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
        shutil.copyfile(self.flash, copy)
        self.process.send_signal(signal.SIGCONT)

    # --- console ------------------------------------------------------------------------------------------------------

    def run(self, command, patience_s=PATIENCE_S):
        """One line for the machine's shell: its exit status and what it said."""
        self._commands += 1
        with contextlib.suppress(BrokenPipeError):  # what the machine said last is worth more
            self.process.stdin.write(f"({command}) </dev/null 2>&1; echo \"=={self._commands}== $?\"\n".encode())
            self.process.stdin.flush()
        said = self._until(rf"=={self._commands}== (\d+)\n", command, patience_s)
        text, status = re.fullmatch(rf"(?s)(.*)=={self._commands}== (\d+)\n", said).groups()
        return int(status), text

    def say(self, command):
        """What a command says, which must succeed."""
        status, said = self.run(command)
        if status != 0:
            raise Missed(f"'{command}' ended with {status} and said: {said.strip()}")
        return said

    def json(self, command):
        said = self.say(command)
        try:
            return json.loads(said)
        except ValueError:
            raise Missed(f"'{command}' was to say JSON and said: {said.strip()}") from None

    def expect(self, what, pattern, command, patience_s=PATIENCE_S):
        """Looks until the command says something that the pattern is found in; returns the match."""
        patience = Patience(patience_s)
        while True:
            said = self.run(command)[1]
            if found := re.search(pattern, said):
                return found
            if patience.is_over():
                raise Missed(f"{what}: waited {patience_s:.0f} s for /{pattern}/ in '{command}', which said:\n{said.strip()}")
            self.run(LOOK_AGAIN)

    # --- cables -------------------------------------------------------------------------------------------------------

    def cable(self, port, plugged):
        """Of a port's real interface."""
        self._ask("set_link", {"name": f"lan{port}", "up": plugged})

    # --- inside -------------------------------------------------------------------------------------------------------

    def _listen(self, stream, lines):
        with open(self.transcript, "a", encoding="utf-8") as transcript:
            while data := os.read(stream.fileno(), 65536):
                text = data.decode("utf-8", "replace").replace("\r", "")
                transcript.write(text)
                transcript.flush()
                lines.put(text)
        lines.put(None)

    def _until(self, pattern, what, patience_s=PATIENCE_S):
        """What was said up to and with the pattern."""
        patience = Patience(patience_s)
        while not (found := re.search(pattern, self._said)):
            try:
                text = self._lines.get(timeout=LONGEST_LOOK_S)
            except queue.Empty:
                if not patience.is_over():
                    continue
                raise Missed(f"{what}: nothing for {patience_s:.0f} s; the console said:\n{self._said[-4000:]}") from None
            if text is None:
                self._lines.put(None)  # for whoever asks next
                raise Missed(f"{what}: the machine has ended; the console said:\n{self._said[-4000:]}")
            self._said += text
        said, self._said = self._said[:found.end()], self._said[found.end():]
        return said

    def _connect(self, path):
        patience = Patience(PATIENCE_S)
        connection = socket.socket(socket.AF_UNIX)
        connection.settimeout(PATIENCE_S)
        while connection.connect_ex(str(path)) != 0:
            if self.process.poll() is not None or patience.is_over():
                raise Missed(f"the emulator has not started; see {self._complaints()}")
            time.sleep(SHORT_PAUSE_S)
        self._control = connection.makefile("rw", encoding="utf-8")
        connection.close()
        self._exchanged()  # its greeting
        self._ask("qmp_capabilities")

    def _complaints(self):
        return self.transcript.with_suffix(".emulator")

    def _exchanged(self, words=None):
        """The next line of the emulator's own, after these words; nothing when it has ended or does not answer."""
        try:
            if words is not None:  # writing forgets what was read ahead
                self._control.write(words)
                self._control.flush()
            return self._control.readline()
        except OSError:
            return ""

    def _ask(self, command, arguments=None):
        words = json.dumps({"execute": command, **({"arguments": arguments} if arguments else {})}) + "\n"
        while True:
            line = self._exchanged(words)
            if not line.endswith("\n"):
                raise Missed(f"{command}: the emulator answers no more; see {self._complaints()}")
            words, answer = None, json.loads(line)
            if "error" in answer:
                raise Missed(f"the emulator refuses {command}: {answer['error']}")
            if "return" in answer:
                return answer["return"]
