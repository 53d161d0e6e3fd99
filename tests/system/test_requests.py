"""Every request of the client protocol, byte by byte: types, lengths, replies, refusals and silences."""
import re
import struct

import pytest

from messages import REJECTED, block, get_port_parameters, get_port_statistics, get_port_status, request

# type, type byte of the reply, length of the reply
SERVED_AT_ANY_LENGTH = [
    (0, 0, 16), (2, 2, 56), (5, 5, 28), (7, 1, 376), (11, 11, 396), (12, 12, 80), (13, 13, 12), (14, 14, 12), (15, 15, 44),
    (16, 16, 9), (18, 18, 168),
]

# type, length, text when it has another, type byte of the reply, length of the reply
SERVED_AT_ONE_LENGTH = [
    (1, 20, "get-one-port-pmt size error!", 1, 20),
    (6, 100, "get-one-port-stu size error!", 134, 100),
    (17, 2352, "T_POE_IPC_ONE_PORT_STATS size error!", 17, 2352),
    (83, 9, "T_POE_IPC_PORT_STATS_CLEAR size error!", 83, 8),
    (128, 16, "set-sys-pwr-pmt size error!", 128, 8),
    (129, 20, "set-one-port-pmt size error!", 129, 8),
    (130, 56, "set-all-port-pmt size error!", 130, 8),
    (132, 20, "set-all-port-same-pmt size error!", 132, 8),
    (137, 12, "set-one-port-sch-on-off size error!", 137, 8),
    (138, 24, "set-all-port-sch-on-off size error!", 138, 8),
    (142, 12, "set-pwr-bnk-pmt size error!", 142, 8),
    (143, 9, "set-pwr-bnk-pmt size error!", 143, 8),
    (144, 9, "T_POE_IPC_PORT_STATS_CFG size error!", 144, 8),
    (148, 12, "DEF_POE_IPC_PMT_HTYPE_FAKE_PORT_STATS size error!", 148, 8),
]

SERVED = {row[0] for row in SERVED_AT_ANY_LENGTH} | {row[0] for row in SERVED_AT_ONE_LENGTH}
LONGEST = 2352
SYSTEM_PARAMETERS = bytes.fromhex("0000000000000000 0100005f00000000".replace(" ", ""))


@pytest.fixture
def world(make_world):
    return make_world(speed=1000)


@pytest.fixture
def client(world):
    return world.client()


def unanswered(client, *requests):
    """True when none of the requests gets a reply: they are served in order, so the next one's comes first."""
    for one in requests:
        client.send(one)
        client.send(b"\0")
        if client.receive() != SYSTEM_PARAMETERS:
            return False
    return True


# --- types and lengths ------------------------------------------------------------------------------------------------


def test_queries_without_a_length_are_served_whatever_their_length(client):
    for kind, reply_kind, reply_length in SERVED_AT_ANY_LENGTH:
        for length in (1, 2, 7, 8, 9, 16, 100, LONGEST, LONGEST + 1, 5000):
            client.send(bytes([kind]) + b"\xff" * (length - 1))
            reply = client.receive()
            assert (len(reply), reply[0], reply[1:8]) == (reply_length, reply_kind, bytes(7)), (kind, length)


def test_requests_with_a_length_are_served_at_that_length(client):
    payloads = {129: block(0, enable=0), 130: b"".join(block(port, enable=0) for port in range(4)),
                132: block(0, 0, 3, 0, 2, 10, 900), 138: b"".join(bytes([port, 1, 0, 0]) for port in range(4))}
    for kind, length, _, reply_kind, reply_length in SERVED_AT_ONE_LENGTH:
        client.send(request(kind, payloads.get(kind, b"").ljust(length - 8, b"\0")) if kind != 128 else
                    request(128, bytes([1, 0, 0, 95, 0, 0, 0, 0])))
        reply = client.receive()
        assert (len(reply), reply[0], reply[1:8]) == (reply_length, reply_kind, bytes(7)), kind


def test_a_request_of_another_length_is_said_and_not_answered(world, client):
    for kind, length, text, _, _ in SERVED_AT_ONE_LENGTH:
        before = len(world.stderr_lines())
        wrong = [one for one in (1, 7, 8, length - 1, length + 1, 2000, LONGEST) if one != min(length, LONGEST)]
        wrong = [one for one in wrong if not (kind == 17 and one >= LONGEST)]
        assert unanswered(client, *(request(kind).ljust(one, b"\1")[:one] for one in wrong)), kind
        said = world.stderr_lines()[before:]
        assert len(said) == len(wrong), (kind, said)
        for line in said:
            assert re.fullmatch(r"\[poe_drv\.c , poe_rx_ipc_content_process\(\) , \d+\]: " + re.escape(text), line), line


def test_a_type_129_request_of_19_or_21_bytes_changes_nothing(world, client):
    good = request(129, block(0, priority=1))
    assert unanswered(client, good[:19], good + b"\0")
    assert world.ask(get_port_parameters(0))[10] == 3


def test_a_statistics_request_that_is_too_long_is_cut_and_served(client):
    client.send(get_port_statistics(3) + b"\xff" * 1000)
    reply = client.receive()
    assert len(reply) == 2352 and reply[:12] == bytes([17, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0])


def test_other_types_get_neither_a_reply_nor_a_line(world, client):
    before = world.stderr_lines()
    others = [kind for kind in range(256) if kind not in SERVED]
    assert len(others) == 256 - 25 and {3, 4, 8, 9, 10, 131, 134, 255} <= set(others)
    for length in (1, 8, 20, LONGEST):
        assert unanswered(client, *(bytes([kind]).ljust(length, b"\0") for kind in others))
    assert world.stderr_lines() == before


def test_reserved_bytes_and_the_result_byte_of_a_request_are_ignored(world, client):
    for plain in (get_port_parameters(2), get_port_status(2), get_port_statistics(2), request(129, block(2, priority=2)),
                  request(16), request(143, b"\0")):
        client.send(plain)
        client.send(plain[:1] + b"\xff" * 7 + plain[8:])
        assert client.receive() == client.receive(), plain[0]


def test_requests_are_answered_in_the_order_of_arrival(client):
    kinds = [16, 0, 13, 14, 5, 2]
    for kind in kinds:
        client.send(bytes([kind]))
    assert [client.receive()[0] for _ in kinds] == kinds


# --- what stands in the replies ---------------------------------------------------------------------------------------


def test_the_system_parameters_start_at_their_defaults(world):
    assert world.ask(b"\0") == SYSTEM_PARAMETERS


def test_port_parameters_start_at_their_defaults(world):
    for port in range(4):
        defaults = bytes([port, 0, 3, 0, 2, 10, 0, 0]) + struct.pack("<I", 900)
        assert world.ask(get_port_parameters(port)) == request(1, defaults)
        assert world.ask(bytes([2]))[8 + 12 * port:20 + 12 * port] == defaults


def test_one_ports_parameters_are_those_of_the_port_in_the_payload_alone(world):
    assert world.ask(bytes([1, 9, 9, 9, 9, 9, 9, 9, 3]) + b"\xff" * 11)[8:12] == bytes([3, 0, 3, 0])


def test_the_power_bank_starts_at_the_budget(make_world):
    assert make_world(speed=1000).ask(bytes([14])) == request(14, struct.pack("<HH", 300, 0))
    small = make_world(speed=1000, tmp={"poe_external_set_power_budget.txt": "240"})
    assert small.ask(bytes([14])) == request(14, struct.pack("<HH", 240, 0))


def test_the_system_status_is_the_budget_and_what_is_left_of_it(world):
    total, consumed, remaining, _, alarm = struct.unpack("<5I", world.ask(bytes([5]))[8:])
    assert (total, consumed, remaining, alarm) == (300_000, 0, 300_000, 0)


def test_the_re_enable_state_tells_a_tick_that_counts(world):
    def tick():
        reply = world.ask(bytes([15]))
        assert reply[:8] == request(15) and reply[12:] == bytes(32)
        return struct.unpack("<I", reply[8:12])[0]

    first = tick()
    world.wait_for("the tick to count", lambda: tick() > first)


@pytest.fixture
def delivering(world):
    """Port 1 (the panel's 2) powers a device of class 4 with 12.5 W; nothing more changes."""
    world.vswitch("plug", "2", "--class", "4", "--load", "12.5")
    world.ask(request(129, block(1, enable=1)))
    world.wait_for("power", lambda: world.ask(get_port_status(1))[16] == 1 and world.ask(bytes([5]))[12] != 0)
    return world


def test_a_delivering_port_is_told_field_by_field(delivering):
    volts, milliamperes, milliwatts = struct.pack("<I", 53_800), struct.pack("<I", 232), struct.pack("<I", 12_481)
    reply = delivering.wait_for("the measurements", lambda: (lambda now: now[28:32] == milliamperes and now)(
        delivering.ask(get_port_status(1))))
    assert reply[:8] == bytes([134, 0, 0, 0, 0, 0, 0, 0])
    assert reply[8:16] == bytes([1, 1, 0, 1, 4, 255, 0, 0])
    assert reply[16:24] == struct.pack("<II", 1, 0)
    assert reply[24:36] == volts + milliamperes + milliwatts
    assert 20_000 < struct.unpack("<I", reply[36:40])[0] < 60_000
    assert reply[40:60] == bytes([4, 255, 0, 0]) + struct.pack("<I", 1) + volts + milliamperes + milliwatts
    assert reply[60:80] == bytes([0, 255, reply[62], 0]) + struct.pack("<4I", 2, 0, 0, 0)
    assert reply[80:100] == bytes(20)


def test_the_three_status_replies_agree(delivering):
    with delivering.frozen_controller():
        ports = [delivering.ask(get_port_status(port)) for port in range(4)]
        everything, combined, system = (delivering.ask(bytes([kind])) for kind in (7, 11, 5))
    assert [reply[8] for reply in ports] == [0, 1, 2, 3]
    assert everything == bytes([1, 0, 0, 0, 0, 0, 0, 0]) + b"".join(reply[8:] for reply in ports)
    assert combined == bytes([11, 0, 0, 0, 0, 0, 0, 0]) + system[8:28] + b"".join(reply[8:] for reply in ports)


def test_queries_are_answered_while_the_controller_hangs(world):
    with world.frozen_controller():
        for kind, reply_kind, reply_length in SERVED_AT_ANY_LENGTH:
            reply = world.ask(bytes([kind]))
            assert (reply[0], len(reply)) == (reply_kind, reply_length)


def event_totals(world):
    return struct.unpack("<5I", world.ask(get_port_status(1))[80:])


def test_event_totals_are_in_the_order_of_the_protocol(delivering):
    # Overloads, short circuits, denials of power, disconnected devices, bad signatures.
    delivering.vswitch("unplug", "2")
    delivering.wait_for("the disconnection", lambda: event_totals(delivering) == (0, 0, 0, 1, 0))
    delivering.vswitch("plug", "2", "--class", "4", "--broken", "overload")
    delivering.wait_for("the overload", lambda: event_totals(delivering)[0] > 0)
    delivering.vswitch("plug", "2", "--class", "4", "--broken", "short")
    delivering.wait_for("the short circuit", lambda: event_totals(delivering)[1] > 0)
    assert event_totals(delivering)[2:] == (0, 1, 0)


def test_event_totals_sum_what_the_controller_counts(delivering):
    for expected, number, count in (((7, 0, 0, 0, 0), 2, 7), ((7, 9, 0, 0, 0), 3, 9), ((7, 9, 11, 0, 0), 5, 11),
                                    ((7, 9, 11, 13, 0), 1, 13), ((7, 9, 11, 13, 255), 4, 255), ((9, 9, 11, 13, 255), 2, 2)):
        delivering.vswitch("event", "2", number, count)
        delivering.wait_for("the total", lambda: event_totals(delivering) == expected)


# --- refusals ---------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("port", [4, 5, 127, 128, 255])
def test_a_port_that_does_not_exist_gets_an_empty_reply_of_full_length(world, port):
    refused = bytes([0, 0, 0, 0, 0, 0, REJECTED])
    assert world.ask(get_port_parameters(port)) == bytes([1]) + refused + bytes(12)
    assert world.ask(get_port_status(port)) == bytes([134]) + refused + bytes(92)
    assert world.ask(get_port_statistics(port)) == bytes([17]) + refused + bytes(2344)


@pytest.mark.parametrize("port", [256, 0x01000000, 0x80000000, 0xFFFFFFFF])
def test_the_port_of_a_statistics_request_is_a_whole_word(world, port):
    assert world.ask(get_port_statistics(port)) == bytes([17, 0, 0, 0, 0, 0, 0, REJECTED]) + bytes(2344)


# --- the controller link and the set queue ----------------------------------------------------------------------------


def counters_of(reply):
    assert reply[:8] == bytes([12, 0, 0, 0, 0, 0, 0, 0])
    return struct.unpack("<9Q", reply[8:])


def test_the_communication_counters_are_nine_64_bit_numbers(world):
    with world.frozen_controller():
        counters = counters_of(world.ask(bytes([12])))
    # One transaction hangs; every other one was executed.
    assert counters[0] > 20 and counters[0] - counters[4] in (0, 1)
    assert counters[1:4] + counters[5:] == (0,) * 7


@pytest.mark.parametrize("fault, counter", [
    (["no-answer"], 1), (["no-answer"], 2), (["checksum"], 3), (["key-b"], 5), (["key-a"], 8)])
def test_each_fault_of_the_link_is_counted_in_its_place(world, fault, counter):
    world.vswitch("fault", *fault)
    counters = world.wait_for("the count", lambda: (lambda now: now[counter] and now)(counters_of(world.ask(bytes([12])))))
    world.vswitch("fault", "clear")
    assert counters[6] == counters[7] == 0


def test_the_high_water_mark_starts_at_0(world):
    assert world.ask(bytes([13])) == request(13, bytes(4))


def test_the_high_water_mark_is_the_most_that_ever_waited_at_once(world):
    with world.frozen_controller():
        for waiting in (1, 2, 3):
            world.ask(request(142, struct.pack("<HH", 100 + waiting, 0)))
            assert world.ask(bytes([13])) == request(13, struct.pack("<I", waiting))
    world.wait_for("the queue to drain", lambda: world.ask(bytes([14]))[8] == 103)
    world.ask(request(142, struct.pack("<HH", 200, 0)))
    assert world.ask(bytes([13])) == request(13, struct.pack("<I", 3))
