"""What stands behind the commands in scripts/: a package for each, started by run_tool of scripts/common.sh."""
