"""Builds the travune package with setuptools: the compiled module against libtravune, found in
this order: TRAVUNE_PREFIX (an install prefix), a library built in this source tree (make or
make python), pkg-config's travune.pc. Use: pip install --no-build-isolation ./python"""

import os
import shlex
import subprocess

import pybind11
from setuptools import Extension, setup

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
IN_TREE_BUILDS = ("build/release", "build/pymod")
SYSTEM_LIBRARY_DIRS = ("/usr/lib", "/usr/lib64", "/lib", "/usr/lib/x86_64-linux-gnu")


def from_prefix(prefix):
    library = next((os.path.join(prefix, d) for d in ("lib", "lib64", "lib/x86_64-linux-gnu")
                    if os.path.exists(os.path.join(prefix, d, "libtravune.so"))), os.path.join(prefix, "lib"))
    return [os.path.join(prefix, "include")], [library]


def from_source_tree():
    for build in IN_TREE_BUILDS:
        if os.path.exists(os.path.join(ROOT, build, "libtravune.so")):
            return [os.path.join(ROOT, "include")], [os.path.join(ROOT, build)]
    return None


def from_pkg_config():
    try:
        flags = subprocess.run(["pkg-config", "--cflags-only-I", "--libs-only-L", "travune"], check=True,
                               capture_output=True, text=True).stdout
    except (OSError, subprocess.CalledProcessError):
        return [], []
    words = shlex.split(flags)
    return [w[2:] for w in words if w.startswith("-I")], [w[2:] for w in words if w.startswith("-L")]


def library_location():
    prefix = os.environ.get("TRAVUNE_PREFIX")
    if prefix:
        return from_prefix(prefix)
    return from_source_tree() or from_pkg_config()


include_dirs, library_dirs = library_location()
# A library outside the linker's usual places is found at run time through the module's rpath.
runtime_dirs = [d for d in library_dirs if os.path.abspath(d) not in SYSTEM_LIBRARY_DIRS]

extension = Extension(
    "travune._travune",
    sources=[os.path.join("src", name) for name in ("Module.cpp", "PyAcquisition.cpp", "Status.cpp")],
    include_dirs=[pybind11.get_include()] + include_dirs,
    library_dirs=library_dirs,
    runtime_library_dirs=runtime_dirs,
    libraries=["travune"],
    extra_compile_args=["-std=c++20", "-fvisibility=hidden"],
    language="c++",
)

setup(ext_modules=[extension], packages=["travune"])
