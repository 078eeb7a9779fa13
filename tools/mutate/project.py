"""Where things lie: the product's sources, the native build of them, and what is made from both."""

import json
import os
import pathlib
import shlex
import subprocess

from tools.shared.project import ROOT

BUILD = ROOT / "build" / os.environ.get("KELVANE_NATIVE", "native")
OUT = ROOT / "build/mutate"
TREE = OUT / "tree"
FOLDERS = ("state", "diagnostics", "framework", "controller", "engine", "service")
LIBRARIES = ("libkelvane_code.a", "libkelvane_log_file.a")
# Which tests are the likeliest to see a fault in a folder. The stress test differs from run to run.
LIKELIEST = {
    "state": ("state_tests", "controller_tests", "watcher_tests"),
    "diagnostics": ("log_tests", "report_tests"), "framework": ("framework_tests",),
    "controller": ("controller_tests", "loop_tests"), "engine": ("engine_tests", "watcher_tests"),
    "service": ("service_tests", "host_tests"),
}
LEFT_OUT = ("stress_tests",)


def product_files():
    """By name: each source and header of the product but the entry, which natively is not built."""
    found = {}
    for folder in FOLDERS:
        for path in sorted((ROOT / folder).iterdir()):
            if path.suffix in (".cpp", ".h") and path.name != "main.cpp":
                found[str(path.relative_to(ROOT))] = path
    return found


def changed_files():
    """What differs from where this branch left the main one, committed or not."""
    def git(*arguments):
        return subprocess.run(["git", *arguments], cwd=ROOT, capture_output=True, text=True, check=False)

    base = "HEAD"
    for upstream in ("origin/main", "main"):
        found = git("merge-base", "HEAD", upstream)
        if found.returncode == 0:
            base = found.stdout.strip()
            break
    names = git("diff", "--name-only", base).stdout + git("ls-files", "-o", "--exclude-standard").stdout
    return set(names.splitlines())


def compile_commands():
    """By the name of a source: the arguments that compile it, without those for its output; and its object."""
    commands = {}
    for entry in json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8")):
        name = str(pathlib.Path(entry["file"]).relative_to(ROOT)) if entry["file"].startswith(f"{ROOT}/") else ""
        arguments = shlex.split(entry["command"])
        if name.split("/")[0] in FOLDERS:
            at = arguments.index("-o")
            commands[name] = arguments[:at], BUILD / arguments[at + 1]
    return commands


def inclusions():
    """By the name of a source: which files of the product it includes, itself among them, as of the native build."""
    listed = subprocess.run(["ninja", "-C", BUILD, "-t", "deps"], capture_output=True, text=True, check=True).stdout
    found, source = {}, None
    for line in listed.splitlines():
        if not line.startswith(" "):
            source = line.split(":")[0]
        elif line.startswith(f"    {ROOT}/"):
            found.setdefault(source, set()).add(line.strip().removeprefix(f"{ROOT}/"))
    return {name: found.get(str(target.relative_to(BUILD)), {name})
            for name, (_, target) in compile_commands().items()}


def link_command(program):
    """The arguments that link a test program, to be run in the native build's folder."""
    listed = subprocess.run(["ninja", "-C", BUILD, "-t", "commands", f"tests/{program}"], capture_output=True,
                            text=True, check=True).stdout
    command = listed.splitlines()[-1]
    return shlex.split(command.removeprefix(": && ").removesuffix(" && :"))


def test_programs():
    return sorted(path.name for path in (BUILD / "tests").glob("*_tests") if path.name not in LEFT_OUT)


def objects_of(library):
    """The names of the sources that the native build puts into a library."""
    listed = subprocess.run(["ninja", "-C", BUILD, "-t", "query", library], capture_output=True, text=True,
                            check=True).stdout
    marker = library.removeprefix("lib").removesuffix(".a") + ".dir/"
    return [line.split(marker)[1].removesuffix(".o") for line in listed.splitlines() if marker in line]
