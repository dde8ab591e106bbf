#!/usr/bin/env bash
# Runs every libFuzzer target of BUILD_DIR for SECONDS seconds each, on a corpus kept under
# BUILD_DIR and seeded from fuzz/corpus/<target>/. Every crash, timeout, leak or out-of-memory
# input is kept as tests/data/fuzz/<target>-<hash>, and the run then fails.
set -uo pipefail

if [ $# -ne 2 ] || ! [[ "$2" =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: fuzz/run.sh BUILD_DIR SECONDS" >&2
  exit 2
fi
BUILD_DIR=$(cd "$1" && pwd) || exit 2
SECONDS_PER_TARGET=$2
SRC_DIR=$(cd "$(dirname "$0")/.." && pwd)
REGRESSION_DIR="$SRC_DIR/tests/data/fuzz"
TARGETS=(source_desc keyword_desc qulix)

# Keeps the findings of one target's run; prints how many there were.
keep_findings() {
  local target=$1 artifacts=$2 count=0 file hash
  for file in "$artifacts"/*; do
    [ -f "$file" ] || continue
    hash=$(sha1sum "$file" | cut -c1-16)
    mkdir -p "$REGRESSION_DIR"
    cp "$file" "$REGRESSION_DIR/$target-$hash"
    echo "  $(basename "$file") -> tests/data/fuzz/$target-$hash" >&2
    count=$((count + 1))
  done
  echo "$count"
}

# Runs one target; 0 when it ran its time without a finding.
run_target() {
  local target=$1
  local binary="$BUILD_DIR/fuzz/fuzz_$target"
  local corpus="$BUILD_DIR/fuzz-corpus/$target"
  local artifacts="$BUILD_DIR/fuzz-artifacts/$target"
  local log="$BUILD_DIR/fuzz-logs/$target.log"
  if [ ! -x "$binary" ]; then
    echo "fuzz: $binary is missing; build with -DTRAVUNE_BUILD_FUZZ=ON (make fuzz)" >&2
    return 1
  fi
  rm -rf "$artifacts"
  mkdir -p "$corpus" "$artifacts" "$(dirname "$log")"
  cp -n "$SRC_DIR/fuzz/corpus/$target/"* "$corpus/" 2>/dev/null
  local dict=()
  [ "$target" = qulix ] || dict=(-dict="$SRC_DIR/fuzz/keyword.dict")
  echo "fuzz: $target for ${SECONDS_PER_TARGET}s (log: $log)"
  "$binary" "$corpus" "${dict[@]}" -max_total_time="$SECONDS_PER_TARGET" -timeout=10 -rss_limit_mb=2048 \
    -max_len=8192 -artifact_prefix="$artifacts/" -print_final_stats=1 >"$log" 2>&1
  local status=$?
  local found
  found=$(keep_findings "$target" "$artifacts")
  if [ "$status" -ne 0 ] || [ "$found" -ne 0 ]; then
    echo "fuzz: $target FAILED (exit $status, $found finding(s)); the report:" >&2
    grep -E -A40 '^==[0-9]+==ERROR|runtime error|promise broken|ALARM|deadly signal' "$log" | head -60 >&2
    return 1
  fi
  grep -E '^stat::number_of_executed_units|^#[0-9]+ *DONE' "$log" | tail -2
  return 0
}

failed=0
for target in "${TARGETS[@]}"; do
  run_target "$target" || failed=1
done
if [ "$failed" -ne 0 ]; then
  echo "fuzz: findings were kept under tests/data/fuzz/; see the logs in $BUILD_DIR/fuzz-logs" >&2
  exit 1
fi
echo "fuzz: no findings"
