import os
import shutil
import subprocess
import sys
from pathlib import Path

import olhs

SOURCE = Path(os.environ.get("OLHS_SOURCE_DIR", Path(__file__).resolve().parents[2]))


def test_pip_installs_the_package_without_network(tmp_path):
    # A copy of the sources, so that the build writes nothing into the real tree.
    source = tmp_path / "source"
    shutil.copytree(SOURCE, source, ignore=shutil.ignore_patterns(".git", "build", "*.egg-info", "__pycache__"))
    target = tmp_path / "site"
    env = dict(os.environ, CMAKE_BUILD_PARALLEL_LEVEL="2", PIP_NO_CACHE_DIR="1")
    env.pop("PYTHONPATH", None)
    done = subprocess.run([sys.executable, "-m", "pip", "install", "--no-build-isolation", "--no-deps", "--no-index",
                           "--disable-pip-version-check", "--target", str(target), str(source)],
                          capture_output=True, text=True, env=env, timeout=900)
    assert done.returncode == 0, done.stdout + done.stderr
    assert all((target / "olhs" / name).is_file() for name in ["__init__.pyi", "_plot.py", "qmc.pyi", "py.typed"])
    probe = ("import sys, olhs; from olhs.qmc import OptimalLatinHypercube; print(olhs.__file__); "
             "sys.stdout.write(olhs.optimal_lhs(25, 4, seed=9, metric='euclidean').tobytes().hex())")
    env["PYTHONPATH"] = str(target)
    run = subprocess.run([sys.executable, "-c", probe], capture_output=True, text=True, env=env, timeout=120,
                         cwd=tmp_path)
    assert run.returncode == 0, run.stderr
    where, design = run.stdout.split("\n")
    assert Path(where).parent == target / "olhs"
    # Built in another build type, the same bits.
    assert design == olhs.optimal_lhs(25, 4, seed=9, metric="euclidean").tobytes().hex()
