#!/usr/bin/env python3
"""Runs the benchmark programs and prints our time against the fastest peer's, row by row.

tools/bench_table.py [FILTER]     FILTER: a regular expression over "row/parameter"

Each row runs in a process of its own, so that no other row's heap and caches meet it. The
repetitions of its functions are shuffled, so that a machine that changes its speed does not favour
either side; the medians are compared.
"""
import json
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
BUILD = SOURCE / "build" / "bench"
REPETITIONS = 5
RESIDENT_LIMIT = 8.0  # MB, everything initialised


def targets():
    lines = (SOURCE / "bench" / "targets.txt").read_text().splitlines()
    return {row: float(limit) for row, limit in
            (line.split("\t") for line in lines if line and not line.startswith("#"))}


def loader(program):
    """The program interpreter. A program that it is told to run is placed beside its libraries:
    some processors take three cycles more for a call across 4 GB, which would be counted for every
    peer that is a library and for none that is a template."""
    found = re.search(rb"/[^\0]*/ld-[^\0]+", program.read_bytes()[:4096])
    return [found.group().decode()] if found else []


def start(program, *options):
    """Runs a program in a directory of its own; gives its results, or else what it printed."""
    with tempfile.TemporaryDirectory(prefix="zut-bench-") as scratch:
        done = subprocess.run([*loader(program), program, *options], cwd=scratch,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True,
                              env={**os.environ, "HOME": scratch})
        results = Path(scratch) / "results"
        text = results.read_text() if results.exists() else done.stdout
    if done.returncode != 0:
        sys.exit(f"{done.stderr}{program.name} ended with code {done.returncode}")
    return text


def rows_of(program, wanted):
    """The program's rows that match, in its order."""
    names = start(program, "--benchmark_list_tests=true",
                  f"--benchmark_filter=^({wanted})/(ours|peer:)").splitlines()
    return list(dict.fromkeys("/".join(name.split("/")[:2]) for name in names if "/" in name))


def measure(program, row):
    """Median nanoseconds: who -> time."""
    exactly = re.sub(r"([^\w\s/:,-])", r"\\\1", row)
    text = start(program, "--benchmark_out=results", f"--benchmark_filter=^{exactly}/(ours|peer:)",
                 f"--benchmark_repetitions={REPETITIONS}", "--benchmark_min_time=0.1",
                 "--benchmark_enable_random_interleaving=true",
                 "--benchmark_report_aggregates_only=true")
    times = {}
    for entry in json.loads(text)["benchmarks"]:
        if entry.get("aggregate_name") != "median":
            continue
        _, _, who, *marks = entry["run_name"].split("/")
        by_clock = "real_time" in marks or "manual_time" in marks
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[entry["time_unit"]]
        times[who] = entry["real_time" if by_clock else "cpu_time"] * scale
    return times


def show_time(nanoseconds):
    for unit, size in ("s", 1e9), ("ms", 1e6), ("us", 1e3):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.4g} {unit}"
    return f"{nanoseconds:.4g} ns"


def print_row(name, times, limit):
    """True when the row is over its limit."""
    ours = times.get("ours")
    peers = {who[len("peer:"):]: time for who, time in times.items() if who != "ours"}
    if ours is None or not peers:
        print(f"{name:44} incomplete: {', '.join(times)}")
        return True
    best = min(peers, key=peers.get)
    ratio = ours / peers[best]
    verdict = "-" if limit is None else "ok" if ratio <= limit else "over"
    print(f"{name:44} {show_time(ours):>10} {show_time(peers[best]):>10}  {best:24}"
          f" {ratio:5.2f} {'' if limit is None else limit:>6} {verdict}", flush=True)
    return verdict == "over"


def resident():
    """Most megabytes of the shell with everything initialised, told by a child of it."""
    command = "sh grep VmHWM: /proc/$PPID/status"
    told = subprocess.run([BUILD / "bin" / "zutsh", "-n", "-c", command], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, text=True).stdout
    return int(re.search(r"VmHWM:\s+(\d+)", told).group(1)) / 1024


def main():
    wanted = sys.argv[1] if len(sys.argv) > 1 else ".*"
    limits = targets()
    print(f"{'row/parameter':44} {'ours':>10} {'peer':>10}  {'best peer':24} ratio  limit")
    seen, over = set(), 0
    for program in sorted((BUILD / "bin").glob("*_bench")):
        for name in rows_of(program, wanted):
            seen.add(name)
            over += print_row(name, measure(program, name), limits.get(name))
    for name in limits:
        if name not in seen and re.fullmatch(wanted, name):
            print(f"{name:44} not measured")
    if wanted == ".*":
        print(f"resident, everything initialised: {resident():.1f} MB (at most {RESIDENT_LIMIT:g})")
    print(f"{len(seen)} rows, {over} over their limit")


if __name__ == "__main__":
    main()
