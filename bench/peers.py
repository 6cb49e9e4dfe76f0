"""Mounts to measure side by side: this program and rclone, each fresh, over the same server."""
import contextlib
import glob
import os
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
PROGRAM = os.environ.get("VELMORADISK") or os.path.join(ROOT, "build/release/apps/velmoradisk")
sys.path.insert(0, os.path.join(ROOT, "scripts"))
from dav_servers import end_with_parent  # noqa: E402


def build():
    """Builds what is measured, unless VELMORADISK names a program to measure."""
    if "VELMORADISK" in os.environ:
        return
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

    def cpu_seconds(self):
        """What its threads have used so far, to the nanosecond."""
        total = 0
        for path in glob.glob(f"/proc/{self.process.pid}/task/*/schedstat"):
            with open(path) as schedstat:
                total += int(schedstat.read().split()[0])
        return total / 1e9


class RcloneMount:
    name = "rclone"
    options = ("--vfs-cache-mode", "full")

    def __init__(self, url, folder):
        self.point = os.path.join(folder, "rclone")
        self.cache = os.path.join(folder, "rclone-cache")
        self.url = url

    def __enter__(self):
        os.makedirs(self.point, exist_ok=True)
        self.process = subprocess.Popen(
            ["rclone", "mount", ":webdav:", self.point, "--webdav-url", self.url, "--webdav-vendor", "other",
             "--dir-cache-time", "3s", "--cache-dir", self.cache, *self.options],
            env=dict(os.environ, RCLONE_CONFIG="/dev/null"), preexec_fn=end_with_parent,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        await_mount(self.point)
        return self

    def __exit__(self, *_):
        subprocess.run(["fusermount3", "-u", "-z", self.point], check=False)
        self.process.terminate()
        self.process.wait(60)
        shutil.rmtree(self.cache, ignore_errors=True)


class Davfs:
    """davfs2, which only root may mount; OSError where that fails."""
    name = "davfs2"

    def __init__(self, url, folder):
        self.point = os.path.join(folder, "davfs")
        self.folder = folder
        self.url = url

    def __enter__(self):
        os.mkdir(self.point)
        cache = os.path.join(self.folder, "davfs-cache")
        os.mkdir(cache)
        # It serves as a user of its own.
        os.chmod(self.folder, 0o755)
        os.chmod(cache, 0o777)
        conf = os.path.join(self.folder, "davfs2.conf")
        with open(conf, "w") as file:
            file.write(f"ask_auth 0\ncache_dir {cache}\ndelay_upload 0\n")
        mounting = subprocess.run(["mount.davfs", self.url, self.point, "-o", f"conf={conf}"], text=True,
                                  stdin=subprocess.DEVNULL, capture_output=True, check=False)
        if mounting.returncode:
            raise OSError(" ".join(mounting.stderr.split()) or f"mount.davfs ended with {mounting.returncode}")
        await_mount(self.point)
        return self

    def __exit__(self, *_):
        subprocess.run(["umount", self.point], check=False, capture_output=True)
