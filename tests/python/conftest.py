import os
import subprocess

import numpy as np
import pytest


def run_command(*arguments):
    """The design the olhs command prints as CSV, read back to the same doubles."""
    command = os.environ.get("OLHS_COMMAND")
    if not command:
        pytest.skip("OLHS_COMMAND is not set (the command is not built)")
    done = subprocess.run([command, "-q", "--format", "csv", *map(str, arguments)],
                          capture_output=True, text=True, timeout=300)
    assert done.returncode == 0, done.stderr
    lines = done.stdout.strip().splitlines()
    return np.array([[float(v) for v in line.split(",")] for line in lines[1:]])


def levels_of(x, placement="centered"):
    """The integer levels 1..n of a design placed in [0, 1]."""
    n = x.shape[0]
    if placement == "grid":
        return np.rint(x * (n - 1)).astype(int) + 1
    return np.floor(x * n).astype(int) + 1


def assert_latin(levels):
    n = levels.shape[0]
    for j in range(levels.shape[1]):
        assert sorted(levels[:, j]) == list(range(1, n + 1)), f"column {j} is not a permutation of 1..{n}"
