"""CMakePresets.json: which presets there are where, and what a 32-bit compiler is told."""

import json
import subprocess

import pytest

from tools.shared.project import ROOT

PRESETS = {preset["name"]: preset
           for preset in json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))["configurePresets"]}


def field(preset, name):
    """Of a preset, or of what it inherits from."""
    if name in preset or "inherits" not in preset:
        return preset.get(name)
    return field(PRESETS[preset["inherits"]], name)


def presets_on(host):
    """The presets that can be used on a host."""
    condition = {"type": "equals", "lhs": "${hostSystemName}", "rhs": host}
    return {name for name, preset in PRESETS.items()
            if not preset.get("hidden") and field(preset, "condition") == condition}


def cmake(*arguments):
    return subprocess.run(["cmake", *arguments], cwd=ROOT, capture_output=True, text=True, timeout=60, check=False)


def test_on_windows_there_is_the_preset_for_visual_studio_alone():
    assert presets_on("Windows") == {"msvc"}
    assert PRESETS["msvc"]["architecture"] == {"value": "x64", "strategy": "external"}


@pytest.mark.parametrize("kind, without", [("configure", set()), ("build", set()),
                                           ("test", {"release", "native-bench"})])
def test_on_linux_there_are_all_others(kind, without):
    listed = cmake(f"--list-presets={kind}")

    names = {line.split('"')[1] for line in listed.stdout.splitlines() if '"' in line}
    assert names == presets_on("Linux") - without
    assert presets_on("Linux") == {name for name in PRESETS if not PRESETS[name].get("hidden")} - {"msvc"}


def test_a_32_bit_compiler_is_refused(tmp_path):
    done = cmake("-G", "Ninja", "-S", ROOT, "-B", tmp_path, "-DCMAKE_CXX_COMPILER=g++", "-DCMAKE_CXX_FLAGS=-m32",
                 "-DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY")  # there need be no 32-bit library to link

    assert done.returncode == 1
    assert '"x64 Native Tools Command Prompt for VS 2022"' in " ".join(done.stderr.split())
