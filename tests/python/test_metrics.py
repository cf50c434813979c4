import json
import math

import numpy as np
import pytest

import olhs
from conftest import command


def reference_phi_p(levels, p, metric):
    """The plain sum over pairs in row order, each term added to the sum so far."""
    total = 0.0
    for i in range(len(levels)):
        for j in range(i + 1, len(levels)):
            diff = [int(a) - int(b) for a, b in zip(levels[i], levels[j])]
            distance = sum(abs(v) for v in diff) if metric == "cityblock" else sum(v * v for v in diff)
            total = math.pow(float(distance), -p if metric == "cityblock" else -p / 2) + total
    return math.pow(total, 1.0 / p)


def ranks(x):
    return np.argsort(np.argsort(x, axis=0, kind="stable"), axis=0) + 1


# Real values of any scale, ranked as the plain ranking does; the measures against numpy's
# correlation and scipy's discrepancy.
def test_measures_of_ranked_designs_against_plain_computations():
    qmc = pytest.importorskip("scipy.stats.qmc")
    rng = np.random.default_rng(2024)
    for trial in range(30):
        n, d = int(rng.integers(2, 25)), int(rng.integers(1, 6))
        x = rng.normal(size=(n, d)) * 10.0 ** rng.integers(-3, 4)
        p = float(rng.choice([1.0, 2.0, 15.5, 50.0, 200.0]))
        levels, m = ranks(x), olhs.metrics(x, p)
        assert m["phi_p_city_block"] == olhs.phi_p(x, p) == reference_phi_p(levels, p, "cityblock"), trial
        assert m["phi_p_euclidean"] == olhs.phi_p(x, p, "euclidean") == reference_phi_p(levels, p, "euclidean"), trial
        city = [int(np.abs(levels[i] - levels[j]).sum()) for i in range(n) for j in range(i)]
        squared = [int(((levels[i] - levels[j]) ** 2).sum()) for i in range(n) for j in range(i)]
        for key, distances, to in (("city_block", city, int), ("euclidean", squared, math.sqrt)):
            assert (m[f"min_{key}_distance"], m[f"min_{key}_pairs"]) == (to(min(distances)), distances.count(min(distances)))
        c = np.abs(np.corrcoef(levels, rowvar=False)) - np.eye(d) if d > 1 else None
        assert m["max_abs_correlation"] == (None if c is None else pytest.approx(c.max(), abs=1e-12))
        assert m["centered_l2_discrepancy"] ** 2 == pytest.approx(qmc.discrepancy((levels - 0.5) / n, method="CD"), rel=1e-9)


# The command's measures of its design, and the same of any array-like of values in that order.
def test_metrics_as_the_command_prints_them():
    printed = json.loads(command("-q", "-n", 40, "-m", 5, "--seed", 8, "--metrics", "--bounds=-3:3", "--format", "json"))
    x = olhs.optimal_lhs(40, 5, seed=8, bounds=[(-3, 3)] * 5)
    m = olhs.metrics(x)
    assert printed["metrics"] == {"phi_p": m["phi_p_city_block"], **{key: m[key] for key in list(printed["metrics"])[1:]}}
    for same in (ranks(x), x.tolist(), np.asfortranarray(x), x.astype(np.float32), x[:, ::-1][:, ::-1], np.exp(x)):
        assert olhs.metrics(same) == m
    assert olhs.phi_p(-x) == m["phi_p_city_block"]
