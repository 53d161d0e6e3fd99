"""Every kind of cell, in the order in which they run."""
import file_writes
import flash
import instances
import start_up
import time_passing
import trap_pipe
from tracing import WRAPPER

ALL = {
    "start-up on a fresh controller": start_up.plan_kills_on_a_fresh_controller,
    "start-up with a powered port": start_up.plan_kills_with_a_powered_port,
    "failing calls of start-up": start_up.plan_failures,
    "error marks": file_writes.plan_marks,
    "statistics file": file_writes.plan_statistics,
    "status and version file": file_writes.plan_shells,
    "flash": flash.plan,
    "trap pipe": trap_pipe.plan,
    "two instances": instances.plan,
    "the tick counter": time_passing.plan_wraps,
    "a month": time_passing.plan_a_month,
}


def clean_up():
    for one in WRAPPER:
        one.remove()
