"""Cells: planned, run by as many workers as there are processors, and counted."""
import concurrent.futures
import dataclasses
import os
import random
import time
import traceback
from typing import Callable


@dataclasses.dataclass
class Cell:
    """run() gives the number of faults that it delivered, and raises when something that must hold does not."""
    name: str
    run: Callable[[], int]


class Plan:
    def __init__(self, seed, long, only=""):
        self.seed, self.long, self._only = seed, long, only
        self.afterwards = []  # what is to be closed behind a kind's cells
        self.planned = self.run_to_their_end = self.faults = self.failures = 0

    def choose(self, what, everything, short):
        """All of it in the long form or where one cell is asked for, a seeded sample of `short` in the short form."""
        everything = list(everything)
        if self.long or ":" in self._only or len(everything) <= short:
            return everything
        chosen = random.Random(f"{self.seed} {what}").sample(range(len(everything)), short)
        return [everything[at] for at in sorted(chosen)]

    def wants(self, kind):
        return kind.startswith(self._only) or self._only.startswith(kind)

    def carry_out(self, kind, plan_cells):
        """plan_cells(plan): the kind's cells. A kind that cannot even be planned is a failure."""
        if not self.wants(kind):
            return
        began = time.monotonic()
        try:
            cells = [cell for cell in plan_cells(self) if f"{kind}: {cell.name}".startswith(self._only)]
        except Exception:  # pylint: disable=broad-exception-caught
            self._fail(kind, "planning")
            return
        self.planned += len(cells)
        before = self.run_to_their_end, self.faults
        with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count()) as workers:
            for faults in workers.map(lambda cell: self._run(kind, cell), cells):
                if faults is not None:
                    self.run_to_their_end += 1
                    self.faults += faults
        for close in self.afterwards:
            close()
        self.afterwards.clear()
        print(f"{kind}: {self.run_to_their_end - before[0]} of {len(cells)} cells, {self.faults - before[1]} faults, "
              f"{time.monotonic() - began:.0f} s",
              flush=True)

    def _run(self, kind, cell):
        try:
            return cell.run()
        except Exception:  # pylint: disable=broad-exception-caught
            self._fail(kind, cell.name)
            return None

    def _fail(self, kind, name):
        self.failures += 1
        print(f"FAILED: {kind}: {name} (seed {self.seed})\n{traceback.format_exc()}", flush=True)
