"""Every source is as clang-format writes it, and no file has grown beyond what a reader takes in."""
import os
import subprocess
import sys

LONGEST = 620

root = sys.argv[1]
files = subprocess.run(["git", "-C", root, "ls-files", "--cached", "--others", "--exclude-standard", "*.cpp", "*.h"],
                       capture_output=True, text=True, check=True).stdout.split("\n")
files = [os.path.join(root, name) for name in files if name and os.path.exists(os.path.join(root, name))]
long = [f"{path}: {count} lines" for path in files if (count := sum(1 for _ in open(path))) > LONGEST]
print("\n".join(long))
formatted = subprocess.run(["clang-format", "--dry-run", "-Werror", *files])
sys.exit(bool(long) or formatted.returncode)
