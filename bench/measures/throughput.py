"""Requests a second with eight in flight."""
from harness.figures import MORE
from harness.registry import Measure, subject
from harness.servers import daemon, floor, round_trips

REQUESTS = 20000
IN_FLIGHT = 8


def sample(bench, server):
    told = round_trips(bench, server, kind=6, length=100, count=bench.count(REQUESTS, smoke=100), in_flight=IN_FLIGHT)
    return {"throughput": told["per_second"]}


@subject("throughput", Measure("throughput", "queries a second, eight in flight", "/s", bar=0.93, aim=1.00, better=MORE))
def throughput(bench, tree):
    with daemon(bench, tree) as one:
        yield lambda: sample(bench, one)


@throughput.floor("an echo with the required calls")
def throughput_floor(bench):
    with floor(bench, "required_calls") as one:
        yield lambda: sample(bench, one)
