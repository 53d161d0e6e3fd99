"""The daemon beside what one would use instead for a small daemon that answers local queries, where it is installed:

  a service on a D-Bus broker of its own    dbus-daemon, libdbus-1-dev
  a network UPS daemon, its dummy driver    nut-server
  a key-value store on a local socket       redis-server

Each answers one query, one in flight, and is told as the daemon's share of what it takes. Nothing is installed for this,
and nothing that runs already is used: each is started here, on addresses of its own, and ended.
"""
import contextlib
import os
import pathlib
import re
import shutil
import socket
import subprocess

from harness import machine
from harness.registry import Absent, Measure, subject
from harness.servers import daemon, process, round_trips, run, short_folder, wait_until

REQUESTS = 3000
STATUS_LENGTH = 92  # of a port, in the reply to type 6
DBUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><listen>unix:path={address}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
<allow own="*"/></policy></busconfig>
"""


def found(program, folders=""):
    path = shutil.which(program, path=f"{folders}:{os.environ['PATH']}:/usr/sbin:/sbin")
    if path is None:
        raise Absent(f"{pathlib.Path(program).name} is not installed")
    return path


def beside(name, title):
    """The three measures of one comparison, on the daemon; decorates the generator function of the other program."""
    def keep(other):
        @subject(f"beside_{name}", Measure(f"beside_{name}_p50", f"the daemon beside {title}: round trip p50", "us"),
                 Measure(f"beside_{name}_cpu", f"the daemon beside {title}: CPU a request", "us"),
                 Measure(f"beside_{name}_memory", f"the daemon beside {title}: resident memory", "kB"))
        def on_the_daemon(bench, tree):
            with daemon(bench, tree) as one:
                def sample():
                    told = round_trips(bench, one, kind=6, length=100, count=bench.count(REQUESTS, smoke=50))
                    return numbers(name, told["p50_us"], told["cpu_us"], [one.pid])
                yield sample

        return on_the_daemon.floor(title)(other)
    return keep


def numbers(name, p50_us, cpu_us, pids):
    return {f"beside_{name}_p50": p50_us, f"beside_{name}_cpu": cpu_us,
            f"beside_{name}_memory": sum(machine.memory_kb(pid)[0] for pid in pids)}


def sampler(name, pids, ask):
    """ask() runs the load program; the processes' main threads are beside it, like the daemon's."""
    for pid in pids:
        machine.pin_server(pid)

    def sample():
        before = sum(map(machine.run_ns, pids))
        told = ask()
        return numbers(name, told["p50_us"], (sum(map(machine.run_ns, pids)) - before) / 1000 / told["sent"], pids)
    return sample


def stream_sampler(bench, name, pids, address, request):
    """For a server on a stream: every reply is as long as the first."""
    kind, _, place = address.partition(":")
    with socket.socket(socket.AF_UNIX if kind == "unix" else socket.AF_INET) as one:
        one.connect(place if kind == "unix" else ("127.0.0.1", int(place)))
        one.sendall(request.encode() + b"\r\n")
        length = len(one.recv(4096))
    return sampler(name, pids, lambda: run(bench.tree.program("alternatives/stream_round_trips"), address, request, length,
                                           bench.count(REQUESTS, smoke=50)))


def answers(kind, address):
    def look():
        with socket.socket(kind) as one:
            return one.connect_ex(address) == 0
    return look


@beside("dbus", "a D-Bus service")
def dbus(bench):
    broker_program, service, client = (found("dbus-daemon"), bench.tree.program("alternatives/dbus_service"),
                                       bench.tree.program("alternatives/dbus_round_trips"))
    with short_folder() as folder:
        address = folder / "bus"
        (folder / "configuration").write_text(DBUS_CONFIGURATION.format(address=address))
        with process([broker_program, "--nofork", f"--config-file={folder / 'configuration'}"]) as broker:
            wait_until(answers(socket.AF_UNIX, str(address)), "the broker")
            with process([service, f"unix:path={address}"]) as one:
                def ask():
                    return run(client, f"unix:path={address}", bench.count(REQUESTS, smoke=50))
                wait_until(lambda: tries(lambda: run(client, f"unix:path={address}", 1, stderr=subprocess.DEVNULL)), "the service")
                yield sampler("dbus", [broker.pid, one.pid], ask)


def tries(command):
    try:
        return command()
    except subprocess.CalledProcessError:
        return None


@beside("ups", "a network UPS daemon")
def ups(bench):
    driver, server = found("dummy-ups", "/lib/nut"), found("upsd", "/lib/nut")
    with short_folder() as folder, contextlib.ExitStack() as running:
        folder.chmod(0o700)
        port = free_port()
        for name, text in (("nut.conf", "MODE=netserver\n"), ("ups.conf", "[dummy]\ndriver = dummy-ups\nport = dummy.dev\n"),
                           ("dummy.dev", "ups.load: 42\n"), ("upsd.conf", f"LISTEN 127.0.0.1 {port}\n"), ("upsd.users", "")):
            (folder / name).write_text(text)
            (folder / name).chmod(0o600)
        environment = {**os.environ, **dict.fromkeys(("NUT_CONFPATH", "NUT_STATEPATH", "NUT_ALTPIDPATH"), str(folder))}
        how = {"env": environment, "stderr": subprocess.DEVNULL}
        running.enter_context(process([driver, "-a", "dummy", "-u", "root", "-F"], **how))
        wait_until((folder / "dummy-ups-dummy").exists, "the UPS driver")
        one = running.enter_context(process([server, "-u", "root", "-F"], **how))
        wait_until(answers(socket.AF_INET, ("127.0.0.1", port)), "the UPS daemon")
        wait_until(lambda: re.match(b"VAR", ask_once(port)), "the UPS daemon to know its device")
        yield stream_sampler(bench, "ups", [one.pid], f"tcp:{port}", "GET VAR dummy ups.load")


def ask_once(port):
    with socket.create_connection(("127.0.0.1", port)) as one:
        one.sendall(b"GET VAR dummy ups.load\n")
        return one.recv(200)


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


@beside("store", "a key-value store")
def store(bench):
    server = found("redis-server")
    with short_folder() as folder:
        address = folder / "store"
        with process([server, "--port", "0", "--unixsocket", address, "--save", "", "--dir", folder]) as one:
            wait_until(answers(socket.AF_UNIX, str(address)), "the store")
            with socket.socket(socket.AF_UNIX) as client:
                client.connect(str(address))
                client.sendall(f"SET status {'x' * STATUS_LENGTH}\r\n".encode())
                assert client.recv(100) == b"+OK\r\n"
            yield stream_sampler(bench, "store", [one.pid], f"unix:{address}", "GET status")
