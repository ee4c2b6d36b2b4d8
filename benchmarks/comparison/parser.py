"""Multipart parsing in memory: what the program parser_benchmark measures as one table."""
import collections
import json
import os
import subprocess
import tempfile

from .table import median, show

WORKLOADS = ("random", "text", "prefixes", "all-cr", "random-1460")
PEERS = ("libmicrohttpd", "Poco")
OTHERS = ("byte-wise", *PEERS, "callback-floor", "memcpy", "memchr")
SECONDS = 0.2  # of each contender in each round, and a whole body at least


def measure(build, workload, rounds):
    """Returns {contender: MB per CPU second}. Those that lost bytes are left out."""
    program = os.path.join(build, "benchmarks", "parser", "parser_benchmark")
    with tempfile.NamedTemporaryFile(suffix=".json") as output:
        subprocess.run([program, f"--benchmark_filter=^{workload}/",
                        f"--benchmark_repetitions={rounds}",
                        f"--benchmark_min_time={SECONDS}",
                        "--benchmark_enable_random_interleaving=true",
                        "--benchmark_out_format=json", f"--benchmark_out={output.name}"],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        runs = json.load(output)["benchmarks"]
    rates = collections.defaultdict(list)
    for run in runs:
        if run["run_type"] == "iteration" and not run.get("error_occurred"):
            rates[run["run_name"].split("/")[1]].append(run["bytes_per_second"] / 1e6)
    return {contender: median(values) for contender, values in rates.items()}


def ratio(rates, names):
    """Of ours to the best of those."""
    return f"{rates['parser'] / max(rates.get(name, 0) for name in names):.2f}"


def show_tables(build, rounds):
    lines = []
    for workload in WORKLOADS:
        rates = measure(build, workload, rounds)
        cells = [f"{rates[name]:.0f}" if name in rates else "-" for name in ("parser", *OTHERS)]
        lines.append([workload, *cells, ratio(rates, PEERS), ratio(rates, ["callback-floor"])])
    show(f"Parser, MB per CPU second, {rounds} rounds",
         ["", "ours", *OTHERS, "ours / best peer", "ours / floor"], lines)
