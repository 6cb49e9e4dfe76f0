"""Prints a folder's snapshot, a line an item, so that it can be taken as another user."""
import sys
import os

os.environ.setdefault("VELMORADISK", "")
import trees  # noqa: E402

for path, what in sorted(trees.snapshot(sys.argv[1]).items()):
    print(repr(path), what)
