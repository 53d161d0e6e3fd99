"""The machine's RAM disk: Debian's C library, C++ library, busybox and strace, the kernel modules, and the cross-built
tree as `cmake --install` left it. Made from the same files it is the same, byte for byte."""
import gzip
import os
import pathlib
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
LIBRARIES = "lib/mipsel-linux-gnu"
LONG_AGO = 0

# In the order in which they are loaded: what the flash's file system needs, its disk, the devices' gate, the interfaces.
MODULES = ["crc16", "crc32c_generic", "mbcache", "jbd2", "ext4", "ata_piix", "fuse", "cuse", "e1000"]
GATE = "cuse"  # a kernel may have been built without it
C_LIBRARY = ["ld.so.1", "libc.so.6", "libm.so.6", "libfuse3.so.3", "libgcc_s.so.1"]
EMPTY_FOLDERS = ["dev", "proc", "sys", "tmp", "flash", "run", "var/tmp", "root"]


def kernel_of(packages):
    return next((packages / "boot").glob("vmlinuz-*"))


def modules_in(packages):
    """Names and files of the modules that the machine loads."""
    found = {name: next((packages / "lib/modules").rglob(f"{name}.ko"), None) for name in MODULES}
    if missing := [name for name, file in found.items() if file is None and name != GATE]:
        sys.exit(f"board: the kernel's package has no module {', '.join(missing)}")
    return {name: file for name, file in found.items() if file is not None}


def may_lack_cuse(packages):
    return GATE not in modules_in(packages)


def make_ram_disk(packages, installed, probe, folder):
    """The path of the RAM disk in `folder`."""
    root = folder / "root"
    shutil.rmtree(root, ignore_errors=True)
    for name in EMPTY_FOLDERS:
        (root / name).mkdir(parents=True)
    _copy(packages / "bin/busybox", root / "bin/busybox")
    _copy(packages / "usr/bin/strace", root / "usr/bin/strace")
    for name in C_LIBRARY:
        _copy(packages / LIBRARIES / name, root / LIBRARIES / name)
    _copy(packages / "usr" / LIBRARIES / "libstdc++.so.6", root / "usr" / LIBRARIES / "libstdc++.so.6")
    (root / "lib/ld.so.1").symlink_to("mipsel-linux-gnu/ld.so.1")
    for name, file in modules_in(packages).items():
        _copy(file, root / "lib/modules" / f"{name}.ko")
    shutil.copytree(installed, root / "opt/poe")
    _copy(probe, root / "bin/probe")
    shutil.copytree(HERE / "machine", root, dirs_exist_ok=True)
    return _packed(root, folder / "ram-disk.gz")


def _copy(source, target):
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(source, target)
    target.chmod(0o755)


def _packed(root, target):
    names = sorted(str(path.relative_to(root)) for path in [root, *root.rglob("*")])
    for name in names:
        os.utime(root / name, (LONG_AGO, LONG_AGO), follow_symlinks=False)
    archive = subprocess.run(["cpio", "--quiet", "--reproducible", "-o", "-H", "newc", "-R", "0:0"], cwd=root,
                             input="\n".join(names).encode(), stdout=subprocess.PIPE, check=True).stdout
    target.write_bytes(gzip.compress(archive, compresslevel=6, mtime=LONG_AGO))
    return target
