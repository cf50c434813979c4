import numpy as np
import pytest

import olhs
from conftest import command_design


# The command's classic design and its random start (any mode but 1), over and over: every
# classic search continues the process's exploring factor, and each call starts it again.
@pytest.mark.parametrize("n, d, seed", [(5, 2, None), (12, 3, 7), (40, 6, 2**64 - 1), (2, 2, 0)])
def test_same_bits_as_the_command(n, d, seed):
    options = ["-n", n, "-m", d] + ([] if seed is None else ["--seed", seed])
    expected, random = command_design("--classic", *options), command_design("--classic", "--random", *options)
    for _ in range(2):
        x = olhs.classic_lhs(n, d, seed=seed)
        assert x.dtype == np.float64 and x.flags["C_CONTIGUOUS"] and x.tobytes() == expected.tobytes()
        assert olhs.classic_lhs(n, d, seed=seed, mode=0).tobytes() == random.tobytes()
        assert olhs.classic_lhs(n, d, seed=seed, mode=-7).tobytes() == random.tobytes()


def test_progress_lines_only_when_verbose(capfd):
    quiet = olhs.classic_lhs(10, 3, seed=3)
    assert capfd.readouterr() == ("", "")
    loud = olhs.classic_lhs(10, 3, seed=3, verbose=True)
    out, err = capfd.readouterr()
    assert out.startswith("Iteration #: 000\t\tOptimality criterion = ") and err == ""
    assert quiet.tobytes() == loud.tobytes()
