import json

import numpy as np
import pytest

import olhs
from conftest import command, command_design, flags, write_csv


def test_score_is_the_commands_score_to_the_bit(tmp_path):
    rng = np.random.default_rng(3)
    for n, d, p in [(9, 3, 50), (40, 5, 7.5), (6, 1, 2)]:
        x = rng.normal(size=(n, d)) * 100
        doc = json.loads(command("score", write_csv(tmp_path / "x.csv", x), "--format", "json", "-p", p))
        s = olhs.score(x, p=p)
        assert s == {key: doc[key] for key in s} and list(s) == list(doc)[4:], (n, d, p)
        assert s == olhs.metrics(x, p)


# Improving start designs of any real values (k = 0) and adding k points to designs in a box:
# the same bits as the command, on any number of threads; iterations left out are chosen as
# the command does.
@pytest.mark.parametrize("n, k, settings, box", [
    (30, 0, dict(seed=4, iterations=30), [[-5.0, 5.0]] * 4),
    (17, 0, dict(seed=2**64 - 1, iterations=20, restarts=3, metric="euclidean", p=10), None),
    (12, 0, dict(seed=6), None),
    (8, 12, dict(seed=3, iterations=25), None),
    (15, 5, dict(seed=7, iterations=10, restarts=3, metric="euclidean", p=20, placement="jittered"),
     [[10.0, 20.0], [-1.0, 1.0], [0.0, 1e-3]]),
    (6, 4, dict(seed=5), None),
])
def test_improve_and_augment_are_the_commands_to_the_bit(tmp_path, n, k, settings, box):
    b = np.array(box or [[0.0, 1.0]] * 3)
    unit = np.random.default_rng(n).uniform(size=(n, len(b)))
    x0 = (1 - unit) * b[:, 0] + unit * b[:, 1]
    path = write_csv(tmp_path / "given.csv", x0)
    box_flags = ["--bounds", ",".join(f"{lo!r}:{hi!r}" for lo, hi in b)] * bool(box)
    expected = command_design(*(["augment", path, "-k", k, *box_flags] if k else ["improve", path]), *flags(**settings))
    call, arguments = (olhs.augment, dict(k=k, bounds=box)) if k else (olhs.improve, {})
    for threads in (1, 2, 0):
        x = call(x0, threads=threads, **arguments, **settings)
        assert x.dtype == np.float64 and x.flags.c_contiguous and x.tobytes() == expected.tobytes(), threads


def test_return_info_describes_the_result():
    x0 = np.column_stack([np.arange(20.0)] * 3)
    x, info = olhs.improve(x0, seed=9, iterations=20, return_info=True)
    assert info["start_phi_p"] == olhs.phi_p(x0) > info["phi_p"] == olhs.phi_p(x)
    assert (info["levels"] == np.argsort(np.argsort(x, axis=0), axis=0) + 1).all()
    assert info["stop_reason"] == "iterations"
    x, info = olhs.augment([[10.5, -0.9], [11, 0.2], [19, 0.9]], 1, bounds=[(10, 20), (-1, 1)], return_info=True)
    assert (info["doubled"], info["doubled_strata"], x[3].tolist()) == (1, [1, 0], [16.25, -0.25])
    assert info["strata"].tolist() == [[1, 1], [1, 3], [4, 4], [3, 2]]


def test_progress_stops_and_raises():
    x0 = np.random.default_rng(2).uniform(size=(40, 3))
    seen = []
    x, info = olhs.improve(x0, iterations=1000, restarts=1, progress=lambda r: seen.append(r) or len(seen) < 2,
                           return_info=True)
    assert info["stop_reason"] == "cancelled" and len(seen) == 2 and info["phi_p"] <= info["start_phi_p"]
    with pytest.raises(ZeroDivisionError):
        olhs.augment(x0, 5, iterations=1000, progress=lambda report: 1 // 0)
