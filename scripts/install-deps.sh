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
