"""The ways to change a file that is there: each a shell's line about "$0", or a function of the path."""
import mmap
import os

from steps import opened, read, tell

# Files that lie on the server before the volume is mounted: name -> size.
SEEDS = {"empty": 0, "one": 1, "block": 65536, "block and one": 65537, "MiB": 1 << 20, "nine MiB": (9 << 20) + 7}
CHANGES = {"echo >>": "echo tail >> \"$0\"",
           "dd at the start": "echo 0123456789 | dd of=\"$0\" bs=11 count=1 conv=notrunc status=none",
           "dd further on": "echo 0123456789 | dd of=\"$0\" bs=11 count=1 seek=7000 conv=notrunc status=none",
           "truncate down": "truncate -s 70 \"$0\"", "truncate up": "truncate -s 1100000 \"$0\"",
           "truncate relative": "truncate -s +5 \"$0\"", ": >": ": > \"$0\"",
           "fallocate": "fallocate -l 1500000 \"$0\"", "tee": "tee -a \"$0\" <<< more >/dev/null",
           "both ways": "exec 3<>\"$0\"; echo x >&3; cat <&3 >/dev/null; echo end >&3; exec 3>&-"}


def change(function):
    CHANGES[function.__name__] = function
    return function


@change
def positioned(path):
    with open(path, "r+b") as file:
        size = os.fstat(file.fileno()).st_size
        for place in sorted({0, size // 2, max(size - 1, 0), size, size + 70000}):
            file.seek(place)
            file.write(b"changed")
        file.seek(size // 3)
        tell(file.read(50))


@change
def appended(path):
    with opened(path, os.O_RDWR | os.O_APPEND) as handle:
        os.write(handle, b"tail 1")
        os.pread(handle, 10, 0)
        os.lseek(handle, 0, 0)
        os.write(handle, b"tail 2")
        tell(os.read(handle, 1), os.fstat(handle).st_size)


def truncated_by_handle(path, *sizes):
    with opened(path, os.O_RDWR) as handle:
        for size in sizes:
            os.ftruncate(handle, size)
            tell(os.fstat(handle).st_size, os.pread(handle, 20, max(size - 10, 0)))


CHANGES["ftruncate"] = lambda path: truncated_by_handle(path, 50, 90000, 10, 0, 7)
CHANGES["ftruncate up"] = lambda path: truncated_by_handle(path, 2 << 20)
CHANGES["ftruncate to nothing"] = lambda path: truncated_by_handle(path, 0)


@change
def mapped(path):
    with open(path, "r+b") as file:
        file.truncate(max(os.path.getsize(path), 200000))
        with mmap.mmap(file.fileno(), 0) as memory:
            memory[100:104] = b"mmap"
            memory.flush()
            memory[150000:150004] = b"mmap"
            tell(os.pread(file.fileno(), 4, 150000))
    with open(path, "r+b") as file:
        memory = mmap.mmap(file.fileno(), 0)
    # The map outlives its handle.
    memory[5:9] = b"late"
    memory.flush()
    memory.close()


@change
def only_truncated(path):
    os.close(os.open(path, os.O_WRONLY | os.O_TRUNC))


@change
def rewritten(path):
    content = read(path)
    with open(path, "wb") as file:
        file.write(content[::-1])


@change
def untouched(path):
    os.close(os.open(path, os.O_RDWR))
