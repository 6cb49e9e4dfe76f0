"""Times the same work on both peers over one Apache; a line for each benchmark, with the ratio ours/rclone."""
import argparse
import contextlib
import os
import statistics
import subprocess
import sys
import time
from collections.abc import Callable
from dataclasses import dataclass

from peers import HERE, place
from dav_servers import end_with_parent

MIB = 1 << 20


@dataclass
class Benchmark:
    name: str
    reach: float | None
    """The ratio to reach; None where the figure is only shown."""
    timed: Callable[[str], None]
    """The work, at this mount point."""
    before: Callable[[str], None] | None = None
    """Done first and untimed, at the mount point."""
    prepare: Callable[[str], None] | None = None
    """Puts the server's folder into the state that every run starts from."""
    arrived: Callable[[str], bool] | None = None
    """Whether the server's folder holds all that was written: the clock runs until then."""
    floor: list[str] | None = None
    """Files that curl fetches, as the least the same bytes can cost."""


def run(*command):
    subprocess.run(command, stdout=subprocess.DEVNULL, check=True)


def await_arrival(arrived, folder):
    deadline = time.monotonic() + 300
    while not arrived(folder):
        if time.monotonic() > deadline:
            raise RuntimeError(f"what was written does not reach {folder}")
        time.sleep(0.002)


def await_quiet(server):
    """The server's log, once nothing has come in for a while."""
    seen, since = server.requests(), time.monotonic()
    while time.monotonic() < since + 0.3:
        time.sleep(0.02)
        now = server.requests()
        if len(now) != len(seen):
            seen, since = now, time.monotonic()
    return seen


def measure(peer, url, benchmark, server):
    """Seconds, and the requests that the server saw meanwhile."""
    if benchmark.prepare:
        benchmark.prepare(server.folder)
    with place() as folder, peer(url, folder) as mounted:
        if benchmark.before:
            benchmark.before(mounted.point)
        seen = len(server.requests())
        start = time.perf_counter()
        benchmark.timed(mounted.point)
        if benchmark.arrived:
            await_arrival(benchmark.arrived, server.folder)
        seconds = time.perf_counter() - start
        requests = await_quiet(server) if benchmark.arrived else server.requests()
        return seconds, len(requests) - seen


def floor(url, names):
    start = time.perf_counter()
    run("curl", "-s", *(part for name in names for part in ("-o", "/dev/null", url + name)))
    return time.perf_counter() - start


def table(title, peers, benchmarks, url, server, runs):
    if not benchmarks:
        return
    print(f"\n{title}")
    print(f"{'':34} {'ours':>9} {'rclone':>9} {'ratio':>6} {'reach':>6} {'curl':>9}  requests ours/rclone")
    for benchmark in benchmarks:
        results = [[measure(peer, url, benchmark, server) for peer in peers] for _ in range(runs)]
        (ours, our_requests), (theirs, their_requests) = (
            map(statistics.median, zip(*of_peer)) for of_peer in zip(*results))
        by_curl = ""
        if benchmark.floor:
            by_curl = f"{statistics.median(floor(url, benchmark.floor) for _ in range(runs)) * 1000:7.1f}ms"
        print(f"{benchmark.name:34} {ours * 1000:7.1f}ms {theirs * 1000:7.1f}ms {ours / theirs:6.2f} "
              f"{benchmark.reach or '':>6} {by_curl:>9}  {our_requests:.0f}/{their_requests:.0f}", flush=True)


@contextlib.contextmanager
def relayed(server, milliseconds):
    """The server's URL through a relay that adds this much to every round trip."""
    relay = subprocess.Popen([sys.executable, os.path.join(HERE, "relay.py"), str(server.port), str(milliseconds)],
                             stdout=subprocess.PIPE, text=True, preexec_fn=end_with_parent)
    try:
        yield f"http://127.0.0.1:{relay.stdout.readline().strip()}/"
    finally:
        relay.kill()
        relay.wait()


def arguments_of(description):
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--only", default="", help="only the figures whose name holds this text")
    return parser.parse_args()
