"""What the simulator uses while nobody asks it for anything."""
import time

from .servers import Simulator, running
from .table import show

SECONDS = 60


def show_tables(build, folder):
    with running(lambda: Simulator(build, folder)) as (server,):
        before = server.cpu_seconds()
        time.sleep(SECONDS)
        used = server.cpu_seconds() - before
        show(f"Idle for {SECONDS} s after the start", ["", "CPU s per minute", "resident MiB"],
             [["ours", f"{used * 60 / SECONDS:.2f}", f"{server.resident_mib():.1f}"]])
