"""Upload and download of one large file, every server in turn, round by round."""
import collections
import filecmp
import os
import subprocess

from .servers import Nginx, Peer, Simulator, running
from .table import median, show

Transfer = collections.namedtuple("Transfer", "rate cpu peak")


def curl(arguments):
    """Runs curl and returns the seconds it took."""
    command = ["curl", "-s", "-S", "-f", "-H", "Expect:", "-w", "%{time_total}",
               *([] if "-o" in arguments else ["-o", "/dev/null"]), *arguments]
    return float(subprocess.run(command, check=True, capture_output=True, text=True).stdout)


def measure(server, arguments, size):
    server.forget_peak()
    before = server.cpu_seconds()
    seconds = curl(arguments)
    return Transfer(size / 1e6 / seconds, server.cpu_seconds() - before, server.peak_mib())


def check(server, source):
    if not filecmp.cmp(source, server.target, shallow=False):
        raise RuntimeError(f"{server.name} has stored something else")


def rows(servers, results, ours_name="ours"):
    medians = {server.name: Transfer(*(median(values) for values in zip(*results[server.name])))
               for server in servers}
    ours = medians[ours_name]
    for server in servers:
        it = medians[server.name]
        yield [server.name, f"{it.rate:.0f}", f"{ours.rate / it.rate:.2f}", f"{it.cpu:.2f}",
               f"{ours.cpu / it.cpu:.2f}" if it.cpu > 0 else "-", f"{it.peak:.0f}"]


def write_source(path, size):
    with open(path, "wb") as file:
        for _ in range(size // 2**20):
            file.write(os.urandom(2**20))


HEADER = ["", "MB/s", "ours / it", "CPU s", "ours / it", "peak MiB"]


def show_tables(build, folder, size, rounds):
    source = os.path.join(folder, "source.bin")
    write_source(source, size)
    uploads = collections.defaultdict(list)
    downloads = collections.defaultdict(list)
    makers = [
        lambda: Simulator(build, folder),
        lambda: Peer("libmicrohttpd", "microhttpd_server", 18101, build, folder),
        lambda: Peer("civetweb", "civetweb_server", 18102, build, folder),
        lambda: Peer("cpp-httplib", "httplib_server", 18103, build, folder),
        lambda: Peer("Poco", "poco_server", 18104, build, folder),
        lambda: Nginx(18105, folder),
    ]
    with running(*makers) as servers:
        senders = [server for server in servers if server.name != "libmicrohttpd"]
        for _ in range(rounds):
            for server in servers:
                uploads[server.name].append(
                    measure(server, server.upload_arguments(source), size))
                check(server, source)
                if server in senders:
                    downloads[server.name].append(
                        measure(server, [server.download_url()], size))
                os.remove(server.target)
        amount = f"{size // 2**20} MiB by curl, {rounds} rounds"
        show(f"Upload of {amount}", HEADER, list(rows(servers, uploads)))
        show(f"Download of {amount}", HEADER, list(rows(senders, downloads)))
