"""Builds the wheel: CMake builds the extension and the libraries that it needs, which go into the package beside it.

TZM_BUILD_DIR names a build of CMake that is there already, such as build/release, in place of one of its own.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py

ROOT = pathlib.Path(__file__).parent.resolve()


def version():
    return re.search(r"VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text().split("project(", 1)[1]).group(1)


class BuildWithCMake(build_py):
    def run(self):
        super().run()
        build = os.environ.get("TZM_BUILD_DIR") or ROOT / "build" / "wheel"
        if not os.environ.get("TZM_BUILD_DIR"):
            options = ["-DCMAKE_BUILD_TYPE=Release", "-DTZM_BUILD_APPS=OFF", "-DTZM_BUILD_PYTHON=ON"]
            subprocess.run(
                ["cmake", "-S", ROOT, "-B", build, f"-DPython3_EXECUTABLE={sys.executable}", *options], check=True
            )
            subprocess.run(["cmake", "--build", build, "-j", str(os.cpu_count() or 1)], check=True)
        tree = pathlib.Path(build).resolve() / "wheel-tree"
        shutil.rmtree(tree, ignore_errors=True)
        for component in ("Python", "Core", "Formats", "Runtime"):
            subprocess.run(["cmake", "--install", build, "--prefix", tree, "--component", component], check=True)
        package = pathlib.Path(self.build_lib).resolve() / "tzm"
        shutil.copytree(tree / "lib" / "python3" / "dist-packages" / "tzm", package, dirs_exist_ok=True)
        for name in ("tzmcore", "tzmformats", "tzmvti"):  # by the names that the loader looks for
            for library in tree.rglob(f"lib{name}.so.*"):
                if library.is_symlink():
                    shutil.copy2(library, package / library.name)


class Binary(Distribution):
    def has_ext_modules(self):
        return True


setup(version=version(), cmdclass={"build_py": BuildWithCMake}, distclass=Binary)
