"""Folders to put behind a server, and how two folders are compared."""
import hashlib
import os
import random

from volume import composed

NAMES = ["plain.txt", "a blank", " leading", "trailing ", "100%", "%41", "%2F", "#hash", "what?", "a+b", "semi;colon",
         "am&p", "qu\"ote", "it's", "<angle>", "back`tick", "[brackets]", "curly{}", "pipe|", "caret^", "tilde~", "eq=ual",
         "com,ma", "at@", "dollar$", "excl!", "co:lon", "..dots", ".hidden", "\u00e9composed",
         "cafe\u0301 decomposed", "\u65e5\u672c\u8a9e", "\ud55c\uad6d\uc5b4", "\U0001f600 emoji", "x" * 247, "\u3042" * 82]

SIZES = [0, 1, 65535, 65536, 65537, 1 << 20, 8 << 20, (8 << 20) + 1]


def write(folder, name, data):
    path = os.path.join(folder, name)
    with open(path, "wb") as file:
        file.write(data)
    return path


def make_tree(folder, seed=1):
    """Every odd name as a file and as a folder, every boundary size, and some depth."""
    chance = random.Random(seed)
    names = os.path.join(folder, "names")
    os.mkdir(names)
    for name in NAMES:
        write(names, name, f"content of {name}".encode())
    folders = os.path.join(folder, "folders")
    os.mkdir(folders)
    for name in NAMES:
        os.mkdir(os.path.join(folders, name))
        write(os.path.join(folders, name), name, f"inside {name}".encode())
    os.mkdir(os.path.join(folder, "empty"))
    sizes = os.path.join(folder, "sizes")
    os.mkdir(sizes)
    for size in SIZES:
        write(sizes, f"{size}.bin", chance.randbytes(size))
    deep = folder
    for level in range(30):
        deep = os.path.join(deep, f"level {level}")
        os.mkdir(deep)
    write(deep, "bottom", b"thirty levels down")
    program = write(folder, "program", b"#!/bin/sh\necho it runs\n")
    os.chmod(program, 0o755)


def digest(path):
    result = hashlib.md5()
    with open(path, "rb") as file:
        while block := file.read(1 << 20):
            result.update(block)
    return result.hexdigest()


def snapshot(folder):
    """Composed relative path -> "folder", or size and digest of a file."""
    found = {}
    for where, folders, files in os.walk(folder, onerror=raise_it):
        base = os.path.relpath(where, folder)
        for name in folders:
            found[composed(os.path.normpath(os.path.join(base, name)))] = "folder"
        for name in files:
            path = os.path.join(where, name)
            found[composed(os.path.normpath(os.path.join(base, name)))] = (os.path.getsize(path), digest(path))
    return found


def raise_it(error):
    raise error
