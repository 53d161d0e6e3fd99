"""Everything that the machine is made of, in build/board: packages, the cross-built release, RAM disk, flash."""
import hashlib
import pathlib
import subprocess
import sys

import flash
import packages
import ram_disk
from console import Machine

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[1]
OURS = PROJECT / "build/board"
INSTALLED = OURS / "installed"
DAEMON = INSTALLED / "sbin/poe_drv"
PROBE = OURS / "probe"
PROBE_FLAGS = ["-std=c++20", "-O2", "-Wall", "-Wextra", "-Werror", "-D_TIME_BITS=64", "-D_FILE_OFFSET_BITS=64"]


def prepare():
    """Builds what is not up to date. Raises packages.NoPackages."""
    OURS.mkdir(parents=True, exist_ok=True)
    packages.packages_in(OURS)
    print("board: cross-building the release", flush=True)
    quietly("cmake", "--preset", "board")
    quietly("cmake", "--build", "--preset", "board")
    quietly("mipsel-linux-gnu-g++", *PROBE_FLAGS, "-o", PROBE, HERE / "probe.cpp")


def make_ram_disk():
    return ram_disk.make_ram_disk(OURS / "packages", INSTALLED, PROBE, OURS)


def kernel_may_lack_cuse():
    """Whether a machine without device files is what its kernel's package promises, and no fault of ours."""
    return ram_disk.may_lack_cuse(OURS / "packages")


def new_machine(name):
    """A machine with an empty flash, which it keeps from boot to boot; its console is written down in build/board."""
    image, transcript = OURS / f"{name}.flash", OURS / f"{name}.log"
    flash.make_empty(image)
    transcript.unlink(missing_ok=True)
    return Machine(ram_disk.kernel_of(OURS / "packages"), make_ram_disk(), image, transcript)


def sha256(file):
    return hashlib.sha256(file.read_bytes()).hexdigest()


def quietly(*command):
    done = subprocess.run([*map(str, command)], cwd=PROJECT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False)
    if done.returncode != 0:
        sys.exit(f"{done.stdout[-8000:]}\nboard: {' '.join(map(str, command))} failed")
