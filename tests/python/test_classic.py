import threading

import numpy as np
import pytest

import olhs
from conftest import assert_latin, levels_of, run_command


@pytest.mark.parametrize("n, d, seed", [(5, 2, None), (12, 3, 7), (40, 6, 2**64 - 1), (2, 2, 0)])
def test_same_bits_as_the_command(n, d, seed):
    seed_options = [] if seed is None else ["--seed", seed]
    expected = run_command("--classic", "-n", n, "-m", d, *seed_options)
    x = olhs.classic_lhs(n, d, seed=seed)
    assert x.shape == (n, d) and x.dtype == np.float64 and x.flags["C_CONTIGUOUS"]
    assert x.tobytes() == expected.tobytes()
    assert_latin(levels_of(x, "grid"))
    random = run_command("--classic", "--random", "-n", n, "-m", d, *seed_options)
    assert olhs.classic_lhs(n, d, seed=seed, mode=0).tobytes() == random.tobytes()


def test_default_seed_is_the_commands():
    assert olhs.CLASSIC_DEFAULT_SEED == 20261123
    assert olhs.classic_lhs(9, 3).tobytes() == olhs.classic_lhs(9, 3, seed=20261123).tobytes()
    assert olhs.classic_lhs(9, 3).tobytes() != olhs.classic_lhs(9, 3, seed=1).tobytes()


def test_any_mode_but_one_is_the_random_design():
    x = olhs.classic_lhs(8, 3, seed=4, mode=0)
    assert x.tobytes() == olhs.classic_lhs(8, 3, seed=4, mode=-7).tobytes()
    np.testing.assert_array_equal(x[:, 0], np.arange(8) / 7)
    assert_latin(levels_of(x, "grid"))
    np.testing.assert_array_equal(olhs.classic_lhs(4, 1, mode=0)[:, 0], np.arange(4) / 3)


def test_progress_lines_only_when_verbose(capfd):
    quiet = olhs.classic_lhs(10, 3, seed=3)
    out, err = capfd.readouterr()
    assert out == "" and err == ""
    loud = olhs.classic_lhs(10, 3, seed=3, verbose=True)
    out, err = capfd.readouterr()
    assert out.startswith("Iteration #: 000\t\tOptimality criterion = ")
    assert err == ""
    assert quiet.tobytes() == loud.tobytes()
    # Standard output works as before afterwards.
    print("after")
    assert capfd.readouterr().out == "after\n"


def test_calls_from_threads_take_turns():
    seeds = [1, 2, 3, 4, 5, 6]
    alone = {s: olhs.classic_lhs(25, 4, seed=s, verbose=s % 2 == 0).tobytes() for s in seeds}
    together = {}
    start = threading.Barrier(len(seeds))

    def work(s):
        start.wait()
        together[s] = olhs.classic_lhs(25, 4, seed=s, verbose=s % 2 == 0).tobytes()

    threads = [threading.Thread(target=work, args=(s,)) for s in seeds]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert together == alone


def test_earlier_searches_do_not_change_the_design():
    # Every classic search continues the process's exploring factor; each call starts it again.
    cases = [(9, 3, None), (30, 5, 3), (12, 2, 8), (50, 4, 1)]
    expected = [run_command("--classic", "-n", n, "-m", d, *([] if s is None else ["--seed", s])) for n, d, s in cases]
    for _ in range(3):
        for (n, d, s), design in zip(cases, expected):
            assert olhs.classic_lhs(n, d, seed=s).tobytes() == design.tobytes(), (n, d, s)
