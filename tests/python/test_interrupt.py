import os
import signal
import subprocess
import sys
import time

import pytest

from conftest import in_child

# SIGINT to a search far longer than any test run, with a progress callback or without one
# (then once the search's own threads run: the interpreter alone has one). A hang fails the
# test after two minutes instead of blocking CTest.
@pytest.mark.parametrize("with_progress", [False, True])
def test_ctrl_c_cancels_a_running_search(with_progress):
    code = f"""
import sys
import olhs
def progress(report):
    if report.iteration == 1 and report.restart == 0:
        print("running", flush=True)
try:
    olhs.optimal_lhs(300, 10, seed=1, iterations=10**12, progress={"progress" if with_progress else "None"})
except KeyboardInterrupt:
    print("interrupted", flush=True)
    sys.exit(3)
"""
    env = dict(os.environ, OPENBLAS_NUM_THREADS="1", OMP_NUM_THREADS="1", PYTHONUNBUFFERED="1")
    child = subprocess.Popen([sys.executable, "-c", code], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                             env=env)
    try:
        deadline = time.monotonic() + 120
        if with_progress:
            assert child.stdout.readline() == "running\n"
        while not with_progress and len(os.listdir(f"/proc/{child.pid}/task")) < 2:
            assert child.poll() is None and time.monotonic() < deadline, "the search never started"
            time.sleep(0.01)
        child.send_signal(signal.SIGINT)
        out, err = child.communicate(timeout=120)
    finally:
        child.kill()
    assert (out, child.returncode) == ("interrupted\n", 3), err


def test_every_search_stops_and_a_second_one_runs_after():
    code = r"""
import _thread
import numpy as np
import olhs
def progress(report):
    if report.iteration == 2:
        _thread.interrupt_main()
x0 = np.random.default_rng(1).uniform(size=(200, 8))
for call in (lambda: olhs.optimal_lhs(200, 8, seed=1, iterations=10**12, progress=progress),
             lambda: olhs.improve(x0, iterations=10**12, progress=progress),
             lambda: olhs.augment(x0, 100, iterations=10**12, progress=progress)):
    try:
        call()
    except KeyboardInterrupt:
        print("interrupted")
x = olhs.optimal_lhs(20, 3, seed=5, iterations=30)
print(x.tobytes() == olhs.optimal_lhs(20, 3, seed=5, iterations=30).tobytes())
"""
    assert in_child(code) == "interrupted\ninterrupted\ninterrupted\nTrue\n"
