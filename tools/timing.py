"""What the scripts *_times.py share: times of a package's work, our own from a benchmark program, and a table of both."""

import json
import pathlib
import statistics
import subprocess
import sys
import time


def seconds(work, repeats):
    """The median of repeated runs, behind one that does not count."""
    work()
    times = []
    for _ in range(repeats):
        start = time.perf_counter()
        work()
        times.append(time.perf_counter() - start)
    return statistics.median(times)


def benchmarks(program, names=""):
    """Medians in seconds by benchmark, from the program that the command line names, or else `program`."""
    program = sys.argv[1] if len(sys.argv) > 1 else program
    if not pathlib.Path(program).exists():
        sys.exit(f"{pathlib.Path(sys.argv[0]).name}: no program {program}: build it with `make bench`")
    command = [program, "--benchmark_format=json", "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true",
               f"--benchmark_filter={names}"]
    rows = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)["benchmarks"]
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}
    return {row["run_name"]: row["cpu_time"] * scale[row["time_unit"]] for row in rows
            if row["aggregate_name"] == "median"}


def show(results, times):
    """Prints (WORK/SIZE, package, its time) against ours in `times`."""
    print("| work | size | tessel | package | its time | ratio |\n|---|---|---|---|---|---|")
    for name, who, elapsed in results:
        work, size = name.split("/")
        mine = times[name + "/tessel"]
        print(f"| {work} | {size} | {mine * 1e3:.3g} ms | {who} | {elapsed * 1e3:.4g} ms | {elapsed / mine:.3g} |")
