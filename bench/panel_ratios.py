#!/usr/bin/env python3
"""Turns one run of loom_panel_bench (--benchmark_out_format=json) into the panel's figures.

    python3 bench/panel_ratios.py build-bench/panel.json

Every cycle is shown as its CPU time per cycle and as a ratio against one bare GetResults of the
same formula; the empty cycle's time is the panel's own overhead (target: under 1 microsecond).
"""
import json
import sys


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with open(sys.argv[1]) as f:
        data = json.load(f)
    has_medians = any(b.get("aggregate_name") == "median" for b in data["benchmarks"])
    times = {}
    for b in data["benchmarks"]:
        if b.get("error_occurred") or has_medians != (b.get("aggregate_name") == "median"):
            continue
        # Asynchronous cycles span two threads: their wall time is what a host waits for.
        key = "real_time" if b.get("run_name", b["name"]).startswith("BM_Async") else "cpu_time"
        times[b.get("run_name", b["name"])] = b[key]
    bare = times.get("BM_BareGetResults")
    if not bare:
        sys.exit("the run has no BM_BareGetResults")
    print("| cycle | time | / bare GetResults |")
    print("|---|---|---|")
    for name, value in times.items():
        mark = ""
        if name.startswith("BM_EmptyCycle"):
            mark = " met" if value < 1000 else " gap (target < 1000 ns)"
        print(f"| `{name}` | {value:.3g} ns | {value / bare:.1f}{mark} |")


if __name__ == "__main__":
    main()
