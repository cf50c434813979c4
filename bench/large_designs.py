#!/usr/bin/env python3
"""Large designs from the default command: smallest distance, wall time and peak memory.

Runs `olhs -n N -m 10 --seed 1 --format json -q` (and with --metric euclidean) under
/usr/bin/time, reads the smallest distances the command reports for its design, and
prints each against the large-designs targets (smallest city-block distance on levels 1..n,
or smallest squared Euclidean distance; seconds; megabytes), met or missed.

Usage: bench/large_designs.py [path/to/olhs] [--sizes 1000,2000,5000,10000,100000]
"""
import argparse
import json
import subprocess
import sys
import tempfile
import time

# n -> (smallest city-block, smallest squared Euclidean or None, seconds, megabytes or None)
TARGETS = {
    1000: (1523, None, 0.3, None),
    2000: (2783, None, 0.8, None),
    5000: (6490, None, 2.0, None),
    10000: (12000, 2.2e7, 2.0, 100),
    100000: (91000, 1.2e9, 30.0, 200),
}


def run(olhs, n, metric):
    with tempfile.NamedTemporaryFile("r") as usage:
        command = ["/usr/bin/time", "-f", "%M", "-o", usage.name, olhs, "-n", str(n), "-m", "10", "--seed", "1",
                   "--metric", metric, "--format", "json", "-q"]
        start = time.perf_counter()
        out = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        wall = time.perf_counter() - start
        megabytes = int(usage.read().split()[-1]) / 1024
    result = json.loads(out)["result"]
    return wall, megabytes, result


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("olhs", nargs="?", default="build/release/apps/olhs/olhs")
    parser.add_argument("--sizes", default=",".join(map(str, TARGETS)))
    args = parser.parse_args()
    print("| n x 10 | metric | smallest | needed | time | limit | peak MB | limit | stop | target |")
    print("|---|---|---|---|---|---|---|---|---|---|")
    missed = 0
    for n in map(int, args.sizes.split(",")):
        city, squared, seconds, megabytes = TARGETS[n]
        for metric, needed in (("cityblock", city), ("euclidean", squared)):
            if needed is None:
                continue
            wall, peak, result = run(args.olhs, n, metric)
            value = (result["min_city_block_distance"] if metric == "cityblock"
                     else round(result["min_euclidean_distance"] ** 2))
            met = value >= needed and wall <= seconds and (megabytes is None or peak <= megabytes)
            missed += not met
            print(f"| {n} | {metric} | {value:.6g} | {needed:.6g} | {wall:.2f} s | {seconds} s | {peak:.0f} "
                  f"| {megabytes or '-'} | {result['stop_reason']} | {'met' if met else 'MISSED'} |", flush=True)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
