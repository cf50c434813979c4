import numpy as np
import pytest

import olhs
from conftest import assert_latin, levels_of, run_command


@pytest.mark.parametrize("n, d", [(2, 1), (2, 3), (7, 1), (10, 2), (31, 5), (60, 12)])
@pytest.mark.parametrize("placement", ["centered", "grid", "jittered"])
def test_shape_type_and_latin_columns(n, d, placement):
    x = olhs.optimal_lhs(n, d, seed=n * d, iterations=20, placement=placement)
    assert x.shape == (n, d)
    assert x.dtype == np.float64
    assert x.flags["C_CONTIGUOUS"]
    assert_latin(levels_of(x, placement))
    if placement == "centered":
        np.testing.assert_array_equal(x, (levels_of(x) - 0.5) / n)
    elif placement == "grid":
        np.testing.assert_array_equal(x, (levels_of(x, "grid") - 1) / (n - 1))
    else:
        assert np.all((x >= 0) & (x < 1))
        assert len(np.unique(x)) == n * d


@pytest.mark.parametrize("arguments", [
    dict(n=12, d=3, seed=7),
    dict(n=40, d=6, seed=123456789012345, restarts=3, iterations=30),
    dict(n=25, d=4, seed=2**64 - 1, metric="euclidean", p=15.5, iterations=40),
    dict(n=30, d=2, seed=5, placement="grid", restarts=1, iterations=25),
    dict(n=30, d=3, seed=9, placement="jittered", iterations=25),
    dict(n=2, d=2, seed=4),
    dict(n=14, d=3, seed=6, criterion="maximin", metric="euclidean", iterations=2),
    dict(n=10, d=3, seed=6, metric="euclidean"),
    dict(n=20, d=4, seed=3, criterion="maxpro", iterations=30),
    dict(n=20, d=4, seed=3, criterion="discrepancy"),
])
def test_same_bits_as_the_command(arguments):
    a = dict(arguments)
    n, d = a.pop("n"), a.pop("d")
    options = ["-n", n, "-m", d, "--seed", a["seed"]]
    for key, flag in [("restarts", "--restarts"), ("iterations", "--iterations"), ("metric", "--metric"),
                      ("p", "-p"), ("placement", "--placement"), ("criterion", "--criterion")]:
        if key in a:
            options += [flag, a[key]]
    expected = run_command(*options)
    x = olhs.optimal_lhs(n, d, **a)
    assert x.tobytes() == expected.tobytes()
    # On any number of threads.
    assert olhs.optimal_lhs(n, d, threads=1, **a).tobytes() == expected.tobytes()


def test_bounds_scale_as_the_command():
    bounds = [(-1.0, 1.0), (0.1, 0.7), (1e-3, 2e5)]
    expected = run_command("-n", 17, "-m", 3, "--seed", 11, "--bounds=-1:1,0.1:0.7,1e-3:2e5")
    x = olhs.optimal_lhs(17, 3, seed=11, bounds=np.array(bounds))
    assert x.tobytes() == expected.tobytes()
    unit = olhs.optimal_lhs(17, 3, seed=11)
    for j, (low, high) in enumerate(bounds):
        assert np.all((x[:, j] >= low) & (x[:, j] <= high))
        np.testing.assert_array_equal(np.argsort(x[:, j]), np.argsort(unit[:, j]))
    # Any array-like of (lower, upper) rows, integers included.
    y = olhs.optimal_lhs(17, 3, seed=11, bounds=[[-1, 1], (0.1, 0.7), [1e-3, 2e5]])
    assert x.tobytes() == y.tobytes()
    assert y.flags["C_CONTIGUOUS"] and y.dtype == np.float64


def test_seed_decides_the_design():
    a = olhs.optimal_lhs(20, 4, iterations=30)
    assert a.tobytes() == olhs.optimal_lhs(20, 4, seed=olhs.DEFAULT_SEED, iterations=30).tobytes()
    assert olhs.DEFAULT_SEED == 1
    assert a.tobytes() == olhs.optimal_lhs(20, 4, seed=np.uint64(1), iterations=30).tobytes()
    assert a.tobytes() != olhs.optimal_lhs(20, 4, seed=2, iterations=30).tobytes()


def test_search_improves_on_few_iterations():
    # Guards against a binding that ignores its settings: more search, lower criterion.
    def criterion(x):
        levels = levels_of(x)
        distances = [np.abs(levels[i] - levels[j]).sum() for i in range(len(x)) for j in range(i)]
        return np.sum(np.array(distances, dtype=float) ** -50.0) ** (1 / 50)
    short = olhs.optimal_lhs(30, 4, seed=3, restarts=1, iterations=1)
    long = olhs.optimal_lhs(30, 4, seed=3, restarts=4, iterations=200)
    assert criterion(long) < criterion(short)


def test_progress_reports_every_outer_iteration():
    calls = []
    x = olhs.optimal_lhs(15, 3, seed=2, restarts=3, iterations=7, threads=2, progress=calls.append)
    assert len(calls) == 3 * 7
    assert all(isinstance(c, olhs.Progress) for c in calls)
    for restart in range(3):
        assert [c.iteration for c in calls if c.restart == restart] == list(range(1, 8))
    best = [c.best_phi_p for c in calls]
    assert all(b2 <= b1 for b1, b2 in zip(best, best[1:]))
    elapsed = [c.elapsed_seconds for c in calls]
    assert all(e2 >= e1 for e1, e2 in zip(elapsed, elapsed[1:]))
    assert "best_phi_p=" in repr(calls[0])
    # Watching changes nothing.
    assert x.tobytes() == olhs.optimal_lhs(15, 3, seed=2, restarts=3, iterations=7).tobytes()


@pytest.mark.parametrize("stop_value", [False, 0, ""])
def test_progress_returning_false_stops_with_a_design(stop_value):
    calls = []

    def stop_at_third(report):
        calls.append(report)
        return stop_value if len(calls) == 3 else None

    x = olhs.optimal_lhs(20, 3, seed=1, restarts=2, iterations=10**6, progress=stop_at_third)
    assert len(calls) == 3
    assert x.shape == (20, 3)
    assert_latin(levels_of(x))


def test_exception_in_progress_stops_and_is_raised():
    calls = []

    def fail_at_second(report):
        calls.append(report)
        if len(calls) == 2:
            raise LookupError("stop here")
        return True

    with pytest.raises(LookupError, match="stop here"):
        olhs.optimal_lhs(20, 3, seed=1, iterations=10**6, progress=fail_at_second)
    assert len(calls) == 2

    class Unjudgeable:
        def __bool__(self):
            raise ArithmeticError("no truth")

    with pytest.raises(ArithmeticError, match="no truth"):
        olhs.optimal_lhs(20, 3, seed=1, iterations=10**6, progress=lambda report: Unjudgeable())


def test_time_budget_ends_an_unbounded_search():
    x = olhs.optimal_lhs(50, 5, seed=1, time_budget=0.2)
    assert x.shape == (50, 5)
    assert_latin(levels_of(x))


@pytest.mark.parametrize("n, d", [(10**9, 2), (10**8, 100)])
def test_designs_that_cannot_fit_are_refused_as_memory_errors(n, d):
    with pytest.raises(MemoryError, match=r"needs at least [0-9.]+ GiB of memory"):
        olhs.optimal_lhs(n, d)
