#!/usr/bin/env python3
"""Turns runs of loom_batch_bench and loom_python_bench (--benchmark_format=json) into the
figures of scale-out and of the Python module.

    python3 bench/scale_ratios.py batch.json python.json

Files per second of `loom batch -j 2` against a loop of `loom run` on the same files (the ratio
is what a second core buys; it cannot pass the number of idle cores), and the time of one
loom.evaluate on a scalar against the same formula in C++, compiled and evaluated each time (the
work evaluate does per call) and evaluated alone.
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
        name = b.get("run_name", b["name"]).replace("/real_time", "")
        out[name] = b["items_per_second"]
    return out


def main():
    r = {}
    for path in sys.argv[1:]:
        r.update(rates(path))
    print("| figure | value |")
    print("|---|---|")
    if "files/sequential" in r:
        sequential, batch = r["files/sequential"], r["files/batch/2"]
        print("| loop of loom run, one file after another | %.3g files/s |" % sequential)
        print("| loom batch -j 2 | %.3g files/s |" % batch)
        print("| batch -j 2 / loop | %.2f |" % (batch / sequential))
    if "scalar/python_evaluate" in r:
        python = 1e9 / r["scalar/python_evaluate"]
        compile_ns = 1e9 / r["scalar/cpp_compile_evaluate"]
        evaluate_ns = 1e9 / r["scalar/cpp_evaluate"]
        print("| loom.evaluate(\"x * 2 + 1\", x=3.0), one call | %.0f ns |" % python)
        print("| the same in C++: compile and evaluate | %.0f ns |" % compile_ns)
        print("| the same in C++: evaluate a compiled formula | %.1f ns |" % evaluate_ns)
        print("| loom.evaluate / C++ compile and evaluate | %.1f |" % (python / compile_ns))
        print("| the module's own part of a call | %.0f ns |" % (python - compile_ns))
    return 0


if __name__ == "__main__":
    sys.exit(main())
