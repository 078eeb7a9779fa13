"""The long runs of scripts/soak.sh."""
