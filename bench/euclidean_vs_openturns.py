#!/usr/bin/python3
"""Smallest Euclidean distance of olhs --metric euclidean against OpenTURNS' simulated
annealing (which minimises the Euclidean phi_p, p = 50, run to convergence: geometric
profile T0 = 10, c = 0.95, up to 20000 iterations), size by size, seeds 1 and 2.

Needs Debian's python3-openturns (run with /usr/bin/python3). Both designs are scored on
their ranks 1..n. Usage: bench/euclidean_vs_openturns.py [path/to/olhs]
"""
import subprocess
import sys
import time

import openturns as ot

from targets import PHIP as TARGETS, run, smallest


def ranks(sample):
    columns = []
    for j in range(sample.getDimension()):
        values = [sample[i, j] for i in range(sample.getSize())]
        order = sorted(range(len(values)), key=values.__getitem__)
        rank = [0] * len(values)
        for r, i in enumerate(order):
            rank[i] = r + 1
        columns.append(rank)
    return [list(row) for row in zip(*columns)]


def openturns_design(n, m, seed):
    ot.RandomGenerator.SetSeed(seed)
    lhs = ot.LHSExperiment(ot.ComposedDistribution([ot.Uniform(0.0, 1.0)] * m), n)
    lhs.setAlwaysShuffle(True)
    start = time.perf_counter()
    algorithm = ot.SimulatedAnnealingLHS(lhs, ot.SpaceFillingPhiP(50), ot.GeometricProfile(10.0, 0.95, 20000))
    algorithm.generate()
    seconds = time.perf_counter() - start
    return seconds, ranks(algorithm.getResult().getOptimalDesign())


def main():
    olhs = sys.argv[1] if len(sys.argv) > 1 else "build/release/apps/olhs/olhs"
    print("| n x m | seed | OpenTURNS SA min Euclidean | its time | olhs min Euclidean | olhs time (whole command) "
          "| distance at least theirs |")
    print("|---|---|---|---|---|---|---|")
    all_met = True
    for n, m, *_ in TARGETS:
        for seed in (1, 2):
            their_time, theirs = openturns_design(n, m, seed)
            our_time, ours, _ = run(olhs, n, m, seed, ["--metric", "euclidean"])
            their_min, our_min = smallest(theirs, "euclidean")[0] ** 0.5, smallest(ours, "euclidean")[0] ** 0.5
            met = our_min >= their_min
            all_met &= met
            print(f"| {n} x {m} | {seed} | {their_min:.4g} | {their_time:.2f} s | {our_min:.4g} | {our_time:.3f} s "
                  f"| {'yes' if met else 'NO'} |")
    return 0 if all_met else 1


if __name__ == "__main__":
    sys.exit(main())
