"""What the Python tests of every folder share."""
import importlib.machinery
import importlib.util
import sys

import pytest


@pytest.fixture
def script(monkeypatch):
    """script(path): a program of this project as a module, run up to its main; nothing is left beside it."""
    monkeypatch.setattr(sys, "dont_write_bytecode", True)

    def loaded(path):
        loader = importlib.machinery.SourceFileLoader("_".join(path.parts[-2:]), str(path))
        module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
        loader.exec_module(module)
        return module

    return loaded
