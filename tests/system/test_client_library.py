"""The client library as others get it: projects outside this one, built against an installed tree that was moved, and run
against the daemon on the virtual switch; the examples; the Python module."""
import ctypes
import dataclasses
import importlib
import inspect
import os
import pathlib
import re
import select
import shutil
import signal
import subprocess
import sys
import threading

import pytest

from world import CC, DAEMON_SOCKET, IS_EMULATED, PATIENCE_S, PREFIX, PROJECT, is_instrumented

CXX = re.sub(r"gcc|cc$|clang", lambda name: {"gcc": "g++", "cc": "c++", "clang": "clang++"}[name[0]], CC)
EXAMPLES = PROJECT / "examples"
HEADER = PREFIX / "include/poe_client/poe_client.h"
MODULES = PREFIX / "lib/python3/dist-packages"
STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"]

# An outside program has no sanitizer's runtime, and Python loads the library of no other machine.
pytestmark = pytest.mark.only_if(not IS_EMULATED and not is_instrumented() and not is_instrumented(by="tsan_init") and
                                 not is_instrumented(by="llvm_profile"))


def run(*command, **how):
    """A command that must succeed: what it printed."""
    done = subprocess.run([str(word) for word in command], check=False, stdin=subprocess.DEVNULL, timeout=300,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **how)
    assert done.returncode == 0, done.stdout
    return done.stdout


def environment(world, **more):
    """Where programs outside the world find its daemon."""
    return {**os.environ, "POE_DRV_SOCKET": str(world.tmp / DAEMON_SOCKET), **more}


@pytest.fixture(scope="session")
def moved_prefix(tmp_path_factory):
    """A copy of what a developer gets, at another place and with a space in its name."""
    prefix = tmp_path_factory.mktemp("moved") / "some prefix"
    for part in ("include", "lib/cmake", "lib/pkgconfig", "lib/python3"):
        shutil.copytree(PREFIX / part, prefix / part)
    for library in PREFIX.glob("lib/libpoe_client*"):
        shutil.copy2(library, prefix / "lib", follow_symlinks=False)
    return prefix


def build_outside(source, build, moved_prefix, *options):
    """A project of somebody else's, built against the moved tree."""
    run("cmake", "-G", "Ninja", "-S", source, "-B", build, f"-DCMAKE_PREFIX_PATH={moved_prefix}", f"-DCMAKE_C_COMPILER={CC}",
        *options)
    run("cmake", "--build", build)


@pytest.fixture(scope="session")
def examples(moved_prefix, tmp_path_factory):
    """The examples, built by CMake as anybody would build them."""
    build = tmp_path_factory.mktemp("examples")
    flags = " ".join(STRICT)
    build_outside(EXAMPLES, build, moved_prefix, f"-DCMAKE_CXX_COMPILER={CXX}", f"-DCMAKE_C_FLAGS=-std=c99 {flags}",
                  f"-DCMAKE_CXX_FLAGS={flags}")
    return build


@pytest.fixture
def world(make_world):
    return make_world(speed=100)


@pytest.fixture
def powered_world(world):
    """A switch whose port 2 delivers 12.5 W."""
    world.vswitch("plug", "2", "--class", "4", "--load", "12.5")
    assert world.poectl("port", "2", "set", "--enable", "on").returncode == 0
    world.wait_for("power", lambda: any(power_of(world, port) > 12000 for port in range(4)))
    return world


def power_of(world, port):
    return int.from_bytes(world.ask(bytes([7]))[8 + 92 * port + 24:][:4], "little")


def left_behind(world):
    return [path.name for path in world.tmp.iterdir() if path.name.startswith("poe_client.")]


# --- the installed tree -----------------------------------------------------------------------------------------------


def declared_functions():
    return set(re.findall(r"^POE_CLIENT_API .*?\b(poe_client_\w+)\(", HEADER.read_text(), re.MULTILINE))


def test_the_shared_object_offers_what_the_headers_declare_under_one_version_and_nothing_else():
    symbols = run("nm", "-D", "--defined-only", "--with-symbol-versions", PREFIX / "lib/libpoe_client.so").splitlines()
    names = [line.split()[-1] for line in symbols]
    assert all(name.endswith("@@POE_CLIENT_1") for name in names if name != "POE_CLIENT_1"), names
    plain = {name.partition("@")[0] for name in names} - {"POE_CLIENT_1"}
    of_c = {name for name in plain if not name.startswith("_Z")}
    assert of_c == declared_functions() and len(of_c) == 69
    of_c_plus_plus = run("c++filt", *(plain - of_c)).splitlines()
    assert not [name for name in of_c_plus_plus if not name.startswith("poe_client::")]
    functions = {re.sub(r"[([].*", "", name) for name in of_c_plus_plus}
    for header in ("connection.h", "requests.h", "own_names.h", "status_codes.h"):
        text = re.sub(r"//.*", "", (HEADER.parent / header).read_text())
        declared = set(re.findall(r"^(?:POE_CLIENT_API )?[\w:][\w:<>&, ]* (\w+)\([^;]*\);", text, re.MULTILINE))
        assert declared and {f"poe_client::{name}" for name in declared} <= functions, header
    # What is inside stays inside.
    assert not [name for name in plain if re.search("exchange|codec|encode|decode|own_folder|loop_descriptor", name)]


def test_the_shared_object_has_a_version_and_stays_loaded():
    dynamic = run("readelf", "-W", "-d", PREFIX / "lib/libpoe_client.so")
    assert re.search(r"\(SONAME\).*\[libpoe_client\.so\.1\]", dynamic)
    assert "NODELETE" in dynamic
    assert not re.search("RPATH|RUNPATH", dynamic)
    assert set(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)) <= {"libstdc++.so.6", "libgcc_s.so.1", "libc.so.6",
                                                                 "libm.so.6", "ld-linux-x86-64.so.2"}


def test_no_installed_file_names_the_prefix_that_it_was_installed_to(moved_prefix):
    texts = [path for path in moved_prefix.rglob("*") if path.is_file() and path.suffix in
             (".cmake", ".pc", ".h", ".py")]
    assert len(texts) > 15
    assert not [path for path in texts if str(PREFIX) in path.read_text() or str(PROJECT) in path.read_text()]


def test_poectl_needs_no_library_of_ours():
    assert "poe_client" not in run("readelf", "-d", PREFIX / "bin/poectl")


# --- projects outside -------------------------------------------------------------------------------------------------


def test_the_c_example_prints_every_port(examples, powered_world):
    lines = run(examples / "port_status", env=environment(powered_world)).splitlines()
    assert re.fullmatch(r"12\.\d W of 300\.0 W used", lines[0])
    assert lines[1] == "port 1: disabled, 0.0 W" and re.fullmatch(r"port 2: delivering, 12\.\d W", lines[2])
    assert [line.split(":")[0] for line in lines[1:]] == ["port 1", "port 2", "port 3", "port 4"]
    assert not left_behind(powered_world)


def test_the_c_example_says_what_is_wrong(examples, tmp_path):
    done = subprocess.run([examples / "port_status"], env={**os.environ, "POE_DRV_SOCKET": str(tmp_path / "nothing")},
                          capture_output=True, text=True, check=False)
    assert done.returncode == 1
    assert done.stderr.startswith("port_status: Nobody answers at the daemon's socket")


def test_the_c_plus_plus_example_waits_until_the_port_is_on_again(examples, powered_world):
    # Its standard input stays open: the end of it would end the program.
    with subprocess.Popen([examples / "power_cycle", "2"], env=environment(powered_world), stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE, text=True) as program:
        assert program.stdout.read().splitlines() == ["port 2: accepted", "port 2: on again"]
        assert program.wait(PATIENCE_S) == 0
    turns = [line for line in powered_world.stdout_lines() if "[Port1] Turn o" in line]
    assert any("off" in line for line in turns), turns
    assert not left_behind(powered_world)


def test_the_c_plus_plus_example_leaves_nothing_behind_when_it_is_ended(examples, powered_world):
    with subprocess.Popen([examples / "power_cycle", "2"], env=environment(powered_world), stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE) as program:
        powered_world.wait_for("its folder", lambda: left_behind(powered_world))
        program.send_signal(signal.SIGTERM)
        assert program.wait(PATIENCE_S) == -signal.SIGTERM
    assert not left_behind(powered_world)


def test_the_python_example_watches_power_and_alarm(moved_prefix, powered_world):
    command = [sys.executable, EXAMPLES / "watch_power.py", "--count", "2"]
    with subprocess.Popen(command, env=environment(powered_world, PYTHONPATH=str(moved_prefix / "lib/python3/dist-packages")),
                          stdout=subprocess.PIPE, text=True) as program:
        first = program.stdout.readline()
        assert re.fullmatch(r"12\.\d W of 300\.0 W\n", first)
        powered_world.vswitch("unplug", "2")
        assert re.fullmatch(r"\d+\.\d W of 300\.0 W\n", program.stdout.readline())
        assert program.wait(PATIENCE_S) == 0
    assert not left_behind(powered_world)


@pytest.mark.parametrize("kind", ["shared", "static"])
def test_a_c_program_built_with_pkg_config_runs_from_the_moved_prefix(kind, moved_prefix, powered_world, tmp_path):
    folder = moved_prefix / "lib/pkgconfig"
    words = ["--static"] if kind == "static" else []
    # pkg-config's own escapes for the shell, which is why a shell puts the command together.
    flags = run("pkg-config", "--cflags", "--libs", *words, "poe_client", env={**os.environ, "PKG_CONFIG_PATH": str(folder)})
    if kind == "static":
        flags = flags.replace("-lpoe_client", "-l:libpoe_client.a")
    program = tmp_path / "port_status"
    run("sh", "-c", f"{CC} -std=c99 {' '.join(STRICT)} -o {program} {EXAMPLES}/port_status.c {flags.strip()}")
    more = {"LD_LIBRARY_PATH": str(moved_prefix / "lib")} if kind == "shared" else {}
    assert ("libpoe_client.so.1" in run("readelf", "-d", program)) == (kind == "shared")
    assert "port 2: delivering" in run(program, env=environment(powered_world, **more))
    assert run("pkg-config", "--modversion", "poe_client", env={**os.environ, "PKG_CONFIG_PATH": str(folder)}) == "1.0.0\n"


def test_cmake_gives_the_static_library_too_and_no_other_version(moved_prefix, powered_world, tmp_path):
    (tmp_path / "CMakeLists.txt").write_text(
        "cmake_minimum_required(VERSION 3.16)\nproject(outside LANGUAGES C CXX)\nfind_package(poe_client 2 QUIET)\n"
        "if(poe_client_FOUND)\n  message(FATAL_ERROR \"version 2\")\nendif()\nfind_package(poe_client 1.0 REQUIRED)\n"
        f"add_executable(one {EXAMPLES}/port_status.c)\nset_property(TARGET one PROPERTY LINKER_LANGUAGE CXX)\n"
        "target_link_libraries(one PRIVATE poe_client::poe_client_static)\n")
    build_outside(tmp_path, tmp_path / "build", moved_prefix, f"-DCMAKE_CXX_COMPILER={CXX}")
    assert "poe_client" not in run("readelf", "-d", tmp_path / "build/one")
    assert "port 2: delivering" in run(tmp_path / "build/one", env=environment(powered_world))


def test_a_project_of_c_alone_can_use_the_package(moved_prefix, tmp_path):
    (tmp_path / "CMakeLists.txt").write_text(
        "cmake_minimum_required(VERSION 3.16)\nproject(outside LANGUAGES C)\nfind_package(poe_client REQUIRED)\n"
        f"add_executable(one {EXAMPLES}/port_status.c)\ntarget_link_libraries(one PRIVATE poe_client::poe_client)\n")
    build_outside(tmp_path, tmp_path / "build", moved_prefix)


# --- the guide --------------------------------------------------------------------------------------------------------

GUIDE = (PROJECT / "docs/integrators.md").read_text(encoding="utf-8")


def blocks(language):
    return re.findall(rf"^```{language}\n(.*?)^```", GUIDE, re.MULTILINE | re.DOTALL)


@pytest.mark.parametrize("language, compiler", [("c", [CC, "-std=c99", "-x", "c"]), ("cpp", [CXX, "-std=c++20", "-x", "c++"])])
def test_the_guides_programs_do_what_it_says(language, compiler, moved_prefix, powered_world, tmp_path):
    programs = blocks(language)
    assert programs
    for number, text in enumerate(programs):
        source, built = tmp_path / f"{number}.source", tmp_path / f"{number}"
        source.write_text(text)
        if "int main" not in text:
            run(*compiler, *STRICT, f"-I{moved_prefix}/include", "-c", source, "-o", built)
            continue
        run(*compiler, *STRICT, f"-I{moved_prefix}/include", source, "-x", "none", f"-L{moved_prefix}/lib", "-lpoe_client",
            f"-Wl,-rpath,{moved_prefix}/lib", "-o", built)
        assert re.fullmatch(r"delivering, 12\d\d\d mW\n", run(built, env=environment(powered_world)))


def test_the_guides_python_does_what_it_says(powered_world):
    for text, said in zip(blocks("python"), (r"delivering, 12\d\d\d mW\n", r"12\d\d\d mW\n"), strict=True):
        assert re.fullmatch(said, run(sys.executable, "-B", "-c", text,
                                      env=environment(powered_world, PYTHONPATH=str(MODULES))))


def test_the_guides_cmake_is_what_the_examples_use():
    lists = (EXAMPLES / "CMakeLists.txt").read_text()
    (text,) = blocks("cmake")
    assert all(line in lists.replace("port_status PRIVATE", "your_program PRIVATE") for line in text.splitlines())


def test_the_guides_table_of_errors_is_complete(poe_client):
    rows = re.findall(r"^\| `(POE_CLIENT_\w+)` \| (?:`([\w:]+)`)? *\| `(\w+)` \|", GUIDE, re.MULTILINE)
    enumerators = re.findall(r"^    (POE_CLIENT_\w+) = \d", HEADER.read_text().split("enum poe_client_error {")[1].split("}")[0],
                             re.MULTILINE)
    assert [row[0] for row in rows] == [name for name in enumerators if name != "POE_CLIENT_OK"]
    kinds = re.findall(r"^    (\w+),", (PREFIX / "include/poe_client/result.h").read_text(), re.MULTILINE)
    assert [row[1] for row in rows if row[1] and ":" not in row[1]] == [kind for kind in kinds if kind != "none"]
    library = poe_client._library
    for c_name, _, python_name in rows:
        error = poe_client.errors.error_of(getattr(library, c_name.removeprefix("POE_CLIENT_")))
        assert type(error).__name__ == python_name


# --- Python -----------------------------------------------------------------------------------------------------------


@pytest.fixture(scope="session")
def poe_client():
    sys.path.insert(0, str(MODULES))
    sys.dont_write_bytecode = True
    try:
        return importlib.import_module("poe_client")
    finally:
        sys.path.remove(str(MODULES))


@pytest.fixture
def daemon(poe_client, world):
    with poe_client.Connection(world.tmp / DAEMON_SOCKET, timeout_s=PATIENCE_S) as connection:
        yield connection


def test_the_module_loads_the_library_of_its_own_prefix(moved_prefix, poe_client):
    assert poe_client._library.library._name == str(PREFIX / "lib/libpoe_client.so.1")
    program = "import poe_client; print(poe_client._library.library._name, poe_client.version())"
    modules = {**os.environ, "PYTHONPATH": str(moved_prefix / "lib/python3/dist-packages")}
    assert run(sys.executable, "-c", program, env=modules) == f"{moved_prefix}/lib/libpoe_client.so.1 1.0.0\n"
    named = {**modules, "POE_CLIENT_LIBRARY": str(PREFIX / "lib/libpoe_client.so")}
    assert run(sys.executable, "-c", program, env=named) == f"{PREFIX}/lib/libpoe_client.so 1.0.0\n"


def test_a_library_that_cannot_be_loaded_is_named():
    done = subprocess.run([sys.executable, "-B", "-c", "import poe_client"], capture_output=True, text=True, check=False,
                          env={**os.environ, "PYTHONPATH": str(MODULES), "POE_CLIENT_LIBRARY": "/nowhere/one.so"})
    assert done.returncode == 1
    assert "ImportError: cannot load /nowhere/one.so" in done.stderr and "$POE_CLIENT_LIBRARY" in done.stderr


def test_the_modules_structures_are_those_of_the_header(poe_client, tmp_path):
    library = poe_client._library
    kinds = {re.sub(r"(?<!^)(?=[A-Z])", "_", name).lower(): kind for name, kind in vars(library).items()
             if isinstance(kind, type) and issubclass(kind, ctypes.Structure)}
    header = HEADER.read_text()
    assert set(kinds) == set(re.findall(r"typedef struct poe_client_(\w+) \{", header))
    lines = [f'printf("{name} %zu\\n", sizeof(poe_client_{name}));\n' + "".join(
        f'printf("{name}.{field} %zu %zu\\n", offsetof(poe_client_{name}, {field}), '
        f"sizeof(((poe_client_{name} *)0)->{field}));\n" for field, _ in kind._fields_) for name, kind in kinds.items()]
    constants = {**{f"POE_CLIENT_{name}": getattr(library, name) for name in (
                     "PORT_COUNT", "PAIR_SET_COUNT", "MINUTE_COUNT", "HALF_HOUR_COUNT", "TWO_HOUR_COUNT", "NOT_REPORTED",
                     "PENDING", "OK", "NO_DAEMON", "NOT_PERMITTED", "TIMEOUT", "REFUSED", "MALFORMED", "OWN_SOCKET", "USAGE",
                     "INTERNAL")},
                 **{f"POE_CLIENT_STATUS_{one.name}": one.value for one in poe_client.Status},
                 **{f"POE_CLIENT_PRIORITY_{one.name}": one.value for one in poe_client.Priority}}
    names_of_bits = {"threshold_percent": "THRESHOLD", "re_enable_s": "RE_ENABLE", "power_limit_mw": "POWER_LIMIT"}
    for prefix, kind in (("SYSTEM", library.SystemSettingsChange), ("PORT", library.PortSettingsChange)):
        constants |= {f"POE_CLIENT_{prefix}_{names_of_bits.get(name, name.upper())}": bit
                      for name, bit in kind.BITS.items()}
    lines += [f'printf("{name} %d\\n", (int){name});\n' for name in constants]
    source, program = tmp_path / "layout.c", tmp_path / "layout"
    source.write_text("#include <stddef.h>\n#include <stdio.h>\n#include <poe_client/poe_client.h>\nint main(void) {\n" +
                      "".join(lines) + "return 0; }\n")
    run(CC, "-I", PREFIX / "include", "-o", program, source)
    ours = [f"{name} {ctypes.sizeof(kind)}\n" + "".join(
        f"{name}.{field} {getattr(kind, field).offset} {getattr(kind, field).size}\n" for field, _ in kind._fields_)
            for name, kind in kinds.items()]
    ours += [f"{name} {value}\n" for name, value in constants.items()]
    assert run(program) == "".join(ours)


def test_the_module_declares_every_function_that_it_calls_and_asks_for_everything(poe_client):
    used = {name for name in dir(poe_client._library.library) if name.startswith("poe_client_")} | {
        name for name, one in vars(poe_client._library.library).items() if name.startswith("poe_client_")}
    assert used <= declared_functions()
    # The forms that wait are made of the others.
    waiting = {name for name in declared_functions() if name.replace("poe_client_", "poe_client_begin_", 1) in used}
    assert declared_functions() - used - waiting == set()


def test_everything_public_in_the_module_is_typed_and_explained(poe_client):
    assert all(hasattr(poe_client, name) for name in poe_client.__all__)
    for name in poe_client.__all__:
        thing = getattr(poe_client, name)
        members = [thing] if inspect.isfunction(thing) else [
            member for key, member in vars(thing).items()
            if not key.startswith("_") and (inspect.isfunction(member) or isinstance(member, property))] if inspect.isclass(
                thing) else []
        if inspect.isclass(thing) or inspect.isfunction(thing):
            assert thing.__doc__, name
        for member in members:
            function = member.fget if isinstance(member, property) else member
            assert function.__doc__, (name, function.__name__)
            signature = inspect.signature(function)
            assert signature.return_annotation is not inspect.Signature.empty, (name, function.__name__)
            assert all(one.annotation is not inspect.Parameter.empty for one in signature.parameters.values()
                       if one.name != "self"), (name, function.__name__)
    assert (MODULES / "poe_client/py.typed").exists()


def test_the_module_asks_every_question(daemon, poe_client, world):
    world.wait_for("the ports to be read", lambda: poe_client.Status.NOT_READ_YET not in
                   [port.status for port in daemon.get_whole_status().port])
    assert daemon.get_system_settings() == poe_client.SystemSettings(True, 0, 0, 95, 0, 0)
    ports = daemon.get_all_port_settings()
    assert ports[3] == poe_client.PortSettings(3, False, poe_client.Priority.LOW, False, 2, 10, 90000)
    assert daemon.get_port_settings(3) == ports[3] and ports[3].panel_number == 4
    whole = daemon.get_whole_status()
    assert [port.panel_number for port in whole.port] == [1, 2, 3, 4]
    assert whole.system.total_mw == 300000 and whole.system.remaining_mw == 300000 and whole.system.alarm_raised is False
    assert daemon.get_system_status().total_mw == 300000
    port = daemon.get_port_status(2)
    assert (port.port, port.status, port.status_name) == (2, poe_client.Status.DISABLED, "disabled")
    assert len(port.pair_set) == 2 and port.events == poe_client.EventTotals(0, 0, 0, 0, 0)
    assert [one.port for one in daemon.get_all_port_status()] == [0, 1, 2, 3]
    assert daemon.get_communication_counters().total > 0
    assert daemon.get_deepest_queue() == 0
    assert daemon.get_power_bank() == poe_client.PowerBank(300, 0)
    assert [state.pending for state in daemon.get_power_cycles().port] == [False] * 4
    assert daemon.get_energy_recording() is False
    energy = daemon.get_port_energy(1)
    assert (energy.port, len(energy.minutes), len(energy.half_hours), len(energy.two_hours)) == (1, 60, 48, 84)
    assert daemon.get_energy_summary().totals.powered_s == 0


def test_the_module_makes_every_change(daemon, poe_client, world):
    def settled(look, wanted):
        world.wait_for(f"{wanted}", lambda: look() == wanted)

    daemon.set_system(threshold_percent=80, parameter_2=1)
    settled(daemon.get_system_settings, poe_client.SystemSettings(True, 0, 1, 80, 0, 0))
    daemon.set_port(2, enable=True, power_limit_mw=15400, priority=poe_client.Priority.HIGH)
    settled(lambda: daemon.get_port_settings(2),
            poe_client.PortSettings(2, True, poe_client.Priority.HIGH, False, 2, 10, 15400))
    daemon.set_port(2, re_enable_s=20, mode=3)  # alone, which the daemon would refuse
    settled(lambda: daemon.get_port_settings(2),
            poe_client.PortSettings(2, True, poe_client.Priority.HIGH, False, 3, 20, 15400))
    same = poe_client.PortChange(enable=False, priority=1, schedule_enable=True, mode=1, re_enable_s=5, power_limit_mw=1000)
    daemon.set_all_ports_same(same)
    settled(daemon.get_all_port_settings,
            tuple(poe_client.PortSettings(port, False, 1, True, 1, 5, 1000) for port in range(4)))
    daemon.set_all_ports([poe_client.PortChange(power_limit_mw=10000 * (port + 1)) for port in range(4)])
    settled(lambda: [one.power_limit_mw for one in daemon.get_all_port_settings()], [10000, 20000, 30000, 40000])
    daemon.set_schedule(1, False)
    settled(lambda: [one.schedule_on for one in daemon.get_all_port_status()], [True, False, True, True])
    daemon.set_all_schedules([False, None, True, False])
    settled(lambda: [one.schedule_on for one in daemon.get_all_port_status()], [False, False, True, False])
    daemon.set_power_bank(poe_client.PowerBank(240, 7))
    settled(daemon.get_power_bank, poe_client.PowerBank(240, 7))
    daemon.inject_energy_history(120)
    daemon.clear_energy([0, 2])
    assert [any(slot.valid for slot in daemon.get_port_energy(port).minutes) for port in range(4)] == [
        False, True, False, True]
    daemon.set_energy_recording(True)
    settled(daemon.get_energy_recording, True)
    before = daemon.get_power_cycles()
    daemon.power_cycle([1, 3])
    world.wait_for("the power-cycle", lambda: daemon.get_power_cycles().port[3].tick != before.port[3].tick)
    after = daemon.get_power_cycles()
    assert [a.tick != b.tick for a, b in zip(after.port, before.port)] == [False, True, False, True]


def test_the_module_tells_what_a_power_cycle_lacks(poe_client):
    off, pending = poe_client.PowerCycleState(False, 0), poe_client.PowerCycleState(True, 100)
    cycles = poe_client.PowerCycles(112, (off, pending, off, off))
    assert [cycles.seconds_until_on(port, 5) for port in range(4)] == [0, 3, 0, 0]


def test_the_module_tells_what_a_status_means_what_causes_it_and_what_to_do(poe_client):
    assert poe_client.status_name(poe_client.Status.SHORT_CIRCUIT) == "short-circuit"
    assert poe_client.status_meaning(5) == "The controller cut the power because the current was far too high."
    assert poe_client.status_cause(5) == "A short in the cable, in a connector or in the device."
    assert poe_client.status_remedy(5) == "Try another cable, then another device; look for water and bent pins."
    assert all(one(4711).endswith(".") for one in (poe_client.status_meaning, poe_client.status_cause, poe_client.status_remedy))


def test_an_exception_says_what_went_wrong(daemon, poe_client, world, tmp_path):
    with pytest.raises(poe_client.RefusedError) as refused:
        daemon.get_port_status(4)
    assert (refused.value.name, refused.value.system_error) == ("refused", 0)
    with pytest.raises(poe_client.RefusedError):
        daemon.set_port(0, mode=5, enable=True)
    with poe_client.Connection(tmp_path / "nothing") as nobody, pytest.raises(poe_client.NoDaemonError) as missing:
        nobody.get_whole_status()
    assert str(tmp_path / "nothing") in str(missing.value) and "No such file" in str(missing.value)
    with world.stopped_daemon():
        daemon.timeout_s = 0.01
        with pytest.raises(TimeoutError) as late:
            daemon.get_whole_status()
        assert isinstance(late.value, poe_client.TimedOutError)
    daemon.timeout_s = PATIENCE_S
    assert daemon.get_deepest_queue() == 0


@pytest.mark.parametrize("wrong", [
    lambda daemon, module: daemon.set_port(0, power_limit_mw=15450),
    lambda daemon, module: daemon.set_port(256, enable=True),
    lambda daemon, module: daemon.get_port_status(-1),
    lambda daemon, module: daemon.set_port(0, enable=True, mode=300),
    lambda daemon, module: daemon.set_port(0, enable=-1),
    lambda daemon, module: daemon.power_cycle([4]),
    lambda daemon, module: daemon.set_all_ports([module.PortChange(enable=True)] * 3),
    lambda daemon, module: daemon.set_all_schedules([True] * 5),
    lambda daemon, module: daemon.set_schedule(0, 2),
    lambda daemon, module: daemon.set_power_bank(module.PowerBank(65536, 0)),
    lambda daemon, module: daemon.inject_energy_history(-1),
    lambda daemon, module: setattr(daemon, "timeout_s", 0),
    lambda daemon, module: module.Connection("/tmp/a\0b"),
])
def test_what_no_change_can_say_is_refused_before_it_is_sent(daemon, poe_client, wrong):
    before = daemon.get_all_port_settings()
    with pytest.raises(poe_client.UsageError) as error:
        wrong(daemon, poe_client)
    assert isinstance(error.value, ValueError) and str(error.value)
    assert daemon.get_all_port_settings() == before


def test_a_limit_that_is_no_whole_number_of_tenths_is_told_as_that(daemon, poe_client):
    with pytest.raises(poe_client.UsageError, match="power_limit_mw 15450: it is a multiple of 100"):
        daemon.set_port(0, power_limit_mw=15450)


def test_a_fraction_is_never_cut_off(daemon):
    with pytest.raises(TypeError):
        daemon.set_port(0, power_limit_mw=15400.0)


def test_a_loop_of_ones_own_takes_answers_when_the_descriptor_is_readable(daemon, poe_client, world):
    asked = daemon.begin_get_whole_status()
    assert asked.fileno() == daemon.fileno()
    assert select.select([asked], [], [], PATIENCE_S)[0] == [asked]
    assert asked.done() and asked.done() and asked.result().system.total_mw == 300000
    with world.stopped_daemon():
        asked = daemon.begin_power_cycle([0])
        assert not asked.done() and not select.select([daemon], [], [], 0)[0]
        with pytest.raises(poe_client.UsageError, match="another request of the connection is pending"):
            daemon.begin_get_deepest_queue()
        asked.cancel()
        with pytest.raises(poe_client.UsageError):
            asked.result()
        daemon.begin_get_deepest_queue()  # thrown away, so cancelled
    assert daemon.begin_get_deepest_queue().result() >= 0


def test_ctrl_c_ends_a_wait_at_once(daemon, world):
    with world.stopped_daemon():
        threading.Timer(0.05, os.kill, (os.getpid(), signal.SIGINT)).start()
        with pytest.raises(KeyboardInterrupt):
            daemon.get_whole_status()
    assert daemon.get_whole_status().system.total_mw == 300000


def test_threads_take_turns_on_one_connection(daemon):
    answers = []
    threads = [threading.Thread(target=lambda port: answers.extend(daemon.get_port_status(port).port for _ in range(20)),
                                args=(port,)) for port in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert sorted(answers) == sorted([0, 1, 2, 3] * 20)


def test_a_closed_connection_leaves_no_name_and_says_that_it_is_closed(poe_client, world):
    connection = poe_client.Connection(world.tmp / DAEMON_SOCKET)
    connection.get_deepest_queue()
    asked = connection.begin_get_deepest_queue()
    assert left_behind(world)
    connection.close()
    connection.close()
    assert not left_behind(world)
    assert asked.done()
    with pytest.raises(poe_client.UsageError):
        connection.get_deepest_queue()


@pytest.mark.parametrize("end", ["normal", "SIGTERM"])
def test_a_program_that_ends_leaves_no_name(end, world):
    program = ("import poe_client, sys; poe_client.remove_names_on_signals(); daemon = poe_client.Connection(); "
               "print(daemon.get_deepest_queue(), flush=True); sys.stdin.read()")
    with subprocess.Popen([sys.executable, "-c", program], env=environment(world, PYTHONPATH=str(MODULES)),
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
        assert process.stdout.readline() == "0\n"
        assert left_behind(world)
        if end == "SIGTERM":
            process.terminate()
        process.stdin.close()
        assert process.wait(PATIENCE_S) == (0 if end == "normal" else -signal.SIGTERM)
    assert not left_behind(world)


def test_values_do_not_change(daemon):
    with pytest.raises(dataclasses.FrozenInstanceError):
        daemon.get_power_bank().limit_w = 1
