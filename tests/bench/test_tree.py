"""What a run says it measured."""
import pytest

from harness.registry import Absent
from harness.tree import OURS, PROJECT, Tree, built_revision, revision_of


def test_a_run_names_the_revision_that_was_built_not_the_one_that_is_checked_out(tmp_path):
    (tmp_path / "built-revision").write_text("abc1234+\n")
    assert built_revision(Tree(OURS, tmp_path)) == "abc1234+"


def test_a_tree_that_was_built_by_hand_is_of_an_unknown_revision(tmp_path):
    assert built_revision(Tree(OURS, tmp_path)) == "unknown"


def test_a_program_of_this_tree_that_was_not_built_is_a_fault(tmp_path):
    with pytest.raises(FileNotFoundError, match="floor/echo was not built"):
        Tree(OURS, tmp_path).program("floor/echo")


def test_sources_without_git_or_without_their_history_are_of_an_unknown_revision(tmp_path, monkeypatch):
    assert revision_of(tmp_path) == "unknown"
    monkeypatch.setenv("PATH", str(tmp_path))
    assert revision_of(PROJECT) == "unknown"


@pytest.mark.parametrize("revision, name", [("abc1234", "floor/echo"), (OURS, "alternatives/dbus_service")])
def test_one_that_a_revision_does_not_know_or_that_needs_more_packages_is_absent(tmp_path, revision, name):
    with pytest.raises(Absent, match=f"{name} was not built"):
        Tree(revision, tmp_path).program(name)


def test_a_program_that_was_built_is_found(tmp_path):
    program = tmp_path / "bench/floor/echo"
    program.parent.mkdir(parents=True)
    program.touch()
    assert Tree(OURS, tmp_path).program("floor/echo") == program
