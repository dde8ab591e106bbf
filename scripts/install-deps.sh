#!/usr/bin/env bash
# Installs the build tools and libraries Travune needs, only when something is missing.
set -euo pipefail

need=()
command -v cmake >/dev/null || need+=(cmake)
command -v ninja >/dev/null || need+=(ninja-build)
command -v g++ >/dev/null || need+=(g++)
command -v make >/dev/null || need+=(make)
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
[ -f /usr/include/gmock/gmock.h ] || need+=(libgmock-dev)
[ -f /usr/include/benchmark/benchmark.h ] || need+=(libbenchmark-dev)
if [ "${1:-}" = "--fuzz" ]; then
  command -v clang++ >/dev/null || need+=(clang)
  ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a >/dev/null 2>&1 || need+=(libclang-rt-dev)
fi

if [ ${#need[@]} -gt 0 ]; then
  echo "installing: ${need[*]}"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y "${need[@]}"
fi
