#!/usr/bin/env python3
"""Prints one table from a zttsp-bench JSON file run with repetitions: each operation of ours
beside OpenSSL's and beside its raw floor, as ratios of medians of CPU time.

Benchmarks are named BM_<Operation>_<side>[/<key>], side zttsp or openssl, or c for the same
operation of ours through the C interface; the floors are BM_RawSign, BM_RawVerify and
BM_RawVerifyLoadingKey. Other benchmarks (the platform layer's) are listed below the table with
their time and allocations.
"""
import json
import re
import statistics
import sys
from collections import defaultdict

NAME = re.compile(r"^BM_(?P<op>[A-Za-z]+?)_(?P<side>zttsp|openssl|c)(?:/(?P<key>\w+))?$")
FLOORS = {"Sign": "BM_RawSign", "DecodeVerify": "BM_RawVerify"}
PLATFORM_FLOORS = {"BM_Sign_CryptMsg": "BM_RawSign/rsa2048",
                   "BM_Verify_CryptMsgControl": "BM_RawVerify/rsa2048"}


def load(path):
    with open(path) as f:
        report = json.load(f)
    runs = defaultdict(list)  # run name -> [(repetition, cpu ns, allocs)]
    for b in report["benchmarks"]:
        if b.get("run_type") != "iteration":
            continue
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[b["time_unit"]]
        runs[b["run_name"]].append(
            (b.get("repetition_index", 0), b["cpu_time"] * scale, b.get("allocs")))
    return report["context"], runs


def median(run):
    return statistics.median(t for _, t, _ in run)


def spread(run):
    """Relative range of one benchmark over its repetitions, in per cent of the median."""
    times = [t for _, t, _ in run]
    return 100 * (max(times) - min(times)) / statistics.median(times)


def ratio_range(a, b):
    """min..max over the repetitions of a/b, pairing repetitions of the same round."""
    other = {r: t for r, t, _ in b}
    ratios = [t / other[r] for r, t, _ in a if r in other]
    return (min(ratios), max(ratios)) if ratios else (float("nan"), float("nan"))


def micros(ns):
    return f"{ns / 1e3:.1f}" if ns < 1e5 else f"{ns / 1e3:.0f}"


def allocs(run):
    values = [a for _, _, a in run if a is not None]
    return f"{statistics.median(values):.0f}" if values else "-"


OPERATIONS = ["RequestDecode", "RequestEncode", "ResponseDecode", "TokenCopy", "TokenSign",
              "TokenDecodeVerify", "StampSign", "StampDecodeVerify"]
KEYS = ["-", "rsa2048", "rsa3072", "p256"]


def order(row):
    op, key = row[0], row[1]
    return (OPERATIONS.index(op) if op in OPERATIONS else len(OPERATIONS), op,
            KEYS.index(key) if key in KEYS else len(KEYS), key)


def floor_for(op):
    for suffix, floor in FLOORS.items():
        if op.endswith(suffix):
            return floor
    return None


def main(path):
    context, runs = load(path)
    rows = []
    seen = set()
    for name in runs:
        m = NAME.match(name)
        if not m or m["side"] != "zttsp":
            continue
        op, key = m["op"], m["key"] or ""
        suffix = f"/{key}" if key else ""
        ours = runs[name]
        theirs = runs.get(f"BM_{op}_openssl{suffix}")
        through_c = runs.get(f"BM_{op}_c{suffix}")
        seen.update({name, f"BM_{op}_openssl{suffix}", f"BM_{op}_c{suffix}"})
        floor = floor_for(op)
        raw = runs.get(f"{floor}{suffix}") if floor else None
        loading = runs.get(f"BM_RawVerifyLoadingKey{suffix}") if floor == "BM_RawVerify" else None
        row = [op, key or "-", micros(median(ours)),
               micros(median(theirs)) if theirs else "-"]
        row.append(f"{median(ours) / median(theirs):.2f}" if theirs else "-")
        row.append(f"{median(ours) / median(raw):.2f}" if raw else "-")
        row.append(f"{median(ours) / median(loading):.2f}" if loading else "-")
        if theirs:
            low, high = ratio_range(ours, theirs)
            row.append(f"{low:.2f}..{high:.2f}")
        else:
            row.append("-")
        row.append(f"{spread(ours):.0f}%" + (f"/{spread(theirs):.0f}%" if theirs else ""))
        row.append(allocs(ours) + (f"/{allocs(theirs)}" if theirs else ""))
        if through_c:
            low, high = ratio_range(through_c, ours)
            row.append(f"{median(through_c) / median(ours):.3f} ({low:.3f}..{high:.3f})")
        else:
            row.append("-")
        rows.append(row)
    rows.sort(key=order)
    header = ["operation", "key", "ours us", "OpenSSL us", "ours/OpenSSL", "ours/raw",
              "ours/raw+key load", "ratio range", "spread ours/OpenSSL", "allocs ours/OpenSSL",
              "C API/C++ (range)"]
    print_table(header, rows)

    print()
    others = [[name, micros(median(run)), f"{spread(run):.0f}%", allocs(run),
               f"{median(run) / median(runs[PLATFORM_FLOORS[name]]):.2f}"
               if name in PLATFORM_FLOORS and PLATFORM_FLOORS[name] in runs else "-"]
              for name, run in sorted(runs.items()) if name not in seen]
    print_table(["benchmark", "us", "spread", "allocs", "/raw rsa2048"], others)
    reps = max((len(run) for run in runs.values()), default=0)
    print(f"\nCPU time, medians of {reps} repetitions; {context.get('num_cpus')} x "
          f"{context.get('mhz_per_cpu')} MHz, load {context.get('load_avg')}, {context.get('date')}")
    print("ours/raw: against the bare signature or verification with a loaded key; ours/raw+key load: "
          "against loading the key from its octets, then verifying.")
    print("ratio range: min..max of ours/OpenSSL over the repetitions (interleaved rounds); "
          "spread: (max-min)/median of each side.")
    print("C API/C++: the operation through the C interface against the C++ call, medians "
          "(min..max over the rounds).")


def print_table(header, rows):
    widths = [max(len(str(c)) for c in column) for column in zip(header, *rows)]
    line = lambda cells: "| " + " | ".join(str(c).ljust(w) for c, w in zip(cells, widths)) + " |"
    print(line(header))
    print("|" + "|".join("-" * (w + 2) for w in widths) + "|")
    for row in rows:
        print(line(row))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "bench.json")
