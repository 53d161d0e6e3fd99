"""A program against itself, which must come out at 1: two processes of each, measured in turn like everything else."""
from harness.registry import Measure, subject
from harness.servers import daemon, floor, round_trips

REQUESTS = 10000
TYPE_6 = {"kind": 6, "length": 100}


@subject("control_floor", Measure("control_floor_p50", "control: the floor against itself, p50", "us"),
         Measure("control_floor_cpu", "control: the floor against itself, CPU a request", "us"), control=True)
def control_floor(bench, _):
    with floor(bench, "required_calls") as one:
        yield lambda: sample("control_floor", bench, one)


@subject("control_daemon", Measure("control_daemon_p50", "control: the daemon against itself, p50", "us"),
         Measure("control_daemon_cpu", "control: the daemon against itself, CPU a request", "us"), control=True)
def control_daemon(bench, tree):
    with daemon(bench, tree) as one:
        yield lambda: sample("control_daemon", bench, one)


def sample(name, bench, server):
    told = round_trips(bench, server, count=bench.count(REQUESTS, smoke=100), **TYPE_6)
    return {f"{name}_p50": told["p50_us"], f"{name}_cpu": told["cpu_us"]}
