"""Reads a trace, and tells what happened in it."""
