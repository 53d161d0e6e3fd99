"""Takes the rounds of contenders in turn."""


def interleaved(samplers, rounds):
    """samplers: one function a contender; each returns its numbers by name. Returns, for each, name -> numbers, one a
    round. Who begins alternates, so that nobody always measures in the other's wake."""
    taken = [{} for _ in samplers]
    for turn in range(rounds):
        order = range(len(samplers)) if turn % 2 == 0 else reversed(range(len(samplers)))
        for which in order:
            for name, number in samplers[which]().items():
                taken[which].setdefault(name, []).append(number)
    return taken
