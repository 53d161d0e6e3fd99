"""What a run says it measured."""
from harness.tree import Tree, built_revision


def test_a_run_names_the_revision_that_was_built_not_the_one_that_is_checked_out(tmp_path):
    (tmp_path / "built-revision").write_text("abc1234+\n")
    assert built_revision(Tree("this tree", tmp_path)) == "abc1234+"


def test_a_tree_that_was_built_by_hand_is_of_an_unknown_revision(tmp_path):
    assert built_revision(Tree("this tree", tmp_path)) == "unknown"
