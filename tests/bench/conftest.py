"""The parts of bench/run that only compute, tested without building or measuring anything."""
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
