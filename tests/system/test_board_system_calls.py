"""What the board's run makes of a log of system calls: a device file that nobody knows of is seen."""
import pytest

from world import PROJECT

TRANSACTION = "_IOC(_IOC_READ|_IOC_WRITE, 0xdd, 0x3, 0x10)"
CPLD_WRITE = "_IOC(_IOC_WRITE, 0xd2, 0x3, 0x3)"
LOG = f"""\
70    execve("/opt/poe/sbin/poe_drv", ["/opt/poe/sbin/poe_drv", "/tmp/poe_status"], 0x7fb3 /* 9 vars */) = 0
70    fcntl64(0</dev/null>, F_GETFD) = 0
70    openat(AT_FDCWD</>, "/lib/libc.so.6", O_RDONLY|O_CLOEXEC) = 3</lib/libc.so.6>
71    execve("/bin/sh", ["sh", "-c", "echo it > /dev/kmsg"], 0x7fb3 /* 9 vars */ <unfinished ...>
71    <... execve resumed>) = 0
71    openat(AT_FDCWD</>, "/dev/kmsg", O_WRONLY|O_CREAT|O_TRUNC, 0666) = 3</dev/kmsg>
71    dup2(3</dev/kmsg>, 1</tmp/poe_drv.out>) = 1</dev/kmsg>
71    write(1</dev/kmsg>, "it\\n", 3) = 3
70    openat(AT_FDCWD</>, "/dev/poe_kernel_drv", O_RDWR <unfinished ...>
72    ioctl(5<UNIX-DGRAM:[88]>, SIOCOUTQ, [0]) = 0
70    <... openat resumed>) = 7</dev/poe_kernel_drv>
70    ioctl(7</dev/poe_kernel_drv>, {TRANSACTION}, 0x7fb3) = 0
72    ioctl(7</dev/poe_kernel_drv>, {TRANSACTION}, 0x7fb4 <unfinished ...>
70    openat(AT_FDCWD</>, "/dev/cpld_rtl819x", O_RDWR) = 8</dev/cpld_rtl819x>
70    ioctl(8</dev/cpld_rtl819x>, {CPLD_WRITE}, 0x7fb5) = 0
70    close(8</dev/cpld_rtl819x>) = 0
70    write(2</tmp/poe_drv.log>, "7</dev/mem>", 11) = 11
72    <... ioctl resumed>) = 0
"""


@pytest.fixture
def judged(monkeypatch):
    """judged(log): nothing, or an exception that says what was seen."""
    monkeypatch.syspath_prepend(str(PROJECT / "tests/board"))
    monkeypatch.setattr("sys.dont_write_bytecode", True)
    import scenarios
    import system_calls
    yield lambda log: scenarios.judge_system_calls(system_calls.Calls(log))
    import sys
    for name in ("console", "flash", "measuring", "packages", "preparing", "ram_disk", "scenarios", "system_calls"):
        sys.modules.pop(name, None)


def test_two_devices_with_a_request_each_closing_the_cpld_and_looking_for_an_input_are_all_that_is_allowed(judged, capsys):
    judged(LOG)
    said = capsys.readouterr().out
    assert f"2 x ioctl {TRANSACTION}: transaction" in said and f"1 x ioctl {CPLD_WRITE}: CPLD write" in said
    assert "1 x close /dev/cpld_rtl819x" in said


@pytest.mark.parametrize("line, seen", [
    ('70    openat(AT_FDCWD</>, "/dev/mem", O_RDWR) = 9</dev/mem>', "/dev/mem"),
    ('70    openat(AT_FDCWD</>, "/dev/mem", O_RDWR) = -1 EACCES (Permission denied)', "/dev/mem"),
    ('72    openat(AT_FDCWD</dev>, "mem", O_RDWR <unfinished ...>', "/dev/mem"),
    ('72    open("//dev/./mem", O_RDWR) = -1 ENOENT (No such file or directory)', "/dev/mem"),
    ('72    openat2(AT_FDCWD</>, "/proc/../dev/mem", {flags=O_RDWR}, 24) = -1 EPERM (Operation not permitted)', "/dev/mem"),
    ('72    <... openat resumed>) = 9</dev/port>', "/dev/port"),  # through a link
    ('71    openat(AT_FDCWD</>, "/dev/mem", O_RDONLY) = 3</dev/mem>', "its shells open .*/dev/mem"),
    ('70    openat(AT_FDCWD</>, "/dev/kmsg", O_WRONLY) = 9</dev/kmsg>', "/dev/kmsg"),  # only its shells may
    (f"70    ioctl(7</dev/poe_kernel_drv>, {CPLD_WRITE}, 0x7fb5) = 0", "its calls are"),
    ('70    read(7</dev/poe_kernel_drv>, "", 16) = 0', r"\('/dev/poe_kernel_drv', 'read'\)"),
    ("72    write(7</dev/poe_kernel_drv>, 0x7fb5, 3 <unfinished ...>", r"\('/dev/poe_kernel_drv', 'write'\)"),
    ("70    mmap2(NULL, 16, PROT_READ, MAP_SHARED, 8</dev/cpld_rtl819x>, 0) = 0x77a0", r"\('/dev/cpld_rtl819x', 'mmap2'\)"),
    ("70    poll([{fd=7</dev/poe_kernel_drv>, events=POLLIN}], 1, 0) = 0", r"\('/dev/poe_kernel_drv', 'poll'\)"),
    ("70    dup(7</dev/poe_kernel_drv>) = 9</dev/poe_kernel_drv>", r"\('/dev/poe_kernel_drv', 'dup'\)"),
    ("70    ioctl(7</dev/poe_kernel_drv>, TCGETS, 0x7fb5) = 0", "TCGETS"),
    (f"70    ioctl(7</dev/poe_kernel_drv>, {TRANSACTION}, 0x7fb5) = -1 EIO (Input/output error)", "none of them failed"),
    (f"72    ioctl(7</dev/poe_kernel_drv>, {TRANSACTION}, 0x7fb4 <unfinished ...>\n"
     "72    <... ioctl resumed>) = -1 EIO (Input/output error)", "none of them failed")])
def test_anything_else_is_seen(judged, line, seen):
    with pytest.raises(Exception, match=seen):
        judged(LOG + line + "\n")


def test_what_failed_on_something_else_is_not_the_devices(judged):
    failed = "= -1 ENOTTY (Inappropriate ioctl for device)\n"
    judged(f"{LOG}70    ioctl(5<UNIX-DGRAM:[88]>, SIOCOUTQ, 0x7fb3) {failed}"
           f"72    ioctl(5<UNIX-DGRAM:[88]>, SIOCOUTQ <unfinished ...>\n72    <... ioctl resumed>, 0x7fb3) {failed}")


def test_a_line_that_was_still_being_written_says_nothing(judged):
    judged(LOG + '70    openat(AT_FDCWD</>, "/dev/ke')


@pytest.mark.parametrize("missing", ["poe_kernel_drv", "cpld_rtl819x", "kmsg"])
def test_a_device_file_that_was_not_opened_is_missed(judged, missing):
    with pytest.raises(Exception, match=missing):
        judged("\n".join(line for line in LOG.splitlines() if missing not in line) + "\n")
