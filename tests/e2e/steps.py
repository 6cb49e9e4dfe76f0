"""What the scenarios are made of: running programs, telling what was seen."""
import contextlib
import errno
import os
import random
import subprocess
import tempfile

os.environ.setdefault("VELMORADISK", "")
import trees  # noqa: E402


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, stdin=subprocess.DEVNULL, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}\n{done.stdout[-3000:]}\n{done.stderr[-3000:]}")
    return done.stdout.decode(errors="replace")


def shell(folder, text):
    return run("bash", "-euc", text, cwd=folder)


def tell(*values):
    print(*values, flush=True)


def outcome(action, *arguments):
    """The name of the error that an action ends with, or "done"."""
    try:
        action(*arguments)
    except OSError as error:
        return errno.errorcode[error.errno]
    return "done"


@contextlib.contextmanager
def opened(path, flags, mode=0o644):
    handle = os.open(path, flags, mode)
    try:
        yield handle
    finally:
        os.close(handle)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def small_tree(folder, files, folders=10):
    """Files of up to a few KiB in a few folders, all with one date."""
    chance = random.Random(6)
    for number in range(files):
        where = os.path.join(folder, f"folder {number % folders}")
        os.makedirs(where, exist_ok=True)
        path = trees.write(where, f"file {number:04}.txt", chance.randbytes(chance.choice((0, 1, 100, 3000, 5000))))
        os.utime(path, (1500000000, 1500000000))


@contextlib.contextmanager
def scratch():
    with tempfile.TemporaryDirectory(prefix="velmora-scratch-") as folder:
        yield folder
