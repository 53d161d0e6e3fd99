"""What bench/instructions makes of callgrind's dumps, and what it complains about."""
import json
import pathlib

import pytest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "bench/instructions"

DUMP = """\
version: 1
creator: callgrind-3.19.0
desc: Trigger: Client Request: transaction
positions: line
events: Ir

ob=(1) /somewhere/paths
fl=(1) ???
fn=(12) ask
0 20
0 7
cfn=(13) send
calls=2 0
0 500
0 3

fn=(13)
0 41
cob=(2) /lib/libc.so.6
cfi=(3) memcpy.S
cfn=(14) memcpy
calls=1 0
0 9

ob=(2)
fn=(14)
12 9
+3 1
* 2
fn=(15) again'2
0 5
"""


@pytest.fixture
def instructions(tmp_path, monkeypatch, script):
    module = script(SCRIPT)
    module.COUNTS = tmp_path / "instructions.json"
    monkeypatch.setattr(module, "compiler", lambda: "g++ 12")
    return module


def known(instructions, paths, compiler="g++ 12"):
    instructions.COUNTS.write_text(json.dumps({"compiler": compiler, "paths": paths}))


def test_a_function_costs_what_it_does_itself_without_what_it_calls(instructions, tmp_path):
    (tmp_path / "dump.1").write_text(DUMP)
    path, costs = instructions.own_costs(tmp_path / "dump.1")
    assert path == "transaction"
    assert costs == {"ask": 30, "send": 41, "memcpy": 12, "again": 5}


def test_a_dump_that_nobody_asked_for_has_no_path(instructions, tmp_path):
    (tmp_path / "dump.2").write_text(DUMP.replace("Client Request: transaction", "Program termination"))
    assert instructions.own_costs(tmp_path / "dump.2")[0] is None


def test_growth_up_to_a_twentieth_is_no_complaint(instructions):
    known(instructions, {"transaction": {"ask": 60, "send": 40}})
    assert not list(instructions.complaints({"transaction": {"ask": 65, "send": 40}}))


def test_more_growth_is_one_that_names_who_has_grown_dearest_first(instructions):
    known(instructions, {"transaction": {"ask": 60, "send": 40}})
    assert list(instructions.complaints({"transaction": {"ask": 62, "send": 38, "sum": 6}})) == [
        "transaction: 106 instructions, +6.0% on 100: sum +6, ask +2"]


def test_a_fall_up_to_a_twentieth_is_no_complaint(instructions):
    known(instructions, {"transaction": {"ask": 60, "send": 40}})
    assert not list(instructions.complaints({"transaction": {"ask": 55, "send": 40}}))


def test_a_larger_fall_is_one_that_asks_for_new_counts_lest_it_grows_back_unnoticed(instructions):
    known(instructions, {"transaction": {"ask": 60, "send": 38, "sum": 2}})
    assert list(instructions.complaints({"transaction": {"ask": 57, "send": 37}})) == [
        "transaction: 94 instructions, -6.0% on 100: ask -3, sum -2, send -1; renew the counts with --update"]


def test_a_path_without_a_count_and_a_count_without_a_path_are_complaints(instructions):
    known(instructions, {"sweep": {"ask": 60}})
    assert [line.split(":")[0] for line in instructions.complaints({"transaction": {"ask": 60}})] == ["sweep", "transaction"]


def test_another_compiler_is_told(instructions, capsys):
    known(instructions, {"transaction": {"ask": 60}}, compiler="g++ 13")
    assert not list(instructions.complaints({"transaction": {"ask": 60}}))
    assert "counted with another compiler: g++ 13, here g++ 12" in capsys.readouterr().out
