import json
import os
import subprocess
import sys

import numpy as np
import pytest


FLAGS = {"seed": "--seed", "restarts": "--restarts", "iterations": "--iterations", "metric": "--metric", "p": "-p",
         "placement": "--placement", "criterion": "--criterion"}


def flags(**settings):
    """The command's options for keyword arguments of optimal_lhs, improve or augment."""
    return [v for key, value in settings.items() for v in (FLAGS[key], value)]


def command(*arguments):
    """The olhs command's standard output for these arguments."""
    binary = os.environ.get("OLHS_COMMAND")
    if not binary:
        pytest.skip("OLHS_COMMAND is not set (the command is not built)")
    done = subprocess.run([binary, *map(str, arguments)], capture_output=True, text=True, timeout=300)
    assert done.returncode == 0, done.stderr
    return done.stdout


def command_design(*arguments):
    """The design the command prints as JSON, as the same doubles."""
    return np.array(json.loads(command(*arguments, "--format", "json", "-q"))["design"], dtype=np.float64)


def write_csv(path, x):
    # repr gives the shortest text that reads back to the same double.
    path.write_text("".join(",".join(repr(float(v)) for v in row) + "\n" for row in x))
    return path


def in_child(code, hidden=None):
    """Standard output of a fresh interpreter running code, as if the package `hidden` were not
    installed (for interruptions and optional packages)."""
    if hidden:
        code = (f"import sys\nclass Hide:\n    def find_spec(self, name, path=None, target=None):\n"
                f"        if name.split('.')[0] == {hidden!r}:\n            raise ModuleNotFoundError(name, name=name)\n"
                f"sys.meta_path.insert(0, Hide())\n" + code)
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=120)
    return done.stdout + done.stderr[-2000:] * (done.returncode != 0)


def levels_of(x):
    """The integer levels 1..n of a design placed at the middles of [0, 1]'s cells."""
    return np.floor(x * x.shape[0]).astype(int) + 1


def assert_latin(levels):
    n = levels.shape[0]
    for j in range(levels.shape[1]):
        assert sorted(levels[:, j]) == list(range(1, n + 1)), f"column {j} is not a permutation of 1..{n}"
