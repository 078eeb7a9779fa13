"""What every scenario begins with (docs/replay.md)."""

HEAD = "time_ms,input,value\n"
