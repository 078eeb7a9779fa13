"""tools.trace.title NAME: prints a file's name as a picture can show it."""

import sys

from tools.shared.file_names import shown

if __name__ == "__main__":
    print(shown(sys.argv[1]))
