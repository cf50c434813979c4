import os
import signal
import subprocess
import sys
import time

import pytest

# A search far longer than any test run: only an interruption ends it.
CHILD = r"""
import sys
import olhs
def progress(report):
    if report.iteration == 1 and report.restart == 0:
        print("running", flush=True)
try:
    olhs.optimal_lhs(300, 10, seed=1, iterations=10**12, progress={progress})
except KeyboardInterrupt:
    print("interrupted", flush=True)
    sys.exit(3)
print("finished", flush=True)
"""

SAFETY_SECONDS = 120  # a hang fails the test instead of blocking CTest


def start(with_progress):
    env = dict(os.environ, OPENBLAS_NUM_THREADS="1", OMP_NUM_THREADS="1", PYTHONUNBUFFERED="1")
    code = CHILD.format(progress="progress" if with_progress else "None")
    return subprocess.Popen([sys.executable, "-c", code], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            text=True, env=env)


def wait_for_search_threads(child):
    # The search runs on threads of its own; the interpreter alone has one.
    deadline = time.monotonic() + SAFETY_SECONDS
    while len(os.listdir(f"/proc/{child.pid}/task")) < 2:
        assert child.poll() is None, child.stderr.read()
        assert time.monotonic() < deadline, "the search never started"
        time.sleep(0.01)


@pytest.mark.parametrize("with_progress", [False, True])
def test_ctrl_c_cancels_a_running_search(with_progress):
    child = start(with_progress)
    try:
        if with_progress:
            assert child.stdout.readline() == "running\n"
        else:
            wait_for_search_threads(child)
        child.send_signal(signal.SIGINT)
        out, err = child.communicate(timeout=SAFETY_SECONDS)
    finally:
        child.kill()
    assert out.endswith("interrupted\n"), (out, err)
    assert child.returncode == 3, err


def test_a_second_search_runs_after_an_interrupted_one():
    code = r"""
import _thread, threading
import olhs
def progress(report):
    if report.iteration == 2:
        _thread.interrupt_main()
try:
    olhs.optimal_lhs(200, 8, seed=1, iterations=10**12, progress=progress)
except KeyboardInterrupt:
    print("interrupted")
x = olhs.optimal_lhs(20, 3, seed=5, iterations=30)
print(x.tobytes() == olhs.optimal_lhs(20, 3, seed=5, iterations=30).tobytes())
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=SAFETY_SECONDS)
    assert done.stdout == "interrupted\nTrue\n", done.stderr
