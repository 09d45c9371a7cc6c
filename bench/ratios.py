#!/usr/bin/env python3
"""Turns one run of loom_bench (--benchmark_format=json) into the table of ratios.

    build-bench/bench/loom_bench --benchmark_format=json > run.json
    python3 bench/ratios.py run.json

Times are CPU times of one run (the medians when it repeated each benchmark); each ratio
compares Loom with muParser, with ExprTk (when the run has its rows) and with the hand-written C++
of the same case, so the figures of one table come from the same machine and moment. A ratio
below 1 means Loom is faster.
"""
import json
import sys
from collections import defaultdict

# The targets: (family prefix, ratio name) -> limit; a ratio must not exceed its limit.
TARGETS = {
    ("scalar", "loom/exprtk"): 1.2,
    ("vector4096", "loom/exprtk"): 1.0,
    ("vector1000000", "loom/exprtk"): 1.0,
    ("vector4096", "loom/muparser"): 0.2,  # at least 5 x faster than muParser's bulk mode
    ("vector4096", "loom/native"): 2.0,
    ("vector1000000", "loom/native"): 1.5,
    ("compile", "loom/muparser"): 1.0,
    ("compile", "loom/exprtk"): 1.0,
}
# Scalar cases held against hand-written code: one expression, and the ten-line sections.
SCALAR_NATIVE = {"a+b*c": 1.3, "section10": 3.0, "assign10": 3.0}
OTHERS = (("muparser", "muParser"), ("exprtk", "ExprTk"), ("native", "native"))


def load(path):
    with open(path) as f:
        data = json.load(f)
    times = defaultdict(dict)
    allocs = {}
    failed = {}  # benchmark name -> why it did not run, once per benchmark whatever the repetitions
    # With repetitions, the medians stand for their benchmarks; without, the single runs do.
    has_medians = any(b.get("aggregate_name") == "median" for b in data["benchmarks"])
    for b in data["benchmarks"]:
        if b.get("error_occurred"):  # a benchmark that refused to run has no time
            failed[b.get("run_name", b["name"])] = b.get("error_message", "?")
            continue
        if has_medians != (b.get("aggregate_name") == "median"):
            continue
        parts = b.get("run_name", b["name"]).split("/")
        if parts[-1].isdigit():  # the vector length argument
            parts = parts[:-1]
        family, case, engine = parts[0], "/".join(parts[1:-1]), parts[-1]
        # CPU time: on a shared machine the wall clock also counts the time other processes
        # held the core, which varies from one benchmark to the next.
        per = b["cpu_time"]  # in the run's time unit, per iteration
        if "items_per_second" in b:  # vectors: nanoseconds per element
            per = 1e9 / b["items_per_second"]
        times[(family, case)][engine] = per
        if engine == "loom" and "allocs" in b:
            allocs[(family, case)] = b["allocs"]
    return data.get("context", {}), times, allocs, failed


def verdict(family, case, name, ratio):
    limit = TARGETS.get((family, name))
    if family == "scalar" and name == "loom/native":
        limit = SCALAR_NATIVE.get(case)
    if limit is None:
        return ""
    return "met" if ratio <= limit else f"gap (target <= {limit})"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    context, times, allocs, failed = load(sys.argv[1])
    print(f"Machine: {context.get('host_name', '?')}, {context.get('num_cpus', '?')} CPUs at "
          f"{context.get('mhz_per_cpu', '?')} MHz, load {context.get('load_avg', '?')}")
    print()
    # A build without ExprTk has no rows of it, and then no columns either.
    others = [(key, title) for key, title in OTHERS if any(key in e for e in times.values())]
    print("| benchmark | case | Loom | " + " | ".join(title for _, title in others) + " | " +
          " | ".join(f"Loom/{title}" for _, title in others) + " | allocs/eval |")
    print("|---" * (4 + 2 * len(others)) + "|")
    for (family, case), engines in times.items():
        loom = engines.get("loom")
        cells = []
        for other, _ in others:
            value = engines.get(other)
            if loom is None or value is None:
                cells.append("")
                continue
            ratio = loom / value
            mark = verdict(family, case, f"loom/{other}", ratio)
            cells.append(f"{ratio:.2f}" + (f" {mark}" if mark else ""))
        unit = "ns/elem" if family.startswith("vector") else "ns"
        fmt = lambda v: "" if v is None else f"{v:.3g} {unit}"
        alloc = allocs.get((family, case))
        alloc_text = "" if alloc is None else f"{round(alloc, 3):g}"
        columns = [fmt(loom)] + [fmt(engines.get(other)) for other, _ in others] + cells
        print(f"| {family} | `{case}` | " + " | ".join(columns) + f" | {alloc_text} |")
    for name, message in failed.items():
        print(f"did not run: {name}: {message}", file=sys.stderr)
    if failed:
        sys.exit(1)


if __name__ == "__main__":
    main()
