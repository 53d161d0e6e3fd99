"""The guide to porting: a switch's own libraries are linked against, on its own kind of machine and in a cross build."""
import subprocess

import pytest

from world import PROJECT

LIBRARIES = ("libpoe_ipc.so", "liblink_mon_intf.so", "libOrvCom.so")
GUIDE = (PROJECT / "docs/porting.md").read_text()
OPTION = "-DPOE_SYSTEM_PLATFORM_LIBRARIES=ON"
(COMMAND,) = [line.strip() for line in GUIDE.splitlines() if line.startswith("    cmake") and OPTION in line]


@pytest.mark.parametrize("preset", ["release", "mipsel"])
def test_the_folder_that_is_named_is_where_the_switchs_libraries_are_found(preset, tmp_path):
    folder, build = tmp_path / "lib", tmp_path / "build"
    folder.mkdir()
    for name in LIBRARIES:
        (folder / name).touch()
    words = COMMAND.replace("/path/to/the/switch/lib", str(folder)).replace("release", preset).split()
    done = subprocess.run([*words, "-B", build, "-DBUILD_TESTING=OFF"], cwd=PROJECT, capture_output=True, text=True,
                          timeout=100, check=False)
    assert done.returncode == 0, done.stdout + done.stderr
    found = [line.split("=")[1] for line in (build / "CMakeCache.txt").read_text().splitlines() if line.startswith("POE_LIB_")]
    assert sorted(found) == sorted(str(folder / name) for name in LIBRARIES)
