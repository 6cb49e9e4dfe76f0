"""Plays file operations below one folder: a line of JSON each, its outcome as a line of JSON back.

player.py FOLDER; run as whoever is to use the folder. An operation is [name, arguments...]; its outcome is ["ok", value]
or ["error", errno name]. Data to write is told by a seed and a length, data read by its length and digest.
"""
import errno
import hashlib
import json
import mmap
import os
import random
import select
import stat
import subprocess
import sys


class Player:
    """A process that plays operations below a folder, with the rights that the way it is started gives it."""

    def __init__(self, start, folder, patience=60):
        self.patience = patience
        self.process = start("/usr/bin/python3", os.path.abspath(__file__), folder, stdin=subprocess.PIPE,
                             stdout=subprocess.PIPE, text=True, bufsize=1)

    def __call__(self, *operation):
        self.process.stdin.write(json.dumps(operation) + "\n")
        if not select.select([self.process.stdout], [], [], self.patience)[0]:
            raise AssertionError(f"{operation} did not end within {self.patience} s")
        return json.loads(self.process.stdout.readline())

    def end(self):
        """Closes what is still open: the process ends."""
        with self.process:
            self.process.stdin.close()
            try:
                self.process.wait(self.patience)
            except subprocess.TimeoutExpired:
                self.process.kill()
                raise


def place(path):
    return os.path.join(ROOT, path)


def data_of(seed, size):
    return random.Random(seed).randbytes(size)


def told(data):
    return [len(data), hashlib.md5(data).hexdigest()]


def kind_and_size(status):
    return ["folder", 0] if stat.S_ISDIR(status.st_mode) else ["file", status.st_size]


def visible(names):
    """An open file that is removed keeps a hidden name until it is closed."""
    return sorted(name for name in names if not name.startswith(".fuse_hidden"))


class Operations:
    def open(self, slot, path, flags):
        handles[slot] = os.open(place(path), flags, 0o666)

    def close(self, slot):
        os.close(handles.pop(slot))

    def close_all(self):
        while handles:
            os.close(handles.popitem()[1])

    def read(self, slot, size):
        return told(os.read(handles[slot], size))

    def pread(self, slot, size, offset):
        return told(os.pread(handles[slot], size, offset))

    def write(self, slot, seed, size):
        return os.write(handles[slot], data_of(seed, size))

    def pwrite(self, slot, seed, size, offset):
        return os.pwrite(handles[slot], data_of(seed, size), offset)

    def write_text(self, slot, text):
        return os.write(handles[slot], text.encode())

    def pwrite_text(self, slot, text, offset):
        return os.pwrite(handles[slot], text.encode(), offset)

    def lseek(self, slot, offset, whence):
        return os.lseek(handles[slot], offset, whence)

    def ftruncate(self, slot, size):
        os.ftruncate(handles[slot], size)

    def fallocate(self, slot, offset, size):
        os.posix_fallocate(handles[slot], offset, size)

    def fsync(self, slot):
        os.fsync(handles[slot])

    def fstat(self, slot):
        return kind_and_size(os.fstat(handles[slot]))

    def map(self, slot, seed, size, offset):
        """Writes through a mapping as much of the data as lies within the file."""
        length = os.fstat(handles[slot]).st_size
        if length <= offset:
            return 0
        data = data_of(seed, size)[:length - offset]
        with mmap.mmap(handles[slot], length) as pages:
            pages[offset:offset + len(data)] = data
            pages.flush()
        return len(data)

    def truncate(self, path, size):
        os.truncate(place(path), size)

    def stat(self, path):
        return kind_and_size(os.stat(place(path)))

    def list(self, path):
        return visible(os.listdir(place(path)))

    def content(self, path):
        with open(place(path), "rb") as file:
            return told(file.read())

    def mkdir(self, path):
        os.mkdir(place(path))

    def rmdir(self, path):
        os.rmdir(place(path))

    def unlink(self, path):
        os.unlink(place(path))

    def rename(self, path, to):
        os.rename(place(path), place(to))

    def symlink(self, path, to):
        os.symlink(place(path), place(to))

    def link(self, path, to):
        os.link(place(path), place(to))

    def chmod(self, path, mode):
        os.chmod(place(path), mode)

    def utime(self, path, when):
        os.utime(place(path), (when, when))

    def tree(self):
        """Everything that there is: a folder as "folder", a file as its length and digest."""
        found = {}
        for where, folders, files in os.walk(ROOT, onerror=raise_it):
            for name in visible(folders):
                found[os.path.relpath(os.path.join(where, name), ROOT)] = "folder"
            for name in visible(files):
                path = os.path.relpath(os.path.join(where, name), ROOT)
                found[path] = self.content(path)
        return found


def raise_it(error):
    raise error


def outcome(name, arguments):
    try:
        return ["ok", getattr(operations, name)(*arguments)]
    except OSError as error:
        return ["error", errno.errorcode[error.errno]]


def serve():
    for line in sys.stdin:
        name, *arguments = json.loads(line)
        print(json.dumps(outcome(name, arguments)), flush=True)


if __name__ == "__main__":
    ROOT = sys.argv[1]
    handles = {}
    operations = Operations()
    serve()
