#!/usr/bin/env python3
"""Turns one run of loom_run_bench (--benchmark_format=json) into the reference host's figures.

    build-bench/bench/loom_run_bench --benchmark_format=json > run.json
    python3 bench/run_ratios.py run.json

All figures come from the same run: samples per second through `loom run` as a share of the raw
read rate of the same WAV file (and how a run's time divides between reading, the panel's
formulas and the host itself), and one cycle of an empty formula through the host against the
same panel driven directly (the host's own part of a cycle is the difference).
"""
import json
import sys


def rates(path):
    with open(path) as f:
        data = json.load(f)
    out = {}
    has_medians = any(b.get("aggregate_name") == "median" for b in data["benchmarks"])
    for b in data["benchmarks"]:
        if b.get("error_occurred") or has_medians != (b.get("aggregate_name") == "median"):
            continue
        out[b.get("run_name", b["name"])] = b["items_per_second"]
    return out


def main():
    r = rates(sys.argv[1])
    read, run, alone = r["wav4x1000/read"], r["wav4x1000/run"], r["wav4x1000/panel"]
    # Seconds per sample: the host's own part is what reading and the panel leave over.
    own = 1 / run - 1 / read - 1 / alone
    host_ns, panel_ns = 1e9 / r["empty/run"], 1e9 / r["empty/panel"]
    print("| figure | value |")
    print("|---|---|")
    print("| WAV read, 4 channels, blocks of 1000 | %.3g samples/s |" % read)
    print("| loom run, RMS of the 4 channels per block | %.3g samples/s |" % run)
    print("| the RMS panel alone, same blocks | %.3g samples/s |" % alone)
    print("| loom run / raw read | %.2f |" % (run / read))
    print("| share of a run's time: reading / panel / host | %.2f / %.2f / %.2f |"
          % (run / read, run / alone, own * run))
    print("| empty formula, one cycle through the host | %.0f ns |" % host_ns)
    print("| empty formula, one cycle of the panel alone | %.0f ns |" % panel_ns)
    print("| host / panel alone per cycle | %.1f |" % (host_ns / panel_ns))
    print("| the host's own part of a cycle | %.0f ns |" % (host_ns - panel_ns))
    return 0


if __name__ == "__main__":
    sys.exit(main())
