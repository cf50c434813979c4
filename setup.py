"""Builds the compiled module olhs._olhs with the project's CMake (see pyproject.toml)."""

import os
import shutil
import subprocess
import sys
import sysconfig
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build_dir = Path(self.build_temp).resolve() / "cmake"
        configure = ["cmake", "-S", str(ROOT), "-B", str(build_dir),
                     "-DCMAKE_BUILD_TYPE=Release", "-DOLHS_PYTHON=ON",
                     "-DOLHS_BUILD_TESTS=OFF", "-DOLHS_BUILD_BENCHMARKS=OFF",
                     "-DOLHS_BUILD_CLI=OFF", "-DOLHS_BUILD_EXAMPLES=OFF",
                     f"-DPython3_EXECUTABLE={sys.executable}"]
        if shutil.which("ninja") and not (build_dir / "CMakeCache.txt").exists():
            configure += ["-G", "Ninja"]
        subprocess.run(configure, check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")
        subprocess.run(["cmake", "--build", str(build_dir), "--target", "olhs_python", "--parallel", jobs],
                       check=True)
        built = build_dir / "python" / "olhs" / ("_olhs" + sysconfig.get_config_var("EXT_SUFFIX"))
        target = Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(built, target)


setup(
    ext_modules=[Extension("olhs._olhs", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    # Beside the CMake presets' build directories, not in the way of them.
    options={"build": {"build_base": "build/pip"}},
)
