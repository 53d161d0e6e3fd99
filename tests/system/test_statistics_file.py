"""The statistics file on a medium that is full, read-only, missing or failing, and when the power goes."""
import errno
import os
import re
import shutil
import struct
import subprocess
import tempfile

import pytest

from conftest import FIXTURES
from messages import acknowledgement, get_port_statistics, request
from world import CC, WORLDS, preloading

FILE = "poe_statistics.txt"
DRAFT = FILE + ".new"
OLD = "0, 1000, 1000\n1, 2000, 2000\n2, 3000, 3000\n3, 4000, 4000000000000\n"
TOTALS = "0, 10, 3600000\n1, 20, 7200000\n2, 30, 10800000\n3, 40, 14400001\n"
EMPTY = "0, 0, 0\n1, 0, 0\n2, 0, 0\n3, 0, 0\n"
PAGE = "4k"  # room for one small file in a tmpfs
ON, OFF = 1, 0


def switch(world, value):
    assert world.ask(request(144, [value])) == acknowledgement(144)


def clear(world, bitmap):
    assert world.ask(request(83, [bitmap])) == acknowledgement(83)


def seconds_of(world):
    """Every port's powered seconds."""
    return [struct.unpack("<I", world.ask(get_port_statistics(port))[12:16])[0] for port in range(4)]


def in_world(world, script):
    done = world.exec("sh", "-c", script)
    assert done.returncode == 0, done.stderr
    return done.stdout


# --- a file system of its own -----------------------------------------------------------------------------------------


@pytest.fixture
def small(make_world):
    """The totals are restored from a file that fills a flash of one page."""
    world = make_world(speed=1000)
    in_world(world, f"mount -t tmpfs -o size={PAGE} flash /flash && printf '{TOTALS}' >/flash/{FILE}")
    switch(world, ON)
    assert seconds_of(world) == [10, 20, 30, 40]
    return world


def file_in(world):
    return in_world(world, f"cat /flash/{FILE}")


def names_in(world):
    return in_world(world, "ls -A /flash").split()


def resize(world, how):
    in_world(world, f"mount -o remount,{how} /flash")


def test_a_full_flash_keeps_the_old_file_until_there_is_room(small):
    in_world(small, f"printf '{OLD}' >/flash/{FILE}")
    said = small.stderr_lines()
    for _ in range(3):
        switch(small, ON)
        assert file_in(small) == OLD and names_in(small) == [FILE]
    assert small.stderr_lines() == said and seconds_of(small) == [10, 20, 30, 40]
    resize(small, "size=64k")
    switch(small, ON)
    assert file_in(small) == TOTALS and names_in(small) == [FILE]


def test_clearing_on_a_full_flash_uses_the_room_of_the_old_file(small):
    clear(small, 0b0101)
    assert file_in(small) == "0, 0, 0\n1, 20, 7200000\n2, 0, 0\n3, 40, 14400001\n" and names_in(small) == [FILE]


def test_a_flash_that_others_fill_gets_no_file_and_no_draft_until_there_is_room(small):
    switch(small, OFF)
    in_world(small, "printf x >/flash/others")
    said = small.stderr_lines()
    switch(small, ON)
    clear(small, 15)
    assert names_in(small) == ["others"] and small.stderr_lines() == said
    in_world(small, "rm /flash/others")
    switch(small, ON)
    assert file_in(small) == EMPTY


def test_a_flash_without_room_for_a_name_keeps_the_old_file(small):
    in_world(small, f"printf '{OLD}' >/flash/{FILE}")
    resize(small, "size=64k,nr_inodes=2")  # the folder itself and the file
    switch(small, ON)
    assert file_in(small) == OLD
    clear(small, 0)
    assert file_in(small) == TOTALS and names_in(small) == [FILE]


def test_a_read_only_flash_keeps_the_file_whatever_is_asked_for(small):
    in_world(small, f"printf '{OLD}' >/flash/{FILE}")
    resize(small, "size=64k,ro")
    said = small.stderr_lines()
    for value in (ON, OFF, 2, ON):
        switch(small, value)
        assert file_in(small) == OLD and small.ask(bytes([16])) == request(16, [value])
    clear(small, 0b0010)
    assert file_in(small) == OLD and names_in(small) == [FILE] and small.stderr_lines() == said
    assert seconds_of(small) == [10, 0, 30, 40]
    resize(small, "rw")
    switch(small, ON)
    assert file_in(small) == "0, 10, 3600000\n1, 0, 0\n2, 30, 10800000\n3, 40, 14400001\n"


def test_a_read_only_flash_is_read_at_the_first_switching_on(make_world):
    world = make_world(speed=1000)
    in_world(world, f"mount -t tmpfs flash /flash && printf '{TOTALS}' >/flash/{FILE} && mount -o remount,ro /flash")
    switch(world, ON)
    assert seconds_of(world) == [10, 20, 30, 40]


def test_without_a_flash_folder_everything_but_the_file_works(make_world):
    world = make_world(speed=1000)
    in_world(world, "umount /flash && rmdir /flash")
    said = world.stderr_lines()
    for value in (ON, ON, OFF, ON):
        switch(world, value)
        assert world.ask(bytes([16])) == request(16, [value])
    clear(world, 15)
    assert world.stderr_lines() == said
    in_world(world, "mkdir /flash")
    switch(world, ON)
    assert file_in(world) == EMPTY and names_in(world) == [FILE]


# --- power cuts and failures at every step ----------------------------------------------------------------------------


@pytest.fixture(scope="module")
def medium():
    """The library that makes the medium obey, at a path that the world does not hide: see fixtures/flash_medium.c."""
    folder = tempfile.mkdtemp(prefix="medium-", dir=WORLDS)
    library = os.path.join(folder, "flash_medium.so")
    subprocess.run([CC, "-O1", "-Wall", "-Werror", "-fPIC", "-shared", "-o", library, FIXTURES / "flash_medium.c",
                    "-ldl"], check=True)
    yield library
    shutil.rmtree(folder)


@pytest.fixture
def cuttable(make_world, medium):
    """The totals are restored; the medium takes orders."""
    world = make_world(speed=10_000, flash={FILE: TOTALS}, environment={
        **preloading(medium), "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"})
    switch(world, ON)
    return world


def order(world, *words):
    (world.tmp / "medium").write_text(" ".join(map(str, words)))


def file_of(world):
    file = world.flash / FILE
    return file.read_text() if file.exists() else None


def put(world, text):
    for name in os.listdir(world.flash):
        (world.flash / name).unlink()
    if text is not None:
        (world.flash / FILE).write_text(text)


def start_again(world):
    """The power comes back: the daemon finds the totals of an earlier run, restores them, and saves into `OLD`."""
    (world.tmp / "medium").unlink()
    left = file_of(world)
    put_back = os.listdir(world.flash)
    world.start_daemon()
    switch(world, ON)
    seconds = seconds_of(world)
    switch(world, ON)
    assert os.listdir(world.flash) == [FILE], f"beside the file was left {put_back}"
    return left, seconds


SAVES = {"switching on": (144, ON), "clearing": (83, 0)}


@pytest.mark.parametrize("saving, old", [  # clearing makes no file where there is none
    pytest.param("switching on", OLD, id="switching on over an old file"),
    pytest.param("switching on", None, id="switching on where there was none"),
    pytest.param("clearing", OLD, id="clearing over an old file")])
def test_a_power_cut_at_any_step_of_a_save_leaves_the_old_file_or_the_new_one(cuttable, saving, old):
    kind, value = SAVES[saving]
    outcomes = []
    for step in range(1, 50):
        put(cuttable, old)
        order(cuttable, "cut", step)
        client = cuttable.send(request(kind, [value]))
        ended = cuttable.wait_for("a reply or the end",
                                  lambda: not cuttable.daemon()["running"] or not client.hears_nothing(0.002))
        if cuttable.daemon()["running"]:
            break
        outcomes.append(file_of(cuttable))
        assert ended and outcomes[-1] in (old, TOTALS), f"step {step}"
        left, seconds = start_again(cuttable)
        assert seconds == {None: [0] * 4, OLD: [1000, 2000, 3000, 4000], TOTALS: [10, 20, 30, 40]}[left]
        put(cuttable, TOTALS)
        cuttable.restart_daemon()
        switch(cuttable, ON)
    # The draft's name, room, contents and sync come before the new file does, the folder's sync comes after it.
    assert len(outcomes) >= 6 and outcomes == sorted(outcomes, key=lambda text: text == TOTALS)
    assert {old, TOTALS} == set(outcomes) and file_of(cuttable) == TOTALS


@pytest.mark.parametrize("how, error", [  # a call that is interrupted is made again, so that one ends
    ("fail", "ENOSPC"), ("fail", "EIO"), ("fail", "EROFS"), ("fail", "EINTR"),
    ("full", "ENOSPC"), ("full", "EIO"), ("full", "EROFS")])
@pytest.mark.parametrize("saving", SAVES)
def test_a_save_that_fails_at_any_step_leaves_a_whole_file_and_the_next_one_succeeds(cuttable, saving, how, error):
    kind, value = SAVES[saving]
    said = cuttable.stderr_lines()
    outcomes = set()
    for step in range(1, 16):
        put(cuttable, OLD)
        order(cuttable, how, step, getattr(errno, error))
        assert cuttable.ask(request(kind, [value])) == acknowledgement(kind)
        outcomes.add(file_of(cuttable))
        assert outcomes <= {OLD, TOTALS}, f"step {step}"
        (cuttable.tmp / "medium").unlink()
        put_old_back(cuttable)
        assert cuttable.ask(request(kind, [value])) == acknowledgement(kind)
        assert file_of(cuttable) == TOTALS and os.listdir(cuttable.flash) == [FILE], f"step {step}"
    assert outcomes == {OLD, TOTALS} and cuttable.stderr_lines() == said


def put_old_back(world):
    """The file as it was before, beside whatever draft the failure left."""
    (world.flash / FILE).write_text(OLD)


def test_a_medium_that_takes_a_byte_at_a_time_gets_the_whole_file(cuttable):
    put(cuttable, OLD)
    order(cuttable, "short", 0, 0)
    switch(cuttable, ON)
    assert file_of(cuttable) == TOTALS


# --- reading back -----------------------------------------------------------------------------------------------------


LONG = " " * 70


@pytest.mark.parametrize("lines, kept", [
    ("0, 4294967295, 1\n0, 2, 1\n", "0, 1, 2\n"),
    ("0, 1, 18446744073709551615\n0, 1, 3\n", "0, 2, 2\n"),
    ("0, 1, 9223372036854775807\n", "0, 1, 9223372036854775807\n"),
    ("0, 5, 5\n0, -2, -3\n", "0, 3, 2\n"),
    ("+0, +5, +6\n", "0, 5, 6\n"),
    ("  0,5,6\n", "0, 5, 6\n"),
    ("\t0,\t5,\t6\r\n", "0, 5, 6\n"),
    ("0, 5, 6 and more\n", "0, 5, 6\n"),
    ("0, 5, 6, 7\n", "0, 5, 6\n"),
    ("0 , 5, 6\n0, 5 , 6\n0; 5; 6\n0 5 6\n", "0, 0, 0\n"),
    ("0, 5\n0,\n0\n,,\n, 5, 6\n0, , 6\n", "0, 0, 0\n"),
    ("x0, 5, 6\n0, x5, 6\n0, 5, x\n0x0, 5, 6\n", "0, 0, 0\n"),
    ("4, 5, 6\n7, 5, 6\n100000, 5, 6\n-1, 5, 6\n2147483647, 5, 6\n0, 5, 6\n", "0, 5, 6\n"),
    ("0, 5, 6\n\n\n0, 5, 6\n", "0, 10, 12\n"),
    ("0, 5, 6" + LONG + "\n0, 5, 6\n", "0, 10, 12\n"),
    ("0, 5, " + LONG + "6\n", "0, 0, 0\n"),
    ("\xff\xfe\n0, 5, 6\n", "0, 5, 6\n"),
    ("0, 5, 6\n" * 1000, "0, 5000, 6000\n"),
])
def test_each_line_of_the_file_adds_what_it_says(make_world, lines, kept):
    world = make_world(speed=1000, flash={FILE: lines.encode("latin-1")})
    switch(world, ON)
    switch(world, ON)
    assert file_of(world) == kept + re.sub(r"^.*\n", "", EMPTY)


def test_made_up_history_and_statistics_start_no_thread(make_world):
    world = make_world(speed=1000)
    switch(world, ON)
    switch(world, ON)
    assert world.ask(request(148, struct.pack("<I", 10080))) == acknowledgement(148)
    assert world.daemon_threads() == 3
