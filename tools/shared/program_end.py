"""How a program ended, in words: a crash, or an interruption, is never one of the program's own codes."""

import signal

SIGNAL_BASE = 128  # a shell's code for an end by signal N is 128 + N


def describe_end(code):
    """code: an exit code, or as subprocess has it for an end by a signal, the negative number of that."""
    if code < 0:
        code = SIGNAL_BASE - code
    if code == SIGNAL_BASE + signal.SIGINT:
        return "was interrupted"
    return f"crashed ({code})" if code > SIGNAL_BASE else f"ended with {code}"
