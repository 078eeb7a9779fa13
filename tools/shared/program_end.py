"""How programs end: ours by way of their with blocks when a signal comes, and how another one ended, in words.

A crash, or an interruption, is never one of the program's own codes.
"""

import signal
import sys

from tools.shared.exit_codes import INTERRUPTED

ENDING_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
SIGNAL_BASE = 128  # a shell's code for an end by signal N is 128 + N


def describe_end(code):
    """code: an exit code, or as subprocess has it for an end by a signal, the negative number of that."""
    if code < 0:
        code = SIGNAL_BASE - code
    if code == INTERRUPTED:
        return "was interrupted"
    return f"crashed ({code})" if code > SIGNAL_BASE else f"ended with {code}"


def exit_on_signals():
    """Makes the signals that end a program end it by way of each with block, so that nothing is left running."""
    for ending in ENDING_SIGNALS:
        signal.signal(ending, _end)


def _end(_number, _frame):
    for ending in ENDING_SIGNALS:  # whatever follows would come in between what ends
        signal.signal(ending, signal.SIG_IGN)
    sys.exit(INTERRUPTED)
