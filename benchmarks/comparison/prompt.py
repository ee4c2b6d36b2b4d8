"""What prompt serving promises, beside bare servers, each figure within one run."""
import collections
import csv
import os
import subprocess
import threading
import time

from .servers import Peer, PromptHost, Simulator, running
from .table import median, show
from .transfers import HEADER, check, curl, measure, rows, write_source

CONNECTIONS = (1, 10, 50)
SECONDS = 4
IDLE_SECONDS = 60
FIRST_REQUESTS = 100
REQUESTS = 10_000
TRANSFERS = 20
BESIDE = 4
SMALL_FILES = 5000
SMALL_SIZE = 2000
SMALL_FOLDERS = 50

Rate = collections.namedtuple("Rate", "rate p50 p99 cpu failed")


def ask(folder, server, connections, count=None):
    """Asks for some seconds, or `count` times, with a new connection for each request. Times are in
    ms, processor time in microseconds for each request."""
    percentiles = os.path.join(folder, "percentiles.csv")
    limit = ["-n", str(count)] if count else ["-t", str(SECONDS), "-n", "10000000"]
    command = ["ab", "-q", "-d", "-c", str(connections), *limit, "-e", percentiles, server.information_url()]
    before = server.processor_seconds()
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    used = server.processor_seconds() - before
    lines = dict(line.split(":", 1) for line in output.splitlines() if ":" in line)
    failed = int(lines["Failed requests"]) + int(lines.get("Non-2xx responses", "0"))
    with open(percentiles, encoding="ascii") as file:
        times = {row[0]: float(row[1]) for row in list(csv.reader(file))[1:]}
    return Rate(float(lines["Requests per second"].split()[0]), times["50"], times["99"],
                1e6 * used / int(lines["Complete requests"]), failed)


def show_requests(servers, folder, rounds):
    results = collections.defaultdict(list)
    for _ in range(rounds):
        for connections in CONNECTIONS:
            for server in servers:
                results[server.name, connections].append(ask(folder, server, connections))
    lines = []
    for connections in CONNECTIONS:
        ours, bare = (Rate(*(median(values) for values in zip(*results[server.name, connections])))
                      for server in servers)
        lines.append([f"{connections} connections", f"{ours.rate:.0f}", f"{bare.rate:.0f}",
                      f"{ours.rate / bare.rate:.2f}", f"{ours.p50:.2f}", f"{bare.p50:.2f}",
                      f"{ours.p99:.1f}", f"{bare.p99:.1f}",
                      f"{ours.cpu:.0f}", f"{bare.cpu:.0f}", f"{ours.failed:.0f}"])
    show(f"GET /info, prompt serving beside bare civetweb, {rounds} rounds of {SECONDS} s",
         ["", "requests/s", "bare", "ours / bare", "p50 ms", "bare", "p99 ms", "bare",
          "CPU us", "bare", "failed"], lines)


def bare_civetweb(ours, build, folder):
    """A civetweb that answers /info with the bytes of our answer."""
    answer = os.path.join(folder, "civetweb.bin")
    curl(["-o", answer, ours.information_url()])
    return Peer("civetweb", "civetweb_server", 18102, build, folder)


def show_transfers(servers, source, size, rounds):
    uploads = collections.defaultdict(list)
    downloads = collections.defaultdict(list)
    for _ in range(rounds):
        for server in servers:
            uploads[server.name].append(measure(server, server.upload_arguments(source), size))
            check(server, source)
            if server.name != "libmicrohttpd":
                downloads[server.name].append(measure(server, [server.download_url()], size))
            os.remove(server.target)
    amount = f"{size // 2**20} MiB by curl, prompt serving, {rounds} rounds"
    ours = servers[0].name
    receivers = [server for server in servers if server.name in (ours, "libmicrohttpd", "civetweb")]
    senders = [server for server in servers if server.name in downloads]
    show(f"Upload of {amount}", HEADER, list(rows(receivers, uploads, ours)))
    show(f"Download of {amount}", HEADER, list(rows(senders, downloads, ours)))


def show_idle(servers):
    """One minute for all of them."""
    before = [server.processor_seconds() for server in servers]
    time.sleep(IDLE_SECONDS)
    lines = [[server.name, f"{(server.processor_seconds() - used) * 60 / IDLE_SECONDS:.4f}"]
             for server, used in zip(servers, before)]
    show("Idle, CPU s per minute", ["", "CPU s"], lines)


def show_memory(server, folder, source):
    """How the memory grows after the first requests."""
    ask(folder, server, 1, FIRST_REQUESTS)
    lines = [memory_row(f"after {FIRST_REQUESTS} requests", server)]
    ask(folder, server, 10, REQUESTS)
    lines.append(memory_row(f"and {REQUESTS} requests", server))
    for _ in range(TRANSFERS // 2):
        curl(server.upload_arguments(source))
        curl([server.download_url()])
    size = os.path.getsize(source)
    lines.append(memory_row(f"and {TRANSFERS} transfers of {size // 2**20} MiB", server))
    show("Memory of prompt serving", ["", "resident MiB", "page tables MiB"], lines)


def memory_row(name, server):
    return [name, f"{server.resident_mib():.2f}", f"{server.page_tables_mib():.3f}"]


def show_turns(build, folder, source):
    """With uploads and downloads side by side, and requests beside them."""
    with running(lambda: PromptHost(build, folder)) as (server,):
        curl(server.upload_arguments(source))
        transfers = [threading.Thread(target=curl, args=(arguments,)) for arguments in (
            [server.download_url()], server.upload_arguments(source)) * (BESIDE // 2)]
        for thread in transfers:
            thread.start()
        beside = ask(folder, server, 1, REQUESTS)
        for thread in transfers:
            thread.join()
        clock, processor = server.longest_turn_ms()
        os.remove(server.target)
    show(f"{BESIDE} transfers side by side, and requests beside them",
         ["", "longest turn ms", "of CPU time", "p50 ms of requests", "p99 ms"],
         [["prompt", f"{clock:.1f}", f"{processor:.1f}", f"{beside.p50:.2f}", f"{beside.p99:.1f}"]])


def write_small_files(folder):
    """As if they had been written a minute ago: what still changes is not fetched."""
    written = time.time() - 60
    for number in range(SMALL_FILES):
        path = os.path.join(folder, f"{number % SMALL_FOLDERS}", f"{number}.bin")
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(os.urandom(SMALL_SIZE))
        os.utime(path, (written, written))


def show_sync(build, folder):
    """The client with the simulator: for each file its metadata, its bytes and a confirmation."""
    client = os.path.join(build, "client", "parlowenctl")
    with running(lambda: Simulator(build, folder)) as (device,):
        write_small_files(os.path.dirname(device.target))
        before = device.cpu_seconds()
        begun = time.monotonic()
        process = subprocess.Popen([client, "--quiet", "sync", os.path.join(folder, "local")],
                                   stdout=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.monotonic() - begun
        used = device.cpu_seconds() - before
    if status != 0:
        raise RuntimeError("parlowenctl sync has failed")
    show(f"parlowenctl sync of {SMALL_FILES} files of {SMALL_SIZE} bytes",
         ["", "seconds", "CPU s of the client", "CPU s of the device"],
         [["prompt", f"{seconds:.1f}", f"{usage.ru_utime + usage.ru_stime:.1f}", f"{used:.1f}"]])


def show_tables(build, folder, size, rounds):
    source = os.path.join(folder, "source.bin")
    write_source(source, size)
    with running(lambda: PromptHost(build, folder)) as (ours,):
        show_memory(ours, folder, source)
        with running(lambda: bare_civetweb(ours, build, folder),
                     lambda: Peer("libmicrohttpd", "microhttpd_server", 18101, build, folder),
                     lambda: Peer("cpp-httplib", "httplib_server", 18103, build, folder)) as peers:
            show_requests([ours, peers[0]], folder, rounds)
            show_transfers([ours, *peers], source, size, rounds)
            show_idle([ours, *peers])
    show_turns(build, folder, source)
    show_sync(build, folder)
