"""What the service's code takes stays within its limits: instructions and allocations, the same in each run."""

import math
import os
import pathlib
import re

import pytest

from tools.bench import callgrind, native
from tools.bench.native import Cost
from tools.bench.table import Row, table
from tools.shared.kept_page import keep

NATIVE = pathlib.Path(os.environ["KELVANE_BUILD"]).parent / "native-bench"

LIMITS = {  # instructions, allocations
    **{step: Cost(40000, 15) for step in native.STEPS},
    "sample": Cost(4000, 0),  # a tenth of a step's
    "dropped-message": Cost(100, 0),
    "listed-start": Cost(5000, math.inf),
    "acting-start": Cost(5000, math.inf),
    "start-to-write": Cost(5000, math.inf),
}


def is_within(cost, limit):
    return cost.instructions <= limit.instructions and cost.allocations <= limit.allocations


@pytest.mark.parametrize("thing", LIMITS)
def test_a_thing_takes_no_more_than_its_limit(thing):
    taken = native.cost(NATIVE, thing)

    assert is_within(taken, LIMITS[thing]), taken
    assert taken.instructions > 10


def test_what_is_done_on_purpose_is_counted():
    """A thousand rounds of a loop and seven allocations, a hundred times."""
    taken = native.cost(NATIVE, "known-work")

    assert taken.allocations == 7
    assert 3000 <= taken.instructions <= 10000


@pytest.mark.parametrize("taken", [Cost(4000, 15.01), Cost(4001, 15)])
def test_more_than_the_limit_is_not_within_it(taken):
    assert is_within(Cost(4000, 15), Cost(4000, 15))
    assert not is_within(taken, Cost(4000, 15))


def test_a_day_leaves_the_heap_as_its_first_hour_did():
    first, last = native.heap_over_day(NATIVE)

    assert first == last > 0


def test_an_unknown_thing_is_refused():
    with pytest.raises(RuntimeError, match="usage: native-bench"):
        native.cost(NATIVE, "no-such-thing")


def test_calls_in_others_names_are_left_out_once(tmp_path):
    """A step takes 107 itself; the core takes 3000, what it calls 2000, and that calls the core's search, for 500."""
    out = tmp_path / "callgrind.out"
    out.write_text("fn=(1) step\n10 100\ncfn=(2) core::execute\ncalls=3 20\n11 5500\n12 7\n\n"
                   "fn=(2)\n20 3000\ncfn=(3) std::handler\ncalls=3 30\n21 2500\n\n"
                   "fn=(3)\n30 2000\ncfn=(4) core::find\ncalls=3 40\n31 500\n\nfn=(4)\n40 500\n")

    assert callgrind.instructions(out, re.compile("nothing")) == 5607
    assert callgrind.instructions(out, re.compile("core::")) == 107


def test_the_table_has_counts_and_ratios_before_times():
    rows = [Row("time", 12.345, "ms"), Row("steps", 15000, "instructions", 7500, "<= 15,000"), Row("heap", 0, "bytes")]

    assert table(rows) == (
        "| measure |  value | unit         | smallest | ratio | target    | met |\n"
        "|---------|-------:|--------------|---------:|------:|-----------|-----|\n"
        "| steps   | 15,000 | instructions |    7,500 |  2.00 | <= 15,000 | yes |\n"
        "| heap    |      0 | bytes        |          |       |           |     |\n"
        "| time    |   12.3 | ms           |          |       |           |     |\n")


@pytest.mark.parametrize("row, answer", [
    (Row("", 2000, "", None, "<= 2,000"), "yes"), (Row("", 2001, "", None, "<= 2,000"), "no"),
    (Row("", 0, "", None, "0"), "yes"), (Row("", 1, "", None, "0"), "no"),
    (Row("", 200, "", None, ">= 200"), "yes"), (Row("", 199, "", None, ">= 200"), "no"),
    (Row("", 11, "", 10, "<= 1.1 x"), "yes"), (Row("", 11.1, "", 10, "<= 1.1 x"), "no"),
    (Row("", 3071, "KiB", None, "< 3 MiB"), "yes"), (Row("", 3072, "KiB", None, "< 3 MiB"), "no"),
    (Row("", 1.29, "MB", None, "< 1.3 MB"), "yes"), (Row("", 1.3, "MB", None, "< 1.3 MB"), "no")])
def test_the_table_says_whether_a_target_is_met(row, answer):
    assert table([row]).splitlines()[-1].endswith(f"| {answer:3} |")


def test_the_page_keeps_what_stands_around_the_table(tmp_path):
    page = tmp_path / "cost.md"
    page.write_text("before\n<!-- begin -->\nold\n<!-- end -->\nbehind\n")

    keep(page, "<!-- begin -->\n", "<!-- end -->\n", "new\n")
    keep(page, "<!-- begin -->\n", "<!-- end -->\n", "newer\n")

    assert page.read_text() == "before\n<!-- begin -->\nnewer\n<!-- end -->\nbehind\n"
