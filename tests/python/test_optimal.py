import numpy as np
import pytest

import olhs
from conftest import assert_latin, command_design, flags, levels_of

# The binding passes every setting on: the same bits as the command, on any number of threads.
@pytest.mark.parametrize("arguments", [
    dict(n=12, d=3, seed=7),
    dict(n=40, d=6, seed=123456789012345, restarts=3, iterations=30, placement="jittered"),
    dict(n=25, d=4, seed=2**64 - 1, metric="euclidean", p=15.5, iterations=40),
    dict(n=30, d=2, seed=5, placement="grid", restarts=1, iterations=25),
    dict(n=14, d=3, seed=6, criterion="maximin", metric="euclidean", iterations=2),
    dict(n=20, d=4, seed=3, criterion="maxpro", iterations=30),
    dict(n=20, d=4, seed=3, criterion="discrepancy"),
])
def test_same_bits_as_the_command(arguments):
    a = dict(arguments)
    n, d = a.pop("n"), a.pop("d")
    expected = command_design("-n", n, "-m", d, *flags(**a))
    x = olhs.optimal_lhs(n, d, **a)
    assert x.dtype == np.float64 and x.flags["C_CONTIGUOUS"] and x.shape == (n, d)
    assert x.tobytes() == expected.tobytes()
    assert olhs.optimal_lhs(n, d, threads=1, **a).tobytes() == expected.tobytes()


def test_bounds_scale_as_the_command():
    bounds = [[-1, 1], (0.1, 0.7), [1e-3, 2e5]]  # any array-like of (lower, upper) rows, integers too
    expected = command_design("-n", 17, "-m", 3, "--seed", 11, "--bounds=-1:1,0.1:0.7,1e-3:2e5")
    assert olhs.optimal_lhs(17, 3, seed=11, bounds=bounds).tobytes() == expected.tobytes()
    assert olhs.optimal_lhs(17, 3, seed=11, bounds=np.array(bounds, dtype=float)).tobytes() == expected.tobytes()


def test_progress_reports_every_outer_iteration_and_changes_nothing():
    calls = []
    x = olhs.optimal_lhs(15, 3, seed=2, restarts=3, iterations=7, threads=2, progress=calls.append)
    assert all(isinstance(c, olhs.Progress) for c in calls)
    for restart in range(3):
        assert [c.iteration for c in calls if c.restart == restart] == list(range(1, 8))
    best = [c.best_phi_p for c in calls]
    assert best == sorted(best, reverse=True)
    assert x.tobytes() == olhs.optimal_lhs(15, 3, seed=2, restarts=3, iterations=7).tobytes()


@pytest.mark.parametrize("stop_value", [False, 0, ""])
def test_progress_returning_false_stops_with_a_design(stop_value):
    calls = []
    stop_at_third = lambda r: calls.append(r) or (stop_value if len(calls) == 3 else None)  # noqa: E731
    x = olhs.optimal_lhs(20, 3, iterations=10**6, progress=stop_at_third)
    assert len(calls) == 3
    assert_latin(levels_of(x))


def test_exception_in_progress_stops_and_is_raised():
    calls = []
    with pytest.raises(ZeroDivisionError):
        olhs.optimal_lhs(20, 3, iterations=10**6, progress=lambda r: calls.append(r) or (1 // 0 if len(calls) == 2 else None))
    assert len(calls) == 2
    unjudgeable = type("Unjudgeable", (), {"__bool__": lambda self: 1 // 0})  # an answer whose truth cannot be told
    with pytest.raises(ZeroDivisionError):
        olhs.optimal_lhs(20, 3, iterations=10**6, progress=lambda report: unjudgeable())


def test_time_budget_ends_an_unbounded_search_and_huge_designs_are_memory_errors():
    assert_latin(levels_of(olhs.optimal_lhs(50, 5, time_budget=0.1)))
    with pytest.raises(MemoryError, match=r"needs at least [0-9.]+ GiB of memory"):
        olhs.optimal_lhs(10**9, 2)
