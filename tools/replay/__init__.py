"""The command behind scripts/replay.sh."""
