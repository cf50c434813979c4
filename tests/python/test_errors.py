import math

import numpy as np
import pytest

import olhs


@pytest.mark.parametrize("call, error, words", [
    (lambda: olhs.optimal_lhs(1, 3), ValueError, ["n:", "number of points", "[2, 2147483647]", "got 1"]),
    (lambda: olhs.optimal_lhs(-5, 3), ValueError, ["n:", "got -5"]),
    (lambda: olhs.optimal_lhs(2**31, 3), ValueError, ["n:", "2147483647"]),
    (lambda: olhs.optimal_lhs(10.0, 3), TypeError, ["n:", "integer", "float"]),
    (lambda: olhs.optimal_lhs("10", 3), TypeError, ["n:", "integer", "str"]),
    (lambda: olhs.optimal_lhs(True, 3), TypeError, ["n:", "bool"]),
    (lambda: olhs.optimal_lhs(10, 0), ValueError, ["d:", "[1, 2147483647]", "got 0"]),
    (lambda: olhs.optimal_lhs(10, None), TypeError, ["d:", "NoneType"]),
    (lambda: olhs.optimal_lhs(10, 2, seed=-1), ValueError, ["seed:", "[0, 18446744073709551615]"]),
    (lambda: olhs.optimal_lhs(10, 2, seed=2**64), ValueError, ["seed:", "18446744073709551615"]),
    (lambda: olhs.optimal_lhs(10, 2, seed=1.5), TypeError, ["seed:", "integer"]),
    (lambda: olhs.optimal_lhs(10, 2, restarts=0), ValueError, ["restarts:", "[1, "]),
    (lambda: olhs.optimal_lhs(10, 2, threads=-1), ValueError, ["threads:", "0 (all cores)"]),
    (lambda: olhs.optimal_lhs(10, 2, iterations=0), ValueError, ["iterations:", "at least 1"]),
    (lambda: olhs.optimal_lhs(10, 2, time_budget=0), ValueError, ["time_budget:", "(0, 1e9]"]),
    (lambda: olhs.optimal_lhs(10, 2, time_budget=-1.0), ValueError, ["time_budget:", "(0, 1e9]"]),
    (lambda: olhs.optimal_lhs(10, 2, time_budget=math.nan), ValueError, ["time_budget:", "nan"]),
    (lambda: olhs.optimal_lhs(10, 2, time_budget=2e9), ValueError, ["time_budget:"]),
    (lambda: olhs.optimal_lhs(10, 2, time_budget="1"), TypeError, ["time_budget:", "real number"]),
    (lambda: olhs.optimal_lhs(10, 2, p=0.5), ValueError, ["p:", "[1, 200]", "0.5"]),
    (lambda: olhs.optimal_lhs(10, 2, p=math.inf), ValueError, ["p:", "[1, 200]"]),
    (lambda: olhs.optimal_lhs(10, 2, metric="manhattan"), ValueError, ["metric:", "'cityblock'", "'euclidean'",
                                                                       "'manhattan'"]),
    (lambda: olhs.optimal_lhs(10, 2, metric=1), TypeError, ["metric:", "string"]),
    (lambda: olhs.optimal_lhs(10, 2, criterion="minimax"), ValueError, ["criterion:", "'phip'", "'maximin'"]),
    (lambda: olhs.optimal_lhs(10, 2, placement="middle"), ValueError, ["placement:", "'centered'", "'grid'",
                                                                       "'jittered'", "'middle'"]),
    (lambda: olhs.optimal_lhs(10, 2, progress=3), TypeError, ["progress:", "callable"]),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[(0, 1)]), ValueError, ["bounds:", "(2, 2)", "(1, 2)"]),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[0, 1, 0, 1]), ValueError, ["bounds:", "(2, 2)", "(4,)"]),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[(0, 1), (0, 1, 2)]), TypeError, ["bounds:", "(d, 2)"]),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[(0, 1), ("a", 1)]), TypeError, ["bounds:"]),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[(0, 1), (0, math.inf)]), ValueError, ["bounds:", "finite"]),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[(0, 1), (math.nan, 1)]), ValueError, ["bounds:", "finite"]),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[(0, 1), (2, 1)]), ValueError, ["bounds:", "lower < upper", "row 1"]),
    (lambda: olhs.optimal_lhs(10, 2, bounds=[(3, 3), (0, 1)]), ValueError, ["bounds:", "lower < upper", "row 0"]),
    # Checked by the library itself, named as in Python.
    (lambda: olhs.optimal_lhs(1500, 2000, metric="euclidean"), ValueError, ["metric:", "cityblock"]),
    (lambda: olhs.classic_lhs(1, 2), ValueError, ["n:", "[2, 2147483647]"]),
    (lambda: olhs.classic_lhs(5, 0), ValueError, ["d:", "[1, 2147483647]"]),
    (lambda: olhs.classic_lhs(5, 1), ValueError, ["d:", "mode 1", "at least 2 variables"]),
    (lambda: olhs.classic_lhs(5, 2, seed=-3), ValueError, ["seed:"]),
    (lambda: olhs.classic_lhs(5, 2, mode=1.0), TypeError, ["mode:", "integer"]),
    (lambda: olhs.classic_lhs(5, 2, mode=2**40), ValueError, ["mode:"]),
])
def test_bad_input_names_the_argument_and_its_range(call, error, words):
    with pytest.raises(error) as raised:
        call()
    message = str(raised.value)
    for word in words:
        assert word in message, f"{word!r} not in {message!r}"


def test_library_checks_reach_python_with_python_names():
    # Past the Python checks, the library's own refusals keep the argument's name.
    from olhs import _olhs
    with pytest.raises(ValueError, match=r"^d: "):
        _olhs.optimize(5, 0, 1, 2, 0, 0, 0.0, "cityblock", 50.0, "centered", "phip", "auto", None)
    with pytest.raises(ValueError, match=r"^time_budget: "):
        _olhs.optimize(5, 2, 1, 2, 0, 0, -1.0, "cityblock", 50.0, "centered", "phip", "auto", None)
    with pytest.raises(ValueError, match=r"^metric: "):
        _olhs.optimize(5, 2, 1, 2, 0, 0, 0.0, "taxicab", 50.0, "centered", "phip", "auto", None)
    with pytest.raises(ValueError, match=r"^placement: "):
        _olhs.optimize(5, 2, 1, 2, 0, 0, 0.0, "cityblock", 50.0, "random", "phip", "auto", None)
    with pytest.raises(ValueError, match=r"^criterion: "):
        _olhs.optimize(5, 2, 1, 2, 0, 0, 0.0, "cityblock", 50.0, "centered", "best", "auto", None)


def test_valid_edges_are_accepted():
    assert olhs.optimal_lhs(2, 1, iterations=1).shape == (2, 1)
    assert olhs.optimal_lhs(np.int32(5), np.int64(2), seed=0, restarts=np.int8(1), iterations=1).shape == (5, 2)
    assert olhs.optimal_lhs(5, 2, p=1, iterations=1, time_budget=1e9).shape == (5, 2)
    assert olhs.optimal_lhs(5, 2, p=200.0, iterations=1, seed=2**64 - 1).shape == (5, 2)
    assert olhs.classic_lhs(2, 1, mode=0).shape == (2, 1)
