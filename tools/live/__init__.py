"""The service for real, as scripts/run.sh shows it."""
