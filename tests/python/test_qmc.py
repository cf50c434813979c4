import numpy as np
import pytest

qmc = pytest.importorskip("scipy.stats.qmc")

import olhs  # noqa: E402
from olhs.qmc import OptimalLatinHypercube  # noqa: E402
from conftest import assert_latin, in_child, levels_of  # noqa: E402


# A QMC engine whose every call is a fresh design from the engine's seed: optimal_lhs's under
# the seed drawn from the engine's generator; reset and fast_forward as scipy's engines.
def test_each_call_is_a_fresh_design_from_the_engines_seed():
    engine = OptimalLatinHypercube(2, seed=123, iterations=20)
    assert isinstance(engine, qmc.QMCEngine)
    first, second = engine.random(10), engine.random(10)
    assert engine.num_generated == 20 and first.tobytes() != second.tobytes()
    assert_latin(levels_of(first))
    drawn = int(np.random.default_rng(123).integers(0, 2**64, dtype=np.uint64))
    assert first.tobytes() == olhs.optimal_lhs(10, 2, seed=drawn, iterations=20).tobytes()
    assert engine.reset().random(10).tobytes() == first.tobytes()
    skipping = OptimalLatinHypercube(2, seed=np.random.default_rng(123), iterations=20)
    assert skipping.fast_forward(10) is skipping and skipping.num_generated == 10
    assert skipping.random(10).tobytes() == second.tobytes()
    fresh = [OptimalLatinHypercube(4, iterations=10).random(30).tobytes() for _ in range(3)]
    assert len(set(fresh)) == 3


def test_small_samples_and_workers():
    engine = OptimalLatinHypercube(3, seed=1, iterations=10)
    assert engine.random(0).shape == (0, 3) and OptimalLatinHypercube(0, seed=1).random(4).shape == (4, 0)
    np.testing.assert_array_equal(engine.random(1), [[0.5, 0.5, 0.5]])
    point = OptimalLatinHypercube(3, seed=1, placement="jittered").random(1)
    assert point.shape == (1, 3) and np.all((point >= 0) & (point < 1))
    one = OptimalLatinHypercube(3, seed=8, iterations=10).random(16)
    assert one.tobytes() == OptimalLatinHypercube(3, seed=8, iterations=10).random(16, workers=-1).tobytes()


def test_code_written_for_latin_hypercube():
    for sampler in (qmc.LatinHypercube(d=2, seed=1), OptimalLatinHypercube(d=2, seed=1, iterations=20)):
        points = qmc.scale(sampler.random(n=12), l_bounds=[0, 2], u_bounds=[10, 3])
        integers = sampler.integers([0, 0], u_bounds=[4, 8], n=8)
        assert np.all((points[:, 0] >= 0) & (points[:, 0] < 10) & (points[:, 1] >= 2) & (points[:, 1] < 3))
        assert integers.shape == (8, 2) and integers.dtype == np.int64
        assert sorted(np.bincount(integers[:, 0], minlength=4)) == [2, 2, 2, 2]


def test_the_rest_works_without_scipy():
    code = r"""
import olhs
print(olhs.optimal_lhs(6, 2, iterations=5).shape, olhs.metrics([[0.1, 0.2], [0.3, 0.4]])["min_city_block_distance"],
      "scipy" in sys.modules)
try:
    olhs.qmc
except ModuleNotFoundError as e:
    print("qmc needs", e.name)
"""
    assert in_child(code, hidden="scipy") == "(6, 2) 2 False\nqmc needs scipy\n"
