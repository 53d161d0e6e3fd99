"""The machine's packages, from Debian's own mirror, for an architecture that this machine does not know: fetched with
apt's ordinary client and lists of their own, as an ordinary user, and unpacked. Once they are there no network is needed.
"""
import os
import subprocess

MIRROR = os.environ.get("POE_DEBIAN_MIRROR", "http://deb.debian.org/debian")
KEYS = "/usr/share/keyrings/debian-archive-keyring.gpg"
SUITE = "bookworm"
ARCHITECTURE = "mipsel"
KERNEL = "linux-image-4kc-malta"  # a name for the newest one
WANTED = ["busybox-static", "libc6", "libgcc-s1", "libstdc++6", "libfuse3-3", "libfuse3-dev", "strace"]


class NoPackages(Exception):
    """They are not there, and cannot be fetched."""


def packages_in(folder):
    """The folder that they are unpacked in. `folder` is for nothing else."""
    unpacked, stamp = folder / "packages", folder / "packages.stamp"
    recipe = " ".join([SUITE, ARCHITECTURE, KERNEL, *WANTED])
    if unpacked.exists() and stamp.exists() and stamp.read_text() == recipe:
        return unpacked
    print("board: fetching Debian's packages for the machine", flush=True)
    lists, cache, downloads = folder / "apt/lists", folder / "apt/cache", folder / "apt/downloads"
    for needed in (lists / "partial", cache / "archives/partial", downloads):
        needed.mkdir(parents=True, exist_ok=True)
    sources = folder / "apt/sources.list"
    sources.write_text(f"deb [signed-by={KEYS}] {MIRROR} {SUITE} main\n"
                       f"deb [signed-by={KEYS}] {MIRROR} {SUITE}-updates main\n")
    options = [f"-oAPT::Architecture={ARCHITECTURE}", f"-oAPT::Architectures={ARCHITECTURE}",
               f"-oDir::State::Lists={lists}", f"-oDir::Cache={cache}", "-oDir::State::Status=/dev/null",
               f"-oDir::Etc::SourceList={sources}", "-oDir::Etc::SourceParts=/dev/null", "-oAPT::Sandbox::User=root",
               "-oAcquire::Retries=2", "-oAcquire::Languages=none"]
    _call("apt-get", *options, "update", "-q", "--error-on=any", cwd=downloads)
    depends = _call("apt-cache", *options, "depends", KERNEL, cwd=downloads)
    kernel = next(line.split()[1] for line in depends.splitlines() if line.strip().startswith("Depends: linux-image"))
    for old in downloads.glob("*.deb"):
        old.unlink()
    _call("apt-get", *options, "download", "-q", *WANTED, kernel, cwd=downloads)
    _call("rm", "-rf", unpacked, cwd=folder)
    for package in sorted(downloads.glob("*.deb")):
        _call("dpkg-deb", "-x", package, unpacked, cwd=folder)
    stamp.write_text(recipe)
    return unpacked


def _call(*words, cwd):
    done = subprocess.run([*map(str, words)], cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False, env={**os.environ, "LC_ALL": "C"})
    if done.returncode != 0:
        raise NoPackages(f"{done.stdout[-3000:]}\nthe machine's packages are not in {cwd}, and cannot be fetched from "
                         f"{MIRROR}: is there a network?")
    return done.stdout
