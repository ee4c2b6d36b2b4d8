"""The information document, asked for over and over by 1, 10 and 50 connections."""
import csv
import os
import subprocess

from .servers import Simulator, running
from .table import median, show

TICK_MS = 10
SECONDS = 6
CONNECTIONS = (1, 10, 50)


def ask(folder, connections):
    """Returns requests/s, failed requests and the median time in ms."""
    percentiles = os.path.join(folder, "percentiles.csv")
    count = SECONDS * 1000 // TICK_MS
    command = ["ab", "-q", "-d", "-n", str(count), "-c", str(connections), "-e", percentiles,
               "http://127.0.0.1:8081/info"]
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    lines = dict(line.split(":", 1) for line in output.splitlines() if ":" in line)
    failed = int(lines["Failed requests"]) + int(lines.get("Non-2xx responses", "0"))
    with open(percentiles, encoding="ascii") as file:
        times = {row[0]: float(row[1]) for row in list(csv.reader(file))[1:]}
    return float(lines["Requests per second"].split()[0]), failed, times["50"]


def measure(build, folder, prefix, rounds):
    with running(lambda: Simulator(build, folder, prefix)):
        return [[ask(folder, connections) for connections in CONNECTIONS] for _ in range(rounds)]


def rows(cores, results):
    for column, connections in enumerate(CONNECTIONS):
        rates, failed, times = zip(*(one_round[column] for one_round in results))
        due = connections * TICK_MS
        yield [f"{cores}, {connections} connections", f"{median(rates):.1f}", str(sum(failed)),
               f"{median(times):.1f}", f"{median(times) / due:.2f}"]


def show_tables(build, folder, rounds):
    lines = []
    for cores, prefix in (("all cores", ()), ("one core", ("taskset", "-c", "0"))):
        lines += rows(cores, measure(build, folder, prefix, rounds))
    show(f"GET /info, {rounds} rounds of {SECONDS} s",
         ["", "requests/s", "failed", "p50 ms", "p50 / (connections x 10 ms)"], lines)
