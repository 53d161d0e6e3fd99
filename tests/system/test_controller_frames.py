"""The frames between the daemon and its controller, byte for byte: what is sent, with which wait, in which order, and
what becomes of the bytes that come back."""
import struct

import pytest

SLOW, USUAL = 204, 9


def request(text):
    """A request from its first bytes: the others are FF, the last is the low byte of the sum."""
    first = bytes.fromhex(text)
    body = first + bytes([0xFF] * (11 - len(first)))
    return list(body + bytes([sum(body) % 256]))


def sent(frames):
    return [(frame["wait"], frame["request"]) for frame in frames]


def usual(*texts):
    return [(USUAL, request(text)) for text in texts]


def slow(text):
    return [(SLOW, request(text))]


def total(world):
    return world.vswitch("frames", "--last", 1)["total"]


def ask(world, type_, payload):
    reply = world.ask(bytes([type_]) + bytes(7) + payload)
    assert reply == bytes([type_]) + bytes(7), reply
    return reply


def parameters(port, enable=-1, priority=-1, schedule=-1, mode=-1, re_enable=-1, limit=0xFFFFFFFF):
    """A port parameter block; limit in tenths of a watt."""
    return struct.pack("<BbbbbbxxI", port, enable, priority, schedule, mode, re_enable, limit)


def settings_after(world, number, count):
    """The settings sent after frame `number`; waits for `count`, and for the sweep behind them."""
    def look():
        settings = world.frames("--after", number, "--settings")
        if len(settings) < count or total(world) < settings[-1]["number"] + 12:
            return None
        return world.frames("--after", number, "--settings")
    return sent(world.wait_for(f"{count} settings", look))


def status(world, port):
    """The port's status block, 92 bytes."""
    reply = world.ask(bytes([6]) + bytes(7) + bytes([port]) + bytes(91))
    assert len(reply) == 100 and reply[8] == port
    return reply[8:]


# --- at start ---------------------------------------------------------------------------------------------------------

PROGRAMMING = [
    *usual("C0 02", "10 00 02"), *slow("05 00 00 04"),
    *usual("06 00 00 01 00 00 01", "06 00 01 01 00 02 03", "06 00 02 01 00 04 05", "06 00 03 01 00 06 07"),
    *slow("05 00 01 04"), *slow("02 00 01"),
    *usual(*(f"04 00 {bank:02x} 0B B8 00 00" for bank in range(8))),
    *usual("0E 00 B3 FF 09", "01 00 00 00 01 00 02 00 03 00", "08 00 00 00 01 00 02 00 03 00",
           "0F 00 00 02 01 02 02 02 03 02", "0C 00 00 06 01 06 02 06 03 06", "12 00 00 01 01 01 02 01 03 01",
           "01 00 00 00 01 00 02 00 03 00", "14 00 00 E1 01 E1 02 E1 03 E1", "15 00 00 00 01 00 02 00 03 00",
           "16 00 06", "C0 01")]
ENABLE_CHECK = usual("48 00 00", "48 00 01", "48 00 02", "48 00 03")
LAST_STEPS = usual("41 00", "4B 00", "44 00 00", "11 00 01", "40 00")


def test_requests_are_sealed_with_the_low_byte_of_their_sum(world):
    by_hand = {0: "48 00 00 FF FF FF FF FF FF FF FF 40", 4: "4B 00 FF FF FF FF FF FF FF FF FF 42",
               5: "C0 02 FF FF FF FF FF FF FF FF FF B9", 7: "05 00 00 04 FF FF FF FF FF FF FF 02",
               14: "04 00 00 0B B8 00 00 FF FF FF FF C3", 30: "15 00 00 00 01 00 02 00 03 00 FF 1A"}
    frames = world.frames("--first", 38)
    assert {place: bytes(frames[place]["request"]).hex(" ").upper() for place in by_hand} == by_hand


def test_an_unprogrammed_controller_is_checked_programmed_and_measured(world):
    frames = sent(world.frames("--first", 38))
    assert frames == [*ENABLE_CHECK, *usual("4B 00"), *PROGRAMMING, *LAST_STEPS]


def test_a_programmed_controller_is_only_read(world):
    world.stop_daemon()
    before = total(world)
    world.start_daemon()
    frames = sent(world.frames("--after", before, "--first", 16))
    assert frames == [*ENABLE_CHECK, *usual("4B 00", "49 00 00", "49 00 01", "49 00 02", "49 00 03", "4B 00", "4A 00"),
                      *LAST_STEPS]


@pytest.mark.parametrize("watts, word", [(1, "00 0A"), (65, "02 8A"), (6553, "FF FA"), (6554, "00 04"),
                                         (65535, "FF F6")])
def test_a_banks_power_is_16_bits_of_ten_times_the_watts_high_byte_first(make_world, watts, word):
    world = make_world(speed=1000, tmp={"poe_external_set_power_budget.txt": f"{watts}\n"})
    assert sent(world.frames("--first", 38))[14:22] == usual(*(f"04 00 {bank:02x} {word} 00 00" for bank in range(8)))


# --- the sweep --------------------------------------------------------------------------------------------------------


def one_sweep(world, after):
    """The requests from one 41 to the next."""
    def look():
        frames = sent(world.frames("--after", after, "--first", 60))
        edges = [place for place, (_, bytes_) in enumerate(frames) if bytes_[0] == 0x41]
        return frames[edges[0]:edges[1]] if len(edges) > 1 else None
    return world.wait_for("a whole sweep", look)


def test_a_port_that_is_not_to_be_powered_is_only_measured(world):
    assert one_sweep(world, 38) == usual("41 00", "4B 00", "44 00 00", "44 00 00", "44 00 01", "44 00 02", "44 00 03")


def test_a_powered_port_takes_five_readings(world):
    before = total(world)
    ask(world, 129, parameters(2, enable=1))
    settings_after(world, before, 7)
    assert one_sweep(world, total(world)) == usual(
        "41 00", "4B 00", "44 00 00", "44 00 00", "44 00 01",
        "44 00 02", "42 00 02", "45 00 02 01", "4F 00 02", "4E 00 02", "44 00 03")


@pytest.mark.parametrize("bank", [1, 7])
def test_the_active_bank_is_the_one_whose_limit_is_read(world, bank):
    world.vswitch("answer", "41", "00", "00", "00", "00", f"{bank:02x}", "00", "00", "00", "00")
    assert one_sweep(world, total(world) + 12)[:3] == usual("41 00", f"4B {bank:02x}", "44 00 00")


def test_without_an_active_bank_bank_0_is_read(world):
    world.vswitch("answer", "41", "00", "00", "00", "00", "07", "00", "00", "00", "00")
    world.vswitch("fault", "checksum", "--key", "41")
    assert one_sweep(world, total(world) + 12)[:3] == usual("41 00", "4B 00", "44 00 00")


# --- settings ---------------------------------------------------------------------------------------------------------

INLINE_MODES = {0: ("08 00", "0F 02", "0C 00", "12 01"), 1: ("08 00", "0F 02", "0C 03", "12 01"),
                2: ("08 00", "0F 02", "0C 06", "12 01"), 3: ("08 00", "0F 02", "0C 06", "12 02"),
                4: ("08 02", "0F 00", "0C 06", "12 02", "18 03")}


def one_port(key_and_value, port):
    key, value = key_and_value.split()
    return usual(f"{key} 00 {port:02x} {value}")


@pytest.mark.parametrize("mode", INLINE_MODES)
@pytest.mark.parametrize("port", [0, 3])
def test_a_port_is_enabled_with_state_limit_priority_and_inline_mode(world, mode, port):
    before = total(world)
    ask(world, 129, parameters(port, enable=1, priority=1, mode=mode, limit=300))
    settings = ("01 01", "14 4B", "15 03", *INLINE_MODES[mode])
    expected = [frame for each in settings for frame in one_port(each, port)]
    assert settings_after(world, before, len(expected)) == expected
    note = f"cpld write register 9 value {(1 << port) if mode >= 2 else 0} mask {1 << port}"
    notes = [one["text"] for one in world.vswitch("frames", "--after", before, "--notes")["notes"]]
    assert [text for text in notes if "register 9 " in text] == [note]


@pytest.mark.parametrize("priority, code", [(1, 3), (2, 2), (3, 0)])
def test_a_priority_goes_out_as_the_controllers_code(world, priority, code):
    before = total(world)
    ask(world, 129, parameters(1, enable=1, priority=priority))
    assert settings_after(world, before, 7)[2] == one_port(f"15 {code:02x}", 1)[0]


@pytest.mark.parametrize("tenths, steps", [(10, 2), (11, 2), (12, 3), (300, 75), (899, 224), (900, 225)])
def test_a_limit_goes_out_in_whole_steps_of_400_milliwatts(world, tenths, steps):
    before = total(world)
    ask(world, 129, parameters(1, enable=1, limit=tenths))
    assert settings_after(world, before, 7)[1] == one_port(f"14 {steps:02x}", 1)[0]


def test_a_disabled_port_is_sent_a_0(world):
    before = total(world)
    ask(world, 129, parameters(1, enable=1))
    settings_after(world, before, 7)
    before = total(world)
    ask(world, 129, parameters(1, enable=0))
    assert settings_after(world, before, 7)[0] == one_port("01 00", 1)[0]


def test_a_new_power_bank_goes_to_all_eight_and_the_thresholds_follow(world):
    before = total(world)
    ask(world, 142, struct.pack("<HH", 72, 0))
    assert settings_after(world, before, 9) == usual(*(f"04 00 {bank:02x} 02 D0 00 00" for bank in range(8)),
                                                     "0E 00 B3 FF 09")


def test_the_settings_behind_a_failed_one_are_sent_all_the_same(world):
    before = total(world)
    world.vswitch("fault", "checksum", "--key", "01")
    world.vswitch("answer", "14", *["01"] * 9)
    ask(world, 129, parameters(1, enable=1, mode=4))
    keys = [bytes_[0] for _, bytes_ in settings_after(world, before, 8)]
    assert keys == [0x01, 0x14, 0x15, 0x08, 0x0F, 0x0C, 0x12, 0x18]


# --- what the answers mean --------------------------------------------------------------------------------------------


@pytest.mark.parametrize("lower, upper, read", [(0xB4, 0x09, "300, 575, 446"), (0xB3, 0x09, "300, 575, 445"),
                                                (0x00, 0x00, "300, 570, 330"), (0xFF, 0xFF, "300, 734, 494")])
def test_thresholds_are_read_from_bytes_2_and_7(world, lower, upper, read):
    world.vswitch("answer", "4A", f"{lower:02x}", "00", "11", "22", "33", f"{upper:02x}", "00", "44", "55")
    world.restart_daemon()
    assert f"[poe_chip_init() , 1015]: power bank error ({read})" in world.stderr_lines()


@pytest.mark.parametrize("word, watts", [("0B B7", 299), ("0B B8", 300), ("0B C1", 300), ("0B C2", 301),
                                         ("FF FF", 6553)])
def test_a_bank_limit_is_read_in_whole_watts(world, word, watts):
    world.vswitch("answer", "4A", "B4", *["00"] * 8)
    world.vswitch("answer", "4B", "02", *word.split(), *["00"] * 6)
    world.restart_daemon()
    assert f"[poe_chip_init() , 1015]: power bank error ({watts}, 570, 446)" in world.stderr_lines()


@pytest.mark.parametrize("bytes_, said", [("FF FF FF FF FF 10 FF FF 1A", "SW_VERSION:101a"),
                                          ("00 00 00 00 00 A0 00 00 0B", "SW_VERSION:a0b"),
                                          ("00 00 00 00 00 00 00 00 FF", "SW_VERSION:0ff")])
def test_the_version_is_byte_7_and_byte_10_in_hexadecimal(make_world, bytes_, said):
    world = make_world(speed=1000, stopped=True)
    world.vswitch("answer", "40", *bytes_.split())
    world.start_daemon()
    assert (world.tmp / "poe_driver_chip_information.txt").read_text() == said + "\n"


@pytest.mark.parametrize("states, port", [("00 01 00", 1), ("00 02 00", None)])
def test_only_1_is_an_enabled_port_in_the_stored_configuration(world, states, port):
    world.vswitch("answer", "48", 2, *states.split(), *["00"] * 6)
    before = len(world.stderr_lines())
    world.restart_daemon()
    said = "\n".join(world.stderr_lines()[before:])
    assert ("is not disabled" in said) == (port is not None)
    if port is not None:
        assert f"[poe_chip_init() , 966]: Port {port} is not disabled (1)" in said


def test_the_active_matrix_is_read_from_bytes_8_and_9(world):
    world.vswitch("answer", "49", 3, "02", "01", "02", "03", "04", "05", "0A", "0B", "0C")
    world.restart_daemon()
    said = world.stderr_lines()
    assert "[poe_chip_init() , 997]: Device Cfg  : pair-a(10), pair-b(11)" in said


def deliver(world, port):
    """The controller says that the port delivers power, and so do both its pair sets: their readings count."""
    number = f"{port:02x}"
    world.vswitch("answer", "42", port + 1, number, "02", "30", "00", "00", "00", "00", "00", "00")
    world.vswitch("answer", "4E", port + 1, number, "04", "03", "FF", "02", "04", "03", "FF", "02")
    ask(world, 129, parameters(port, enable=1))


def status_with_current(world, port, current):
    """The port's status once it shows this current, by which a reading is known."""
    def look():
        block = status(world, port)
        return struct.unpack_from("<I", block, 20)[0] == current and block
    return world.wait_for(f"a current of {current}", look)


@pytest.mark.parametrize("counts, millivolts", [("03 00", 49400), ("00 01", 0), ("00 02", 100), ("03 45", 53900),
                                                ("FF FF", 4223700)])
def test_a_voltage_is_its_count_times_0_6445_in_tenths_of_a_volt(world, counts, millivolts):
    world.vswitch("answer", "44", 3, "02", *counts.split(), "01", "02", "00", "78", "00", "00")
    world.vswitch("answer", "4F", 3, "02", *counts.split(), "03", "04", "00", "9C", "05", "06")
    deliver(world, 2)
    block = status_with_current(world, 2, 0x0102)
    assert struct.unpack_from("<2I", block, 16) == (millivolts, 0x0102)
    assert struct.unpack_from("<2I", block, 40) == (millivolts, 0x0304)
    assert struct.unpack_from("<2I", block, 60) == (10000, 0x0506)  # 156 counts are 100.542 tenths of a volt


@pytest.mark.parametrize("counts, tenths", [("00 78", 1250), ("00 C8", 250), ("00 79", 1237), ("00 77", 1262),
                                            ("00 00", 2750), ("00 DC", 0)])
def test_a_temperature_falls_from_125_degrees_by_1_25_a_count(world, counts, tenths):
    world.vswitch("answer", "44", "00", "00", "00", "00", "07", *counts.split(), "00", "00")
    deliver(world, 0)
    assert struct.unpack_from("<I", status_with_current(world, 0, 7), 28)[0] == tenths * 100
    system = world.ask(bytes([5]))
    assert len(system) == 28 and struct.unpack_from("<I", system, 20)[0] == tenths * 100


def test_a_damaged_reading_keeps_the_last_one(world):
    world.vswitch("answer", "44", "00", "03", "00", "00", "09", "00", "78", "00", "00")
    deliver(world, 0)
    status_with_current(world, 0, 9)
    world.vswitch("fault", "checksum", "--key", "44")
    world.vswitch("answer", "44", "00", "03", "45", "00", "0A", "00", "C8", "00", "00")
    later = total(world) + 40
    world.wait_for("more sweeps", lambda: total(world) > later)
    assert struct.unpack_from("<2I", status(world, 0), 16) == (49400, 9)
    world.vswitch("fault", "clear")
    status_with_current(world, 0, 10)


def test_a_port_status_gives_error_code_or_sub_status_and_class(world):
    deliver(world, 1)
    world.vswitch("answer", "42", 2, "01", "02", "64", "FF", "FF", "01", "FF", "FF", "FF")
    block = world.wait_for("the sub-status", lambda: (lambda seen: seen[6] == 4 and seen)(status(world, 1)))
    assert (block[4], block[5], block[6], block[7]) == (6, 255, 4, 1)
    world.vswitch("answer", "42", 2, "01", "04", "03", "FF", "FF", "01", "FF", "FF", "FF")
    block = world.wait_for("the error", lambda: (lambda seen: seen[5] == 3 and seen)(status(world, 1)))
    assert (block[6], block[8]) == (255, 3)


def test_event_counters_are_bytes_3_4_5_7_and_6(world):
    world.vswitch("answer", "45", 4, "03", "01", "02", "04", "08", "10", "FF", "FF", "FF")
    before = total(world)
    deliver(world, 3)
    def totals():
        return struct.unpack_from("<5I", status(world, 3), 72)
    world.wait_for("an event", lambda: totals()[0] > 0)
    counted = totals()
    times = counted[0] // 2
    assert counted == (2 * times, 4 * times, 8 * times, 1 * times, 16 * times)
    assert times <= len(world.frames("--after", before, "--key", "45"))
