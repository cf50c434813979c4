#!/usr/bin/env python3
"""Re-checks every maximin record in this directory from its file alone.

A record (one JSON file each) holds the design's integer levels, its size, the metric
("euclidean": squared distances; "cityblock"), the smallest distance it claims with the
pairs at it, the value of the public database of maximin Latin hypercubes for the size,
and the seed and command that found it. A record stands when every column is a
permutation of 1..n, the smallest distance and its pairs are as claimed, and the claim
beats the database. Prints one line per record and exits 1 if any fails.

Usage: bench/records/check.py [RECORD.json ...]   (default: every *.json beside this script)
"""
import json
import pathlib
import sys


def smallest(levels, metric):
    """The smallest distance between two points and how many pairs sit at it."""
    best, pairs = None, 0
    for i, a in enumerate(levels):
        for b in levels[i + 1:]:
            d = sum((x - y) ** 2 if metric == "euclidean" else abs(x - y) for x, y in zip(a, b))
            if best is None or d < best:
                best, pairs = d, 0
            pairs += d == best
    return best, pairs


def problems(record):
    """What is wrong with a record, empty when it stands."""
    n, m, levels = record["n"], record["m"], record["levels"]
    if len(levels) != n or any(len(row) != m for row in levels):
        return [f"levels are not {n} rows of {m}"]
    found = [f"column {c + 1} is not a permutation of 1..{n}"
             for c in range(m) if sorted(row[c] for row in levels) != list(range(1, n + 1))]
    if found:
        return found
    if record["metric"] not in ("euclidean", "cityblock"):
        return [f"unknown metric {record['metric']!r}"]
    value, pairs = smallest(levels, record["metric"])
    if value != record["smallest"]:
        found.append(f"smallest distance is {value}, not {record['smallest']}")
    if pairs != record["pairs"]:
        found.append(f"{pairs} pairs at it, not {record['pairs']}")
    if not value > record["database"]:
        found.append(f"{value} does not beat the database's {record['database']}")
    return found


def main(paths):
    paths = paths or sorted(pathlib.Path(__file__).resolve().parent.glob("*.json"))
    failed = 0
    for path in paths:
        try:
            record = json.loads(pathlib.Path(path).read_text())
            found = problems(record)
        except (OSError, ValueError, KeyError, TypeError) as e:
            found = [f"unreadable: {e}"]
        failed += bool(found)
        print(f"{path}: " + ("; ".join(found) if found else "stands"))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
