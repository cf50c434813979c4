#!/usr/bin/env python3
"""The MaxPro and discrepancy criteria against what users compare them with, whole commands.

For seeds 1 and 2 at 12 x 4, 50 x 5, 100 x 10 and 500 x 20:
  discrepancy  `olhs --criterion discrepancy` against scipy's
               LatinHypercube(optimization="random-cd"): scipy.stats.qmc.discrepancy (the
               centred L2, squared, as scipy gives it) below scipy's, in at most a tenth of
               scipy's time;
  maxpro       `olhs --criterion maxpro` against our default (phi_p) design: MaxPro at least
               10 % lower, in at most twice its time.
Times are the fastest of three runs (these machines are noisy); scipy's include its import
only once, as a user's script would pay it.

Usage: bench/criteria.py [path/to/olhs]
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import time

import numpy as np
from scipy.stats import qmc

SIZES = [(12, 4), (50, 5), (100, 10), (500, 20)]
# scipy's random-cd times the criteria issue measured (scipy 1.10): our limit is a tenth of
# the smaller of these and scipy's time here.
SCIPY_SECONDS = {(12, 4): 0.15, (50, 5): 0.21, (100, 10): 0.68, (500, 20): 1.44}
SEEDS = [1, 2]


def command(olhs, n, m, seed, extra, repeats=3):
    """The fastest of `repeats` runs, its design in [0, 1] and its JSON result."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "x.csv"
        best = float("inf")
        for _ in range(repeats):
            start = time.perf_counter()
            report = subprocess.run([olhs, "-n", str(n), "-m", str(m), "--seed", str(seed), "-q", "-o", str(out),
                                     "--format", "csv"] + extra, check=True, capture_output=True, text=True)
            best = min(best, time.perf_counter() - start)
        design = np.loadtxt(out, delimiter=",", skiprows=1, ndmin=2)
        scored = subprocess.run([olhs, "score", str(out), "--format", "json"], check=True, capture_output=True,
                                text=True)
    del report
    return best, design, json.loads(scored.stdout)


def scipy_random_cd(n, m, seed, repeats=3):
    best = float("inf")
    for _ in range(repeats):
        start = time.perf_counter()
        design = qmc.LatinHypercube(m, optimization="random-cd", seed=seed).random(n)
        best = min(best, time.perf_counter() - start)
    return best, design


def main():
    olhs = sys.argv[1] if len(sys.argv) > 1 else "build/release/apps/olhs/olhs"
    missed = 0
    print("| n x m | seed | scipy random-cd: CD^2 / s | ours discrepancy: CD^2 / s | target |")
    print("|---|---|---|---|---|")
    for n, m in SIZES:
        for seed in SEEDS:
            their_time, theirs = scipy_random_cd(n, m, seed)
            our_time, ours, _ = command(olhs, n, m, seed, ["--criterion", "discrepancy"])
            their_cd, our_cd = qmc.discrepancy(theirs), qmc.discrepancy(ours)
            met = our_cd < their_cd and our_time <= 0.1 * min(their_time, SCIPY_SECONDS[(n, m)])
            missed += not met
            print(f"| {n} x {m} | {seed} | {their_cd:.6g} / {their_time:.3f} | {our_cd:.6g} / {our_time:.3f} | "
                  f"{'met' if met else 'MISSED'} |")
    print()
    print("| n x m | seed | phi_p design: MaxPro / s | maxpro design: MaxPro / s | target |")
    print("|---|---|---|---|---|")
    for n, m in SIZES:
        for seed in SEEDS:
            phip_time, _, phip_score = command(olhs, n, m, seed, [])
            maxpro_time, _, maxpro_score = command(olhs, n, m, seed, ["--criterion", "maxpro"])
            met = maxpro_score["maxpro"] <= 0.9 * phip_score["maxpro"] and maxpro_time <= 2 * phip_time
            missed += not met
            print(f"| {n} x {m} | {seed} | {phip_score['maxpro']:.5g} / {phip_time:.3f} | "
                  f"{maxpro_score['maxpro']:.5g} / {maxpro_time:.3f} | {'met' if met else 'MISSED'} |")
    print(f"\n{missed} rows missed")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
