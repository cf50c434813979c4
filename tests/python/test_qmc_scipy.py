"""scipy's own tests of every QMC engine, run against OptimalLatinHypercube."""
import pytest

scipy_tests = pytest.importorskip("scipy.stats.tests.test_qmc", reason="this scipy does not ship its test suite")

from olhs.qmc import OptimalLatinHypercube  # noqa: E402

NOT_A_SEQUENCE = "Not applicable: not a sequence, each random(n) is a design of its own"


class TestOptimalLatinHypercube(scipy_tests.QMCEngineTests):
    qmce = OptimalLatinHypercube
    can_scramble = False

    def engine(self, scramble, **kwargs):
        if scramble:
            pytest.skip("Not applicable: the engine has no scrambling")
        return super().engine(scramble, **kwargs)

    def test_continuing(self, *args):
        pytest.skip(NOT_A_SEQUENCE)

    def test_fast_forward(self, *args):
        pytest.skip(NOT_A_SEQUENCE)

    def test_sample(self, *args):
        pytest.skip("Not applicable: the reference sample is implementation dependent")

    def test_optimizers(self, *args):
        pytest.skip("Not applicable: the engine refuses scipy's post-processing of its optimal designs")

    # scipy asks scrambled sequences for uniform margins; Latin strata give them unscrambled.
    @pytest.mark.parametrize("scramble", [False])
    def test_distribution(self, scramble):
        super().test_distribution(scramble)
