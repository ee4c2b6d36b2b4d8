"""Uploads to a disk, which prompt serving flushes before it tells success, beside peers that do."""
import collections
import os

from .servers import Peer, PromptHost, running
from .table import show
from .transfers import HEADER, check, measure, rows, write_source


def show_tables(build, folder, source_folder, size, rounds):
    """The source is in memory; `folder` is on the disk."""
    source = os.path.join(source_folder, "source.bin")
    write_source(source, size)
    uploads = collections.defaultdict(list)
    makers = [
        lambda: PromptHost(build, folder),
        lambda: Peer("libmicrohttpd", "microhttpd_server", 18101, build, folder, ["flushed"]),
        lambda: Peer("civetweb", "civetweb_server", 18102, build, folder, ["flushed"]),
        lambda: Peer("libmicrohttpd, not flushed", "microhttpd_server", 18103, build, folder),
    ]
    with running(*makers) as servers:
        for _ in range(rounds):
            for server in servers:
                uploads[server.name].append(measure(server, server.upload_arguments(source), size))
                check(server, source)
                os.remove(server.target)
                os.sync()
        show(f"Upload of {size // 2**20} MiB by curl to a disk, flushed, {rounds} rounds", HEADER,
             list(rows(servers, uploads, servers[0].name)))
