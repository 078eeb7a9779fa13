"""Exit codes that mean the same for every command."""

WRONG_USAGE = 2
MALFORMED = 3  # an input cannot be read or understood
NOT_WRITABLE = 4
INTERRUPTED = 130
