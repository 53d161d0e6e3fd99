"""What a client that never reads costs the others: each of its requests may hold the daemon up for its bounded send."""
from harness.figures import VALUE
from harness.registry import Measure, subject
from harness.servers import daemon, deaf_client, floor, round_trips

REQUESTS = 50000
OTHERS = 2
EVERY_US = 50_000  # 20 requests a second that nobody reads the replies of


def sample(bench, server):
    told = round_trips(bench, server, kind=6, length=100, count=bench.count(REQUESTS, smoke=500), clients=OTHERS)
    return {"unread_p99_9": told["p99_9_us"] / 1000, "unread_max": told["max_us"] / 1000}


@subject("unread",
         Measure("unread_p99_9", "one client never reads: the others' p99.9", "ms", bar=0.2, aim=0.1, judged=VALUE),
         Measure("unread_max", "one client never reads: the others' longest", "ms", bar=2, aim=1.3, judged=VALUE))
def unread(bench, tree):
    # Its pauses are the daemon's own, so time is not divided.
    with daemon(bench, tree, speed=100 if bench.is_smoke else 1) as one, deaf_client(bench, one, EVERY_US):
        yield lambda: sample(bench, one)


@unread.floor("an echo with the required calls")
def unread_floor(bench):
    with floor(bench, "required_calls") as one, deaf_client(bench, one, EVERY_US):
        yield lambda: sample(bench, one)
