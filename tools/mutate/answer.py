"""What there is to say to the arguments before anything is built: usage, or that there is nothing to do."""

import sys

from tools.mutate import arguments

if __name__ == "__main__":
    if not arguments.read(sys.argv[1:]).files:
        print("No file of the product is changed.")
