"""What the switch must do on its machine, boot by boot. A scenario is a function of the machine and what is known about
the run; it raises Missed with what was seen."""
import base64
import errno
import gzip
import json
import pathlib
import re
import tempfile
import time
from dataclasses import dataclass, field

import flash
import measuring
import preparing
import system_calls
from console import Missed

DAEMON = "/opt/poe/sbin/poe_drv"
STATUS_LINE = "poe user space driver running."
CONTROLLER, CPLD = "/dev/poe_kernel_drv", "/dev/cpld_rtl819x"
DEVICES = {CONTROLLER, CPLD}
SHELL_DEVICES = {"/dev/kmsg"}  # for one line in the kernel's log
DEVICE_CALLS = {(CONTROLLER, "_IOC(_IOC_READ|_IOC_WRITE, 0xdd, 0x3, 0x10)"): "transaction",
                (CPLD, "_IOC(_IOC_WRITE, 0xd2, 0x3, 0x3)"): "CPLD write"}
OTHER_CALLS = {(CPLD, "close"),  # the controller stays open
               ("/dev/null", "fcntl64")}  # whether there is a standard input
TRANSACTION, CPLD_WRITE, CPLD_READ, UNKNOWN = "C010DD03", "8003D203", "4002D201", "0000D2FF"
# All that the daemon may have in its memory; a preload library would be one more.
DAEMON_FILES = {DAEMON, "/opt/poe/lib/libpoe_ipc.so", "/opt/poe/lib/liblink_mon_intf.so", "/opt/poe/lib/libOrvCom.so",
                "/lib/mipsel-linux-gnu/libc.so.6", "/lib/mipsel-linux-gnu/ld.so.1"}
PLUGGED = {1: "--class 4 --load 12.5", 2: "--class 8 --load 40", 3: "--dual --load 10,14", 4: "--legacy --load 4"}
WATTS = {1: 12.5, 2: 40.0, 3: 24.0, 4: 4.0}
ROUNDING_W = 0.1
FAILING_S = 30
MARKS = ("timeout", "checksum")
SLOW_MS = 20000
STATISTICS_FILE = "/flash/poe_statistics.txt"
FORMER_STATISTICS = ["0, 11, 111", "1, 12, 112", "2, 13, 113", "3, 14, 114"]
STATISTICS = ["0, 3600, 5400000000", "1, 7200, 1000", "2, 0, 0", "3, 1, 2"]  # seconds and milliwatt-seconds
BUDGET_W = 240
MOMENTS, MOST_MOMENTS, DIFFERENT_PAUSES, PAUSE_S = 60, 600, 7, 0.013
DELIVERING = r"delivering \(1\)"
SWITCHED_OFF, NOT_SWITCHED_OFF = r"switched off by itself +yes", r"switched off by itself +no"


@dataclass
class Run:
    without_cuse: bool = False
    faults: int = 0
    marks: dict = field(default_factory=dict)  # what each file of error marks held shortly before the power was cut
    table: list = field(default_factory=list)


def expect(what, is_so, seen):
    if not is_so:
        raise Missed(f"{what}; seen: {seen}")


def serving(machine):
    machine.expect("the daemon serves requests", re.escape(STATUS_LINE), "cat /tmp/poe_status")


def ports(machine):
    return {port["port"]: port for port in machine.json("vswitch --json show ports")["ports"]}


def delivered(machine):
    return {number: port["power_w"] for number, port in ports(machine).items()}


def as_plugged(watts):
    return all(abs(watts[port] - WATTS[port]) <= ROUNDING_W for port in WATTS)


def newest_frame(machine):
    return machine.json("vswitch --json frames --last 1")["total"]


def settings_after(machine, frame):
    """The commands that changed something, with their fields."""
    frames = machine.json(f"vswitch --json frames --settings --after {frame}")["frames"]
    return [(one["command"], one["request_fields"]) for one in frames]


# --- the first boot ---------------------------------------------------------------------------------------------------

def the_first_boot_programs_the_controller_and_saves_it(machine, _):
    serving(machine)
    said = machine.say("cat /tmp/poe_drv.log")
    expect("the daemon programs the controller", "poe_mcu_must_do_init_then_save = 1" in said, said)
    saved = [command for command, _ in settings_after(machine, 0)]
    expect("the last that it sets before it serves is saved", "save configuration" in saved, saved)
    kernel_log = machine.say("dmesg")
    expect("the kernel log says so too", "[poe_dev] reset chipset configuration..." in kernel_log, kernel_log[-2000:])


def the_daemon_is_the_one_that_was_built_without_a_preload(machine, _):
    inside = machine.say(f"sha256sum {DAEMON}").split()[0]
    built = preparing.sha256(preparing.DAEMON)
    print(f"  sha256 of the daemon: {built} as it was built\n"
          f"                        {inside} in the machine")
    expect("the daemon is the one that was built", inside == built, inside)
    environment = machine.say("tr '\\0' '\\n' </proc/$(pidof poe_drv)/environ")
    expect("its environment loads nothing", "LD_" not in environment, environment)
    mapped = {line.split()[-1] for line in machine.say("cat /proc/$(pidof poe_drv)/maps").splitlines()
              if line.split()[-1].startswith("/")}
    expect(f"it has {sorted(DAEMON_FILES)} in its memory", mapped == DAEMON_FILES, sorted(mapped))


def the_device_files_are_the_kernels_own(machine, _):
    listed = machine.say(f"ls -l {' '.join(sorted(DEVICES))}")
    expect("both are character devices", len(re.findall(r"(?m)^c", listed)) == len(DEVICES), listed)
    opened = machine.say("ls -l /proc/$(pidof poe_drv)/fd")
    expect("the daemon has the controller's open", "/dev/poe_kernel_drv" in opened, opened)


def every_request_on_them_does_what_it_must(machine, _):
    led, inline_mode = 10, 9
    seen = [int(machine.say(f"probe register {register}")) for register in (led, inline_mode)]
    shown = machine.json("vswitch --json show registers")["registers"]
    expect("registers read through the device file are the models'", seen == [shown[str(led)], shown[str(inline_mode)]],
           (seen, shown))
    refused = {(device, request): int(machine.say(f"probe refusal {device} {request}"))
               for device in sorted(DEVICES) for request in (TRANSACTION, CPLD_WRITE, CPLD_READ, UNKNOWN)}
    nowhere = {(CONTROLLER, TRANSACTION), (CPLD, CPLD_WRITE), (CPLD, CPLD_READ)}
    for (device, request), error in refused.items():
        # Where the number itself says that bytes come in, the kernel misses them before the driver is asked.
        copied_in = device == CONTROLLER and request == CPLD_WRITE
        wanted = errno.EFAULT if (device, request) in nowhere or copied_in else errno.ENOTTY
        expect(f"{request} on {device} with nothing behind it fails with {errno.errorcode[wanted]}", error == wanted, error)
    shown = machine.say("vswitch show ports")
    expect("who opens the controller beside the daemon does not end it", "Daemon running" in shown, shown)


def power_four_ports(machine):
    for port, device in PLUGGED.items():
        machine.say(f"vswitch plug {port} {device}")
    before = delivered(machine)
    expect("nothing is powered before its port is enabled", not any(before.values()), before)
    enable_four_ports(machine)


def enable_four_ports(machine):
    for port in PLUGGED:
        machine.say(f"poectl port {port} set --enable on --re-enable 5")
    for port in PLUGGED:
        machine.expect(f"port {port} delivers", DELIVERING, f"poectl port {port} show")


def four_plugged_devices_get_power(machine, _):
    power_four_ports(machine)
    machine.expect("80.5 W are counted", r"80\.[45] W of 300\.0 W", "poectl status")
    seen = delivered(machine)
    expect(f"the ports deliver {WATTS}", as_plugged(seen), seen)


def the_leds_are_lit(machine, _):
    machine.expect("all four LEDs are lit", r'"leds": ?\["on", ?"on", ?"on", ?"on"\]', "vswitch --json show leds")
    machine.expect("the daemon says so", r"\[Port3\] Turn on PoE LED", "cat /tmp/poe_drv.out")


def traps_of_21_bytes_are_decoded(machine, _):
    machine.expect("a trap says that port 4 delivers", "port 4: delivering", "vswitch traps")
    traps = machine.json("vswitch --json traps")["traps"]
    expect("every trap has 21 bytes", traps and all(len(trap["bytes"]) == 21 for trap in traps), traps)
    expect("the first is the start-up trap", len(traps[0]["ports"]) == 4, traps[0])


# --- while it runs ----------------------------------------------------------------------------------------------------

def a_restarted_daemon_leaves_the_controller_alone(machine, run):
    before = newest_frame(machine)
    machine.say("cp /tmp/poe_drv.log /tmp/first.log; : >/tmp/poe_drv.log")
    machine.say("/etc/init.d/poe restart")
    run.faults += 1
    serving(machine)
    said = machine.say("cat /tmp/poe_drv.log")
    expect("the daemon finds it programmed", "poe_mcu_must_do_init_then_save = 0" in said, said)
    settings = settings_after(machine, before)
    names = {command for command, _ in settings}
    expect("it sets nothing but the system mask", names <= {"set system mask"}, settings)
    seen = delivered(machine)
    expect("no port lost its power", as_plugged(seen), seen)
    enable_four_ports(machine)
    settings = settings_after(machine, before)
    off = [one for one in settings if one[0] == "set port power" and "0" in one[1].values()]
    expect("nor does it when the settings come again", not off, off)


def a_real_link_that_goes_down_gives_its_port_the_power_back(machine, run):
    port = 4
    machine.say(f"vswitch unplug {port}")
    machine.say(f"vswitch plug {port} --broken bad-signature")
    machine.expect("the port sees no powered device", r"\(12\)", f"poectl port {port} show")
    machine.cable(port, plugged=True)
    run.faults += 1
    machine.expect("the interface has a carrier", f"lan{port}: <.*LOWER_UP", f"ip link show lan{port}")
    machine.expect("the linked port without power is switched off", SWITCHED_OFF,
                   f"poectl port {port} show")
    expect("and the controller was told", not ports(machine)[port]["power_on"], ports(machine)[port])
    before = newest_frame(machine)
    machine.cable(port, plugged=False)
    run.faults += 1
    machine.expect("the interface has lost its carrier", f"lan{port}: <NO-CARRIER", f"ip link show lan{port}")
    machine.expect("the port is no longer switched off", NOT_SWITCHED_OFF, f"poectl port {port} show")
    settings = settings_after(machine, before)
    expect("it was powered by one command", settings == [("set port power", {f"port_{port}": "1"})], settings)
    machine.say(f"vswitch unplug {port}")
    machine.say(f"vswitch plug {port} {PLUGGED[port]}")
    machine.expect("a powered device there gets its power", DELIVERING, f"poectl port {port} show")


def an_interface_that_is_taken_down_counts_as_no_link(machine, run):
    port = 3
    machine.cable(port, plugged=True)
    machine.expect("the interface has a carrier", f"lan{port}: <.*LOWER_UP", f"ip link show lan{port}")
    machine.say(f"vswitch unplug {port}")
    machine.say(f"vswitch plug {port} --broken bad-signature")
    run.faults += 1
    machine.expect("the linked port without power is switched off", SWITCHED_OFF,
                   f"poectl port {port} show")
    machine.say(f"ip link set lan{port} down")
    machine.expect("the port is no longer switched off", NOT_SWITCHED_OFF, f"poectl port {port} show")
    machine.say(f"ip link set lan{port} up")
    machine.cable(port, plugged=False)
    machine.say(f"vswitch unplug {port}")
    machine.say(f"vswitch plug {port} {PLUGGED[port]}")
    machine.expect("a powered device there gets its power", DELIVERING, f"poectl port {port} show")


def a_power_cycle_brings_the_port_back(machine, _):
    before = newest_frame(machine)
    machine.say("poectl cycle 1 --no-wait")
    machine.expect("port 1 is off", r"enabled +no", "poectl port 1 show")
    machine.expect("port 1 is back", DELIVERING, "poectl port 1 show")
    settings = [(name, fields) for name, fields in settings_after(machine, before) if name == "set port power"]
    expect("its power went off and on once", settings == [("set port power", {"port_1": "0"}),
                                                          ("set port power", {"port_1": "1"})], settings)


def a_slow_controller_holds_up_nobody_else(machine, run):
    machine.say(f"vswitch fault delay --ms {SLOW_MS} --times 1")
    run.faults += 1
    newest = "vswitch --json frames --last 1"
    machine.expect("a transaction takes its time", '"fault": ?"delay"', newest)
    slow = newest_frame(machine)
    machine.say("probe register 10")
    machine.say("poectl status")
    expect("meanwhile the CPLD and clients are served", newest_frame(machine) == slow, slow)
    machine.expect("then the controller goes on", r'"fault": ?null', newest)


# --- power cuts -------------------------------------------------------------------------------------------------------

def what_the_daemon_saved_is_written_before_the_power_is_cut(machine, run):
    machine.say(f"echo {BUDGET_W} >/flash/power_budget; sync")
    for line in STATISTICS:
        machine.say(f"echo '{line}' >>{STATISTICS_FILE}")
    machine.say("poectl energy on")  # adds what the file holds
    machine.say(f"rm {STATISTICS_FILE}; sync; touch /flash/synced; sync")
    machine.say("poectl energy on")  # saves what the records hold
    machine.expect("the statistics are saved", re.escape(STATISTICS[0]), f"cat {STATISTICS_FILE}")
    machine.say("echo lost >/flash/not-synced")
    machine.cut_the_power()
    run.faults += 1


def the_statistics_file_is_whole_after_the_power_cut(machine, _):
    held = machine.say(f"cat {STATISTICS_FILE}").splitlines()
    expect("the file has what was saved", held == STATISTICS, held)
    serving(machine)
    machine.say("poectl energy on")
    totals = machine.expect("the totals are the old ones", r"(?s)\{.*\}", "poectl energy --json")[0]
    first = json.loads(totals)["ports"][0]
    expect("port 1 had 3600 s and 1500 Wh", (first["powered_s"], first["energy_mwh"]) == (3600, 1500000), first)


def the_statistics_file_is_whole_whenever_the_power_goes_while_it_is_written(machine, run):
    """A file of another version is put there, the daemon replaces it, and so on; meanwhile somebody syncs all the time, so
    that what is half done reaches the medium too."""
    going, over = "/tmp/going", "/tmp/over"
    for line in FORMER_STATISTICS:
        machine.say(f"echo '{line}' >>/tmp/former")
    machine.say(f"touch {going}; (while [ -e {going} ]; do sync; done) >/dev/null 2>&1 &")
    machine.say(f"(while [ -e {going} ]; do cp /tmp/former /flash/former; mv /flash/former {STATISTICS_FILE}; poectl energy on; "
                f"done; touch {over}) >/dev/null 2>&1 &")
    versions = {"\n".join([*lines, ""]): 0 for lines in (FORMER_STATISTICS, STATISTICS)}
    half_done = moment = 0
    with tempfile.TemporaryDirectory(dir=preparing.OURS) as folder:
        image = pathlib.Path(folder) / "flash"
        while moment < MOMENTS or moment < MOST_MOMENTS and not (half_done and all(versions.values())):
            moment += 1
            time.sleep(moment % DIFFERENT_PAUSES * PAUSE_S)
            machine.flash_now(image)
            run.faults += 1
            flash.replay_journal(image)
            held = flash.text_of(image, STATISTICS_FILE)
            expect(f"moment {moment}: the file is one of the versions", held in versions, held)
            versions[held] += 1
            half_done += flash.holds(image, f"{STATISTICS_FILE}.new")
    machine.say(f"rm {going}")
    machine.expect("the last save is over", over, f"ls {over}")
    former, new = versions.values()
    expect("it was being replaced all the while", former and new and half_done, (former, new, half_done))
    print(f"  {moment} moments: {former} with the former file, {new} with the new one, {half_done} within a save")


def the_cut_was_a_real_one(machine, _):
    listed = machine.say("ls /flash")
    expect("a file that was synced is there, one that was not is gone",
           "synced" in listed.split() and "not-synced" not in listed.split(), listed.split())


def the_second_boot_programs_the_new_budget(machine, _):
    serving(machine)
    machine.expect("the budget file of the flash counts", rf"0\.0 W of {BUDGET_W}\.0 W", "poectl status")
    held = machine.json("vswitch --json show configuration")
    expect("the controller has it", str(BUDGET_W) in json.dumps(held), held)


def the_system_calls_on_the_device_files(machine, _):
    """The daemon of this boot was started under strace."""
    serving(machine)
    log = preparing.OURS / "devices.strace"
    packed = machine.say("cp /tmp/devices.strace /tmp/log; gzip -c /tmp/log | base64; rm /tmp/log")
    text = gzip.decompress(base64.b64decode(packed)).decode("utf-8", "replace")
    log.write_text(text, encoding="utf-8")
    judge_system_calls(system_calls.Calls(text))
    print(f"  the whole log, {len(text.splitlines())} calls: {log}")


def judge_system_calls(calls):
    expect(f"the device files that it opens are {sorted(DEVICES)}", calls.opened == DEVICES, sorted(calls.opened))
    expect(f"those that its shells open are {sorted(SHELL_DEVICES)}", calls.opened_by_shells == SHELL_DEVICES,
           sorted(calls.opened_by_shells))
    expect(f"its calls are {sorted(DEVICE_CALLS)}", set(calls.ioctls) == set(DEVICE_CALLS), dict(calls.ioctls))
    expect(f"beside them it makes {sorted(OTHER_CALLS)}", set(calls.others) == OTHER_CALLS, dict(calls.others))
    expect("none of them failed", not calls.failed, calls.failed[:5])
    for call, what in DEVICE_CALLS.items():
        print(f"  {calls.ioctls[call]:5} x ioctl {call[1]}: {what}")
    for device, what in sorted(OTHER_CALLS):
        print(f"  {calls.others[device, what]:5} x {what} {device}")


def a_failing_controller_leaves_its_marks_across_a_power_cut(machine, run):
    serving(machine)
    began = time.monotonic()
    machine.say("vswitch fault no-answer")
    machine.expect("the daemon says that the controller is silent", "receive poe mcu message timeout", "cat /tmp/poe_drv.log")
    machine.expect("a mark is on the flash", r"^1\n", "cat /flash/poe_error_rx_timeout.txt")
    machine.say("vswitch fault clear; vswitch fault checksum")
    machine.expect("so is the other one", r"^1\n", "cat /flash/poe_error_rx_checksum.txt")
    machine.say("vswitch fault clear; vswitch fault key-a; vswitch show faults")
    machine.expect("clients are served all the while", r"W of \d+\.0 W", "poectl status")
    while time.monotonic() - began < FAILING_S:
        machine.say("poectl status >/dev/null; usleep 500000")
    run.faults += machine.json("vswitch --json show counters")["counters"]["faults_struck"]
    run.marks = {name: marks_of(machine, name) for name in MARKS}
    machine.cut_the_power()
    run.faults += 1


def the_marks_are_found_again(machine, run):
    for name in MARKS:
        held = marks_of(machine, name)
        expect(f"the marks of rx_{name} are whole lines from 1 on", held and held == ["1", "10", "100"][:len(held)], held)
        before = run.marks.get(name, [])
        expect(f"none of rx_{name} is lost", held[:len(before)] == before, (before, held))
    serving(machine)


def marks_of(machine, name):
    return machine.say(f"cat /flash/poe_error_rx_{name}.txt").splitlines()


def the_stress_test_is_asked_for(machine, run):
    machine.say("touch /flash/PoE_Stress_Test; sync")
    machine.cut_the_power()
    run.faults += 1


def the_flag_file_selects_the_stress_test(machine, run):
    machine.expect("totals are printed for ever", r"total_count +: 00000000[1-9]\d", "tail -n 60 /tmp/poe_drv.log")
    found = machine.expect("with no failure", r"(?s)data_fail_count +: (\d+).*timeout +: (\d+)", "tail -n 22 /tmp/poe_drv.log")
    expect("no answer was wrong or missing", int(found[1]) == 0 and int(found[2]) == 0, found[0])
    status, said = machine.run("poectl status")
    expect("nobody is served meanwhile", status != 0, said)
    machine.say("rm /flash/PoE_Stress_Test; sync")
    machine.cut_the_power()
    run.faults += 1


def without_the_flag_it_serves_again(machine, _):
    serving(machine)
    machine.expect("requests are answered", r"W of \d+\.0 W", "poectl status")


def measured(machine, run):
    serving(machine)
    power_four_ports(machine)
    run.table += measuring.table(machine)


# What happens in a boot: its options, its scenarios in the short form, and those that the long form has instead.
PROGRAM = [the_first_boot_programs_the_controller_and_saves_it, the_daemon_is_the_one_that_was_built_without_a_preload,
           the_device_files_are_the_kernels_own, every_request_on_them_does_what_it_must, four_plugged_devices_get_power, the_leds_are_lit,
           traps_of_21_bytes_are_decoded]
RUNNING = [a_restarted_daemon_leaves_the_controller_alone, a_real_link_that_goes_down_gives_its_port_the_power_back,
           an_interface_that_is_taken_down_counts_as_no_link, a_power_cycle_brings_the_port_back,
           a_slow_controller_holds_up_nobody_else]
CUT = [what_the_daemon_saved_is_written_before_the_power_is_cut]
AFTER_THE_CUT = [the_cut_was_a_real_one, the_statistics_file_is_whole_after_the_power_cut,
                 the_second_boot_programs_the_new_budget, the_system_calls_on_the_device_files,
                 the_statistics_file_is_whole_whenever_the_power_goes_while_it_is_written]

MEASURING = [((), [measured])]
SHORT = [((), PROGRAM + CUT), (("traced",), AFTER_THE_CUT)]
LONG = [((), PROGRAM + RUNNING + CUT), (("traced",), AFTER_THE_CUT),
        ((), [measured, a_failing_controller_leaves_its_marks_across_a_power_cut]),
        ((), [the_marks_are_found_again, the_stress_test_is_asked_for]),
        ((), [the_flag_file_selects_the_stress_test]),
        ((), [without_the_flag_it_serves_again])]
