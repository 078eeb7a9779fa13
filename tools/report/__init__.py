"""The page of scripts/report.sh, with its sources and the lock file of the plotting library."""
