"""A file a subject; bench/harness/registry.py says how one is declared."""
