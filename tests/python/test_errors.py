import math

import numpy as np
import pytest

import olhs
import olhs.qmc

GOOD = [[0.1, 0.2], [0.3, 0.1], [0.2, 0.3]]
UNIT = [[0.2, 0.5], [0.7, 0.9]]


# Python checks types and C ranges; every other refusal is the library's own, under the
# keyword argument's name, with rows and columns counted from 1.
@pytest.mark.parametrize("call, error, message", [
    (lambda: olhs.optimal_lhs(1, 3), ValueError, "n: the number of points must be at least 2 (got 1)"),
    (lambda: olhs.optimal_lhs(2**31, 3), ValueError, "n: must lie in [-2147483648, 2147483647] (got 2147483648)"),
    (lambda: olhs.optimal_lhs(10.0, 3), TypeError, "n: must be an integer (got float)"),
    (lambda: olhs.optimal_lhs(True, 3), TypeError, "n: must be an integer, not bool"),
    (lambda: olhs.optimal_lhs(10, 0), ValueError, "d: the number of variables must be at least 1 (got 0)"),
    (lambda: olhs.optimal_lhs(10, 2, seed=-1), ValueError, "seed: must lie in [0, 18446744073709551615] (got -1)"),
    (lambda: olhs.optimal_lhs(10, 2, restarts=0), ValueError, "restarts: must be at least 1 (got 0)"),
    (lambda: olhs.optimal_lhs(10, 2, threads=2000), ValueError,
     "threads: must lie in [0, 1024], 0 for all cores (got 2000)"),
    (lambda: olhs.improve(GOOD, iterations=-2), ValueError,
     "iterations: must be 0 (automatic, or until the time budget) or more (got -2)"),
    (lambda: olhs.optimal_lhs(10, 2, time_budget=math.nan), ValueError,
     "time_budget: must lie in [0, 1e9] seconds, 0 for none (got nan)"),
    (lambda: olhs.optimal_lhs(10, 2, time_budget="1"), TypeError, "time_budget: must be a real number (got str)"),
    (lambda: olhs.metrics(GOOD, p=201), ValueError, "p: must lie in [1, 200] (got 201)"),
    (lambda: olhs.phi_p(GOOD, metric="manhattan"), ValueError,
     "metric: must be 'cityblock' or 'euclidean' (got 'manhattan')"),
    (lambda: olhs.optimal_lhs(10, 2, metric=1), TypeError, "metric: must be a string (got int)"),
    (lambda: olhs.optimal_lhs(10, 2, criterion="minimax"), ValueError,
     "criterion: must be 'phip', 'maximin', 'maxpro' or 'discrepancy' (got 'minimax')"),
    (lambda: olhs.optimal_lhs(10, 2, start="best"), ValueError,
     "start: must be 'auto', 'random' or 'lattice' (got 'best')"),
    (lambda: olhs.optimal_lhs(10, 2, progress=3), TypeError, "progress: must be callable or None (got int)"),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[(0, 1), (2, 1)]), ValueError,
     "bounds: each row needs lower < upper (row 2 is 2.0, 1.0)"),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[(0, 1)]), ValueError,
     "bounds: must have shape (d, 2) = (2, 2), one (lower, upper) row per variable (got shape (1, 2))"),
    (lambda: olhs.classic_lhs(5, 1), ValueError, "d: the search needs at least 2 variables (got 1)"),
    (lambda: olhs.classic_lhs(5, 2, mode=2**40), ValueError,
     "mode: must lie in [-2147483648, 2147483647] (got 1099511627776)"),
    (lambda: olhs.phi_p([[0.1, 0.2], [0.3, math.nan]]), ValueError,
     "design: row 2, column 2: must be a finite number (got nan)"),
    (lambda: olhs.score([[0.1, 0.2], [0.3, 0.7], [0.4, 0.2]]), ValueError, "design: column 2: rows 1 and 3 tie at 0.2"),
    (lambda: olhs.improve([[0.5, 0.5]]), ValueError, "design: needs at least 2 points, one per row (got 1)"),
    (lambda: olhs.phi_p([0.1, 0.2, 0.3]), ValueError, "design: must be a 2-D array of shape (n, d) (got shape (3,))"),
    (lambda: olhs.augment([[0.2, 0.5], [0.7, 1.5]], 2, bounds=[(0, 1), (0, 1.2)]), ValueError,
     "design: row 2, column 2: must lie in [0, 1.2] (got 1.5)"),
    (lambda: olhs.augment(UNIT, 10**6), ValueError, "k: n + k must not exceed 1000000 (got 1000000)"),
    (lambda: olhs.augment(UNIT, 2, placement="grid"), ValueError,
     "placement: grid puts levels on the edges of their strata; use centered or jittered (got grid)"),
    (lambda: olhs.qmc.OptimalLatinHypercube(2, restarts=0), ValueError, "restarts: must be at least 1 (got 0)"),
    (lambda: olhs.qmc.OptimalLatinHypercube(-1), ValueError, "d: the number of variables must lie in [0, 2147483647] (got -1)"),
    (lambda: olhs.qmc.OptimalLatinHypercube(2).random(-1), ValueError,
     "n: the number of points must lie in [0, 2147483647] (got -1)"),
    (lambda: olhs.qmc.OptimalLatinHypercube(2, placement="grid"), ValueError,
     "placement: must be 'centered' or 'jittered' in a qmc engine, whose points lie in [0, 1) (got 'grid')"),
    (lambda: olhs.qmc.OptimalLatinHypercube(2, optimization="Random-CD"), ValueError,
     "optimization: 'Random-CD' would make the optimal design worse ('lloyd' moves the points off their Latin "
     "strata, 'random-cd' undoes the phi_p search for the centred discrepancy); leave it None, and pass "
     "criterion='discrepancy' to search for that discrepancy"),
])
def test_refusals_name_the_argument_and_what_it_accepts(call, error, message):
    with pytest.raises(error) as raised:
        call()
    assert str(raised.value) == message


def test_edges_and_the_library_defaults_are_accepted():
    assert olhs.optimal_lhs(2, 1, iterations=1).shape == (2, 1)
    assert olhs.optimal_lhs(np.int32(5), np.int64(2), seed=0, restarts=np.int8(1), iterations=0).shape == (5, 2)
    assert olhs.optimal_lhs(5, 2, p=1, iterations=1, time_budget=0, threads=1024).shape == (5, 2)
    assert olhs.optimal_lhs(5, 2, p=200.0, iterations=1, seed=2**64 - 1).shape == (5, 2)
    assert olhs.classic_lhs(2, 1, mode=0).tolist() == [[0.0], [1.0]]
