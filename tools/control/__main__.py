"""compare.sh [--preset PRESET] [--keep] [SCENARIO.csv...]: every kind of work under every policy, side by side."""

import argparse
import concurrent.futures
import csv
import dataclasses
import hashlib
import math
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

from tools.control import workloads
from tools.control.given import Malformed, given_work, recorded, text_of
from tools.shared.durations import HOUR_MS
from tools.shared.exit_codes import MALFORMED
from tools.shared.file_names import dashed_files, print_names_as_they_are, refuse_line_feeds
from tools.shared.kept_page import keep
from tools.shared.new_file import copy_whole, write_whole
from tools.shared.program_end import describe_end
from tools.shared.project import BUILD, ROOT, WINE_RUN

OUT = BUILD / "compare"
RESULTS = ("table.md", "hashes.txt", "scatter.svg")
PROGRAM = BUILD / "release/kelvane-policy.exe"
PLOT = pathlib.Path(__file__).with_name("scatter.gp")
SEEDS = (1, 2, 3, 4, 5)
YARDSTICK = "always-10000"
POLICIES = ("service", YARDSTICK, "fixed-1200", "ondemand", "conservative", "oracle")
PRESETS = ("thin-laptop", "workstation-laptop", "desktop")
RUN_TIMEOUT_S = 600


@dataclasses.dataclass
class Job:
    """A row of jobs.csv; times in ms since the arrival, None: it did not come to that."""
    name: str
    launch: bool
    arrival: int
    done: float
    first: float
    held: float


@dataclasses.dataclass
class Run:
    """One hour of one kind of work under one policy."""
    totals: dict
    jobs: list
    digest: str


class RunFailed(RuntimeError):
    """What the policy's program said."""

    def __init__(self, text, malformed):
        super().__init__(text)
        self.malformed = malformed


def number_or_none(text):
    return float(text) if text else None


def read_run(folder):
    with open(folder / "totals.csv", newline="", encoding="ascii") as file:
        totals = {row["measure"]: float(row["value"]) for row in csv.DictReader(file)}
    with open(folder / "jobs.csv", newline="", encoding="utf-8") as file:
        jobs = [Job(row["name"], row["launch"] == "1", int(row["arrival_ms"]), number_or_none(row["done_ms"]),
                    number_or_none(row["ceiling_first_ms"]), number_or_none(row["ceiling_held_ms"]))
                for row in csv.DictReader(file)]
    with open(folder / "trace.csv", "rb") as file:
        digest = hashlib.file_digest(file, "sha256").hexdigest()
    return Run(totals, jobs, digest)


def run_policy(policy, scenario, name, folder):
    """Runs one hour in a folder of its own, which is taken away again. name: what messages call the scenario."""
    folder.mkdir()
    command = [WINE_RUN, PROGRAM, policy, scenario, folder]
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          timeout=RUN_TIMEOUT_S, check=False)
    if done.returncode != 0:
        said = done.stderr.decode(errors="replace").strip().replace(str(scenario), str(name))
        malformed = done.returncode == MALFORMED
        raise RunFailed(said if malformed else f"{policy} {describe_end(done.returncode)}: {said}", malformed)
    run = read_run(folder)
    if not run.totals["time_ms"]:
        raise RunFailed(f"{name}: the scenario ends at its beginning", malformed=True)
    shutil.rmtree(folder)
    return run


def own_work(preset, folder):
    """{(kind, seed): (file, its name in messages)}; the files are written to the folder."""
    texts = {(kind, seed): workloads.scenario(kind, seed, preset) for kind in workloads.KINDS for seed in SEEDS}
    office = ROOT / "scenarios/office-laptop.csv"
    texts["recorded office (derived)", 1] = workloads.derived(*recorded(office, text_of(office)), 1, preset)
    return {key: write_scenario(folder, number, text) for number, (key, text) in enumerate(texts.items())}


def write_scenario(folder, number, text):
    path = folder / f"{number:02}.csv"
    path.write_text(text, encoding="utf-8")
    return path, path


def run_all(scenarios, folder):
    """{(kind, seed, policy): Run}"""
    runs = {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        waiting = {pool.submit(run_policy, policy, path, name, folder / f"{number:02}.{policy}"): (*key, policy)
                   for number, (key, (path, name)) in enumerate(scenarios.items()) for policy in POLICIES}
        try:
            for done, future in enumerate(concurrent.futures.as_completed(waiting), 1):
                runs[waiting[future]] = future.result()
                if sys.stderr.isatty():
                    print(f"\r{done}/{len(waiting)}", end="", file=sys.stderr, flush=True)
        except BaseException:
            pool.shutdown(wait=False, cancel_futures=True)
            raise
    return runs


def percentile(values, share):
    """The smallest value that so many of all reach or stay below."""
    ordered = sorted(values)
    return ordered[math.ceil(share * len(ordered)) - 1] if ordered else None


def slowdowns(own, yardstick, launch):
    """How many times as long each job took as with the ceiling always at its highest, in the same hour.

    A job that was not done at the end of the hour counts with the time it has taken so far.
    """
    end = own.totals["time_ms"]
    return [(end - job.arrival if job.done is None else job.done) / least.done
            for job, least in zip(own.jobs, yardstick.jobs) if job.launch == launch and least.done]


def measures(runs, yardsticks):
    """The measures of a policy over the hours of one kind of work."""
    total = {name: sum(run.totals[name] for run in runs) for name in runs[0].totals}
    launches = [job for run in runs for job in run.jobs if job.launch]
    launch_slowdowns = [s for run, least in zip(runs, yardsticks) for s in slowdowns(run, least, True)]
    other_slowdowns = [s for run, least in zip(runs, yardsticks) for s in slowdowns(run, least, False)]
    first = [job.first for job in launches if job.first is not None]
    held = [job.held for job in launches if job.held is not None]
    return {
        "energy": total["energy_mj"] / total["served_core_ms"] if total["served_core_ms"] else None,
        "launch p50": percentile(launch_slowdowns, 0.50),
        "launch p95": percentile(launch_slowdowns, 0.95),
        "other p95": percentile(other_slowdowns, 0.95),
        "p95": percentile(launch_slowdowns or other_slowdowns, 0.95),
        "first": statistics.median(first) / 1000 if first else None,
        "first share": len(first) / len(launches) if launches else None,
        "held": statistics.median(held) / 1000 if held else None,
        "held share": len(held) / len(launches) if launches else None,
        "full idle": total["full_with_nothing_to_do_ms"] / total["time_ms"],
        "writes": total["ceiling_writes"] / (total["time_ms"] / HOUR_MS),
        "above PL1": total["above_pl1_ms"] / total["time_ms"],
    }


def by_kind_and_policy(runs, kinds):
    """{kind: {policy: measures}}"""
    table = {}
    for kind in kinds:
        seeds = sorted({seed for k, seed, _ in runs if k == kind})
        yardsticks = [runs[kind, seed, YARDSTICK] for seed in seeds]
        table[kind] = {policy: measures([runs[kind, seed, policy] for seed in seeds], yardsticks)
                       for policy in POLICIES}
    return table


def cell(value, form):
    return "-" if value is None else form.format(value)


def share_of(value, share):
    return "-" if share is None else f"{cell(value, '{:.2f}')} ({share:.0%})"


HEAD = ("| work | policy | energy, J per core-s | launch p50 | launch p95 | other p95 | first at 10000, s | "
        "held to the end, s | at 10000 for nothing | writes/h | above PL1 |\n"
        "|---|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|")


def table_text(table):
    lines = [HEAD]
    for kind, policies in table.items():
        for policy, m in policies.items():
            columns = [kind.replace("|", "\\|"), policy, cell(m["energy"], "{:.3f}"), cell(m["launch p50"], "{:.2f}"),
                       cell(m["launch p95"], "{:.2f}"), cell(m["other p95"], "{:.2f}"),
                       share_of(m["first"], m["first share"]), share_of(m["held"], m["held share"]),
                       cell(m["full idle"], "{:.1%}"), cell(m["writes"], "{:.0f}"), cell(m["above PL1"], "{:.1%}")]
            lines.append("| " + " | ".join(columns) + " |")
    return "\n".join(lines) + "\n"


def hashes_text(runs):
    ordered = sorted(runs, key=lambda key: (key[0], key[1], POLICIES.index(key[2])))
    return "".join(f"{runs[key].digest} {key[0]}, seed {key[1]}, {key[2]}\n" for key in ordered)


def draw(table, folder):
    """Energy against the 95th percentile of launches (of other jobs, where there are none), a panel for each work.

    Returns whether there was anything to draw: work that even the yardstick has not done has no slowdown.
    """
    drawn = {kind: policies for kind, policies in table.items() if all(m["p95"] for m in policies.values())}
    if not drawn:
        return False
    data, picture = folder / "scatter.dat", folder / "scatter.svg"
    with open(data, "w", encoding="utf-8") as file:
        for policies in drawn.values():
            for policy, m in policies.items():
                file.write(f'{m["p95"]} {m["energy"] / policies[YARDSTICK]["energy"]} {policy}\n')
            file.write("\n\n")
    titles = "".join(f"{kind}\n" for kind in drawn)
    subprocess.run(["gnuplot", "-c", PLOT, data, picture, str(len(drawn)), " ".join(POLICIES), titles], check=True)
    if not picture.read_text(encoding="utf-8").rstrip().endswith("</svg>"):  # gnuplot does not tell
        sys.exit(f"compare.sh: {picture}: not written to its end")
    return True


def keep_in_documents():
    """Puts table and hashes into the documents."""
    keep(ROOT / "docs/control.md", "<!-- table -->\n", "<!-- end of table -->",
         (OUT / "table.md").read_text(encoding="ascii"))
    copy_whole(OUT / "hashes.txt", ROOT / "docs/control-hashes.txt")
    picture = (OUT / "scatter.svg").read_text(encoding="utf-8")
    write_whole(ROOT / "docs/control.svg", re.sub(r"[ \t]+$", "", picture, flags=re.M))


def publish(folder):
    OUT.mkdir(exist_ok=True)
    for name in RESULTS:
        if (folder / name).exists():
            os.replace(folder / name, OUT / name)
        else:
            (OUT / name).unlink(missing_ok=True)


def main():
    parser = argparse.ArgumentParser(prog="compare.sh")
    parser.add_argument("scenarios", nargs="*", metavar="SCENARIO.csv")
    parser.add_argument("--preset", choices=PRESETS, default=PRESETS[0])
    parser.add_argument("--keep", action="store_true", help="put table, hashes and picture into docs/")
    print_names_as_they_are()
    arguments = parser.parse_args(dashed_files(sys.argv[1:], ("--keep", "--preset", "-h", "--help")))
    refuse_line_feeds(arguments.scenarios)
    if arguments.keep and (arguments.scenarios or arguments.preset != PRESETS[0]):
        parser.error("the documents show the thin laptop at the work of its own")
    BUILD.mkdir(exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="compare-", dir=BUILD) as folder:
        compare(arguments, pathlib.Path(folder))


def compare(arguments, folder):
    """Works in the folder; what was there of an earlier comparison is replaced at the end."""
    try:
        given = arguments.scenarios
        work = given_work(given, arguments.preset, folder) if given else own_work(arguments.preset, folder)
        runs = run_all(work, folder)
    except (OSError, Malformed, RunFailed) as fault:
        if isinstance(fault, Malformed) or getattr(fault, "malformed", False):
            print(fault, file=sys.stderr)
            sys.exit(MALFORMED)
        sys.exit(f"compare.sh: {fault}")
    table = by_kind_and_policy(runs, dict.fromkeys(kind for kind, _ in work))
    write_whole(folder / "table.md", table_text(table))
    write_whole(folder / "hashes.txt", hashes_text(runs))
    drawn = draw(table, folder)
    publish(folder)
    print(table_text(table))
    print(hashes_text(runs))
    print(f"table, hashes {'and picture ' if drawn else ''}lie in build/compare/")
    if arguments.keep:
        keep_in_documents()


if __name__ == "__main__":
    main()
