"""The installed tree: what is where, what the daemon needs at run time, and that it runs from any prefix."""
import re
import shutil
import subprocess

import pytest

from world import PREFIX, World, is_instrumented

DAEMON = PREFIX / "sbin/poe_drv"
# Beside libc.so.6, which they belong to.
LOADERS = {"ld-linux-x86-64.so.2", "ld-linux-armhf.so.3", "ld64.so.1", "ld.so.1"}
PLATFORM_LIBRARIES = ["libOrvCom.so", "liblink_mon_intf.so", "libpoe_ipc.so"]
# All that is given bytes by somebody else.
HARDENED = ["sbin/poe_drv", "bin/poectl", "lib/libpoe_client.so", *("lib/" + name for name in PLATFORM_LIBRARIES)]
# Those that copy something into a buffer whose size is known only to the compiler.
WITH_BUFFERS = ["sbin/poe_drv", "bin/poectl", "lib/libpoe_client.so", "lib/liblink_mon_intf.so", "lib/libpoe_ipc.so"]


def readelf(option, file):
    return subprocess.run(["readelf", "-W", option, file], check=True, capture_output=True, text=True).stdout


def needed(file):
    return set(re.findall(r"\(NEEDED\).*\[(.*)\]", readelf("-d", file))) - LOADERS


@pytest.mark.parametrize("file", ["sbin/poe_drv", "bin/poectl", "bin/vswitch", "lib/libvswitch_preload.so",
                                  "share/poe_drv/poectl.schema.json", "share/man/man1/poectl.1",
                                  *("lib/" + name for name in PLATFORM_LIBRARIES)])
def test_every_piece_is_in_its_place(file):
    assert (PREFIX / file).is_file()


def test_the_daemon_needs_the_platform_libraries_and_what_every_c_plus_plus_program_needs():
    allowed = {"libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6", "libresolv.so.2", "libpthread.so.0",
               "libdl.so.2", "librt.so.1"}
    found = needed(DAEMON)
    assert set(PLATFORM_LIBRARIES) <= found
    assert found - set(PLATFORM_LIBRARIES) <= allowed


# A sanitizer's runtime brings libraries of its own.
@pytest.mark.only_if(not is_instrumented() and not is_instrumented(by="llvm_profile"))
def test_the_daemon_needs_nothing_of_the_c_plus_plus_library_at_run_time():
    assert needed(DAEMON) == {*PLATFORM_LIBRARIES, "libc.so.6"}


def sections_of(segment, file):
    """Of the first segment of this kind."""
    told = readelf("-l", file)
    number = re.findall(r"(?m)^  (\w+) +0x\w+ 0x", told).index(segment)
    return re.search(rf"(?m)^   {number:02} +(.*)$", told)[1].split()


@pytest.mark.parametrize("program", ["sbin/poe_drv", "bin/poectl"])
def test_a_program_is_position_independent(program):
    assert "DYN (Position-Independent Executable file)" in readelf("-h", PREFIX / program)
    assert re.search(r"\(FLAGS_1\).*PIE", readelf("-d", PREFIX / program))


@pytest.mark.parametrize("file", [*HARDENED, "lib/libvswitch_preload.so"])
def test_the_table_of_functions_is_filled_in_and_read_only_before_anything_runs(file):
    assert re.search(r"\(FLAGS_1\).*NOW", readelf("-d", PREFIX / file))
    assert "MIPS" in readelf("-h", PREFIX / file) or ".got" in sections_of("GNU_RELRO", PREFIX / file)


@pytest.mark.parametrize("file", [*HARDENED, "bin/vswitch", "lib/libvswitch_preload.so"])
def test_the_stack_cannot_be_executed(file):
    stack = re.search(r"GNU_STACK.*", readelf("-l", PREFIX / file)).group()
    assert " RW " in stack


@pytest.mark.parametrize("file", WITH_BUFFERS)
def test_a_stack_that_was_overrun_ends_the_program(file):
    assert "__stack_chk_fail" in readelf("--dyn-syms", PREFIX / file)


# A sanitizer checks these calls itself; coverage is counted without optimisation, which the checks need.
@pytest.mark.only_if(not is_instrumented() and not is_instrumented(by="llvm_profile"))
@pytest.mark.parametrize("file", ["sbin/poe_drv", "bin/poectl", "lib/libpoe_client.so"])
def test_libc_calls_are_checked(file):
    assert re.search(r"__\w+_chk@", readelf("--dyn-syms", PREFIX / file))


@pytest.mark.parametrize("name", PLATFORM_LIBRARIES)
def test_a_platform_library_carries_its_plain_name_and_needs_only_libc(name):
    assert re.search(r"\(SONAME\).*\[(.*)\]", readelf("-d", PREFIX / "lib" / name)).group(1) == name
    assert is_instrumented() or needed(PREFIX / "lib" / name) <= {"libc.so.6"}


def test_the_daemon_takes_device_access_sleeping_and_the_link_monitor_from_shared_objects():
    undefined = re.findall(r"UND (\w+)", readelf("--dyn-syms", DAEMON))
    for name in ("open", "ioctl", "close", "usleep", "link_mon_intf_param_get", "__poe_drv_ipc_send",
                 "__poe_drv_ipc_socket_and_bind_init", "utilBitmapSet", "utilBitmapClear", "utilBitmapCheck"):
        assert is_instrumented() or {name, name + "64", f"__{name}_time64"} & set(undefined)


# A machine may lack 64-bit atomic operations; nothing here needs them.
def test_no_value_is_so_wide_that_sharing_it_takes_a_library():
    undefined = re.findall(r"UND (\w+)", readelf("--dyn-syms", DAEMON))
    assert not [name for name in undefined if name.startswith(("__atomic", "__sync"))]


def test_a_copied_tree_runs_from_its_new_prefix(tmp_path):
    copy = tmp_path / "somewhere else"
    shutil.copytree(PREFIX, copy)
    with World(prefix=copy) as world:
        assert world.ask(bytes([0]))[:8] == bytes(8)
        pid = world.vswitch("daemon")["pid"]
        maps = open(f"/proc/{pid}/maps").read()
        for name in PLATFORM_LIBRARIES:
            assert f"{copy}/lib/{name}" in maps
