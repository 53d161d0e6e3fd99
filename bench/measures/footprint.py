"""What the daemon takes: memory against an empty program of the same threads and libraries, and bytes on the medium."""
import re
import shutil
import subprocess
import sys

from harness import machine
from harness.registry import Absent, Measure, subject
from harness.servers import World, daemon, short_folder, wait_until
from harness.tree import OURS, PROJECT

PLATFORM_LIBRARIES = {"libpoe_ipc.so", "liblink_mon_intf.so", "libOrvCom.so"}
C_LIBRARY = {"libc.so.6", "ld.so.1", "ld-linux-armhf.so.3"}  # the loader belongs to it
QUERIES = 100
BURST = 100000
MOST_UNANSWERED = 8


def sample(pid):
    resident, dirty = machine.memory_kb(pid)
    return {"resident": resident, "private_dirty": dirty}


def asked_many_times(bench, tree):
    """A daemon that has just been started: which pages are resident depends on where the kernel puts things."""
    with daemon(bench, tree, speed=100, latency_us=0) as one:
        client = one.world.client()
        for _ in range(bench.count(QUERIES, smoke=10)):
            for request in (bytes(8), bytes([6]) + bytes(99), bytes([11]) + bytes(7), bytes([17]) + bytes(2351)):
                client.send(request)
                client.receive()
        return sample(one.pid)


def just_waiting(bench):
    with World(program=bench.tree.program("floor/three_threads"), arguments=(), prefix=bench.tree.prefix,
               ready="started") as world:
        pid = world.daemon()["pid"]
        wait_until(lambda: len(machine.threads_of(pid)) == 3, "three threads")
        return sample(pid)


@subject("memory", Measure("resident", "resident memory", "kB", bar=1.25, aim=1.10),
         Measure("private_dirty", "private dirty memory", "kB", bar=1.6, aim=1.3))
def memory(bench, tree):
    yield lambda: asked_many_times(bench, tree)


@memory.floor("an empty program of three threads")
def empty_program(bench):
    yield lambda: just_waiting(bench)


def queue_settings(client, count):
    """Type 129, port 0 stays disabled and everything else as it is: costs the controller nothing. So many are sent before
    their acknowledgements are taken."""
    request = bytes([129]) + bytes(7) + bytes([0, 0, 255, 255, 255, 255, 0, 0]) + (0xFFFFFFFF).to_bytes(4, "little")
    for _ in range(count // MOST_UNANSWERED):
        for _ in range(MOST_UNANSWERED):
            client.send(request)
        for _ in range(MOST_UNANSWERED):
            assert client.receive()[7] == 0, "a setting was not accepted"


def deepest_queue(world):
    return int.from_bytes(world.ask(bytes([13]) + bytes(7))[8:12], "little")


@subject("burst", Measure("before_burst", f"resident memory before {BURST:,} settings are queued", "kB"),
         Measure("within_burst", "while the controller keeps them waiting", "kB"),
         Measure("after_burst", "once they are applied, against before", "", bar=1.2, aim=1.05), repeats=False)
def burst(bench, tree):
    with daemon(bench, tree, speed=100, latency_us=0) as one:
        yield lambda: queue_a_burst(one, bench.count(BURST, smoke=800))


def queue_a_burst(server, count):
    world = server.world
    client = world.client()
    queue_settings(client, MOST_UNANSWERED)
    before, _ = machine.memory_kb(server.pid)
    with world.frozen_controller():
        queue_settings(client, count)
        within, _ = machine.memory_kb(server.pid)
    assert deepest_queue(world) >= count - 1, f"only {deepest_queue(world)} settings were queued at once"
    # Polling begins again when the last setting is applied.
    begun = world.show()["system"]["now_us"]
    world.wait_for("a port to be polled", lambda: world.vswitch("frames", "--last", 1)["frames"][0]["at_us"] > begun)
    after, _ = machine.memory_kb(server.pid)
    return {"before_burst": before, "within_burst": within, "after_burst": after / before}


# --- on the medium ---

def needed_by(program):
    listed = subprocess.run(["readelf", "-d", program], stdout=subprocess.PIPE, text=True, check=True).stdout
    return set(re.findall(r"\(NEEDED\)\s+Shared library: \[(.*)\]", listed))


def stripped_bytes(program, strip="strip"):
    with short_folder() as folder:
        subprocess.run([strip, "-o", folder / "stripped", program], check=True)
        return (folder / "stripped").stat().st_size


def kilobytes(program, strip="strip"):
    return stripped_bytes(program, strip) / 1000


@subject("size", Measure("stripped", "the daemon, stripped", "kB", bar=100, aim=64),
         Measure("libraries", "shared libraries beyond the three and the C library", "", bar=0, aim=0),
         Measure("platform_libraries", "the three platform libraries, stripped", "kB"), repeats=False)
def size(_, tree):
    program = tree.prefix / "sbin/poe_drv"
    libraries = [tree.prefix / "lib" / name for name in PLATFORM_LIBRARIES]
    yield lambda: {"stripped": kilobytes(program), "libraries": len(needed_by(program) - PLATFORM_LIBRARIES - C_LIBRARY),
                   "platform_libraries": sum(map(kilobytes, libraries))}


def declare_for(machine_name, triple):
    @subject(f"size_{machine_name}", Measure(f"stripped_{machine_name}", f"the daemon for {machine_name}, stripped", "kB", bar=100),
             Measure(f"libraries_{machine_name}", f"the same for {machine_name}: further libraries", "", bar=0), repeats=False)
    def size_elsewhere(_, tree):
        if shutil.which(f"{triple}-g++") is None:
            raise Absent(f"no {triple}-g++")
        source = PROJECT if tree.revision == OURS else tree.build.parents[1]
        build = tree.build.parent / f"bench-{machine_name}"
        for words in (["cmake", "-S", source, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DBUILD_TESTING=OFF",
                       f"-DCMAKE_TOOLCHAIN_FILE={source}/cmake/toolchains/{machine_name}.cmake"],
                      ["cmake", "--build", build, "--target", "poe_drv", "--", "-j2"]):
            done = subprocess.run(list(map(str, words)), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
            if done.returncode != 0:
                sys.exit(done.stdout[-4000:])
        program = build / "poe_drv/poe_drv"
        yield lambda: {f"stripped_{machine_name}": kilobytes(program, f"{triple}-strip"),
                       f"libraries_{machine_name}": len(needed_by(program) - PLATFORM_LIBRARIES - C_LIBRARY)}


declare_for("mipsel", "mipsel-linux-gnu")
declare_for("arm", "arm-linux-gnueabihf")
