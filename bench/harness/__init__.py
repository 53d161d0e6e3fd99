"""What every measure under bench/measures is built from; see registry for how one is declared."""
