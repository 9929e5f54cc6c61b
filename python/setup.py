"""Builds the libraries with CMake and puts them into the wheel, which suits every Python 3 of the machine's kind.

VELMATHS_BUILD names a folder where they are built already.
"""
import os
import re
import shutil
import subprocess
import tempfile

from setuptools import setup
from setuptools.command.build_py import build_py
from setuptools.dist import Distribution
from wheel.bdist_wheel import bdist_wheel

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
# Built file, and its place in the package: libvel looks for the modules in a folder beside itself.
LIBRARIES = {"lib/libvel.so": "libvel.so", "_binMAC/VELMaths.so": "_binMAC/VELMaths.so",
             "_binMAC/CollectionsEx.so": "_binMAC/CollectionsEx.so"}


def version():
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as f:
        return re.search(r"project\(VELMaths VERSION ([0-9.]+)", f.read())[1]


def build_libraries(folder):
    subprocess.run(["cmake", "-S", ROOT, "-B", folder, "-DCMAKE_BUILD_TYPE=Release", "-DVEL_BUILD_TESTS=OFF"], check=True)
    subprocess.run(["cmake", "--build", folder, "--parallel", str(os.cpu_count() or 1),
                    "--target", "vel_c", "VELMaths", "CollectionsEx"], check=True)


class BuildWithLibraries(build_py):
    def run(self):
        super().run()
        built = os.environ.get("VELMATHS_BUILD")
        with tempfile.TemporaryDirectory() as scratch:
            if not built:
                build_libraries(scratch)
            target = os.path.join(self.build_lib, "velmaths", "_lib")
            os.makedirs(os.path.join(target, "_binMAC"), exist_ok=True)
            for name, place in LIBRARIES.items():
                shutil.copy(os.path.realpath(os.path.join(built or scratch, name)), os.path.join(target, place))


class WithLibraries(Distribution):
    def has_ext_modules(self):
        return True


class WheelOfEveryPython(bdist_wheel):
    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


setup(version=version(), distclass=WithLibraries, cmdclass={"build_py": BuildWithLibraries,
                                                            "bdist_wheel": WheelOfEveryPython})
