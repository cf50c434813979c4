import numpy as np
import pytest

qmc = pytest.importorskip("scipy.stats.qmc")

import olhs  # noqa: E402
from olhs.qmc import OptimalLatinHypercube  # noqa: E402
from conftest import assert_latin, levels_of  # noqa: E402


def test_an_engine_of_scipy():
    engine = OptimalLatinHypercube(3, seed=5, iterations=30)
    assert isinstance(engine, qmc.QMCEngine)
    x = engine.random(24)
    assert x.shape == (24, 3) and x.dtype == np.float64
    assert np.all((x >= 0) & (x < 1))
    assert_latin(levels_of(x))
    assert engine.num_generated == 24
    scaled = qmc.scale(x, [-1, 0, 10], [1, 5, 20])
    np.testing.assert_array_equal(qmc.scale(scaled, [-1, 0, 10], [1, 5, 20], reverse=True).round(12), x.round(12))
    # An optimal design fills the cube more evenly than a random Latin hypercube usually does.
    random = [qmc.discrepancy(qmc.LatinHypercube(3, seed=s).random(24)) for s in range(20)]
    assert qmc.discrepancy(x) < np.median(random)


def test_each_call_is_a_fresh_design_from_the_engines_seed():
    engine = OptimalLatinHypercube(2, seed=123, iterations=20)
    first, second = engine.random(10), engine.random(10)
    assert first.tobytes() != second.tobytes()
    assert_latin(levels_of(second))
    again = OptimalLatinHypercube(2, seed=123, iterations=20)
    assert again.random(10).tobytes() == first.tobytes()
    assert again.random(10).tobytes() == second.tobytes()
    engine.reset()
    assert engine.num_generated == 0
    assert engine.random(10).tobytes() == first.tobytes()
    # Skipping a call leaves the engine where that call would have.
    skipping = OptimalLatinHypercube(2, seed=123, iterations=20)
    assert skipping.fast_forward(10) is skipping
    assert skipping.num_generated == 10
    assert skipping.random(10).tobytes() == second.tobytes()
    # The design is optimal_lhs's under the seed drawn from the engine's generator.
    drawn = int(np.random.default_rng(123).integers(0, 2**64, dtype=np.uint64))
    assert first.tobytes() == olhs.optimal_lhs(10, 2, seed=drawn, iterations=20).tobytes()


def test_seed_as_scipy_takes_it():
    a = OptimalLatinHypercube(2, seed=np.random.default_rng(9), iterations=10).random(8)
    b = OptimalLatinHypercube(2, seed=np.random.default_rng(9), iterations=10).random(8)
    assert a.tobytes() == b.tobytes()
    fresh = [OptimalLatinHypercube(4, iterations=10).random(30).tobytes() for _ in range(3)]
    assert len(set(fresh)) == 3


def test_small_samples_and_workers():
    engine = OptimalLatinHypercube(3, seed=1, iterations=10)
    assert engine.random(0).shape == (0, 3)
    assert OptimalLatinHypercube(0, seed=1).random(4).shape == (4, 0)
    np.testing.assert_array_equal(engine.random(1), [[0.5, 0.5, 0.5]])
    point = OptimalLatinHypercube(3, seed=1, placement="jittered").random(1)
    assert point.shape == (1, 3) and np.all((point >= 0) & (point < 1))
    one = OptimalLatinHypercube(3, seed=8, iterations=10).random(16)
    many = OptimalLatinHypercube(3, seed=8, iterations=10).random(16, workers=-1)
    assert one.tobytes() == many.tobytes()


def test_code_written_for_latin_hypercube():
    def plan(sampler, budget):
        sample = sampler.random(n=budget)
        return qmc.scale(sample, l_bounds=[0, 2], u_bounds=[10, 3]), sampler.integers([0, 0], u_bounds=[4, 8], n=8)

    for sampler in (qmc.LatinHypercube(d=2, seed=1), OptimalLatinHypercube(d=2, seed=1, iterations=20)):
        points, integers = plan(sampler, 12)
        assert points.shape == (12, 2)
        assert np.all((points[:, 0] >= 0) & (points[:, 0] < 10) & (points[:, 1] >= 2) & (points[:, 1] < 3))
        assert integers.shape == (8, 2) and integers.dtype == np.int64
        assert sorted(np.bincount(integers[:, 0], minlength=4)) == [2, 2, 2, 2]


def test_bad_settings():
    with pytest.raises(ValueError, match="d: "):
        OptimalLatinHypercube(-1)
    with pytest.raises(ValueError, match="placement: .*'grid'"):
        OptimalLatinHypercube(2, placement="grid")
    with pytest.raises(ValueError, match="metric: "):
        OptimalLatinHypercube(2, metric="chebyshev")
    with pytest.raises(ValueError, match="n: "):
        OptimalLatinHypercube(2).random(-1)


@pytest.mark.parametrize("method", ["random-cd", "Random-CD", "lloyd"])
def test_scipys_post_processing_is_refused(method):
    # Either would leave a worse design: lloyd breaks the Latin strata, random-cd the phi_p optimum.
    with pytest.raises(ValueError, match=f"optimization: '{method}' would make the optimal design worse"):
        OptimalLatinHypercube(2, optimization=method)


def test_the_rest_works_without_scipy():
    import subprocess
    import sys
    code = r"""
import sys
class NoScipy:
    def find_spec(self, name, path=None, target=None):
        if name == "scipy" or name.startswith("scipy."):
            raise ModuleNotFoundError(f"No module named {name!r}", name=name)
sys.meta_path.insert(0, NoScipy())
import olhs
print(olhs.optimal_lhs(6, 2, iterations=5).shape, olhs.metrics([[0.1, 0.2], [0.3, 0.4]])["min_city_block_distance"],
      "scipy" in sys.modules)
try:
    olhs.qmc
except ModuleNotFoundError as e:
    print("qmc needs", e.name)
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=120)
    assert done.stdout == "(6, 2) 2 False\nqmc needs scipy\n", done.stderr


def test_discrepancy_criterion_searches_what_random_cd_improves():
    from scipy.stats import qmc
    ours = OptimalLatinHypercube(4, seed=1, criterion="discrepancy").random(30)
    by_phip = OptimalLatinHypercube(4, seed=1).random(30)
    assert qmc.discrepancy(ours) < qmc.discrepancy(by_phip)
