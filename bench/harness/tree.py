"""Trees to measure: this one, and another revision's in a worktree under build/."""
import dataclasses
import pathlib
import shutil
import subprocess
import sys

from harness.registry import Absent

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PRESET = "bench"
# What is measured, and the folders that install it; the rest of the product is not built.
PRODUCT = ("poe_drv", "vswitch", "vswitch_preload")
PRODUCT_FOLDERS = ("poe_drv", "virtual_switch")
PROGRAMS = "bench_programs"  # a target that depends on every program of bench/
JOBS = "-j2"
OURS = "this tree"
NEEDS_MORE_PACKAGES = "alternatives/"  # programs that are built where their libraries are installed


@dataclasses.dataclass(frozen=True)
class Tree:
    revision: str
    build: pathlib.Path

    @property
    def prefix(self):
        """The installed product."""
        return self.build / "installed"

    def program(self, name):
        """A program of bench/, such as "floor/echo". One that another revision does not know yet is absent there."""
        program = self.build / "bench" / name
        if program.exists():
            return program
        if self.revision == OURS and not name.startswith(NEEDS_MORE_PACKAGES):
            raise FileNotFoundError(f"{name} was not built")
        raise Absent(f"{name} was not built")


def _run(*command, folder=PROJECT):
    done = subprocess.run(list(map(str, command)), cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}:\n{done.stdout[-8000:]}")
    return done.stdout.strip()


def _install(tree):
    for folder in PRODUCT_FOLDERS:
        _run("cmake", "--install", tree.build / folder)


def here(build=True):
    """This tree, built with the `bench` preset and installed beside it."""
    tree = Tree(OURS, PROJECT / "build" / PRESET)
    if build:
        _run("cmake", "--preset", PRESET)
        _run("cmake", "--build", tree.build, "--target", *PRODUCT, PROGRAMS, "--", JOBS)
        _install(tree)
        _note(tree).write_text(revision_of(PROJECT) + "\n")
    return tree


def built_revision(tree):
    """What the tree was built from when it was last built here: a commit, with + behind it when files differed from it."""
    note = _note(tree)
    return note.read_text().strip() if note.exists() else "unknown"


def _note(tree):
    return tree.build / "built-revision"


def revision_of(sources):
    """Sources may have come without git, or without their history."""
    if not shutil.which("git") or not (sources / ".git").exists():
        return "unknown"
    name = _run("git", "rev-parse", "--short", "HEAD", folder=sources)
    return name + ("+" if _run("git", "status", "--porcelain", folder=sources) else "")


def other(revision):
    """Another revision of the project, built with the same choices. Its worktree stays for the next time."""
    commit = _run("git", "rev-parse", "--verify", "--short", f"{revision}^{{commit}}")
    source = PROJECT / "build" / "revisions" / commit
    if not source.exists():
        _run("git", "worktree", "prune")
        _run("git", "worktree", "add", "--detach", source, commit)
    tree = Tree(commit, source / "build" / PRESET)
    # A revision of long ago may not know the preset; what is compared is made the same way all the same.
    _run("cmake", "-S", source, "-B", tree.build, "-G", "Ninja", "-DCMAKE_CXX_COMPILER=g++", "-DCMAKE_BUILD_TYPE=Release",
         "-DBUILD_TESTING=OFF", "-DPOE_BENCH=ON", f"-DCMAKE_INSTALL_PREFIX={tree.prefix}")
    targets = _run("ninja", "-C", tree.build, "-t", "targets", "all")
    programs = [PROGRAMS] if f"{PROGRAMS}: " in targets else []
    _run("cmake", "--build", tree.build, "--target", *PRODUCT, *programs, "--", JOBS)
    _install(tree)
    return tree
