"""Checks behind scripts/test.sh that judge the tests themselves."""
