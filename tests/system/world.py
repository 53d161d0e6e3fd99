"""One virtual switch with the daemon in a world of its own, for one test.

    with World(speed=100) as world:
        world.vswitch("plug", "2", "--class", "4", "--load", "12.5")
        status = world.ask(bytes([6]) + bytes(7) + bytes([1]) + bytes(91))

The installed tree under $POE_PREFIX (default build/dev/installed) is what runs. Files are looked at and prepared from
outside: world.tmp, world.flash and world.dev are what the daemon sees as /tmp, /flash and /dev. Nothing here sleeps for
a fixed time: world.wait_for(...) looks again until it is so.
"""
import contextlib
import itertools
import json
import os
import pathlib
import re
import select
import shutil
import signal
import socket
import subprocess
import tempfile
import time

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PREFIX = pathlib.Path(os.environ.get("POE_PREFIX", PROJECT / "build/dev/installed")).resolve()

# Names of local sockets end at 108 bytes, so worlds live at short paths.
WORLDS = pathlib.Path(os.environ.get("POE_WORLDS", "/var/tmp"))

# The daemon, poectl and the fixtures of another machine run under $VSWITCH_EMULATOR; $POE_CC builds the fixtures for it.
EMULATOR = os.environ.get("VSWITCH_EMULATOR", "").split()
IS_EMULATED = bool(EMULATOR)
CC = os.environ.get("POE_CC", "cc")

PATIENCE_S = float(os.environ.get("POE_PATIENCE", "30"))
LOOK_AGAIN_S = 0.002
STILL_LOOKS = 15

DAEMON_SOCKET = "poe_driver_ipc_socket_server.txt"
STATUS_FILE = "/tmp/poe_status"
SANITIZER_REPORT = re.compile(r"ERROR: \w+Sanitizer|WARNING: ThreadSanitizer|: runtime error: ")
LARGEST_REPLY = 4096


CLOCK_REALTIME_COARSE = 5  # Python does not name it


def seconds_now():
    """What time(2) says, which enters a new second up to a tick later than the precise clock."""
    return int(time.clock_gettime(CLOCK_REALTIME_COARSE))


def is_instrumented(by="[at]san_init"):
    """Is the daemon under test built with the address (asan_init) or thread (tsan_init) sanitizer? Or, only when that is
    asked for, to count what runs (llvm_profile)?"""
    return re.search(f"__{by}".encode(), (PREFIX / "sbin/poe_drv").read_bytes()) is not None


def words_that_start(program):
    """What runs a program of the tree under test without the virtual switch's help."""
    return [*[shutil.which(word) for word in EMULATOR[:1]], *EMULATOR[1:], program]


def preloading(library):
    """The environment that loads a library into the daemon."""
    return {"QEMU_SET_ENV": f"LD_PRELOAD={library}"} if IS_EMULATED else {"LD_PRELOAD": library}


class Refused(Exception):
    """The command ended with something else than 0: its exit status, and what it said."""

    def __init__(self, words, status, said):
        super().__init__(f"{' '.join(map(str, words))}: exit status {status}: {said}")
        self.status = status
        self.said = said


class Client:
    """A client process's named socket, which the daemon can answer to."""

    def __init__(self, world, name):
        self.path = world.tmp / name
        self._daemon = world.tmp / DAEMON_SOCKET
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_CLOEXEC)
        self._socket.bind(str(self.path))

    def send(self, request):
        self._socket.sendto(request, str(self._daemon))

    def receive(self, timeout=PATIENCE_S):
        self._socket.settimeout(timeout)
        try:
            return self._socket.recv(LARGEST_REPLY)
        except (socket.timeout, BlockingIOError):
            raise AssertionError(f"no reply within {timeout} s") from None

    def hears_nothing(self, for_s=0.2):
        """True when no reply is there now and none comes for a while."""
        self._socket.settimeout(for_s)
        try:
            self._socket.recv(LARGEST_REPLY)
        except (socket.timeout, BlockingIOError):
            return True
        return False

    def close(self):
        self._socket.close()
        self.path.unlink(missing_ok=True)


class World:
    def __init__(self, *, program="poe_drv", arguments=(STATUS_FILE,), speed=100, latency=0, seed=1, ready="answers",
                 stopped=False, stays=True, tmp=(), flash=(), options=(), environment=(), prefix=PREFIX):
        """tmp, flash: mappings of file names to the text (or bytes) that the daemon finds there when it starts.
        ready: "answers" waits until the daemon serves its clients, "started" until it runs."""
        self.prefix = pathlib.Path(prefix)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pw-", dir=WORLDS))
        self.tmp, self.flash, self.dev = (self.folder / name for name in ("tmp", "flash", "dev"))
        self.control = self.folder / "control"
        self._ready, self._stopped = ready, stopped
        self._options = ["--speed", speed, "--latency", latency, "--seed", seed, "--ready", ready, *options]
        self._options += ["--stopped"] * stopped + ["--stay"] * stays
        self._command = [program, *arguments]
        self._environment = {**os.environ, **dict(environment), "XDG_RUNTIME_DIR": str(self.folder)}
        self._environment.pop("VSWITCH_CONTROL", None)
        self._clients = []
        self._names = itertools.count(1)
        self.process = None
        for folder, files in ((self.tmp, tmp), (self.flash, flash)):
            folder.mkdir()
            for name, content in dict(files).items():
                (folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())
        self.tmp.chmod(0o1777)

    # --- life ---------------------------------------------------------------------------------------------------------

    def __enter__(self):
        try:
            return self.start()
        except BaseException:
            self.close(check=False)
            raise

    def __exit__(self, kind, *_):
        self.close(check=kind is None)

    def start(self):
        """Starts the switch, and returns once it is ready."""
        reading, writing = os.pipe()
        with open(self.folder / "stdout", "ab") as out, open(self.folder / "stderr", "ab") as err:
            # A test run that is killed leaves no switch behind.
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", self.prefix / "bin/vswitch", "run", "--world", self.folder, "--ready-fd", str(writing),
                 *map(str, self._options), "--", *map(str, self._command)],
                stdin=subprocess.DEVNULL, stdout=out, stderr=err, pass_fds=[writing], env=self._environment)
        os.close(writing)
        with os.fdopen(reading, "rb") as ready:
            readable, _, _ = select.select([ready], [], [], PATIENCE_S)
            is_ready = readable and ready.readline()
        if not is_ready and self._ready == "answers":
            raise AssertionError(f"the virtual switch is not ready after {PATIENCE_S} s, or has ended:\n{self.story()}")
        return self

    def close(self, check=True):
        """Ends everything and removes the world. With `check`, a sanitizer's report fails the test."""
        try:
            for client in self._clients:
                client.close()
            if self.process is not None and self.process.poll() is None:
                self.process.send_signal(signal.SIGTERM)
                try:
                    self.process.wait(PATIENCE_S)
                except subprocess.TimeoutExpired:
                    self.process.kill()
                    self.process.wait()
            reports = [line for line in self.stderr_lines() if SANITIZER_REPORT.search(line)]
            assert not (check and reports), "\n".join(self.stderr_lines())
        finally:
            shutil.rmtree(self.folder, ignore_errors=True)

    def wait_for_exit(self):
        """The exit status of `vswitch run`, once it ends by itself."""
        return self.process.wait(PATIENCE_S)

    # --- the switch ---------------------------------------------------------------------------------------------------

    def run_vswitch(self, *words, **how):
        """The command as a user runs it, finished: its exit status and its output."""
        how = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **how}
        return subprocess.run([self.prefix / "bin/vswitch", "--control", self.control, *map(str, words)],
                              stdin=subprocess.DEVNULL, text=True, timeout=PATIENCE_S, env=self._environment,
                              check=False, **how)

    def vswitch(self, *words):
        """A verb, answered in JSON; Refused when it is not done."""
        done = self.run_vswitch("--json", *words)
        if done.returncode not in (0, 1):
            raise Refused(words, done.returncode, done.stderr.strip())
        answer = json.loads(done.stdout)
        if done.returncode != 0:
            raise Refused(words, done.returncode, answer["error"])
        return answer

    def exec(self, *command, attach=False):
        """A command inside the world, finished. attach: with the switch's devices and time."""
        return self.run_vswitch("exec", *["--attach"] * attach, "--", *command)

    def poectl(self, *words, **how):
        """The operator's command inside the world, finished: its exit status and its output."""
        return self.run_vswitch("exec", "--", self.prefix / "bin/poectl", *words, **how)

    def poectl_json(self, *words):
        """What poectl tells programs; Refused when it does not end with 0."""
        done = self.poectl(*words, "--json")
        if done.returncode != 0:
            raise Refused(words, done.returncode, done.stderr.strip())
        return json.loads(done.stdout)

    def wait_for_readings(self):
        """Until the daemon knows the status of every port: there is none before its first sweep has ended."""
        self.wait_for("every port to be read", lambda: all(
            port["status"]["name"] != "not-read-yet" for port in self.poectl_json("status")["ports"]))

    @contextlib.contextmanager
    def frozen_controller(self):
        """Meanwhile the switch answers nobody: the daemon's supervision hangs in its next transaction, and every
        configuration request stays queued. No verb may be used meanwhile; clients are served."""
        supervision = max(pathlib.Path(f"/proc/{self.daemon()['pid']}/task").iterdir(), key=lambda task: int(task.name))
        self.process.send_signal(signal.SIGSTOP)
        try:
            self.wait_for("the switch to stand still", lambda: self._state_of(self.process.pid) == "T")
            looks = [0] * STILL_LOOKS
            self.wait_for("supervision to hang", lambda: self._has_not_run(supervision, looks))
            yield
        finally:
            self.process.send_signal(signal.SIGCONT)

    @staticmethod
    def _state_of(pid):
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0]

    @staticmethod
    def _has_not_run(task, looks):
        """Whether a thread has slept without a break for as many looks as `looks` remembers."""
        switches = re.findall(r"ctxt_switches:\s*(\d+)", (task / "status").read_text())
        looks.append(switches)
        looks.pop(0)
        return all(look == switches for look in looks)

    def show(self):
        return self.vswitch("show")

    def frames(self, *choice):
        """Every frame that the controller still remembers, or those of a choice such as "--after", 120."""
        return self.vswitch("frames", *(choice or ["--all"]))["frames"]

    def traps(self):
        return self.vswitch("traps")["traps"]

    # --- the daemon ---------------------------------------------------------------------------------------------------

    def daemon_threads(self):
        """How many threads of its own the daemon runs; the thread sanitizer and the emulator bring one more."""
        return len(os.listdir(f"/proc/{self.daemon()['pid']}/task")) - is_instrumented(by="tsan_init") - IS_EMULATED

    def daemon(self):
        """running, ready, pid, starts, exit_status, signal"""
        return self.vswitch("daemon")

    def stop_daemon(self):
        return self.vswitch("stop")

    def start_daemon(self):
        self.vswitch("start")
        self.vswitch("wait")

    @contextlib.contextmanager
    def stopped_daemon(self):
        """Meanwhile the daemon as a whole stands still; what clients send waits for it."""
        pid = self.daemon()["pid"]
        os.kill(pid, signal.SIGSTOP)
        try:
            self.wait_for("the daemon to stand still", lambda: self._state_of(pid) == "T")
            yield
        finally:
            os.kill(pid, signal.SIGCONT)

    def restart_daemon(self):
        self.vswitch("restart")
        self.vswitch("wait")

    def client(self, name=None):
        one = Client(self, name or f"client-{next(self._names)}")
        self._clients.append(one)
        return one

    def send(self, request):
        """One request whose reply nobody looks at; the client is returned, for whoever does."""
        client = self.client()
        client.send(request)
        return client

    def ask(self, request, timeout=PATIENCE_S):
        """One request from a client of its own, and the reply to it."""
        client = self.client()
        try:
            client.send(request)
            return client.receive(timeout)
        finally:
            client.close()
            self._clients.remove(client)

    # --- what it left -------------------------------------------------------------------------------------------------

    def stdout_lines(self):
        return self._lines("stdout")

    def stderr_lines(self):
        return self._lines("stderr")

    def status_line(self):
        """What the daemon wrote into its status file, or nothing yet."""
        file = self.tmp / pathlib.Path(STATUS_FILE).name
        return file.read_text(errors="replace").strip() if file.exists() else ""

    def story(self):
        """What a failed test wants to see."""
        return "\n".join([f"standard output of {self.folder}:", *self.stdout_lines()[-40:],
                          "standard error:", *self.stderr_lines()[-40:]])

    def wait_for(self, what, predicate, timeout=PATIENCE_S):
        """Looks until predicate() is true, and returns what it gave; the last value is in the failure's message."""
        until = time.monotonic() + timeout
        while True:
            value = predicate()
            if value:
                return value
            if time.monotonic() > until:
                raise AssertionError(f"waited {timeout} s for {what}; last: {value!r}\n{self.story()}")
            time.sleep(LOOK_AGAIN_S)

    def _lines(self, name):
        file = self.folder / name
        return file.read_text(errors="replace").splitlines() if file.exists() else []
