"""A query's round trip with one in flight, and the server's processor time for it, by type."""
from harness.registry import Measure, subject
from harness.servers import daemon, floor, round_trips

REQUESTS = 10000
OTHER_THREADS = 2
MADE_UP_MINUTES = 7 * 24 * 60  # fills all three rings

# type: length of the request
SHORT_QUERIES = {0: 8, 6: 100, 11: 8}
HISTORY_QUERY = {17: 2352}

P50 = {"unit": "us", "bar": 1.08, "aim": 1.00}
CPU = {"unit": "us", "bar": 1.12, "aim": 1.03}


def measures_of(queries, p50, cpu):
    for kind in queries:
        yield Measure(f"type_{kind}_p50", f"query type {kind}, round trip p50", **p50)
        yield Measure(f"type_{kind}_cpu", f"query type {kind}, CPU a request", **cpu)


def sample(bench, server, queries):
    numbers = {}
    for kind, length in queries.items():
        told = round_trips(bench, server, kind=kind, length=length, count=bench.count(REQUESTS, smoke=100))
        numbers |= {f"type_{kind}_p50": told["p50_us"], f"type_{kind}_cpu": told["cpu_us"]}
    return numbers


@subject("queries", *measures_of(SHORT_QUERIES, P50, CPU))
def queries(bench, tree):
    with daemon(bench, tree) as one:
        yield lambda: sample(bench, one, SHORT_QUERIES)


@queries.floor("an echo with the required calls")
def queries_floor(bench):
    with floor(bench, "required_calls") as one:
        yield lambda: sample(bench, one, SHORT_QUERIES)


@subject("history", *measures_of(HISTORY_QUERY, {"unit": "us", "bar": 1.25, "aim": 1.10}, {"unit": "us"}))
def history(bench, tree):
    with daemon(bench, tree) as one:
        one.world.ask(bytes([148, 0, 0, 0, 0, 0, 0, 0]) + MADE_UP_MINUTES.to_bytes(4, "little"))
        yield lambda: sample(bench, one, HISTORY_QUERY)


@history.floor("an echo with the required calls")
def history_floor(bench):
    with floor(bench, "required_calls") as one:
        yield lambda: sample(bench, one, HISTORY_QUERY)


def calls_sample(name, bench, server):
    told = round_trips(bench, server, kind=6, length=100, count=bench.count(REQUESTS, smoke=100))
    return {f"{name}_p50": told["p50_us"], f"{name}_cpu": told["cpu_us"]}


@subject("required_calls", Measure("required_calls_p50", "the required calls, round trip p50", "us"),
         Measure("required_calls_cpu", "the required calls, CPU a request", "us"))
def required_calls(bench, _):
    """What the required calls themselves cost, against the barest echo there can be."""
    with floor(bench, "required_calls") as one:
        yield lambda: calls_sample("required_calls", bench, one)


@required_calls.floor("the barest echo")
def barest_echo(bench):
    with floor(bench, "echo") as one:
        yield lambda: calls_sample("required_calls", bench, one)


@subject("among_threads", Measure("among_threads_p50", "the required calls among three threads, round trip p50", "us"),
         Measure("among_threads_cpu", "the required calls among three threads, CPU a request", "us"))
def among_threads(bench, _):
    """What it costs a server that it is one of three threads, as the daemon's main thread must be."""
    with floor(bench, "required_calls", OTHER_THREADS) as one:
        yield lambda: calls_sample("among_threads", bench, one)


@among_threads.floor("an echo with the required calls")
def alone(bench):
    with floor(bench, "required_calls") as one:
        yield lambda: calls_sample("among_threads", bench, one)
