"""Units of time, and a span of time in words."""

MINUTE_MS = 60 * 1000
HOUR_MS = 60 * MINUTE_MS
DAY_MS = 24 * HOUR_MS


def duration(ms, digits=1):
    return f"{ms // MINUTE_MS} min {ms % MINUTE_MS / 1000:.{digits}f} s"
