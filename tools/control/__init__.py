"""The controller beside other policies, as scripts/compare.sh shows them."""
