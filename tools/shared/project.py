"""Where the project's files lie."""

import pathlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
