"""What a client that never reads costs the others: each of its requests may hold the daemon up for its bounded send."""
from harness.figures import VALUE
from harness.registry import Measure, subject
from harness.servers import daemon, deaf_client, floor, round_trips

REQUESTS = 50000
OTHERS = 2
# How often it asks. A round takes the others half a second: at the first rate its holds are rarer than one of their
# requests in a thousand, so that only the longest time tells of them; at the second they are several in a thousand.
EVERY_US = 50_000
OFTEN_EVERY_US = 5_000


def sample(name, bench, server):
    told = round_trips(bench, server, kind=6, length=100, count=bench.count(REQUESTS, smoke=500), clients=OTHERS)
    return {f"{name}_p99_9": told["p99_9_us"] / 1000, f"{name}_max": told["max_us"] / 1000}


def the_daemon(name, every_us, bench, tree):
    # Its pauses are the daemon's own, so time is not divided.
    with daemon(bench, tree, speed=100 if bench.is_smoke else 1) as one, deaf_client(bench, one, every_us):
        yield lambda: sample(name, bench, one)


def the_floor(name, every_us, bench):
    with floor(bench, "required_calls") as one, deaf_client(bench, one, every_us):
        yield lambda: sample(name, bench, one)


@subject("unread",
         Measure("unread_p99_9", "one client never reads: the others' p99.9", "ms", bar=0.2, aim=0.1, judged=VALUE),
         Measure("unread_max", "one client never reads: the others' longest", "ms", bar=2, aim=1.3, judged=VALUE))
def unread(bench, tree):
    yield from the_daemon("unread", EVERY_US, bench, tree)


@unread.floor("an echo with the required calls")
def unread_floor(bench):
    yield from the_floor("unread", EVERY_US, bench)


@subject("unread_often",
         Measure("unread_often_p99_9", "the same, when it asks 200 times a second: p99.9", "ms"),
         Measure("unread_often_max", "the same, when it asks 200 times a second: longest", "ms"))
def unread_often(bench, tree):
    yield from the_daemon("unread_often", OFTEN_EVERY_US, bench, tree)


@unread_often.floor("an echo with the required calls")
def unread_often_floor(bench):
    yield from the_floor("unread_often", OFTEN_EVERY_US, bench)
