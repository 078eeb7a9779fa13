"""What faults the planter finds in a text, what it makes of them, and what it says about the list of survivors."""

import asyncio
import os
import subprocess

import pytest

from tools.mutate import arguments, building, listed, operators, project, running, source
from tools.shared.project import ROOT

EXAMPLE = """
#include <array>
#include <string>

#define LIMIT 40
#define TWICE(x) ((x) * 2)

namespace example {

enum Colour { red = 3, green };
constexpr int step = 7;
constexpr std::size_t places = 2;
constexpr char greeting[] = "hello";
struct Row {
    int key;
    const char* name;
    Colour colour;
};
constexpr Row rows[] = {
    { 1, "one", red },
    { 2, "two", green },
};
static_assert(rows[0].key == 1);
int calls = 0;
constinit int last = 0;

void note(int value)
{
    calls += 1;
    last = value;
}

bool isBetween(int value) { return value > 0 && value < LIMIT; }

int advanced(int value)
{
    std::array<int, places> both = {};
    both[1] = TWICE(value);
    if (!isBetween(value)) return -1;
    switch (value) {
    case 5: note(value); break;
    default: return both[1] + step;
    }
    return both[0];
}

std::string greetingFor(const char* name) { return std::string(greeting) + name; }

const char* nameOf(int key)
{
    for (const Row& row : rows) {
        if (row.key == key) return row.colour == red ? row.name : "green";
    }
    return nullptr;
}

}  // namespace example
"""

MAIN = """
#include <cstdio>
#include <string>
namespace example {
extern int calls, last;
int advanced(int);
std::string greetingFor(const char*);
const char* nameOf(int);
}
int main()
{
    using namespace example;
    std::printf("%d %d %d %d ", advanced(-5), advanced(3), advanced(5), advanced(40));
    std::printf("%d %d %s %s %s", calls, last, greetingFor("!").c_str(), nameOf(1), nameOf(2));
}
"""


def found_in(tmp_path, text, name="example.cpp"):
    path = tmp_path / name
    path.write_text(text, encoding="ascii")
    unit = source.parse(path, ["-xc++", "-std=c++20"])
    tops = source.outermost(unit, {str(path)})
    return source.Finder(tops[str(path)], path, name, {str(path): text}).file


def changes(file, function):
    return {f"{fault.old} -> {fault.new}" for fault in file.faults if fault.function == function and fault.planted}


@pytest.fixture(name="example")
def fixture_example(tmp_path):
    return found_in(tmp_path, EXAMPLE)


@pytest.fixture(name="compiled")
def fixture_compiled(tmp_path, monkeypatch):
    """Compiles a text with all its faults."""
    monkeypatch.setattr(project, "TREE", tmp_path / "tree")
    monkeypatch.setattr(project, "OUT", tmp_path)

    def run(text):
        file = found_in(tmp_path, text)
        compiler = building.Compiler({file.name: file}, {file.name: [file.name]},
                                     {file.name: (["g++", "-std=c++20"], None)})
        asyncio.run(compiler.run())
        return file, compiler

    return run


def test_operators_conditions_and_returned_values_change(example):
    assert changes(example, "isBetween") == {
        "return value > 0 && value < LIMIT -> return value >= 0 && value < LIMIT",
        "return value > 0 && value < LIMIT -> return value <= 0 && value < LIMIT",
        "return value > 0 && value < LIMIT -> return value > 1 && value < LIMIT",
        "return value > 0 && value < LIMIT -> return value > 0 || value < LIMIT",
        "return value > 0 && value < LIMIT -> return !(value > 0 && value < LIMIT)",
        "return value > 0 && value < LIMIT -> return value > 0 && value <= LIMIT",
        "return value > 0 && value < LIMIT -> return value > 0 && value >= LIMIT",
    }


def test_a_pointer_can_be_a_condition(compiled):
    file, _ = compiled("int f(const int* p)\n{\n    if (!p) return 2;\n    return p ? 3 : 4;\n}\n")

    assert {"if (!p) return 2 -> if (!!p) return 2",
            "return p ? 3 : 4 -> return !(p) ? 3 : 4"} <= changes(file, "f")


def test_statements_are_dropped_and_neighbours_that_depend_on_each_other_change_places(tmp_path):
    file = found_in(tmp_path, "int a, b; void f();\nvoid g()\n{\n    a = 1;\n    b = 2;\n    b = a;\n    f();\n}\n")

    assert {change for change in changes(file, "g") if "dropped" in change or change.count(";") == 4} == {
        "a = 1; -> (dropped)", "b = 2; -> (dropped)", "b = a; -> (dropped)", "f(); -> (dropped)",
        "b = 2; b = a; -> b = a; b = 2;", "b = a; f(); -> f(); b = a;"}


@pytest.mark.parametrize("body, matters", [
    ("f(); f(1);", True), ("f(); f();", False), ("a = 1; f();", True), ("a = b; b = 1;", True),
    ("a = 1; b = 2;", False),
    ("p.x = 1; f();", False), ("p.x = 1; f(p.x);", True), ("p.x = 1; f(p.y);", False), ("p.x = 1; g(p);", True),
    ("a = 1; logLine(b);", False), ("a = 1; logLine(a);", True),
    ("s = 1; t = 2;", True), ("s = 1; a = 2;", False), ("s = 1; t += 2;", True),
    ("const int x = k(); s = 1;", True), ("const int x = k(); s = x;", False), ("const int x = a; s = 1;", False),
    ("const int x = k(); a = 1;", False), ("P q(p); f();", False)])
def test_order_matters_where_one_statement_or_another_thread_may_see_what_the_other_does(tmp_path, body, matters):
    file = found_in(tmp_path, "#include <atomic>\nstruct P { int x, y; };\nint a, b, k();\nstd::atomic<int> s, t;\n"
                    "void f(int = 0);\nvoid g(P&);\nvoid logLine(int);\n"
                    "void h(P& p)\n{\n" + body + "\n}\n")

    assert any(fault.form in ("swap", "early") for fault in file.faults) == matters


def test_a_store_before_the_declaration_by_a_call_leaves_the_declared_to_what_follows(compiled):
    file, _ = compiled("#include <atomic>\nstd::atomic<int> s;\nint k();\n"
                       "int f()\n{\n    const int x = k();\n    s = 1;\n    return x;\n}\n")

    assert "const int x = k(); s = 1; -> s = 1; const int x = k();" in changes(file, "f")


def test_what_has_to_be_constant_and_what_a_macro_writes_is_not_planted(example):
    advanced = changes(example, "advanced")

    assert not any("6" in change or "case 5" in change.split(" -> ")[-1] and "note" not in change
                   for change in advanced)
    assert not any("TWICE" not in change and "* 2" in change for change in advanced)
    assert changes(example, "places") == {"constexpr std::size_t places = 2 -> constexpr std::size_t places = 3",
                                          "constexpr std::size_t places = 2 -> constexpr std::size_t places = 1"}


def test_cells_of_a_table_take_the_value_of_the_next_row(example):
    rows = changes(example, "rows")

    assert '{ 1, "one", red } -> { 1, "one", green }' in rows
    assert '{ 2, "two", green } -> { 2, "two", red }' in rows
    assert '{ 1, "one", red } -> { 2, "one", red }' in rows
    assert '{ 1, "one", red } -> { 1, "~ne", red }' in rows
    assert not any(old == new for old, new in (row.split(" -> ") for row in rows))


def test_a_constant_that_only_the_compiler_reads_has_no_faults(example, tmp_path, monkeypatch):
    monkeypatch.setattr(project, "ROOT", tmp_path)
    building.leave_unused({example.name: example}, example.uses)

    assert changes(example, "places") == set()
    assert changes(example, "step") != set()


def test_faults_of_the_same_name_are_numbered(tmp_path):
    file = found_in(tmp_path, "int a;\nvoid f()\n{\n    a = 4;\n    a = 4;\n}\n")

    assert {"a = 4; -> (dropped)", "a = 4; -> (dropped) #2",
            "a = 4 -> a = 5", "a = 4 -> a = 5 #2"} <= changes(file, "f")
    assert len({fault.key for fault in file.faults}) == len(file.faults)


def test_a_fault_keeps_its_name_when_lines_come_before_it(tmp_path, example):
    moved = found_in(tmp_path, "// a line\n\n" + EXAMPLE, "example.cpp")

    assert [fault.key for fault in moved.faults] == [fault.key for fault in example.faults]
    assert [fault.part for fault in moved.faults] == [fault.part for fault in example.faults]


@pytest.mark.parametrize("text, expected", [
    ("5", ["6", "4"]), ("0", ["1"]), ("0x400u", ["0x401u", "0x3ffu"]), ("10'000L", ["10001L", "9999L"]),
    ("1.5", []), ("LIMIT", [])])
def test_integers(text, expected):
    assert operators.changed_integer(text) == expected


@pytest.mark.parametrize("text, expected", [
    ('"text"', ['"~ext"']), ('L"text"', ['L"~ext"']), ('"~"', ['"#"']), ('""', ['"~"']),
    (r'"\n\x41b"', [r'"\n\x41~"']), (r'"\n"', []), ('" a" "b"', ['" ~" "b"'])])
def test_strings_keep_their_length_if_they_have_one(text, expected):
    assert operators.changed_string(text) == expected


class Program:
    """The example, compiled once with all its faults."""

    def __init__(self, file, compiler, folder):
        self.folder, self.faults = folder, compiler.faults
        (folder / "main.cpp").write_text(MAIN, encoding="ascii")
        (folder / "runtime.cpp").write_text(building.RUNTIME % (len(self.faults) + 1), encoding="ascii")
        subprocess.run(["g++", "-std=c++20", "-o", folder / "program", folder / "main.cpp", folder / "runtime.cpp",
                        compiler.object_of(file.name)], check=True)

    def output(self, fault=0, **environment):
        done = subprocess.run([self.folder / "program"], env={**os.environ, "KELVANE_FAULT": str(fault), **environment},
                              capture_output=True, text=True, check=False, timeout=10)
        return done.stdout if done.returncode == 0 else f"ended with {done.returncode}"


@pytest.fixture(name="program")
def fixture_program(compiled, tmp_path, monkeypatch):
    monkeypatch.setattr(project, "ROOT", tmp_path)
    return Program(*compiled(EXAMPLE), tmp_path)


UNHARMED = "-1 13 0 -1 1 5 hello! one green"


def test_the_planted_program_does_what_the_original_does_until_a_fault_is_chosen(program):
    assert program.output() == UNHARMED

    outputs = {fault.key.split(" | ", 1)[1]: program.output(fault.number)
               for fault in program.faults if fault.planted}
    assert outputs["step | constexpr int step = 7 -> constexpr int step = 8"] == "-1 14 0 -1 1 5 hello! one green"
    assert outputs['rows | { 1, "one", red } -> { 1, "~ne", red }'] == "-1 13 0 -1 1 5 hello! ~ne green"
    assert outputs["note | calls += 1; -> (dropped)"] == "-1 13 0 -1 0 5 hello! one green"
    assert outputs["advanced | note(value); -> (dropped)"] == "-1 13 0 -1 0 0 hello! one green"
    assert outputs['greeting | constexpr char greeting[] = "hello" -> constexpr char greeting[] = "~ello"'] == (
        "-1 13 0 -1 1 5 ~ello! one green")
    assert [key for key, output in outputs.items() if output == UNHARMED] == [
        # The size of an array stays as it is.
        "places | constexpr std::size_t places = 2 -> constexpr std::size_t places = 3",
        "places | constexpr std::size_t places = 2 -> constexpr std::size_t places = 1",
        # The name of a green row is not asked for.
        'rows | { 2, "two", green } -> { 2, "~wo", green }',
        # The first call overwrites it.
        "last | constinit int last = 0 -> constinit int last = 1",
        # No value is 0 or 1, and only 40 lies at the upper end.
        "isBetween | return value > 0 && value < LIMIT -> return value >= 0 && value < LIMIT",
        "isBetween | return value > 0 && value < LIMIT -> return value > 1 && value < LIMIT",
    ]


def test_a_program_notes_which_faults_it_has_reached(program, tmp_path):
    reached = tmp_path / "noted"
    reached.mkdir()
    program.output(KELVANE_REACHED=str(reached), KELVANE_TEST="Suite/One.Name/2")

    baseline = running.Baseline()
    baseline.count = len(program.faults) + 1
    record = (reached / "Suite%One.Name%2").read_bytes()
    baseline.add("program", "Suite/One.Name/2", record)
    planted = {fault.number for fault in program.faults if fault.planted and fault.function != "places"}
    assert set(baseline.reaching) == planted - {
        fault.number for fault in program.faults if fault.key.endswith("return nullptr; -> (dropped)")}
    assert baseline.reaching[max(planted)] == {"program": ["Suite/One.Name/2"]}


def test_what_does_not_compile_is_left_out_alone(compiled):
    file, _ = compiled("const char* a = 0;\nint b = 0;\nint f() { char text[] = \"x\"; return text[b] + 1; }\n")

    assert [fault.key for fault in file.faults if not fault.planted] == [
        "example.cpp | a | const char* a = 0 -> const char* a = 1",
        'example.cpp | f | char text[] = "x"; -> char text[] = "~";']
    assert len([fault for fault in file.faults if fault.planted]) >= 4


# --- what tests say ---

# Plays a test program: it notes what it is asked for, and says what the fault's number stands for.
PLAYED = """#!/bin/sh
echo "$KELVANE_FAULT $*" >> "$TMPDIR/../calls"
case $KELVANE_FAULT in
1) echo "[  FAILED  ] Suite.Two (exit code 1)"; exit 1 ;;
2) echo "[  FAILED  ] Suite.Two (not over after 10 s)"; exit 1 ;;
3) kill -9 $$ ;;
esac
"""


@pytest.fixture(name="judged")
def fixture_judged(tmp_path, monkeypatch):
    """Verdicts on faults of these numbers, reached by the tests One and Two, and the calls that it took."""
    program = tmp_path / "program"
    program.write_text(PLAYED, encoding="ascii")
    program.chmod(0o755)
    monkeypatch.setattr(project, "OUT", tmp_path)
    monkeypatch.setattr(running, "cores", lambda: 1)

    def judge(*numbers, deadline=None):
        baseline = running.Baseline()
        for number in (1, 2, 3, 4):
            baseline.reaching[number]["program"] = ["Suite.One", "Suite.Two"]
        run = running.Run({"program": program}, baseline)
        faults = [source.Fault("a.cpp", number, "f", 0, 1, "", number=number) for number in numbers]
        late = asyncio.run(run.judge(faults, deadline))
        calls = tmp_path / "calls"
        return run, late, calls.read_text(encoding="ascii").splitlines() if calls.exists() else []

    return judge


def numbers_of(faults):
    return [one.number for one in faults]


def test_a_fault_is_caught_hung_or_survives(judged):
    run, late, _ = judged(1, 2, 3, 4, 5)

    assert (numbers_of(run.caught), numbers_of(run.hung)) == ([1, 3], [2])
    assert (numbers_of(run.survivors), numbers_of(run.unreached)) == ([4, 5], [5])
    assert late == []


def test_only_tests_that_reach_a_fault_run_and_those_that_saw_the_last_one_go_first(judged):
    _, _, calls = judged(1, 4, 5)

    assert [call.split(" --gtest_fail_fast")[0] for call in calls] == [
        "1 --gtest_filter=Suite.One:Suite.Two", "4 --gtest_filter=Suite.Two", "4 --gtest_filter=Suite.One"]


def test_no_fault_is_tried_when_time_is_up(judged):
    run, late, calls = judged(1, 2, deadline=0)

    assert numbers_of(late) == [1, 2] and calls == [] and run.caught == []


# --- the list ---

def fault(key):
    file, function, change = key.split(" | ")
    old, new = change.split(" -> ")
    return source.Fault(file, 1, function, 0, 1, "", old, new)


ONE, TWO = fault("a.cpp | f | 1 -> 2"), fault("a.cpp | f | 3 -> 4")


@pytest.fixture(name="entries")
def fixture_entries(tmp_path):
    def read(text):
        path = tmp_path / "survivors.txt"
        path.write_text(text, encoding="utf-8")
        return listed.read(path)

    return read


def test_the_list_gives_reasons_to_what_cannot_be_seen(entries):
    found = entries("# comment\nThe same in the end:\n    a.cpp | f | 1 -> 2\n\n"
                    "Another reason:\n    a.cpp | f | 3 -> 4\n")

    assert {key: entry.reason for key, entry in found.items()} == {ONE.key: "The same in the end",
                                                                  TWO.key: "Another reason"}


@pytest.mark.parametrize("text, complaint", [
    ("    a | b | c -> d\n", "no reason is given"),
    ("why:\na | b | c -> d\n", "is to be indented"),
    ("why:\n  a | b | c -> d\n  a | b | c -> d\n", "stands here twice")])
def test_a_list_that_is_not_in_order_is_refused(entries, text, complaint):
    with pytest.raises(listed.BadList, match=complaint):
        entries(text)


@pytest.mark.parametrize("listed_key, survivors, complaint, unknown", [
    (ONE.key, [ONE], [], []),
    (None, [ONE], [], [ONE]),
    (ONE.key, [], ["line 2: is caught now, take it off the list: " + ONE.key], []),
    ("a.cpp | f | 5 -> 6", [], ["line 2: no such fault is planted: a.cpp | f | 5 -> 6"], []),
    ("b.cpp | f | 5 -> 6", [], [], []),
])
def test_survivors_are_compared_with_the_list(entries, listed_key, survivors, complaint, unknown):
    found = entries("why:\n" + (f"    {listed_key}\n" if listed_key else ""))

    assert listed.compare(found, [ONE, TWO], [ONE, TWO], survivors, {"a.cpp"}) == (complaint, unknown)


def test_an_entry_that_was_not_tried_is_not_judged(entries):
    found = entries(f"why:\n    {TWO.key}\n")

    assert listed.compare(found, [ONE, TWO], [ONE], [], {"a.cpp"}) == ([], [])


def test_an_entry_about_a_file_that_is_gone_is_told(entries):
    assert listed.outside(entries("why:\n  gone.cpp | f | 1 -> 2\n"), {"a.cpp"}) == [
        "line 2: no such file: gone.cpp | f | 1 -> 2"]


# --- what is asked for ---

@pytest.mark.parametrize("words", [["--part", "0/3"], ["--part", "4/3"], ["--other"], ["scenarios"],
                                   ["--changed", "controller"]])
def test_wrong_usage_is_refused(words, capsys):
    with pytest.raises(SystemExit) as end:
        arguments.read(words)

    assert end.value.code == 2 and "usage: scripts/mutate.sh" in capsys.readouterr().err


def test_files_and_folders_can_be_named():
    chosen = arguments.read([str(ROOT / "controller/tiers.cpp"), str(ROOT / "service")]).files

    assert "controller/tiers.cpp" in chosen and "service/service_host.cpp" in chosen
    assert {name.split("/")[0] for name in chosen} == {"controller", "service"}


def test_the_parts_are_the_whole():
    from tools.mutate.__main__ import within_part  # pylint: disable=import-outside-toplevel

    faults = [fault(f"a.cpp | f | {number} -> 0") for number in range(200)]
    parts = [[one for one in faults if within_part(one, (part, 4))] for part in range(1, 5)]
    assert sum(map(len, parts)) == 200 and all(len(part) > 20 for part in parts)
