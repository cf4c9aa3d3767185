"""Builds the extension with CMake, and nothing else of the tree: pip install --no-build-isolation .

CMake takes its generator, compiler and launcher from the environment as always.
"""

import re
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).parent.resolve()
UNUSED = ("DRIVER", "TOOLS", "TESTS", "BENCHMARKS")


def version() -> str:
    header = (ROOT / "include/ptc/version.h").read_text()
    found = re.search(r'#define PTC_VERSION "(.*)"', header)
    assert found, "include/ptc/version.h has no version"
    return found[1]


class CMakeBuild(build_ext):
    """Has CMake put the extension where setuptools expects it."""

    def build_extension(self, ext: Extension) -> None:
        target = Path(self.get_ext_fullpath(ext.name)).resolve()
        build = Path(self.build_temp).resolve()
        build.mkdir(parents=True, exist_ok=True)
        configure = ["cmake", "-S", str(ROOT), "-B", str(build)]
        configure += [f"-DPTC_BUILD_{part}=OFF" for part in UNUSED]
        configure += [
            "-DPTC_BUILD_PYTHON=ON",
            "-DPTC_INSTALL=OFF",
            "-DPTC_WERROR=OFF",
            "-DCMAKE_UNITY_BUILD=ON",  # half the time
            f"-DCMAKE_BUILD_TYPE={'Debug' if self.debug else 'Release'}",
            f"-DPython3_EXECUTABLE={sys.executable}",
            f"-DPTC_PYTHON_MODULE_FOLDER={target.parent}",
        ]
        subprocess.run(configure, check=True)
        jobs = ["-j", str(self.parallel)] if self.parallel else ["-j"]
        command = ["cmake", "--build", str(build), "--target", "ptc_python", *jobs]
        subprocess.run(command, check=True)


setup(
    version=version(),
    ext_modules=[Extension("ptc._ptc", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
