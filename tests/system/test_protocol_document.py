"""docs/ipc-protocol.md against the daemon: its table of messages, its worked example, its client."""
import re
import sys

import pytest

from messages import request
from world import PROJECT

DOCUMENT = (PROJECT / "docs/ipc-protocol.md").read_text(encoding="utf-8")


@pytest.fixture
def world(make_world):
    return make_world(speed=1000)


def message_table():
    """Type, length of the request (None: any), type byte and length of the reply, a row each."""
    rows = re.findall(r"^\| (\d+) \| [^|]+ \| (any|\d+) \| \**(\d+)\** \| (\d+) \|", DOCUMENT, re.MULTILINE)
    return [(int(kind), None if length == "any" else int(length), int(reply_kind), int(reply_length))
            for kind, length, reply_kind, reply_length in rows]


def example_messages():
    """Each run of hexadecimal lines of the worked example, as bytes."""
    example = DOCUMENT[DOCUMENT.index("## A worked example"):DOCUMENT.index("A whole client in Python")]
    messages = [b""]
    for line in example.splitlines():
        hexadecimal = re.match(r"    ((?:[0-9a-f]{2}(?: +|$))+)", line)
        if hexadecimal:
            messages[-1] += bytes.fromhex(hexadecimal[1])
        elif messages[-1]:
            messages.append(b"")
    return [message for message in messages if message]


def test_the_table_names_every_message_with_the_reply_that_it_gets(world):
    table = message_table()
    assert [row[0] for row in table] == [0, 1, 2, 5, 6, 7, 11, 12, 13, 14, 15, 16, 17, 18, 83, 128, 129, 130, 132, 137, 138,
                                         142, 143, 144, 148]
    for kind, length, reply_kind, reply_length in table:
        # Nothing but zeros is a request for port 0, or one that is rejected; both get a reply of full length.
        reply = world.ask(bytes([kind]) if length is None else bytes([kind]).ljust(length, b"\0"))
        assert (reply[0], len(reply)) == (reply_kind, reply_length), kind


def test_the_worked_example_is_what_the_daemon_says(world):
    enable, accepted, rejected, query, parameters = example_messages()
    assert [len(message) for message in (enable, accepted, rejected, query, parameters)] == [20, 8, 8, 20, 20]
    assert world.ask(query) == parameters
    assert world.ask(enable) == accepted
    assert world.ask(enable[:8] + b"\4" + enable[9:]) == rejected
    world.wait_for("the change", lambda: world.ask(query) == request(1, parameters[8:9] + b"\1" + parameters[10:16] +
                                                                     enable[16:]))


def test_the_whole_client_works(world):
    program = re.search(r"```python\n(.*?)```", DOCUMENT, re.DOTALL)[1]
    before = sorted(world.tmp.iterdir())
    done = world.exec(sys.executable, "-c", program)
    assert (done.returncode, done.stderr) == (0, ""), done
    lines = done.stdout.splitlines()
    assert lines[0] == "accepted" and len(lines) == 5
    for port, line in enumerate(lines[1:]):
        assert re.fullmatch(rf"port {port}: status \d+, \d+\.\d+ W", line), line
    assert sorted(world.tmp.iterdir()) == before
