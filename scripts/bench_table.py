#!/usr/bin/env python3
"""Prints the benchmark table: per case and size, kelkit's median time, each
peer's median time and the ratio kelkit / peer."""
import json
import sys
from collections import defaultdict


def main(path):
    with open(path) as f:
        data = json.load(f)
    medians = defaultdict(dict)  # (case, size) -> impl -> microseconds
    repeated = {b["run_name"] for b in data["benchmarks"] if b.get("aggregate_name") == "median"}
    for b in data["benchmarks"]:
        name = b["run_name"]
        # The median of repeated runs; a case run once (a very slow peer)
        # counts with its single time.
        if name in repeated and b.get("aggregate_name") != "median":
            continue
        if name not in repeated and b.get("run_type") == "aggregate":
            continue
        # Drop the suffixes Google Benchmark appends (real_time, iterations:1,
        # repeats:1, ...), leaving <case>/<implementation>/<size>.
        parts = [p for p in name.split("/") if p not in ("real_time", "process_time") and ":" not in p]
        if len(parts) < 3:
            continue
        case, impl, size = "/".join(parts[:-2]), parts[-2], parts[-1]
        scale = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}[b["time_unit"]]
        medians[(case, size)][impl] = b["real_time"] * scale
    header = f"{'case':<28}{'size':>6}{'kelkit us':>12}{'peer':>8}{'peer us':>12}{'ratio':>8}"
    print(header)
    print("-" * len(header))
    for (case, size) in sorted(medians, key=lambda k: (k[0], int(k[1]) if k[1].isdigit() else 0)):
        impls = medians[(case, size)]
        kel = impls.get("kel")
        for peer, t in sorted(impls.items()):
            if peer == "kel":
                continue
            ratio = f"{kel / t:.2f}" if kel and t else "-"
            kel_s = f"{kel:.1f}" if kel else "-"
            print(f"{case:<28}{size:>6}{kel_s:>12}{peer:>8}{t:>12.1f}{ratio:>8}")


if __name__ == "__main__":
    main(sys.argv[1])
