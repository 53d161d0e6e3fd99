#!/usr/bin/python3
"""Prints a line whenever the power that the switch delivers changes or its usage alarm is raised or taken back.

    watch_power.py             until it is interrupted
    watch_power.py --count 3   three lines

Python finds the module with PYTHONPATH=PREFIX/lib/python3/dist-packages, when PREFIX is not Python's own."""
import argparse
import sys
import time

import poe_client

LOOK_AGAIN_S = 0.2


def changes(daemon):
    """The system's status now, and then whenever it is another one."""
    last = None
    while True:
        status = daemon.get_system_status()
        seen = (status.consumed_mw, status.alarm_raised)
        if seen != last:
            yield status
        last = seen
        time.sleep(LOOK_AGAIN_S)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--count", type=int, help="how many lines to print")
    asked = parser.parse_args()
    try:
        with poe_client.Connection() as daemon:
            for number, status in enumerate(changes(daemon), start=1):
                alarm = ", usage alarm" if status.alarm_raised else ""
                print(f"{status.consumed_mw / 1000:.1f} W of {status.total_mw / 1000:.1f} W{alarm}", flush=True)
                if number == asked.count:
                    return 0
    except poe_client.PoeError as error:
        print(f"watch_power: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 0


if __name__ == "__main__":
    sys.exit(main())
