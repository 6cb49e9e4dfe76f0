"""Includes point downwards only, and what implements the platform is included from the programs alone."""
import os
import re
import sys

# A room may include itself, what stands below it, and any interface of platform.
BELOW = {
    "common": [],
    "platform": ["common"],
    "xml": ["common"],
    "http": ["common"],
    "webdav": ["http", "xml", "common"],
    "model": ["webdav", "http", "xml", "common"],
    "cache": ["model", "webdav", "http", "xml", "common"],
    "lock": ["model", "webdav", "http", "xml", "common"],
    "transfer": ["cache", "lock", "model", "webdav", "http", "xml", "common"],
    "fs": ["transfer", "cache", "lock", "model", "webdav", "http", "xml", "common"],
    "connection": ["fs", "transfer", "cache", "lock", "model", "webdav", "http", "xml", "common"],
    "publication": ["fs", "transfer", "cache", "lock", "model", "webdav", "http", "xml", "common"],
    "app": ["publication", "connection", "fs", "transfer", "cache", "lock", "model", "webdav", "http", "xml", "common"],
}
IMPLEMENTATIONS = ("platform/desktop/", "platform/terminal/")


def offences(root):
    source = os.path.join(root, "src")
    for where, _, files in os.walk(source):
        for name in files:
            if not name.endswith((".h", ".cpp")):
                continue
            path = os.path.relpath(os.path.join(where, name), source)
            room = path.split("/")[0]
            with open(os.path.join(where, name)) as file:
                for number, line in enumerate(file, 1):
                    found = re.match(r'\s*#include "([^"]+)"', line)
                    if not found:
                        continue
                    included = found.group(1)
                    if included.startswith("ui_"):  # generated from the form beside it
                        continue
                    other = included.split("/")[0]
                    if included.startswith(IMPLEMENTATIONS) and not path.startswith(IMPLEMENTATIONS):
                        yield f"{path}:{number}: {included} is an implementation; include its interface"
                    elif other not in (room, "platform", *BELOW[room]):
                        yield f"{path}:{number}: {room} may not include {included}"


found = list(offences(sys.argv[1]))
print("\n".join(found) or "includes point downwards")
sys.exit(bool(found))
