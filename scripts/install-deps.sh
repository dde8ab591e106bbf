#!/usr/bin/env bash
# Installs the build tools and libraries Travune needs, and the de_DE.UTF-8 locale the tests
# run under, only when something is missing.
set -euo pipefail

sudo_cmd=""
[ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"

need=()
command -v cmake >/dev/null || need+=(cmake)
command -v ninja >/dev/null || need+=(ninja-build)
command -v g++ >/dev/null || need+=(g++)
command -v make >/dev/null || need+=(make)
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
[ -f /usr/include/gmock/gmock.h ] || need+=(libgmock-dev)
[ -f /usr/include/benchmark/benchmark.h ] || need+=(libbenchmark-dev)
command -v locale-gen >/dev/null || need+=(locales)
# The interoperability tests read our files back with the programs users load them into.
command -v octave-cli >/dev/null || need+=(octave)
/usr/bin/python3 -c "import numpy, scipy.io" 2>/dev/null || need+=(python3-numpy python3-scipy)
command -v sox >/dev/null || need+=(sox)
command -v sndfile-info >/dev/null || need+=(sndfile-programs)
# HDF5 output (the writer is built when the library is found) and the Python package with its
# tests: pybind11, h5py to read HDF5 back, Dask for clusters, tqdm bars as progress.
[ -f /usr/include/hdf5/serial/hdf5.h ] || need+=(libhdf5-dev)
[ -f /usr/include/pybind11/pybind11.h ] || need+=(pybind11-dev python3-pybind11)
/usr/bin/python3 -c "import sysconfig, os, sys; sys.exit(not os.path.exists(os.path.join(sysconfig.get_paths()['include'], 'Python.h')))" \
  2>/dev/null || need+=(python3-dev)
for module in h5py:python3-h5py dask:python3-dask distributed:python3-distributed pytest:python3-pytest \
              tqdm:python3-tqdm pandas:python3-pandas setuptools:python3-setuptools pip:python3-pip; do
  /usr/bin/python3 -c "import ${module%%:*}" 2>/dev/null || need+=("${module##*:}")
done
# The benchmark table takes each conversion's peak memory from GNU time.
[ -x /usr/bin/time ] || need+=(time)
# The Windows build: the mingw-w64 cross compilers, widl with the Windows IDL files, and Wine.
if [ "${1:-}" = "--windows" ]; then
  command -v x86_64-w64-mingw32-g++-posix >/dev/null || need+=(g++-mingw-w64-x86-64)
  command -v x86_64-w64-mingw32-widl >/dev/null || need+=(mingw-w64-tools)
  [ -f /usr/include/wine/wine/windows/oaidl.idl ] || need+=(libwine-dev)
  command -v wine >/dev/null || need+=(wine)
  [ -x /usr/lib/wine/wine64 ] || need+=(wine64)
fi
if [ "${1:-}" = "--fuzz" ]; then
  command -v clang++ >/dev/null || need+=(clang)
  ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a >/dev/null 2>&1 || need+=(libclang-rt-dev)
  # fuzz/coverage.sh measures the corpora's line coverage with llvm-profdata and llvm-cov.
  ls /usr/lib/llvm-*/bin/llvm-cov >/dev/null 2>&1 || need+=(llvm)
fi

if [ ${#need[@]} -gt 0 ]; then
  echo "installing: ${need[*]}"
  $sudo_cmd apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y "${need[@]}"
fi

# The tests run once under the C locale and once under de_DE.UTF-8, whose decimal mark is a comma.
has_german_locale() { locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; }
if ! has_german_locale; then
  echo "generating the de_DE.UTF-8 locale"
  if [ -f /etc/locale.gen ]; then
    $sudo_cmd sed -i 's/^# *de_DE.UTF-8/de_DE.UTF-8/' /etc/locale.gen
    $sudo_cmd locale-gen
  fi
  has_german_locale || $sudo_cmd localedef -i de_DE -f UTF-8 de_DE.UTF-8
fi
