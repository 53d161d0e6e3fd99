"""docs/ipc-protocol.md against the daemon: its table of messages, its worked example, its client."""
import re
import subprocess
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


# --- the tables and the header ----------------------------------------------------------------------------------------

HEADERS = ("ipc/protocol.h", "core/port_parameter_block.h")
TYPES = {"le16": "u16", "le32": "u32", "le64": "u64", "lef32": "f32", "std::uint8_t": "u8", "std::int8_t": "i8"}


def header_text():
    return "\n".join((PROJECT / "poe_drv" / name).read_text() for name in HEADERS)


def header_records():
    """The records of the wire, each with the names and types of its fields in their order."""
    records = {}
    for name, body in re.findall(r"^struct (\w+) \{(.*?)^\};", header_text(), re.MULTILINE | re.DOTALL):
        fields = re.findall(r"^    (?:std::array<(\w+), \w+>|([\w:]+)) (\w+)(?:\[\w+\])?;", body, re.MULTILINE)
        assert len(fields) == len(re.findall(r"^    [^/\n]*;", body, re.MULTILINE)), name
        records[name] = [(element or kind, field) for element, kind, field in fields]
    return records


def layouts(folder):
    """What the compiler makes of them: the size of each record, and the offset, size, type and name of its fields."""
    records = header_records()
    lines = [f'std::printf("{record}.{field} %zu %zu\\n", offsetof({record}, {field}), sizeof {record}::{field});'
             for record, fields in records.items() for _, field in fields]
    lines += [f'std::printf("{record} %zu\\n", sizeof({record}));' for record in records]
    (folder / "layouts.cpp").write_text('#include <cstdio>\n#include "ipc/protocol.h"\nint main() {\n' + "\n".join(lines) + "}\n")
    subprocess.run(["c++", "-std=c++20", "-I", PROJECT / "poe_drv", "-o", folder / "layouts", folder / "layouts.cpp"],
                   check=True)
    said = subprocess.run([folder / "layouts"], check=True, capture_output=True, text=True).stdout
    numbers = {name: tuple(map(int, rest.split())) for name, _, rest in (line.partition(" ") for line in said.splitlines())}
    return {record: (numbers[record][0], [(*numbers[f"{record}.{field}"], TYPES.get(kind, kind), field)
                                          for kind, field in fields]) for record, fields in records.items()}


def product(text):
    count, times, size = text.partition(" x ")
    return int(count) * int(size) if times else int(count)


def cells(row):
    return [cell.strip().strip("`") for cell in row.strip().strip("|").split("|")]


def documented_layouts():
    """The fields of each record as the tables say them: a table belongs to the record that the text before it names."""
    tables, messages = {}, {}
    lines = DOCUMENT.splitlines()
    for at, line in enumerate(lines):
        if line.startswith("| Offset | Size | Type | Field |"):
            before = "\n".join(lines[max(0, at - 4):at]).rpartition("\n#")[2]
            record = [name for name in re.findall(r"`(\w+)`", before) if name in header_records()][-1]
            assert record not in tables, record
            tables[record] = []
            for row in lines[at + 2:]:
                if not row.startswith("|"):
                    break
                offset, size, kind, field = cells(row)[:4]
                tables[record].append((int(offset), product(size), kind, field))
        if line.startswith("| Message | Bytes | Offset |"):
            for row in lines[at + 2:]:
                if not row.startswith("|"):
                    break
                message, length, offset, size, kind, field = cells(row)
                if message:
                    last = message
                    messages[last] = (int(length), [])
                messages[last][1].append((int(offset), product(size), kind, field))
    return tables, messages


def test_every_table_is_what_the_header_says(tmp_path):
    envelope = (0, 8, "ipc_envelope", "envelope")
    tables, messages = documented_layouts()
    in_the_header = layouts(tmp_path)
    assert set(tables) | set(messages) == set(in_the_header) and not set(tables) & set(messages)
    for record, fields in tables.items():
        size, expected = in_the_header[record]
        assert ([envelope] if envelope in expected else []) + fields == expected, record
        assert fields[-1][0] + fields[-1][1] == size, record
    for record, (length, fields) in messages.items():
        assert (length, [envelope] + fields) == in_the_header[record], record


def header_messages(folder):
    """(type, direction): length, as the comments of the header's records say."""
    sizes = {record: size for record, (size, _) in layouts(folder).items()}
    lengths = {}
    for record, comment in re.findall(r"^struct (\w+_message) \{ +// (.*)", header_text(), re.MULTILINE):
        for types, directions in re.findall(r"types? (\d+(?:(?:, | and )(?:type )?\d+)*) ((?:requests?|reply)(?: and reply)?)",
                                            comment):
            for kind in map(int, re.findall(r"\d+", types)):
                for direction in re.findall(r"request|reply", directions):
                    assert (kind, direction) not in lengths, kind
                    lengths[kind, direction] = sizes[record]
    return lengths


def test_the_table_of_messages_is_what_the_header_says(tmp_path):
    enumerators = dict(re.findall(r"^    (\w+) = (\d+),", header_text(), re.MULTILINE))
    rows = message_table()
    assert [row[0] for row in rows] == sorted(map(int, enumerators.values()))
    lengths = header_messages(tmp_path)
    constants = {name: int(value) for name, value in re.findall(r"std::uint8_t (\w+_reply_type) = (\d+);", header_text())}
    exceptions = {int(enumerators["get_one_port_stu"]): constants["one_port_stu_reply_type"],
                  int(enumerators["get_all_port_stu"]): constants["all_port_stu_reply_type"]}
    for kind, length, reply_kind, reply_length in rows:
        assert length == lengths.pop((kind, "request"), None), kind
        assert reply_kind == exceptions.get(kind, kind), kind
        assert reply_length == lengths.pop((kind, "reply"), 8), kind
    assert not lengths


def test_the_accepted_values_are_the_daemons_limits():
    limits = {name: int(value) for name, value in re.findall(
        r"constexpr std::\w+ (\w+) = (\d+);", (PROJECT / "poe_drv/core/parameter_limits.h").read_text())}
    accepted = {cells(row)[3]: cells(row)[5] for row in re.findall(r"^\| \d+ \| \d \| [iu]\d+ \| `\w+` \|.*\|.*\|$", DOCUMENT,
                                                                   re.MULTILINE) if len(cells(row)) == 6}
    expected = {"Power_Priority": "-1, {highest_priority}..{lowest_priority}", "PoE_Mode": "-1, 0..{highest_poe_mode}",
                "Re_Enable_Val": "-1, {lowest_re_enable_s}..{highest_re_enable_s}",
                "Power_Limit_Val": "0xFFFFFFFF, {lowest_power_limit}..{highest_power_limit}",
                "usage_threshold": "-1, {lowest_usage_threshold}..{highest_usage_threshold}"}
    assert {name: accepted[name] for name in expected} == {name: text.format(**limits) for name, text in expected.items()}
