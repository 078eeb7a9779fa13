"""The service in a Wine prefix of its own."""
