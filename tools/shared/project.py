"""Where the project's files lie."""

import pathlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build"
WINE_RUN = ROOT / "cmake/wine-run.sh"
