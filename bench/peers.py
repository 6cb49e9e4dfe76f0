"""Mounts to measure side by side: this program and rclone, each fresh, over the same server."""
import contextlib
import os
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
PROGRAM = os.path.join(ROOT, "build/release/apps/velmoradisk")
sys.path.insert(0, os.path.join(ROOT, "scripts"))
from dav_servers import end_with_parent  # noqa: E402


def build():
    for command in (["scripts/setup", "all"], ["cmake", "--preset", "release"],
                    ["cmake", "--build", "--preset", "release", "--target", "velmoradisk"]):
        subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)


def await_mount(path, present=True):
    deadline = time.monotonic() + 20
    while os.path.ismount(path) != present:
        if time.monotonic() > deadline:
            raise RuntimeError(f"{path} does not become {'' if present else 'un'}mounted")
        time.sleep(0.01)


@contextlib.contextmanager
def place():
    folder = tempfile.mkdtemp(prefix="velmora-bench-")
    try:
        yield folder
    finally:
        shutil.rmtree(folder, ignore_errors=True)


class Ours:
    name = "ours"

    def __init__(self, url, folder):
        self.point = os.path.join(folder, "ours")
        home = os.path.join(folder, "home")
        os.makedirs(os.path.join(home, "run"), mode=0o700, exist_ok=True)
        self.environment = {"PATH": os.environ["PATH"], "HOME": home, "LANG": "C.UTF-8",
                            "XDG_RUNTIME_DIR": os.path.join(home, "run")}
        self.url = url

    def __enter__(self):
        self.process = subprocess.Popen(
            [PROGRAM, "mount", self.url, "--name", "Bench", "--mount-point", self.point, "--foreground"],
            env=self.environment, preexec_fn=end_with_parent, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        await_mount(self.point)
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(60)

    def peak_memory(self):
        """The most the process has held in memory, in MiB."""
        with open(f"/proc/{self.process.pid}/status") as status:
            for line in status:
                if line.startswith("VmHWM"):
                    return int(line.split()[1]) / 1024
        raise RuntimeError("no VmHWM")


class RcloneMount:
    name = "rclone"

    def __init__(self, url, folder):
        self.point = os.path.join(folder, "rclone")
        self.cache = os.path.join(folder, "rclone-cache")
        self.url = url

    def __enter__(self):
        os.makedirs(self.point, exist_ok=True)
        self.process = subprocess.Popen(
            ["rclone", "mount", ":webdav:", self.point, "--webdav-url", self.url, "--webdav-vendor", "other",
             "--vfs-cache-mode", "full", "--dir-cache-time", "3s", "--cache-dir", self.cache],
            env=dict(os.environ, RCLONE_CONFIG="/dev/null"), preexec_fn=end_with_parent,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        await_mount(self.point)
        return self

    def __exit__(self, *_):
        subprocess.run(["fusermount3", "-u", "-z", self.point], check=False)
        self.process.terminate()
        self.process.wait(60)
        shutil.rmtree(self.cache, ignore_errors=True)


PEERS = (Ours, RcloneMount)
