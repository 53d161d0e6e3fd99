"""What a log of system calls says about device files: `strace -f -y` of execve and of every call that takes or gives a file
descriptor. Pure."""
import collections
import posixpath
import re

# A call that another thread's call cuts in two is two lines; each half says here what it knows.
LINE = re.compile(r"(?m)^(?P<process>\d+) +(?:<\.\.\. )?(?P<call>\w+)(?: resumed>|\()(?P<rest>.*)$")
ASKED_FOR = re.compile(r'^(?:[^,"<]*(?:<(?P<folder>[^>]*)>)?, )?"(?P<path>[^"]*)"')
GOT = re.compile(r"= \d+<(?P<path>[^>]*)>")
CALLED = re.compile(r"^\d+<(?P<path>/dev/[^>]*)>, (?P<request>_IOC\([^)]*\)|[^,)]*)")
TEXT = re.compile(r'"(?:[^"\\]|\\.)*"')
DESCRIPTOR = re.compile(r"\d+<(?P<path>/dev/[^>]*)>")
OPENING = {"open", "openat", "openat2", "creat"}
DEVICES = "/dev/"


class Calls:
    """opened, opened_by_shells: device files that the daemon and the programs it starts have opened, or have tried to.
    ioctls: how many of each (device file, request). failed: the lines of those that failed.
    others: how many of each (device file, call) that the daemon makes otherwise."""

    def __init__(self, log):
        # The last line may have been on its way when the log was read.
        lines = list(LINE.finditer(log[:log.rfind("\n") + 1]))
        daemon = lines[0]["process"] if lines else None
        others = {line["process"] for line in lines if line["call"] == "execve"} - {daemon}
        self.opened, self.opened_by_shells = set(), set()
        self.ioctls, self.failed = collections.Counter(), []
        self.others = collections.Counter()
        self._on_a_device = {}  # each thread's call, until it has ended
        for line in lines:
            if line["call"] in OPENING:
                (self.opened_by_shells if line["process"] in others else self.opened).update(devices_of(line["rest"]))
            elif line["call"] == "ioctl":
                self._ioctl(line)
            elif line["process"] not in others:
                held = {found["path"] for found in DESCRIPTOR.finditer(TEXT.sub("", line["rest"]))}
                self.others.update((path, line["call"]) for path in held)

    def _ioctl(self, line):
        if "resumed>" not in line[0]:
            called = CALLED.match(line["rest"])
            self._on_a_device[line["process"]] = called is not None
            if called:
                self.ioctls[called["path"], called["request"]] += 1
        if "= -1 " in line["rest"] and self._on_a_device.get(line["process"]):
            self.failed.append(line[0])


def devices_of(rest):
    """The device files in the arguments and the result of an opening call, by their plain names."""
    paths = [found["path"] for found in GOT.finditer(rest)]
    if asked := ASKED_FOR.match(rest):
        paths.append(posixpath.join(asked["folder"] or "/", asked["path"]))
    plain = ("/" + posixpath.normpath(path).lstrip("/") for path in paths)
    return {path for path in plain if path.startswith(DEVICES)}
