"""Compiles the planted files, and links test programs with them. What does not compile is planted no more."""

import asyncio
import multiprocessing
import os
import re
import shutil
import signal

from tools.mutate import processes, project
from tools.mutate.plant import COMPANION, Planted

PLACE = re.compile(r"^(?P<file>/[^:\n]*):(?P<line>\d+):\d+:(?P<rest>.*)$", re.M)
HEADER = """#pragma once
namespace kelvane_fault {
extern int active;
extern unsigned char reached[];
}
inline __attribute__((always_inline)) bool kelvaneFault(int number)
{
    kelvane_fault::reached[number] = 1;
    return number == kelvane_fault::active;
}
"""
# Notes, for each test, which faults it has reached and what processor time it took.
RUNTIME = """#include <cstdlib>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/resource.h>
#include <unistd.h>
namespace kelvane_fault {
extern int active;
extern unsigned char reached[];
int active = 0;
unsigned char reached[%d] = {};
static __attribute__((constructor(101))) void choose()
{
    if (const char* number = getenv("KELVANE_FAULT")) active = atoi(number);
}
static __attribute__((destructor(101))) void note()
{
    const char* const folder = getenv("KELVANE_REACHED");
    const char* const test = getenv("KELVANE_TEST");
    if (!folder || !test) return;
    char path[PATH_MAX];
    const int length = snprintf(path, sizeof path, "%%s/%%s", folder, test);
    for (char* at = path + length; at[-1] != '/' || at - path > length - int(__builtin_strlen(test)); --at) {
        if (at[-1] == '/') at[-1] = '%%';
    }
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const long long used = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000000LL + usage.ru_utime.tv_usec +
                           usage.ru_stime.tv_usec;
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (write(file, &used, sizeof used) < 0 || write(file, reached, sizeof reached) < 0) _exit(3);
    close(file);
}
}
"""
SWITCHED_OFF = ["-O0", "-g0", "-w", "-Wno-narrowing", "-fno-profile-arcs", "-fno-test-coverage",
                "-fno-diagnostics-show-caret", "-fno-diagnostics-color"]


def cores():
    return len(os.sched_getaffinity(0))


def libclang_arguments(arguments):
    kept = [text for text in arguments if text.startswith(("-D", "-I", "-std"))]
    return ["-xc++", *kept]


def find_in_unit(name, arguments, wanted, included):
    """Those files of a translation unit that change, with the faults of the wanted ones."""
    from tools.mutate import source  # pylint: disable=import-outside-toplevel

    product = project.product_files()
    unit = source.parse(product[name], libclang_arguments(arguments))
    texts = {str(product[other]): product[other].read_text(encoding="ascii") for other in wanted}
    tops = source.outermost(unit, {str(product[other]) for other in included})
    found = []
    for other in included:
        file = source.Finder(tops[str(product[other])], product[other], other, texts).file
        if other not in wanted:
            file.faults, file.constants = [], []
        if other in wanted or file.references:
            found.append(file)
    return found


def end_by_parent():
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGTERM, signal.SIG_DFL)


def find_faults(commands, wanted):
    """By name: the files that change; by name of a source: which of them it includes."""
    product = project.product_files()
    inclusions = {name: sorted(included & product.keys()) for name, included in project.inclusions().items()
                  if name in product and included & wanted.keys()}
    files = {}
    jobs = [(name, commands[name][0], set(wanted), included) for name, included in inclusions.items()]
    with multiprocessing.Pool(cores(), end_by_parent) as pool:
        for found in pool.starmap(find_in_unit, jobs, chunksize=1):
            for file in found:
                files.setdefault(file.name, file)
    leave_unused(files, {use for file in files.values() for use in file.uses})
    return dict(sorted(files.items())), {name: [other for other in included if other in files]
                                         for name, included in inclusions.items()}


def leave_unused(files, uses):
    """Constants that nothing but the compiler reads have no faults."""
    for file in files.values():
        for constant in file.constants:
            if (str(project.ROOT / file.name), constant.name_start) not in uses:
                for fault in file.faults:
                    fault.planted = fault.planted and not constant.start <= fault.start < constant.end


def number(files):
    every = [fault for file in files.values() for fault in file.faults]
    for position, fault in enumerate(every, 1):
        fault.number = position
    return every


class Compiler:
    """Compiles until nothing is left that does not compile."""

    def __init__(self, files, units, commands):
        self.files, self.commands = files, commands
        self.units = {name: included for name, included in units.items() if included}
        self.faults = number(files)
        self.planted = {}
        self.slots = asyncio.Semaphore(cores())

    async def run(self):
        shutil.rmtree(project.TREE, ignore_errors=True)
        project.TREE.mkdir(parents=True)
        (project.TREE / "kelvane_fault.h").write_text(HEADER, encoding="ascii")
        stale = set(self.files)
        todo = list(self.units)
        while todo:
            for name in stale:
                self.write(name)
            outputs = await asyncio.gather(*(self.compile(name) for name in todo))
            failed = {name: text for name, text in zip(todo, outputs) if text is not None}
            stale = self.learn(failed)
            todo = [name for name in self.units if name in failed or stale & set(self.units[name])]

    def write(self, name):
        self.planted[name] = Planted(self.files[name])
        path = project.TREE / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(self.planted[name].text, encoding="ascii")

    def object_of(self, name):
        return project.OUT / "objects" / f"{name}.o"

    async def compile(self, name):
        """What the compiler says, if it fails."""
        arguments, _ = self.commands[name]
        target = self.object_of(name)
        target.parent.mkdir(parents=True, exist_ok=True)
        planted = project.TREE / name
        original = project.ROOT / name
        where = [f"-I{project.TREE}", "-include", str(project.TREE / "kelvane_fault.h")]
        async with self.slots:
            return await run_tool([arguments[0], *where, *arguments[1:], *SWITCHED_OFF, "-o", str(target), "-c",
                                   str(planted if planted.exists() else original)])

    def learn(self, failed):
        """Leaves out what the failures are about; returns the files that change by it."""
        stale = set()
        for name, text in failed.items():
            gone = set()
            for group in re.split(r"(?m)^(?=\S+:\d+:\d+: (?:fatal )?error:)", text):
                gone |= self.guilty(group)
            if not gone:
                raise RuntimeError(f"the planted copy of {name} does not compile:\n{text}")
            stale |= gone
        return stale

    def guilty(self, group):
        """The files of which an error, with its notes, has left something out."""
        places = [(match["file"], int(match["line"])) for match in PLACE.finditer(group)]
        names = {str(project.TREE / name): name for name in self.planted}
        places = [(names[file], line) for file, line in places if file in names]
        if not places or " error:" not in group:
            return set()
        for name, line in places:
            if self.leave_out(name, self.planted[name].faults_at(line)):
                return {name}
        for name, line in places:
            pinned = self.pin(name, line)
            if pinned:
                return pinned
            if self.leave_out(name, self.near(name, line)):
                return {name}
        return set()

    def leave_out(self, name, numbers):
        for fault in self.files[name].faults:
            fault.planted = fault.planted and fault.number not in numbers
        return bool(numbers)

    def pin(self, name, line):
        """Constants that the line is about keep their value. Returns their files."""
        names = set(re.findall(rf"\b(\w+){COMPANION}\b", self.planted[name].lines[line - 1]))
        found = set()
        for file in self.files.values():
            for constant in file.constants:
                if constant.name in names and constant.name_start not in file.pinned:
                    file.pinned.add(constant.name_start)
                    self.leave_out(file.name, {fault.number for fault in file.faults
                                               if constant.start <= fault.start < constant.end})
                    found.add(file.name)
        return found

    def near(self, name, line):
        """The faults closest to a line."""
        planted = self.planted[name]
        before = next((found for at in range(line, 0, -1) if (found := planted.faults_at(at))), set())
        after = next((found for at in range(line, len(planted.lines) + 1) if (found := planted.faults_at(at))), set())
        return before | after

    async def link(self):
        """The test programs that hold planted code, by name."""
        libraries = project.OUT / "libraries"
        shutil.rmtree(libraries, ignore_errors=True)
        libraries.mkdir(parents=True)
        runtime = project.OUT / "runtime.cpp"
        runtime.write_text(RUNTIME % (len(self.faults) + 1), encoding="ascii")
        await must(["g++", "-O1", "-c", str(runtime), "-o", str(libraries / "runtime.o")])
        for library in project.LIBRARIES:
            objects = [self.object_of(name) if name in self.units else self.commands[name][1]
                       for name in project.objects_of(library)]
            await must(["ar", "qc", str(libraries / library), *map(str, objects)])
        programs = project.test_programs()
        (project.OUT / "programs").mkdir(exist_ok=True)
        await asyncio.gather(*(self.link_program(program, libraries) for program in programs))
        return {program: project.OUT / "programs" / program for program in programs}

    async def link_program(self, program, libraries):
        replaced = {name: str(libraries / name) for name in project.LIBRARIES}
        arguments = [replaced.get(text, text) for text in project.link_command(program)]
        arguments[arguments.index("-o") + 1] = str(project.OUT / "programs" / program)
        async with self.slots:
            await must([*arguments, str(libraries / "runtime.o"), "-Wl,-S"], cwd=project.BUILD)


async def run_tool(arguments, cwd=None):
    """What a tool says, if it fails."""
    code, output = await processes.call(arguments, cwd=cwd)
    return output.decode(errors="replace") if code else None


async def must(arguments, cwd=None):
    text = await run_tool(arguments, cwd)
    if text is not None:
        raise RuntimeError(f"failed: {' '.join(arguments[:3])} ...\n{text}")
