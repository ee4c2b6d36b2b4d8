"""Multipart parsing in memory: the rows of the program parser_benchmark as one table."""
import collections
import json
import os
import subprocess
import tempfile

from .table import median, show


def measure(build, rounds):
    """Returns {workload: {contender: MB per CPU second}}."""
    program = os.path.join(build, "benchmarks", "parser", "parser_benchmark")
    with tempfile.NamedTemporaryFile(suffix=".json") as output:
        subprocess.run([program, f"--benchmark_repetitions={rounds}",
                        "--benchmark_enable_random_interleaving=true",
                        "--benchmark_out_format=json", f"--benchmark_out={output.name}"],
                       check=True, stdout=subprocess.DEVNULL)
        runs = json.load(output)["benchmarks"]
    rates = collections.defaultdict(lambda: collections.defaultdict(list))
    for run in runs:
        if run["run_type"] == "iteration" and not run.get("error_occurred"):
            workload, contender = run["run_name"].split("/")[:2]
            rates[workload][contender].append(run["bytes_per_second"] / 1e6)
    return {workload: {name: median(values) for name, values in contenders.items()}
            for workload, contenders in rates.items()}


def show_tables(build, rounds):
    for workload, rates in measure(build, rounds).items():
        ours = rates["parser"]
        show(f"Parser, {workload}, {rounds} rounds", ["", "MB per CPU s", "ours / it"],
             [[name, f"{rate:.0f}", f"{ours / rate:.2f}"] for name, rate in rates.items()])
