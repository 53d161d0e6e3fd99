"""/flash full, read-only, missing, or with something else in the place of one of the daemon's files, while the controller
fails and clients switch the statistics."""
import functools

from cells import Cell
from file_writes import ENOUGH_FOR_10, MARK_OF, no_fault_is_left
from judgement import MARK_FILES, PROGRAMMING_MARK, STATISTICS_FILE, descriptors_of, is_whole, works
from messages import acknowledgement, request
from tracing import SPEED, Pool, World

SHORT = 16
SIZE = "64k"
FRESH = f"umount /flash 2>/dev/null; mkdir -p /flash && mount -t tmpfs -o size={SIZE} flash /flash && cd /flash"
FILL = "cat /dev/zero >/flash/filler 2>/dev/null || true"
# Whole lines, up to one byte before the end of a page.
LEAVE_A_BYTE = "; ".join(f"(yes 1 | head -n 2046; echo 10) >/flash/{name}" for name in MARK_FILES) + f"; {FILL}"
STATISTICS = f"{STATISTICS_FILE}", f"{STATISTICS_FILE}.new"
PLACES = (*MARK_FILES, *STATISTICS, PROGRAMMING_MARK)

MEDIA = {
    "as it should be": ("true", "true"),
    "full": (FILL, "true"),
    "full but for a byte in each file": (LEAVE_A_BYTE, "true"),
    "without room for a name": ("mount -o remount,nr_inodes=1 /flash", "true"),
    "read-only": ("mount -o remount,ro /flash", "true"),
    "missing": ("cd /; umount /flash; rmdir /flash", "true"),
    "read-only from the middle on": ("true", "mount -o remount,ro /flash"),
    "full from the middle on": ("true", FILL),
    "gone from the middle on": ("true", "cd /; umount -l /flash; rmdir /flash"),
    "full at first": (FILL, "rm /flash/filler"),
}
OBSTACLES = {
    "a folder": "mkdir {0}", "a folder with something in it": "mkdir -p {0}/more", "a link": "ln -s /tmp/elsewhere {0}",
    "a link to nothing": "ln -s /flash/no/where {0}", "a link to itself": "ln -s {0} {0}", "a pipe": "mkfifo {0}",
    "a link to a full device": "ln -s /dev/full {0}", "a file nobody may write": "touch {0} && chmod 0 {0}",
    "a link to a folder": "ln -s /tmp {0}",
}
STATISTICS_REQUESTS = (request(144, [1]), request(144, [1]), request(83, [5]), request(144, [0]), request(144, [1]),
                       request(144, [1]))


def in_world(world, script):
    done = world.exec("sh", "-c", script)
    assert done.returncode == 0, f"{script}: {done.stderr}"
    return done.stdout


def kinds_of(world, names):
    """What stands at each of these names, looked at and not followed."""
    return in_world(world, f"cd /flash 2>/dev/null || exit 0; stat -c '%n %F' {' '.join(names)} 2>/dev/null || true")


def whole_files(world):
    names = in_world(world, "cd /flash 2>/dev/null && find . -type f -printf '%f\\n' || true").split()
    for name in names:
        if name in (*MARK_FILES, STATISTICS_FILE, PROGRAMMING_MARK):
            content = in_world(world, f"cat /flash/{name}").encode()
            assert is_whole(name, content), f"{name} is torn: {content[-40:]!r}"
    return names


def fail_and_serve(world, preparation, meanwhile):
    """The controller fails in three ways, for each file one, and every statistics request is acknowledged."""
    world.stop_daemon()
    in_world(world, f"rm -f /tmp/elsewhere; touch /tmp/elsewhere; {FRESH} && {{ {preparation}; }}")
    world.start_daemon()
    pid = world.daemon()["pid"]
    descriptors = descriptors_of(pid)
    for fault in MARK_OF:
        world.vswitch("fault", fault, "--times", ENOUGH_FOR_10)
        for one in STATISTICS_REQUESTS:
            assert world.ask(one) == acknowledgement(one[0])
        world.wait_for("the faults to strike", lambda: no_fault_is_left(world))
        works(world)
        in_world(world, meanwhile)
        meanwhile = "true"
    assert world.daemon()["pid"] == pid and descriptors_of(pid) == descriptors


def medium(pool, name):
    preparation, meanwhile = MEDIA[name]
    with pool.world() as world:
        fail_and_serve(world, preparation, meanwhile)
        names = whole_files(world)
        if name == "as it should be":
            assert sorted(names) == sorted((*MARK_FILES, STATISTICS_FILE)), names
            assert all(in_world(world, f"cat /flash/{mark}").startswith("1\n10\n") for mark in MARK_FILES)
    return len(MARK_OF)


def obstacle(pool, place, kind):
    with pool.world() as world:
        fail_and_serve(world, OBSTACLES[kind].format(f"/flash/{place}"), "true")
        whole_files(world)
        others = [name for name in MARK_FILES if name != place]
        for name in others:
            assert in_world(world, f"cat /flash/{name}").startswith("1\n10\n"), name
        if place in MARK_FILES:
            with_it = kinds_of(world, [place])
            fresh = in_world(world, f"mkdir /tmp/try && cd /tmp/try && {{ {OBSTACLES[kind].format('/tmp/try/it')}; }} && "
                                    "stat -c %F it; cd /; rm -r /tmp/try").strip()
            assert fresh in with_it or "regular" in fresh and "regular" in with_it, (fresh, with_it)
        elsewhere = (world.tmp / "elsewhere").read_bytes()
        if place in MARK_FILES and kind == "a link":
            assert elsewhere.startswith(b"1\n10\n") and is_whole(place, elsewhere), elsewhere
        else:
            assert elsewhere == b"", elsewhere
    return len(MARK_OF)


def plan(of):
    pool = Pool(lambda: World(speed=SPEED).start())
    of.afterwards.append(pool.close)
    cells = [Cell(f"flash {name}", functools.partial(medium, pool, name)) for name in MEDIA]
    cells += [Cell(f"{kind} at {place}", functools.partial(obstacle, pool, place, kind))
              for place in PLACES for kind in OBSTACLES]
    return of.choose("flash", cells, SHORT)
