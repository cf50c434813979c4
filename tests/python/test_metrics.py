import math
import os
import subprocess

import numpy as np
import pytest

import olhs
from olhs import _olhs


def reference_phi_p(levels, p, metric):
    """The plain sum over pairs in row order, each term added to the sum so far."""
    n = len(levels)
    total = 0.0
    for i in range(n):
        for j in range(i + 1, n):
            diff = [int(a) - int(b) for a, b in zip(levels[i], levels[j])]
            if metric == "cityblock":
                term = math.pow(float(sum(abs(v) for v in diff)), -p)
            else:
                term = math.pow(float(sum(v * v for v in diff)), -p / 2)
            total = term + total
    return math.pow(total, 1.0 / p)


def ranks(x):
    return np.argsort(np.argsort(x, axis=0, kind="stable"), axis=0) + 1


def test_phi_p_is_the_plain_sum_over_random_designs():
    rng = np.random.default_rng(2024)
    for trial in range(60):
        n = int(rng.integers(2, 25))
        d = int(rng.integers(1, 6))
        x = rng.normal(size=(n, d)) * 10.0 ** rng.integers(-3, 4)
        p = float(rng.choice([1.0, 2.0, 15.5, 50.0, 200.0]))
        for metric in ("cityblock", "euclidean"):
            assert olhs.phi_p(x, p=p, metric=metric) == reference_phi_p(ranks(x), p, metric), (trial, metric)


def test_phi_p_of_an_optimal_design_is_the_searched_criterion():
    for metric, p in [("cityblock", 50.0), ("euclidean", 50.0), ("cityblock", 7.0), ("euclidean", 120.0)]:
        for placement in ("centered", "grid", "jittered"):
            found = _olhs.optimize(30, 4, 5, 2, 0, 20, 0.0, metric, p, placement, "phip", "auto", None)
            assert olhs.phi_p(found["design"], p=p, metric=metric) == found["phi_p"]
            measured = olhs.metrics(found["design"], p=p)
            assert measured["phi_p_city_block" if metric == "cityblock" else "phi_p_euclidean"] == found["phi_p"]
            assert measured["min_city_block_distance"] == found["min_city_block_distance"]
            assert measured["min_euclidean_distance"] == found["min_euclidean_distance"]


def test_measures_depend_only_on_the_ranks():
    rng = np.random.default_rng(7)
    x = olhs.optimal_lhs(20, 3, seed=4, iterations=30)
    rows = rng.permutation(20)
    bent = np.column_stack([np.exp(5 * x[:, 0]), -1.0 / (x[:, 1] + 1), 1e6 * x[:, 2] - 3])
    reference = olhs.metrics(x)
    # Another row order sums phi_p in another order: equal up to rounding.
    shuffled = olhs.metrics(x[rows])
    assert shuffled == pytest.approx(reference, rel=1e-14)
    assert shuffled["min_city_block_pairs"] == reference["min_city_block_pairs"]
    assert olhs.metrics(ranks(x)) == reference
    assert olhs.metrics(x.tolist()) == reference
    assert olhs.metrics(np.asfortranarray(x)) == reference
    assert olhs.metrics(x.astype(np.float32)) == reference
    assert olhs.phi_p(bent) == reference["phi_p_city_block"]
    assert olhs.metrics(x[:, ::-1]) == olhs.metrics(x[:, ::-1].copy())


def test_metrics_against_plain_computations():
    qmc = pytest.importorskip("scipy.stats.qmc")
    rng = np.random.default_rng(99)
    for trial in range(40):
        n = int(rng.integers(2, 30))
        d = int(rng.integers(1, 6))
        x = rng.random((n, d))
        levels = ranks(x)
        m = olhs.metrics(x, p=30.0)
        pairs = [(i, j) for i in range(n) for j in range(i + 1, n)]
        city = [int(np.abs(levels[i] - levels[j]).sum()) for i, j in pairs]
        squared = [int(((levels[i] - levels[j]) ** 2).sum()) for i, j in pairs]
        assert m["min_city_block_distance"] == min(city) and m["min_city_block_pairs"] == city.count(min(city))
        assert m["min_euclidean_distance"] == math.sqrt(min(squared))
        assert m["min_euclidean_pairs"] == squared.count(min(squared))
        assert m["phi_p_city_block"] == olhs.phi_p(x, p=30.0)
        assert m["phi_p_euclidean"] == olhs.phi_p(x, p=30.0, metric="euclidean")
        if d == 1:
            assert m["max_abs_correlation"] is None
        else:
            c = np.abs(np.corrcoef(levels, rowvar=False))
            np.fill_diagonal(c, 0)
            assert m["max_abs_correlation"] == pytest.approx(c.max(), abs=1e-12)
        placed = (levels - 0.5) / n
        assert m["centered_l2_discrepancy"] ** 2 == pytest.approx(qmc.discrepancy(placed, method="CD"), rel=1e-9)


def test_metrics_as_the_command_prints_them():
    command = os.environ.get("OLHS_COMMAND")
    if not command:
        pytest.skip("OLHS_COMMAND is not set (the command is not built)")
    done = subprocess.run([command, "-q", "-n", "40", "-m", "5", "--seed", "8", "--metrics", "--bounds=-3:3"],
                          capture_output=True, text=True, timeout=300)
    assert done.returncode == 0, done.stderr
    printed = dict(line.split(": ") for line in done.stderr.strip().splitlines())
    x = olhs.optimal_lhs(40, 5, seed=8, bounds=[(-3, 3)] * 5)
    m = olhs.metrics(x)
    assert float(printed["phi_p"]) == m["phi_p_city_block"]
    assert int(printed["min_city_block_distance"]) == m["min_city_block_distance"]
    assert float(printed["min_euclidean_distance"]) == m["min_euclidean_distance"]
    assert float(printed["max_abs_correlation"]) == m["max_abs_correlation"]
