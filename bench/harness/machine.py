"""The machine: its description, and who runs on which processor.

The server's main thread and its client share the first processor that we may use; the server's other threads, the
virtual switch and the benchmark itself keep to the last.
"""
import os
import pathlib
import platform
import re
import subprocess

_ours = sorted(os.sched_getaffinity(0))
MEASURED_CPU = _ours[0]
OTHER_CPU = _ours[-1]


def stay_aside():
    """The benchmark and everything that it starts from now on."""
    os.sched_setaffinity(0, {OTHER_CPU})


def pin(thread, cpu):
    os.sched_setaffinity(thread, {cpu})


def threads_of(pid):
    return sorted(int(one) for one in os.listdir(f"/proc/{pid}/task"))


def pin_server(pid):
    """The main thread beside the client, the others aside."""
    for thread in threads_of(pid):
        pin(thread, MEASURED_CPU if thread == pid else OTHER_CPU)


def run_ns(pid, thread=None):
    """How long a thread (the main one unless said) has run on a processor so far, in nanoseconds."""
    return int(pathlib.Path(f"/proc/{pid}/task/{thread or pid}/schedstat").read_text().split()[0])


def memory_kb(pid):
    """Resident and private dirty memory, in kB."""
    text = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return tuple(int(re.search(rf"^{name}:\s+(\d+) kB", text, re.M)[1]) for name in ("Rss", "Private_Dirty"))


def description(compiler="c++"):
    info = pathlib.Path("/proc/cpuinfo").read_text()
    model = re.search(r"^model name\s*: (.*)$", info, re.M)
    version = subprocess.run([compiler, "--version"], stdout=subprocess.PIPE, text=True, check=True).stdout
    return {"cores": len(_ours), "cpu": model[1] if model else platform.machine(), "kernel": platform.release(),
            "compiler": version.splitlines()[0]}
