"""The daemon's rooms in a process of the benchmark's: sweeps against bare calls of the device, and the set queue."""
from harness.registry import Measure, subject
from harness.servers import run

BURST = 100000

# Device, sweeps a round in a normal and in a smoke run.
SWEEPS = {"instant": (20000, 100), "system_call": (5000, 100), "bus": (5, 1)}
LIMITS = {"instant": {"bar": 12, "aim": 6}, "system_call": {"bar": 1.25, "aim": 1.10}, "bus": {"bar": 1.01, "aim": 1.00}}
TITLES = {"instant": "in this process", "system_call": "behind a cheap system call", "bus": "on a 2.4 ms bus"}


def sample(name, bench, tree, who, device):
    told = run(tree.program("inside/sweep"), who, device, bench.count(*SWEEPS[device]))
    return {name: told["us"]}


def declare(device):
    name = f"sweep_{device}"

    @subject(name, Measure(name, f"sweep of four powered ports, device {TITLES[device]}", "us", **LIMITS[device]))
    def sweep(bench, tree):
        yield lambda: sample(name, bench, tree, "daemon", device)

    @sweep.floor("23 bare calls of the device")
    def bare(bench):
        yield lambda: sample(name, bench, bench.tree, "bare", device)


for one in SWEEPS:
    declare(one)


@subject("control_calls", Measure("control_calls", "control: bare calls of the device against themselves", "us"), control=True)
def control_calls(bench, tree):
    yield lambda: sample("control_calls", bench, tree, "bare", "system_call")


@subject("queue_depth", Measure("queue_push", f"a setting queued behind {BURST:,} others, against the first 1,000", "ns",
                                bar=1.3, aim=1.0))
def queue_depth(bench, tree):
    yield lambda: {"queue_push": run(tree.program("inside/queue"))["last_ns"]}


@queue_depth.floor("the first 1,000")
def queue_start(bench):
    yield lambda: {"queue_push": run(bench.tree.program("inside/queue"))["first_ns"]}


@subject("queue", Measure("queue_record", "memory of a queued setting", "B", bar=88, aim=80),
         Measure("queue_record_resident", "the same, as resident memory", "B", bar=88, aim=80),
         Measure("queue_drain", f"draining {BURST:,} queued settings, queue work alone", "ms", bar=10, aim=3))
def queue(bench, tree):
    def sample_queue():
        told = run(tree.program("inside/queue"))
        return {"queue_record": told["record_bytes"], "queue_record_resident": told["resident_bytes"],
                "queue_drain": told["drain_ms"]}
    yield sample_queue
