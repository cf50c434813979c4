#!/usr/bin/env python3
"""64 restarts of 200 x 10 on one machine and on a Dask cluster: the same bits, and the time.

The local call runs on every core; the cluster is a LocalCluster of two worker processes
with one thread each, started before the clock runs (a cluster outlives one call). Prints
the fastest of three alternating runs of each and their ratio; the target is at most 1.2.

Usage: PYTHONPATH=build/release/python bench/distributed_bench.py [restarts] [n] [d]
"""
import sys
import time

import distributed

import olhs
import olhs.distributed


def main():
    restarts, n, d = (int(a) for a in (sys.argv[1:] + ["64", "200", "10"][len(sys.argv) - 1:])[:3])
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as cluster, distributed.Client(cluster) as client:
        olhs.distributed.optimal_lhs(20, 3, client=client, restarts=4)  # workers warmed up
        local_best = spread_best = float("inf")
        for _ in range(3):
            start = time.perf_counter()
            local = olhs.optimal_lhs(n, d, seed=1, restarts=restarts)
            local_best = min(local_best, time.perf_counter() - start)
            start = time.perf_counter()
            spread = olhs.distributed.optimal_lhs(n, d, client=client, seed=1, restarts=restarts)
            spread_best = min(spread_best, time.perf_counter() - start)
            assert spread.tobytes() == local.tobytes(), "the cluster's design differs from the local one"
    ratio = spread_best / local_best
    print(f"{restarts} restarts of {n} x {d}: local {local_best:.3f} s, cluster {spread_best:.3f} s, "
          f"ratio {ratio:.2f} ({'met' if ratio <= 1.2 else 'MISSED'}); the same bits")
    return 0 if ratio <= 1.2 else 1


if __name__ == "__main__":
    sys.exit(main())
