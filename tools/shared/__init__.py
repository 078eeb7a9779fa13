"""What several of the tools need."""
