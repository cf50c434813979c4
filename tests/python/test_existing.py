import json
import os
import subprocess
import sys
import threading

import numpy as np
import pytest

import olhs


def command(*arguments):
    """The olhs command's standard output for these arguments."""
    binary = os.environ.get("OLHS_COMMAND")
    if not binary:
        pytest.skip("OLHS_COMMAND is not set (the command is not built)")
    done = subprocess.run([binary, *map(str, arguments)], capture_output=True, text=True, timeout=300)
    assert done.returncode == 0, done.stderr
    return done.stdout


def write_csv(path, x):
    # repr gives the shortest text that reads back to the same double.
    path.write_text("".join(",".join(repr(float(v)) for v in row) + "\n" for row in x))
    return path


def command_design(*arguments):
    """The design a subcommand prints as JSON, as doubles."""
    return np.array(json.loads(command(*arguments, "--format", "json", "-q"))["design"], dtype=np.float64)


def strata_of(x, count, box=None):
    """Stratum 1..count of every value, each column's box cut into count equal parts."""
    low, high = (0.0, 1.0) if box is None else (np.asarray(box)[:, 0], np.asarray(box)[:, 1])
    return np.minimum(count - 1, np.floor((x - low) / (high - low) * count).astype(int)) + 1


def given_in_strata(rng, n, total, d):
    """n points in [0, 1]^d, each column holding n different strata of total, off their edges."""
    columns = [(rng.choice(total, size=n, replace=False) + rng.uniform(0.1, 0.9, size=n)) / total for _ in range(d)]
    return np.column_stack(columns)


# --- score -------------------------------------------------------------------------------

def test_score_is_the_commands_score_to_the_bit(tmp_path):
    rng = np.random.default_rng(3)
    for n, d, p in [(9, 3, 50), (40, 5, 7.5), (6, 1, 2)]:
        x = rng.normal(size=(n, d)) * 100
        doc = json.loads(command("score", write_csv(tmp_path / "x.csv", x), "--format", "json", "-p", p))
        s = olhs.score(x, p=p)
        assert s == {key: doc[key] for key in s}, (n, d, p)
        assert list(s) == list(doc)[4:]
        assert s == olhs.metrics(x, p)


# --- improve -----------------------------------------------------------------------------

def test_improve_is_the_commands_improve_to_the_bit(tmp_path):
    rng = np.random.default_rng(5)
    for n, d, settings in [(30, 4, dict(seed=4, iterations=30)),
                           (17, 3, dict(seed=2**64 - 1, iterations=20, restarts=3, metric="euclidean", p=10)),
                           (50, 2, dict(seed=0, iterations=15, restarts=1)),
                           (12, 3, dict(seed=6))]:  # iterations chosen from n, as the command does
        x0 = rng.uniform(-5, 5, size=(n, d))
        path = write_csv(tmp_path / "start.csv", x0)
        flags = ["--seed", settings["seed"], "--restarts", settings.get("restarts", 2),
                 "--metric", settings.get("metric", "cityblock"), "-p", settings.get("p", 50)]
        if "iterations" in settings:
            flags += ["--iterations", settings["iterations"]]
        expected = command_design("improve", path, *flags)
        for threads in (1, 2, 0):
            x = olhs.improve(x0, threads=threads, **settings)
            assert x.dtype == np.float64 and x.flags.c_contiguous and x.shape == (n, d)
            assert x.tobytes() == expected.tobytes(), (n, d, settings, threads)


def test_improve_keeps_each_columns_values_and_is_never_worse():
    rng = np.random.default_rng(11)
    starts = [rng.uniform(size=(25, 4)),
              # already good: few iterations rarely find better, and must not return worse
              olhs.optimal_lhs(25, 4, seed=3, iterations=400),
              rng.permuted(np.tile(np.arange(12.0), (3, 1)), axis=1).T]
    for x0 in starts:
        for seed in range(4):
            for metric, p in [("cityblock", 50), ("euclidean", 3)]:
                x, info = olhs.improve(x0, seed=seed, iterations=3, restarts=1, metric=metric, p=p, return_info=True)
                assert info["phi_p"] <= info["start_phi_p"]
                assert info["start_phi_p"] == olhs.phi_p(x0, p, metric)
                assert info["phi_p"] == olhs.phi_p(x, p, metric)
                assert (np.sort(x, axis=0) == np.sort(x0, axis=0)).all()
                assert (x[:, 0] == x0[:, 0]).all()  # the points keep their order and column 0
                ranks = np.argsort(np.argsort(x, axis=0), axis=0) + 1
                assert (info["levels"] == ranks).all()
    # A bad start does get better, and the same seed gives the same bits again.
    x0 = np.column_stack([np.arange(20.0)] * 3)
    x = olhs.improve(x0, seed=9, iterations=20)
    assert olhs.phi_p(x) < olhs.phi_p(x0)
    assert olhs.improve(x0, seed=9, iterations=20).tobytes() == x.tobytes()
    assert olhs.improve(x0, seed=10, iterations=20).tobytes() != x.tobytes()


def test_improve_progress_stops_and_raises():
    x0 = np.random.default_rng(2).uniform(size=(40, 3))
    seen = []

    def stop_after_two(report):
        seen.append(report.iteration)
        return len(seen) < 2

    x, info = olhs.improve(x0, iterations=1000, restarts=1, progress=stop_after_two, return_info=True)
    assert info["stop_reason"] == "cancelled" and len(seen) == 2
    assert info["phi_p"] <= info["start_phi_p"]

    def fail(report):
        raise RuntimeError("from progress")

    with pytest.raises(RuntimeError, match="from progress"):
        olhs.improve(x0, iterations=1000, progress=fail)


def test_two_improves_in_two_threads_at_once_equal_each_alone():
    rng = np.random.default_rng(8)
    jobs = [(rng.uniform(size=(40, 5)), dict(seed=1, restarts=2, iterations=60)),
            (rng.normal(size=(33, 4)), dict(seed=2, restarts=3, iterations=80, metric="euclidean"))]
    alone = [olhs.improve(x0, **s).tobytes() for x0, s in jobs]
    both_running = threading.Barrier(2, timeout=120)
    results, failures = [None, None], []

    def work(k):
        first = [True]

        def progress(report):
            if first[0]:  # wait at the first report until the other search runs too
                first[0] = False
                both_running.wait()

        try:
            results[k] = olhs.improve(jobs[k][0], progress=progress, **jobs[k][1]).tobytes()
        except BaseException as e:  # reported by the main thread
            failures.append(e)

    threads = [threading.Thread(target=work, args=(k,)) for k in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert not failures
    assert results == alone


# --- augment -----------------------------------------------------------------------------

def test_augment_is_the_commands_augment_to_the_bit(tmp_path):
    rng = np.random.default_rng(6)
    box = np.array([[10.0, 20.0], [-1.0, 1.0], [0.0, 1e-3]])
    for n, k, settings, bounds in [
            (8, 12, dict(seed=3, iterations=25), None),
            (15, 5, dict(seed=7, iterations=10, restarts=3, metric="euclidean", p=20, placement="jittered"), box),
            (4, 1, dict(seed=1, iterations=5), box[:2]),
            (6, 4, dict(seed=5), None)]:  # iterations chosen from n + k, as the command does
        d = 3 if bounds is None else len(bounds)
        unit = rng.uniform(size=(n, d))
        x0 = unit if bounds is None else (1 - unit) * bounds[:, 0] + unit * bounds[:, 1]
        flags = ["-k", k, "--seed", settings["seed"], "--restarts", settings.get("restarts", 2),
                 "--metric", settings.get("metric", "cityblock"), "-p", settings.get("p", 50),
                 "--placement", settings.get("placement", "centered")]
        if "iterations" in settings:
            flags += ["--iterations", settings["iterations"]]
        if bounds is not None:
            flags += ["--bounds", ",".join(f"{lo!r}:{hi!r}" for lo, hi in bounds)]
        expected = command_design("augment", write_csv(tmp_path / "runs.csv", x0), *flags)
        for threads in (1, 2):
            x = olhs.augment(x0, k, bounds=bounds, threads=threads, **settings)
            assert x.dtype == np.float64 and x.flags.c_contiguous and x.shape == (n + k, d)
            assert x.tobytes() == expected.tobytes(), (n, k, settings, threads)


def test_augment_keeps_the_originals_and_fills_every_stratum_once():
    rng = np.random.default_rng(12)
    box = [(-3.0, 7.0), (0.25, 0.5)]
    for n, k, d in [(1, 9, 2), (5, 5, 3), (12, 3, 4), (7, 30, 2)]:
        x0 = given_in_strata(rng, n, n + k, d)
        bounds = None
        if d == 2:
            bounds = box
            x0 = (1 - x0) * np.array(box)[:, 0] + x0 * np.array(box)[:, 1]
        for placement in ("centered", "jittered"):
            x, info = olhs.augment(x0, k, bounds=bounds, seed=n, iterations=10, placement=placement,
                                   return_info=True)
            assert x[:n].tobytes() == np.ascontiguousarray(x0, dtype=np.float64).tobytes()
            strata = strata_of(x, n + k, bounds)
            for j in range(d):
                assert sorted(strata[:, j]) == list(range(1, n + k + 1)), (n, k, j, placement)
            assert (info["strata"] == strata).all()
            assert info["doubled"] == 0 and info["doubled_strata"] == [0] * d
            assert info["phi_p"] == olhs.phi_p(strata)
            if placement == "centered":  # new values in the middle of their strata
                low = 0.0 if bounds is None else np.array(bounds)[:, 0]
                width = 1.0 if bounds is None else np.array(bounds)[:, 1] - low
                unit = (strata[n:] - 0.5) / (n + k)
                assert np.allclose(x[n:], (1 - unit) * low + unit * (low + width), rtol=0, atol=1e-12)


def test_augment_counts_the_doubled_strata_it_is_forced_into():
    # In [10, 20] x [-1, 1] cut into 4: x1 holds 10.5 and 11 in stratum 1, so one new
    # point cannot fill both empty strata 2 and 3.
    x, info = olhs.augment([[10.5, -0.9], [11, 0.2], [19, 0.9]], 1, bounds=[(10, 20), (-1, 1)], return_info=True)
    assert (info["doubled"], info["doubled_strata"]) == (1, [1, 0])
    assert x[3].tolist() == [16.25, -0.25]
    # Ties and shared strata at random: each shared stratum leaves one empty, and the new
    # points still take different strata, all empty ones.
    rng = np.random.default_rng(4)
    for n, k, d in [(6, 4, 3), (10, 10, 2), (3, 1, 5)]:
        x0 = rng.integers(0, n + k, size=(n, d)).astype(float) / (n + k) + 0.5 / (n + k)
        x, info = olhs.augment(x0, k, seed=k, iterations=5, return_info=True)
        strata = strata_of(x, n + k)
        expected = [n - len(set(strata[:n, j])) for j in range(d)]
        assert info["doubled_strata"] == expected and info["doubled"] == sum(expected)
        assert sum(expected) > 0 or n == 3  # the cases do share strata
        for j in range(d):
            new = strata[n:, j]
            assert len(set(new)) == k and not set(new) & set(strata[:n, j])
    # Two points sharing their stratum in every variable: phi_p is infinite, nothing fails.
    x, info = olhs.augment([[0.5, 0.5], [0.51, 0.52]], 2, return_info=True)
    assert info["phi_p"] == float("inf") and info["doubled_strata"] == [1, 1]


def test_ctrl_c_stops_improve_and_augment():
    # In a child, so that the interruption reaches nothing but the searches.
    code = r"""
import _thread
import numpy as np
import olhs
def progress(report):
    if report.iteration == 2:
        _thread.interrupt_main()
x0 = np.random.default_rng(1).uniform(size=(200, 8))
for call in (lambda: olhs.improve(x0, iterations=10**12, progress=progress),
             lambda: olhs.augment(x0, 100, iterations=10**12, progress=progress)):
    try:
        call()
    except KeyboardInterrupt:
        print("interrupted")
print(olhs.improve(x0[:20], iterations=5).shape)
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=120)
    assert done.stdout == "interrupted\ninterrupted\n(20, 8)\n", done.stderr
