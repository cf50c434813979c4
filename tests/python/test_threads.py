import threading
from concurrent.futures import ThreadPoolExecutor

import numpy as np

import olhs


def test_calls_in_threads_at_once_give_each_its_own_design():
    # Each call waits at its first progress report (or before it starts) until all run.
    x0 = np.random.default_rng(8).uniform(size=(33, 4))
    calls = [lambda wait: olhs.optimal_lhs(40, 5, seed=11, iterations=60, progress=wait),
             lambda wait: olhs.optimal_lhs(33, 4, seed=12, restarts=3, iterations=2, metric="euclidean", progress=wait),
             lambda wait: olhs.improve(x0, seed=2, iterations=60, progress=wait),
             lambda wait: olhs.augment(x0, 10, seed=3, iterations=60, progress=wait, bounds=[(0, 1)] * 4),
             lambda wait: wait() or olhs.classic_lhs(25, 4, seed=5, verbose=True),
             lambda wait: wait() or olhs.classic_lhs(25, 4, seed=6)]
    calls += [lambda wait, s=s: wait() or olhs.optimal_lhs(30, 3, seed=s, iterations=40, threads=1) for s in range(4)]
    alone = [call(lambda report=None: None).tobytes() for call in calls]
    barrier = threading.Barrier(len(calls), timeout=120)

    def run(call):
        waited = []
        return call(lambda report=None: waited or waited.append(barrier.wait())).tobytes()

    with ThreadPoolExecutor(len(calls)) as pool:
        assert list(pool.map(run, calls)) == alone
