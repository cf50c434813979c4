#!/usr/bin/env python3
"""Every target of the optimiser and of the maximin search, checked on the whole command.

Runs the olhs command for seeds 1 and 2 and prints one table per group with met / missed
for each row:
  phip       default settings, city-block phi_p (p = 50) against the best other tools, the
             whole command timed (minimum of three runs);
  euclidean  default settings with --metric euclidean: the smallest Euclidean distance
             against the best other tool, within its time limit;
  maximin-1  --criterion maximin --time-budget 1 against the targets;
  maximin-10 --criterion maximin --time-budget 10 against the public database of maximin
             Latin hypercubes (the only values of it this project holds are below).
With --records DIR, every design found beyond the database is written there as a record
that bench/records/check.py re-checks from the file alone.

Usage: bench/targets.py [path/to/olhs] [--groups phip,euclidean,maximin-1,maximin-10]
                        [--records bench/records]
"""
import argparse
import json
import pathlib
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent / "records"))
from check import smallest  # noqa: E402  (the records' own checker measures designs alike)

# n, m, best other tool, its phi_p, its time (s), our time limit (s)
PHIP = [
    (12, 4, "OpenTURNS SA", 0.08351, 0.38, 0.04),
    (25, 4, "OpenTURNS SA", 0.05558, 1.26, 0.13),
    (50, 5, "OpenTURNS SA", 0.02492, 3.03, 0.30),
    (100, 10, "OpenTURNS SA", 0.005424, 14.6, 1.5),
    (200, 10, "SMT ESE", 0.003153, 1.07, 0.11),
    (500, 20, "SMT ESE", 0.0005499, 3.09, 0.31),
]
# n, m, smallest Euclidean distance needed (levels 1..n), within seconds
EUCLIDEAN = [(12, 4, 7.6157, 0.03), (25, 4, 13.0384, 0.08), (50, 5, 28.0356, 0.31), (100, 10, 95.3205, 1.5),
             (200, 10, 166.6673, 5.2)]
# metric, n, m, needed with 1 s, the database's value (squared for Euclidean)
MAXIMIN = [("euclidean", 12, 4, 63, 63), ("euclidean", 25, 4, 178, 181), ("euclidean", 50, 5, 834, 834),
           ("euclidean", 100, 10, 9900, 10233), ("cityblock", 7, 4, 10, 10), ("cityblock", 12, 3, 9, 9),
           ("cityblock", 16, 3, 11, 11)]
# metric, n, m -> needed with 10 s where the maximin issue raises it above the database
MAXIMIN_10 = {("euclidean", 50, 5): 850, ("euclidean", 100, 10): 10300}


def phip(levels, p=50.0):
    total = 0.0
    for i, a in enumerate(levels):
        for b in levels[i + 1:]:
            total += sum(abs(x - y) for x, y in zip(a, b)) ** -p
    return total ** (1.0 / p)


def run(olhs, n, m, seed, extra, repeats=1):
    """The fastest of `repeats` runs of the whole command, and its levels."""
    command = [olhs, "-n", str(n), "-m", str(m), "--seed", str(seed), "--levels", "-q"] + extra
    best, out = float("inf"), ""
    for _ in range(repeats):
        start = time.perf_counter()
        out = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        best = min(best, time.perf_counter() - start)
    rows = [line.split(",") for line in out.strip().splitlines()]
    if not rows[0][0].strip().lstrip("-").isdigit():
        rows = rows[1:]  # header
    return best, [[int(v) for v in row] for row in rows], " ".join(command)


class Tally:
    def __init__(self):
        self.missed = 0

    def mark(self, met):
        self.missed += not met
        return "met" if met else "MISSED"


def phip_group(olhs, tally, _):
    print("\n| n x m | best other tool | its phi_p | its time | seed | our phi_p | our time | target |")
    print("|---|---|---|---|---|---|---|---|")
    for n, m, tool, theirs, seconds, limit in PHIP:
        for seed in (1, 2):
            wall, levels, _ = run(olhs, n, m, seed, [], repeats=3)
            ours = phip(levels)
            print(f"| {n} x {m} | {tool} | {theirs} | {seconds} s | {seed} | {ours:.4g} | {wall:.3f} s "
                  f"| {tally.mark(ours <= theirs and wall <= limit)} |")


def euclidean_group(olhs, tally, _):
    print("\n| n x m | needed | within | seed | our smallest Euclidean | our time | target |")
    print("|---|---|---|---|---|---|---|")
    for n, m, needed, limit in EUCLIDEAN:
        for seed in (1, 2):
            wall, levels, _ = run(olhs, n, m, seed, ["--metric", "euclidean"], repeats=3)
            ours = smallest(levels, "euclidean")[0] ** 0.5
            print(f"| {n} x {m} | {needed} | {limit} s | {seed} | {ours:.4f} | {wall:.3f} s "
                  f"| {tally.mark(ours >= needed and wall <= limit)} |")


def maximin_group(budget):
    def group(olhs, tally, records):
        print(f"\n| metric | n x m | database | needed ({budget} s) | seed | ours (pairs) | time | target |")
        print("|---|---|---|---|---|---|---|---|")
        for metric, n, m, needed_1, database in MAXIMIN:
            needed = needed_1 if budget == 1 else max(database, MAXIMIN_10.get((metric, n, m), 0))
            for seed in (1, 2):
                extra = ["--criterion", "maximin", "--metric", metric, "--time-budget", str(budget)]
                wall, levels, command = run(olhs, n, m, seed, extra)
                value, pairs = smallest(levels, metric)
                print(f"| {metric} | {n} x {m} | {database} | {needed} | {seed} | {value} ({pairs}) | {wall:.2f} s "
                      f"| {tally.mark(value >= needed)} |")
                if records and value > database:
                    record = {"n": n, "m": m, "metric": metric, "smallest": value, "pairs": pairs,
                              "database": database, "seed": seed, "command": command.replace(olhs, "olhs", 1),
                              "levels": levels}
                    path = pathlib.Path(records) / f"{metric}_{n}x{m}_{value}_seed{seed}.json"
                    path.write_text(json.dumps(record) + "\n")
    return group


GROUPS = {"phip": phip_group, "euclidean": euclidean_group, "maximin-1": maximin_group(1),
          "maximin-10": maximin_group(10)}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("olhs", nargs="?", default="build/release/apps/olhs/olhs")
    parser.add_argument("--groups", default=",".join(GROUPS))
    parser.add_argument("--records", help="directory for designs beyond the database")
    args = parser.parse_args()
    tally = Tally()
    for name in args.groups.split(","):
        print(f"\n## {name}")
        GROUPS[name](args.olhs, tally, args.records)
    print(f"\n{tally.missed} target rows missed")
    return 1 if tally.missed else 0


if __name__ == "__main__":
    sys.exit(main())
