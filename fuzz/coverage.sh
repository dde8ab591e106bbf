#!/usr/bin/env bash
# Line coverage of the library's parsers by the fuzz corpora: builds the targets with llvm-cov
# instrumentation in COVERAGE_DIR, replays every corpus input of FUZZ_BUILD_DIR/fuzz-corpus/
# (the corpora fuzz/run.sh grew) and prints llvm-cov's report for the parser files.
set -euo pipefail

if [ $# -ne 2 ]; then
  echo "usage: fuzz/coverage.sh FUZZ_BUILD_DIR COVERAGE_DIR" >&2
  exit 2
fi
SRC_DIR=$(cd "$(dirname "$0")/.." && pwd)
CORPORA=$(cd "$1" && pwd)/fuzz-corpus
COV_DIR=$2
LLVM_BIN=$(dirname "$(readlink -f "$(command -v clang++)")")

CXX=clang++ CC=clang cmake -S "$SRC_DIR" -B "$COV_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTRAVUNE_BUILD_TESTS=OFF -DTRAVUNE_BUILD_FUZZ=ON -DTRAVUNE_FUZZ_COVERAGE=ON >/dev/null
COV_DIR=$(cd "$COV_DIR" && pwd)
nice -n 10 cmake --build "$COV_DIR" -j 2 --target fuzz_source_desc fuzz_keyword_desc fuzz_qulix fuzz_conversion \
  fuzz_dfa fuzz_tvn fuzz_bindesc wrtblk32 >/dev/null

rm -rf "$COV_DIR/profiles"
mkdir -p "$COV_DIR/profiles"
objects=()
for corpus in "$CORPORA"/*/; do
  target=$(basename "$corpus")
  binary="$COV_DIR/fuzz/fuzz_$target"
  [ -x "$binary" ] || continue
  LLVM_PROFILE_FILE="$COV_DIR/profiles/$target.profraw" ASAN_OPTIONS=detect_leaks=0 LD_LIBRARY_PATH="$COV_DIR" \
    nice -n 10 "$binary" -runs=0 -timeout=30 "$corpus" >/dev/null 2>&1
  objects+=(-object "$binary")
done
# The driver library is a shared object of its own, instrumented like the rest.
objects+=(-object "$COV_DIR/drivers/qulix/libqulix.so")
"$LLVM_BIN/llvm-profdata" merge -sparse "$COV_DIR"/profiles/*.profraw -o "$COV_DIR/profiles/all.profdata"
"$LLVM_BIN/llvm-cov" report "${objects[@]:1}" -instr-profile="$COV_DIR/profiles/all.profdata" \
  "$SRC_DIR"/src/source/*.cpp "$SRC_DIR"/src/api/{BinDesc,DfaSession,DfaExports,TvnAcquisition,TvnConversion,TvnApiExports,CvtSession,SourceGuess}.cpp \
  "$SRC_DIR"/drivers/qulix/*.cpp "$SRC_DIR"/src/writer/*.cpp "$SRC_DIR"/src/writer/uff/*.cpp
