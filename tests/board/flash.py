"""The machine's flash from outside: made empty, and what the next boot would find on it when the power was cut."""
import os
import shutil
import subprocess

from console import Missed

SIZE = "16M"
PLACE = "/flash/"  # where the machine has it
FOR_ROOT = "/usr/sbin:/sbin"  # where an ordinary user's shell does not look
MENDED = 1  # e2fsck: the journal's last changes were made, and all is well


def make_empty(image):
    image.unlink(missing_ok=True)
    subprocess.run([_program("mke2fs"), "-q", "-t", "ext4", image, SIZE], stdout=subprocess.DEVNULL, check=True)


def replay_journal(image):
    """As the kernel does when it mounts the file system; and nothing else may need to be mended."""
    done = subprocess.run([_program("e2fsck"), "-f", "-p", image], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, check=False)
    if done.returncode > MENDED:
        raise Missed(f"the file system is damaged: {done.stdout}")


def holds(image, path):
    """Whether a file of the root folder is there; `path` is the machine's."""
    lines = _debugfs(image, "ls -p /").splitlines()
    return path.removeprefix(PLACE) in {line.split("/")[5] for line in lines if line.count("/") > 5}


def text_of(image, path):
    """None without the file."""
    return _debugfs(image, f"cat /{path.removeprefix(PLACE)}") if holds(image, path) else None


def _debugfs(image, command):
    return subprocess.run([_program("debugfs"), "-R", command, image], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True, check=True).stdout


def _program(name):
    return shutil.which(name, path=f"{os.environ.get('PATH', os.defpath)}:{FOR_ROOT}") or name
