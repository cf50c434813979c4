#!/usr/bin/env python3
"""The optimiser's default run against the best other tools, size by size.

Runs the olhs command with its defaults for seeds 1 and 2, times the whole command (the
minimum of three runs), scores the printed levels by phi_p (p = 50, city-block distance)
and prints a table with the targets. Usage: bench/targets.py [path/to/olhs] [extra options]
"""
import subprocess
import sys
import time

# n, m, best other tool, its phi_p, its time (s), our time limit (s)
TARGETS = [
    (12, 4, "OpenTURNS SA", 0.08351, 0.38, 0.04),
    (25, 4, "OpenTURNS SA", 0.05558, 1.26, 0.13),
    (50, 5, "OpenTURNS SA", 0.02492, 3.03, 0.30),
    (100, 10, "OpenTURNS SA", 0.005424, 14.6, 1.5),
    (200, 10, "SMT ESE", 0.003153, 1.07, 0.11),
    (500, 20, "SMT ESE", 0.0005499, 3.09, 0.31),
]


def scores(levels, p=50.0):
    """phi_p and the smallest city-block and Euclidean distances of integer levels."""
    total, city, euclid = 0.0, float("inf"), float("inf")
    for i, a in enumerate(levels):
        for b in levels[i + 1:]:
            d1 = sum(abs(x - y) for x, y in zip(a, b))
            d2 = sum((x - y) ** 2 for x, y in zip(a, b))
            total += d1 ** -p
            city, euclid = min(city, d1), min(euclid, d2)
    return total ** (1.0 / p), city, euclid ** 0.5


def run(olhs, n, m, seed, extra):
    command = [olhs, "-n", str(n), "-m", str(m), "--seed", str(seed), "--levels", "-q"] + extra
    best, out = float("inf"), ""
    for _ in range(3):
        start = time.perf_counter()
        out = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        best = min(best, time.perf_counter() - start)
    rows = [line.split(",") for line in out.strip().splitlines()]
    if not rows[0][0].strip().lstrip("-").isdigit():
        rows = rows[1:]  # header
    return best, [[int(v) for v in row] for row in rows]


def main():
    olhs = sys.argv[1] if len(sys.argv) > 1 else "build/release/apps/olhs/olhs"
    extra = sys.argv[2:]
    print("| n x m | best other tool | its phi_p | its time | seed | our phi_p | min city-block | min Euclidean "
          "| our time | target met |")
    print("|---|---|---|---|---|---|---|---|---|---|")
    all_met = True
    for n, m, tool, phip, seconds, limit in TARGETS:
        for seed in (1, 2):
            wall, levels = run(olhs, n, m, seed, extra)
            ours, city, euclid = scores(levels)
            met = ours <= phip and wall <= limit
            all_met &= met
            print(f"| {n} x {m} | {tool} | {phip} | {seconds} s | {seed} | {ours:.4g} | {city} | {euclid:.4g} "
                  f"| {wall:.3f} s | {'yes' if met else 'NO'} |")
    return 0 if all_met else 1


if __name__ == "__main__":
    sys.exit(main())
