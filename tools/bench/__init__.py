"""What the service takes, as scripts/bench.sh measures it."""
