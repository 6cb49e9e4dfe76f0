"""Makes up file operations in a random order: few enough names that they meet, several files open at once."""
import os
import random

NAMES = ["a", "b.txt", "Größe", "日本 語", "50% #1?+&", "한국"]
SLOTS = 6
SIZES = [0, 1, 2, 100, 4095, 4096, 4097, 20000, 65535, 65536, 65537, 131073]


class Author:
    """Makes up operations for a folder, mostly on what it has at that moment."""

    def __init__(self, seed, folder, maps=True):
        self.maps = maps
        self.chance = random.Random(seed)
        self.folder = folder
        self.open = {}

    def some(self, choices):
        return self.chance.choice(choices)

    def existing(self):
        found = []
        for where, folders, files in os.walk(self.folder):
            folders.sort()
            found += [os.path.relpath(os.path.join(where, name), self.folder) for name in folders + sorted(files)]
        return found

    def path(self):
        existing = self.existing()
        if existing and self.chance.random() < 0.7:
            return self.some(existing)
        folders = [path for path in existing if os.path.isdir(os.path.join(self.folder, path)) and path.count("/") < 2]
        return os.path.join(self.some([""] + folders), self.some(NAMES))

    def size(self):
        if self.chance.random() < 0.02:
            return self.chance.randrange(1 << 20, 3 << 20)
        return self.some(SIZES) if self.chance.random() < 0.5 else self.chance.randrange(70000)

    def offset(self):
        return self.some(SIZES) if self.chance.random() < 0.5 else self.chance.randrange(150000)

    def flags(self):
        flags = self.some([os.O_RDONLY, os.O_WRONLY, os.O_RDWR, os.O_RDWR])
        for flag, likely in ((os.O_CREAT, 0.5), (os.O_EXCL, 0.1), (os.O_TRUNC, 0.25), (os.O_APPEND, 0.2)):
            if self.chance.random() < likely and (flag != os.O_EXCL or flags & os.O_CREAT):
                flags |= flag
        return flags

    def seed(self):
        return self.chance.randrange(1 << 30)

    def next(self):
        chosen = self.chance.random()
        if chosen < 0.14 or not self.open:
            return self.opening()
        if chosen < 0.26:
            return ("close", self.some(sorted(self.open)))
        if chosen < 0.62:
            return self.on_handle(self.some(sorted(self.open)))
        return self.on_path()

    def opening(self):
        free = [slot for slot in range(SLOTS) if slot not in self.open]
        return ("open", free[0], self.path(), self.flags()) if free else ("close", self.some(range(SLOTS)))

    def on_handle(self, slot):
        return self.some([
            lambda: ("read", slot, self.size()),
            lambda: ("pread", slot, self.size(), self.offset()),
            lambda: ("write", slot, self.seed(), self.size()),
            lambda: ("write", slot, self.seed(), self.size()),
            lambda: ("pwrite", slot, self.seed(), self.size(), self.offset()),
            lambda: self.seek(slot),
            lambda: self.seek(slot),
            lambda: ("ftruncate", slot, self.offset()),
            lambda: ("fsync", slot),
            lambda: ("fstat", slot),
            lambda: ("map", slot, self.seed(), self.size(), self.offset()) if self.can_map(slot) else ("fstat", slot),
            lambda: ("fallocate", slot, self.offset(), 1 + self.size()) if self.can_allocate(slot) else ("fstat", slot),
        ])()

    def seek(self, slot):
        """Within a folder every file system counts in its own way."""
        if self.is_folder(slot):
            return ("fstat", slot)
        return self.some([("lseek", slot, self.offset(), os.SEEK_SET), ("lseek", slot, 0, os.SEEK_END)])

    def can_map(self, slot):
        return self.maps and not self.is_folder(slot)

    def is_folder(self, slot):
        return self.open[slot] & os.O_DIRECTORY

    def can_allocate(self, slot):
        """The C library does it by reading and writing where a file system can't."""
        return self.open[slot] & (os.O_ACCMODE | os.O_APPEND | os.O_DIRECTORY) == os.O_RDWR

    def on_path(self):
        return self.some([
            lambda: ("stat", self.path()),
            lambda: ("list", self.some(["", self.path()])),
            lambda: ("content", self.path()),
            lambda: ("content", self.path()),
            lambda: ("mkdir", self.path()),
            lambda: ("rmdir", self.path()),
            lambda: ("unlink", self.path()),
            lambda: ("rename", self.path(), self.path()),
            lambda: ("rename", self.path(), self.path()),
            lambda: ("truncate", self.path(), self.offset()),
            lambda: ("chmod", self.path(), self.some([0o700, 0o711, 0o755, 0o777])),
            lambda: ("utime", self.path(), self.chance.randrange(1 << 30)),
        ])()

    def went(self, operation, outcome):
        """Keeps account of what is open."""
        if outcome[0] != "ok":
            return
        if operation[0] == "open":
            is_folder = os.path.isdir(os.path.join(self.folder, operation[2]))
            self.open[operation[1]] = operation[3] | (os.O_DIRECTORY if is_folder else 0)
        elif operation[0] == "close":
            del self.open[operation[1]]
