"""Rules of the tree that a machine can check."""

import collections
import os
import pathlib
import re
import subprocess

from tools.shared.project import ROOT

LISTED = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, capture_output=True, text=True,
                        check=True).stdout.splitlines()
FILES = [ROOT / name for name in LISTED if (ROOT / name).is_file() and "/corpus/" not in name]  # those are bare bytes
SOURCES = [path for path in FILES if path.suffix in (".h", ".cpp")]

# What the files of a folder may include of the project, beside each other.
PRODUCT = {
    "state": set(),
    "diagnostics": set(),
    "framework": {"state", "diagnostics"},
    "controller": {"framework", "state", "diagnostics"},
    "engine": {"controller", "framework", "state", "diagnostics"},
    "service": {"engine", "state", "diagnostics"},
}
# The command for people at the PC, which is never part of the service.
COMMAND = {"kelvanectl": {"engine", "framework", "state", "diagnostics"}}
SIMULATOR = {
    "simulator/model": set(),
    "simulator/formats": {"simulator/model", "framework"},  # the types of its events
    "simulator/platform": {"simulator/formats", "simulator/model", *PRODUCT},
    "simulator/replay": {"simulator/platform", "simulator/formats", "simulator/model", *PRODUCT},
    "simulator/standins": {"simulator/platform", "simulator/formats", "simulator/model"},
    "simulator/gauges": {"simulator/standins", "framework"},
    "simulator/linux": set(),
}
INSTALLED = {**PRODUCT, **COMMAND}
MAY_INCLUDE = {**INSTALLED, **SIMULATOR}
SOURCES_PER_FOLDER_MAX = 30
LINE_COLUMNS_MAX = 120
FILE_LINES_MAX = 399
PRODUCT_FILE_LINES_MAX = 299
FUNCTION_LINES_MAX = 39


def folder_of(path):
    return path.relative_to(ROOT).parts[0]


def room_of(path):
    """The folder, or of the simulator the folder in it; `path` is relative."""
    parts = pathlib.PurePath(path).parts
    return "/".join(parts[:2]) if parts[0] == "simulator" else parts[0]


def includes_of(path):
    found = re.findall(r'^#include "([^"]+)"', path.read_text(), re.MULTILINE)
    return [name for name in found if "/" in name]


def explained_on(page):
    """The quoted texts of a page; one that ends in three dots stands for all that begin so."""
    spans = re.findall(r"`([^`\n]+)`", (ROOT / page).read_text())
    return lambda text: any(text.startswith(span[:-3]) if span.endswith("...") else text == span for span in spans)


def test_every_text_of_the_event_log_and_the_service_data_file_is_explained():
    product = "".join(path.read_text() for path in SOURCES if folder_of(path) in PRODUCT and path.suffix == ".cpp")
    texts = re.findall(r'reportServiceEvent\(L"([^"]+)"', product)
    texts += re.findall(r'writeServiceData\((?:std::string\()?"([^"]+)"', product)
    assert len(texts) > 20
    explained = explained_on("docs/working.md")
    assert [text for text in texts if not explained(text)] == []


def test_links_between_documents_lead_somewhere():
    links = [(path, target) for path in FILES if path.suffix == ".md"
             for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", path.read_text())]
    assert [f"{path.name}: {target}" for path, target in links if not (path.parent / target).exists()] == []


def test_pages_are_wrapped():
    """A row of a table and a link alone on its line are as wide as they are."""
    pages = [path for path in FILES if path.suffix == ".md"]
    assert len(pages) > 15
    wide = [f"{path.relative_to(ROOT)}:{number}" for path in pages
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1)
            if len(line) > LINE_COLUMNS_MAX and not re.fullmatch(r"\|.*\||!?\[.*\]\(.*\)", line)]
    assert wide == []


def test_no_source_is_too_long_to_be_read_in_one_go():
    assert len(SOURCES) > 40
    lengths = {path: len(path.read_text().splitlines()) for path in SOURCES}
    limits = {path: PRODUCT_FILE_LINES_MAX if folder_of(path) in INSTALLED else FILE_LINES_MAX for path in SOURCES}
    assert {str(path): length for path, length in lengths.items() if length > limits[path]} == {}


def test_no_line_of_code_is_wider_than_120_columns():
    code = [path for path in FILES if path.suffix in (".h", ".cpp", ".py", ".sh", ".js", ".css") or
            path.name == "CMakeLists.txt"]
    assert len(code) > 200
    wide = [f"{path.relative_to(ROOT)}:{number}" for path in code
            for number, line in enumerate(path.read_text().splitlines(), 1) if len(line) > LINE_COLUMNS_MAX]
    assert wide == []


def test_no_line_ends_in_blanks_and_every_file_ends_in_a_line_feed():
    texts = {str(path.relative_to(ROOT)): path.read_bytes() for path in FILES}
    assert [name for name, text in texts.items()
            if re.search(rb"[ \t]+(\r?\n|$)", text) or not text.endswith(b"\n")] == []


def test_sources_and_what_is_packaged_are_plain_ascii():
    packaged = [path for path in FILES if folder_of(path) == "packaging"]
    assert packaged != []
    assert [str(path) for path in SOURCES + packaged if not path.read_bytes().isascii()] == []


def test_folders_include_only_what_lies_below_them():
    rooms = [(path, room_of(path.relative_to(ROOT))) for path in SOURCES]
    assert [f"{path.relative_to(ROOT)} includes {name}" for path, room in rooms if room in MAY_INCLUDE
            for name in includes_of(path) if room_of(name) not in {room, *MAY_INCLUDE[room]}] == []


def test_every_source_of_the_simulator_is_in_one_of_its_rooms():
    assert {room_of(path.relative_to(ROOT)) for path in SOURCES if folder_of(path) == "simulator"} == set(SIMULATOR)


def test_no_folder_holds_more_sources_than_can_be_looked_over():
    counts = collections.Counter(str(path.parent.relative_to(ROOT)) for path in SOURCES)
    del counts["simulator/linux/include"]  # the headers of Windows
    assert {folder: count for folder, count in counts.items() if count > SOURCES_PER_FOLDER_MAX} == {}


def test_no_two_files_include_each_other():
    graph = {str(path.relative_to(ROOT)): includes_of(path) for path in SOURCES}

    def reaches(start):
        seen, todo = set(), list(graph[start])
        while todo:
            name = todo.pop()
            if name not in seen:
                seen.add(name)
                todo.extend(graph.get(name, []))
        return seen

    assert [name for name in graph if name in reaches(name)] == []


def test_functions_of_the_product_fit_a_screen():
    """Counts from a function's opening brace in column 0 to its closing one; tables end in `};` and are not meant."""
    faults = []
    for path in SOURCES:
        if folder_of(path) not in INSTALLED or path.suffix != ".cpp":
            continue
        start = None
        for number, line in enumerate(path.read_text().splitlines(), 1):
            if line == "{":
                start = number
            elif line == "}" and start is not None:
                if number - start - 1 > FUNCTION_LINES_MAX:
                    faults.append(f"{path.relative_to(ROOT)}:{start}: {number - start - 1} lines")
                start = None
    assert faults == []


def test_every_source_is_formatted():
    check = subprocess.run(["clang-format", "--dry-run", "-Werror", *SOURCES], capture_output=True, text=True)
    assert check.stderr == "" and check.returncode == 0


def test_scripts_holds_commands_alone():
    assert [str(path) for path in FILES if folder_of(path) == "scripts" and path.suffix != ".sh"] == []


def test_no_python_file_changes_where_modules_are_looked_for():
    found = [str(path.relative_to(ROOT)) for path in FILES if path.suffix == ".py"
             and re.search(r"sys\.path", path.read_text())]
    assert found == []


def test_tools_share_what_is_meant_to_be_shared_and_no_command():
    tools = {".".join(path.relative_to(ROOT).with_suffix("").parts): path.read_text() for path in FILES
             if folder_of(path) == "tools" and path.suffix == ".py"}
    commands = {name for name, text in tools.items() if "\nif __name__ ==" in text}
    assert len(commands) > 8
    faults = []
    for name, text in tools.items():
        for package, listed in re.findall(r"^(?:from|import) (tools[\w.]*)(?: import ([^(\n]+))?", text, re.MULTILINE):
            imported = {package, *(f"{package}.{part.strip()}" for part in listed.split(","))}
            own = name.split(".")[:2] == package.split(".")[:2]
            if imported & commands or not (own or package.split(".")[1] in ("shared", "trace", "wine")):
                faults.append(f"{name} imports {package}")
    assert faults == []


def test_scripts_pass_shellcheck():
    scripts = [str(path) for path in FILES if path.suffix == ".sh"] + [str(ROOT / ".ci/run")]
    check = subprocess.run(["shellcheck", *scripts], cwd=ROOT, capture_output=True, text=True)
    assert check.stdout == "" and check.returncode == 0


def test_sources_are_listed_by_name_in_the_build():
    """In one list at least, by its path from there."""
    names = [(path.parent, name) for path in FILES if path.name == "CMakeLists.txt"
             for name in re.findall(r"(?<!\S)[\w./-]+\.cpp\b", path.read_text())]
    listed = {pathlib.Path(os.path.normpath(folder / name)) for folder, name in names}
    unlisted = {path for path in SOURCES if path.suffix == ".cpp"} - listed
    assert sorted(str(path.relative_to(ROOT)) for path in unlisted) == []
