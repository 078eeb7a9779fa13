"""tools.trace.summarize TRACE.csv DATA: prints what a replay did, minute by minute and in total.

Writes what the picture shows to DATA, in two blocks: seconds and mean power in W for each control step; seconds,
ceiling and PL1 in W for each change of a limit.
"""

import collections
import sys

from tools.shared.durations import MINUTE_MS
from tools.shared.exit_codes import MALFORMED
from tools.shared.file_names import print_names_as_they_are
from tools.shared.new_file import new_file
from tools.trace.replay import Replay
from tools.trace.rows import MalformedTrace, read_trace
from tools.trace.totals import totals


def ceilings_by_minute(replay):
    """The ceilings that were in force at some time of each minute."""
    ceilings = collections.defaultdict(list)
    ends = [time_ms for time_ms, _, _ in replay.changes[1:]] + [replay.end_ms]
    for (time_ms, ceiling, _), end_ms in zip(replay.changes, ends):
        if end_ms > time_ms:
            for minute in range(time_ms // MINUTE_MS, (end_ms - 1) // MINUTE_MS + 1):
                ceilings[minute].append(ceiling)
    return ceilings


def print_minutes(replay):
    steps = collections.defaultdict(list)
    for step in replay.steps:
        steps[step.time_ms // MINUTE_MS].append(step)
    writes = collections.Counter(time_ms // MINUTE_MS for time_ms in replay.write_times)
    ceilings = ceilings_by_minute(replay)
    print("minute   mean power   ceiling        tier   writes")
    for minute in range(max(steps) + 1):
        powers = [power for step in steps[minute] for power in step.power_mw]
        mean = f"{sum(powers) / len(powers) / 1000:8.2f} W" if powers else "         -"
        allowed = ceilings[minute]
        ceiling = f"{min(allowed):5}-{max(allowed):<6}" if allowed else "    -       "
        tiers = collections.Counter(step.tier for step in steps[minute] if step.tier)
        tier = tiers.most_common(1)[0][0] if tiers else "-"
        print(f"{minute:6}   {mean}   {ceiling} {tier:>6}   {writes[minute]:6}")


def print_totals(replay):
    figures = {key: total.text() for key, total in totals(replay).items()}
    writes = ", ".join(f"{name} {count}" for name, count in sorted(replay.writes.items()))
    print()
    print(f"time                  {figures['time']}")
    idle = f", of them {figures['idle']} in Active Idle" if replay.tells_decisions else ""
    print(f"control steps         {figures['steps']}{idle}")
    print(f"writes to processor   {figures['writes']} ({writes})")
    print(f"at full performance   {figures['full']}, {figures['full share']} of the time")
    if replay.tells_decisions:
        print(f"bursts and restores   {figures['bursts']} process-start bursts, "
              f"{figures['restores']} restores, {figures['clips']} clips")


def write_data(path, replay):
    power = [(step.time_ms, step.mean_power_mw()) for step in replay.steps] or [(0, 0.0)]
    limits = replay.changes or [(0, 0, 0)]
    with new_file(path, encoding="ascii") as data:
        for time_ms, power_mw in power + [(replay.end_ms, power[-1][1])]:
            data.write(f"{time_ms / 1000} {power_mw / 1000}\n")
        data.write("\n\n")
        for time_ms, ceiling, pl1_mw in limits + [(replay.end_ms, *limits[-1][1:])]:
            data.write(f"{time_ms / 1000} {ceiling} {pl1_mw / 1000}\n")


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: tools.trace.summarize TRACE.csv DATA")
    print_names_as_they_are()
    replay = Replay()
    try:
        replay.read(read_trace(sys.argv[1]))
    except MalformedTrace as fault:
        print(fault, file=sys.stderr)
        sys.exit(MALFORMED)
    if replay.steps:
        print_minutes(replay)
    else:
        print("no control step was made: the loop ended during its start-up")
    print_totals(replay)
    write_data(sys.argv[2], replay)


if __name__ == "__main__":
    main()
