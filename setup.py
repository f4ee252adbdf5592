"""Builds the extension module of the Python package with CMake, for a wheel."""
import os
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext


class BuildWithCMake(build_ext):
    def build_extension(self, extension):
        folder = Path(self.get_ext_fullpath(extension.name)).resolve().parent
        build = Path(self.build_temp).resolve() / "cmake"
        off = [f"-DSTRUCTURE_INGEST_{part}=OFF" for part in ("PROGRAM", "TESTS", "INSTALL")]
        subprocess.run(
            ["cmake", "-S", Path(__file__).resolve().parent, "-B", build, "-G", "Ninja",
             "-DCMAKE_UNITY_BUILD=ON", *off,
             "-DSTRUCTURE_INGEST_PYTHON_PACKAGE=ON", f"-DPython_EXECUTABLE={sys.executable}",
             f"-DSTRUCTURE_INGEST_PACKAGE_FOLDER={folder}"],
            check=True, env={"CMAKE_BUILD_TYPE": "Release", **os.environ})
        subprocess.run(["cmake", "--build", build, "-t", "structure_ingest_python"], check=True)


setup(ext_modules=[Extension("structure_ingest._core", sources=[])],
      cmdclass={"build_ext": BuildWithCMake})
