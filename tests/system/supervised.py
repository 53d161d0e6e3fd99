"""What the tests of the supervision say to a switch and look at: requests, dictated controller answers, frames, replies.

Ports are 0 to 3 here, as in the protocol and in the frames; the virtual switch's own words count from 1.
"""
import struct

KEEP = 0xFF
KEEP_LIMIT = 0xFFFFFFFF
START_UP_TRAP_FLAG = "poe_send_start_up_trap"

SYSTEM_BLOCK = slice(8, 28)
PORT_BLOCK_SIZE = 92


# --- requests ---------------------------------------------------------------------------------------------------------


def request(kind, payload):
    return bytes([kind]) + bytes(7) + bytes(payload)


def port_block(port, *, enable=KEEP, priority=KEEP, schedule=KEEP, mode=KEEP, seconds=KEEP, limit=KEEP_LIMIT):
    return struct.pack("<6B2xI", port, enable, priority, schedule, mode, seconds, limit)


def set_port(port, **settings):
    return request(129, port_block(port, **settings))


def set_every_port(*blocks):
    return request(130, b"".join(blocks))


def set_system(enable=KEEP, byte_1=KEEP, byte_2=KEEP, threshold=KEEP, byte_4=KEEP, byte_5=KEEP):
    return request(128, [enable, byte_1, byte_2, threshold, byte_4, byte_5, 0, 0])


def set_schedule(port, state):
    return request(137, [port, state, 0, 0])


def set_bank(watts, second=0):
    return request(142, struct.pack("<HH", watts, second))


def power_cycle(*ports):
    return request(143, [sum(1 << port for port in ports)])


def tell(world, *requests):
    """Configuration requests, each accepted."""
    for one in requests:
        assert world.ask(one) == bytes([one[0]]) + bytes(7), one.hex()


def apply(world, *requests):
    """The settings that the controller got for these requests, once they are applied and recorded."""
    before = newest_frame(world)
    tell(world, *requests)
    let_sweeps_pass(world)
    return settings_after(world, before)


def enable(world, *ports, **settings):
    apply(world, *[set_port(port, enable=1, **settings) for port in ports])


# --- replies ----------------------------------------------------------------------------------------------------------


def combined(world):
    """The system status block and the four port status blocks, of one moment."""
    reply = world.ask(request(11, bytes(388)))
    assert len(reply) == 396 and reply[:8] == bytes([11]) + bytes(7), reply[:8]
    ports = [reply[28 + PORT_BLOCK_SIZE * port:][:PORT_BLOCK_SIZE] for port in range(4)]
    return reply[SYSTEM_BLOCK], ports


def system_status(world):
    """Total, consumed and remaining power in mW, the supply figure, the alarm flag."""
    return struct.unpack("<4IB3x", combined(world)[0])


def port_status(world, port):
    return combined(world)[1][port]


def status_code(world, port):
    return struct.unpack_from("<I", port_status(world, port), 8)[0]


def channel_codes(world, port):
    block = port_status(world, port)
    return struct.unpack_from("<I", block, 36)[0], struct.unpack_from("<I", block, 56)[0]


def is_auto_off(world, port):
    return struct.unpack_from("<I", port_status(world, port), 12)[0] == 1


def event_totals(world, port):
    return list(struct.unpack_from("<5I", port_status(world, port), 72))


def port_parameters(world, port):
    """enable, priority, schedule, mode, seconds, limit"""
    return struct.unpack("<x5B2xI", world.ask(request(1, [port] + [0] * 11))[8:])


def re_enable_state(world):
    """The tick of the moment, and each port's pending flag and tick."""
    reply = world.ask(request(15, bytes(36)))
    return struct.unpack_from("<I", reply, 8)[0], [struct.unpack_from("<B3xI", reply, 12 + 8 * k) for k in range(4)]


# --- the controller ---------------------------------------------------------------------------------------------------


def dictate(world, key, port, *data):
    """Every answer to this key for this port holds these bytes from byte 3 on."""
    answer = [port, *data] + [0] * (8 - len(data))
    world.vswitch("answer", f"{key:02x}", port + 1, *[f"{byte:02x}" for byte in answer])


def dictate_port(world, port, *, state, detail=0, pair_type=1):
    dictate(world, 0x42, port, state, detail, 0, 0, pair_type)


def dictate_channels(world, port, *, a=0, b=0, error=(0, 0), sub_status=(0, 0), power_class=(0, 0)):
    dictate(world, 0x4E, port, sub_status[0], power_class[0], error[0], a, sub_status[1], power_class[1], error[1], b)


def dictate_events(world, port, first=0, second=0, third=0, fourth=0, fifth=0):
    dictate(world, 0x45, port, first, second, third, fifth, fourth)


def plug_what_draws_no_power(world, port):
    """An ordinary linked device."""
    world.vswitch("plug", port + 1, "--broken", "bad-signature")
    world.vswitch("link", port + 1, "up")


def let_it_be_switched_off(world, port):
    """Auto-off, marked and shown."""
    plug_what_draws_no_power(world, port)
    enable(world, port)
    world.wait_for("the mark", lambda: is_auto_off(world, port) and status_code(world, port) == 13)


# --- frames -----------------------------------------------------------------------------------------------------------


def frame(key, selector, *data):
    """A request: what it does not use is 0xFF, and the last byte is the sum of the others."""
    body = bytes([key, selector, *data]).ljust(11, b"\xff")
    return body + bytes([sum(body) % 256])


def port_setting(key, *pairs):
    return frame(key, 0, *[byte for pair in pairs for byte in pair])


def inline_mode(port, mode):
    keys = (0x08, 0x0F, 0x0C, 0x12, 0x18)
    values = {0: (0, 2, 0, 1), 1: (0, 2, 3, 1), 2: (0, 2, 6, 1), 3: (0, 2, 6, 2), 4: (2, 0, 6, 2, 3)}[mode]
    return [port_setting(key, (port, value)) for key, value in zip(keys, values)]


def whole_port(port, power, limit, priority, mode):
    """Power, limit in 0.4 W, the controller's priority code, and the inline mode."""
    return [port_setting(0x01, (port, power)), port_setting(0x14, (port, limit)),
            port_setting(0x15, (port, priority)), *inline_mode(port, mode)]


def switch_port(port, power, mode):
    return [port_setting(0x01, (port, power)), *inline_mode(port, mode)]


def unpowered_poll(port):
    return [frame(0x44, 0, port)]


def powered_poll(port):
    return [frame(0x44, 0, port), frame(0x42, 0, port), frame(0x45, 0, port, 1), frame(0x4F, 0, port),
            frame(0x4E, 0, port)]


END_OF_SWEEP = [frame(0x41, 0), frame(0x4B, 0), frame(0x44, 0, 0)]


def newest_frame(world):
    return world.vswitch("frames", "--last", 1)["total"]


def requests_after(world, number):
    return [bytes(one["request"]) for one in world.frames("--after", number)]


def settings_after(world, number):
    return [bytes(one["request"]) for one in world.frames("--after", number, "--settings")]


def let_sweeps_pass(world):
    """Until all that was said before is applied, polled, and in the records."""
    world.ask(request(0, bytes(8)))  # served after whatever the requests before it left to be done
    before = newest_frame(world)
    # The first end may be that of a sweep already begun; the third tells that the second one's is recorded.
    world.wait_for("three sweeps", lambda: len(world.frames("--after", before, "--key", "41")) >= 3)


def a_sweep(world):
    """The requests of one whole sweep."""
    before = newest_frame(world)
    let_sweeps_pass(world)
    sent = requests_after(world, before)
    ends = [at + len(END_OF_SWEEP) for at in range(len(sent)) if sent[at:at + len(END_OF_SWEEP)] == END_OF_SWEEP]
    return sent[ends[0]:ends[1]]


def ask_for_traps(world):
    """Lets the start-up trap go out and be forgotten: from now on changes are reported."""
    (world.tmp / START_UP_TRAP_FLAG).touch()
    world.wait_for("the start-up trap", lambda: any("6076" in line for line in world.stderr_lines()))
    let_sweeps_pass(world)
    world.vswitch("traps", "clear")


def trap_bytes(world):
    return [bytes(one["bytes"]) for one in world.traps()]


def led_writes(world):
    """Value and mask of every write to the LED register."""
    return [(int(words[5]), int(words[7])) for words in
            (note["text"].split() for note in world.vswitch("frames", "--first", 1, "--notes")["notes"])
            if words[:4] == ["cpld", "write", "register", "10"]]


def led_lines(world):
    return [line for line in world.stdout_lines() if line.startswith("[Port")]
