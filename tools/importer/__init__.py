"""Turns the logs of recorders into scenarios."""
