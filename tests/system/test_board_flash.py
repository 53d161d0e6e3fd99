"""The board's flash as its run makes it and looks at it, with the programs that only root's shell finds by itself."""
import sys

import pytest

from world import PROJECT


@pytest.fixture
def flash(monkeypatch, tmp_path):
    """The module, for a user whose shell knows no program of root's."""
    monkeypatch.syspath_prepend(str(PROJECT / "tests/board"))
    monkeypatch.setattr(sys, "dont_write_bytecode", True)
    monkeypatch.setenv("PATH", str(tmp_path / "bin"))
    import flash as module
    yield module
    for name in ("console", "flash"):
        sys.modules.pop(name, None)


def test_an_ordinary_user_makes_an_empty_flash_and_looks_into_it(flash, tmp_path):
    image = tmp_path / "image"
    flash.make_empty(image)
    flash.replay_journal(image)
    assert flash.holds(image, "/flash/lost+found") and not flash.holds(image, "/flash/poe_statistics.txt")
    assert flash.text_of(image, "/flash/poe_statistics.txt") is None


def test_a_flash_that_was_used_is_empty_again(flash, tmp_path):
    image = tmp_path / "image"
    image.write_bytes(b"something else")
    flash.make_empty(image)
    flash.replay_journal(image)
    assert flash.holds(image, "/flash/lost+found")


def test_a_damaged_flash_is_said(flash, tmp_path):
    image = tmp_path / "image"
    image.write_bytes(bytes(1 << 20))
    with pytest.raises(Exception, match="the file system is damaged"):
        flash.replay_journal(image)
