"""Days of a laptop as a scenario, drawn at random.

A night with little to do, and a day of work with programs, slider, power source and classes of workload.
"""

from tools.shared.durations import DAY_MS, HOUR_MS
from tools.shared.framework import CLIP_BIT
from tools.shared.new_file import new_file
from tools.shared.scenario import HEAD

WORK_HOURS = range(7, 22)
PROGRAMS = ("editor.exe", "svchost.exe", "OneDrive.exe")


def day(draw, start_ms):
    """The rows of one day."""
    for hour in range(24):
        lines = 12 if hour in WORK_HOURS else 2
        for time_ms in sorted(draw.randrange(HOUR_MS) for _ in range(lines)):
            name, value = at_work(draw) if hour in WORK_HOURS else ("power_mw", draw.randrange(500, 2000))
            yield start_ms + hour * HOUR_MS + time_ms, name, value


def at_work(draw):
    return draw.choice((
        lambda: ("power_mw", draw.choice((700, 1500, 2500, 4500, 5500, 8000, 16000))),
        lambda: ("power_mw", draw.randrange(20000)),
        lambda: ("clip_reasons", draw.choice((0, 0, 0, CLIP_BIT))),
        lambda: ("ac_line", draw.randrange(2)),
        lambda: ("event", f"106:{draw.randrange(101)}"),
        lambda: ("event", f"183:{draw.randrange(5)}"),
        lambda: ("process_start", f"{draw.choice(PROGRAMS)}:{draw.randrange(4, 99999)}"),
    ))()


def write_scenario(path, days, draw):
    with new_file(path, encoding="ascii") as file:
        file.write(HEAD)
        for number in range(days):
            file.writelines(f"{time_ms},{name},{value}\n" for time_ms, name, value in day(draw, number * DAY_MS))
        file.write(f"{days * DAY_MS},stop,scaling\n")
