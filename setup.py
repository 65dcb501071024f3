# SPDX-License-Identifier: AGPL-3.0-only
"""Has CMake build the module's compiled part for a wheel. Everything else stands in pyproject.toml."""

import pathlib
import re
import subprocess
import sys

import pybind11
from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, extension):
        target = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve()
        build = pathlib.Path(self.build_temp).resolve()
        subprocess.run(["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DVARNEL_ENGINE_ONLY=ON", "-DVARNEL_TESTS=OFF",
                        f"-DPython_EXECUTABLE={sys.executable}", f"-Dpybind11_DIR={pybind11.get_cmake_dir()}"], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "varnel-python"], check=True)
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(str(next((build / "source/python/varnel").glob("_varnel.*"))), str(target))


setup(version=re.search(r"VERSION ([0-9.]+) LANGUAGES", (ROOT / "CMakeLists.txt").read_text())[1],
      ext_modules=[Extension("varnel._varnel", [])], cmdclass={"build_ext": CMakeBuild})
