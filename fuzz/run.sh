#!/usr/bin/env bash
# Runs every libFuzzer target of BUILD_DIR for SECONDS seconds each, one after the other at low
# priority, on a corpus kept under BUILD_DIR and seeded from fuzz/corpus/<target>/ and, for the
# acquisition targets, from `travune sample` of every source type (fuzz/pack_seeds.py). Every
# crash, timeout (> FUZZ_TIMEOUT s, default 1), leak or out-of-memory (> 512 MB) input is kept as
# tests/data/fuzz/<target>-<kind>-<cause>-<hash>, and the run then fails. Prints one line per target and adds it
# to BUILD_DIR/fuzz-totals.tsv, the record of every run. FUZZ_JOBS processes share each target's
# corpus (one per core suits a target that must run long).
set -uo pipefail

if [ $# -lt 2 ] || ! [[ "$2" =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: fuzz/run.sh BUILD_DIR SECONDS [TARGET...]   (FUZZ_TIMEOUT: seconds per input, default 1;" \
    "FUZZ_JOBS: processes per target, default 1)" >&2
  exit 2
fi
BUILD_DIR=$(cd "$1" && pwd) || exit 2
SECONDS_PER_TARGET=$2
SRC_DIR=$(cd "$(dirname "$0")/.." && pwd)
REGRESSION_DIR="$SRC_DIR/tests/data/fuzz"
TARGETS=(source_desc keyword_desc qulix conversion dfa tvn bindesc)
[ $# -gt 2 ] && TARGETS=("${@:3}")
TOTALS="$BUILD_DIR/fuzz-totals.tsv"
# Ctrl-C stops the running fuzzers, which then print their totals; this script stays to record them.
trap '' INT

# What the run's log says broke: the sanitizer's error kind, undefined behaviour, a broken
# promise of the interface, or nothing more precise than libFuzzer's own artifact kind.
cause_of() {
  local log=$1 kind
  kind=$(grep -oE 'ERROR: (AddressSanitizer|LeakSanitizer): [a-z-]+' "$log" | head -1 | sed 's/.*: //')
  if [ -z "$kind" ] && grep -q 'runtime error' "$log"; then kind=undefined-behaviour; fi
  if [ -z "$kind" ] && grep -q 'promise broken' "$log"; then kind=broken-promise; fi
  echo "${kind:-unknown}"
}

# Keeps the findings of one target's run as <target>-<artifact kind>-<cause>-<hash>; prints how
# many there were. Rename a kept finding after the fix to say what it broke.
keep_findings() {
  local target=$1 artifacts=$2 log=$3 count=0 file hash name
  for file in "$artifacts"/*; do
    [ -f "$file" ] || continue
    hash=$(sha1sum "$file" | cut -c1-16)
    name="$target-$(basename "$file" | cut -d- -f1)-$(cause_of "$log")-$hash"
    mkdir -p "$REGRESSION_DIR"
    cp "$file" "$REGRESSION_DIR/$name"
    echo "  $(basename "$file") -> tests/data/fuzz/$name" >&2
    count=$((count + 1))
  done
  echo "$count"
}

# The log of one of a target's FUZZ_JOBS processes: <target>.log for a single one.
log_of() {
  local target=$1 job=$2
  if [ "${FUZZ_JOBS:-1}" -eq 1 ]; then echo "$BUILD_DIR/fuzz-logs/$target.log"; else echo "$BUILD_DIR/fuzz-logs/$target.$job.log"; fi
}

# Runs one target in FUZZ_JOBS processes side by side (default 1) on the one corpus, each with
# its own log and artifacts; 0 when they ran their time without a finding. Their executions add up.
run_target() {
  local target=$1
  local binary="$BUILD_DIR/fuzz/fuzz_$target"
  local corpus="$BUILD_DIR/fuzz-corpus/$target"
  local artifacts="$BUILD_DIR/fuzz-artifacts/$target"
  local jobs=${FUZZ_JOBS:-1} job
  if [ ! -x "$binary" ]; then
    echo "fuzz: $binary is missing; build with -DTRAVUNE_BUILD_FUZZ=ON (make fuzz)" >&2
    return 1
  fi
  rm -rf "$artifacts"
  mkdir -p "$corpus" "$BUILD_DIR/fuzz-logs"
  cp -n "$SRC_DIR/fuzz/corpus/$target/"* "$corpus/" 2>/dev/null
  cp -n "$SAMPLE_SEEDS/$target/"* "$corpus/" 2>/dev/null
  local dict=()
  [ "$target" = qulix ] || [ "$target" = bindesc ] || dict=(-dict="$SRC_DIR/fuzz/keyword.dict")
  local started=$SECONDS pids=()
  # Once a fuzzer's resident size passes half its limit, libFuzzer empties the sanitizer's
  # quarantine every second, and every large block freed from it unmaps its shadow: two system
  # calls and a TLB flush on every core each, half of a target's time after half an hour. The
  # quarantine is kept at 128 MB instead, which bounds the size without the purges.
  local asan_options="quarantine_size_mb=128${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
  for ((job = 1; job <= jobs; job++)); do
    mkdir -p "$artifacts/$job"
    # The ME'scope writer loads the block-writer stand-in built beside the library.
    ASAN_OPTIONS="$asan_options" LD_LIBRARY_PATH="$BUILD_DIR${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" nice -n 10 "$binary" "$corpus" "${dict[@]}" -max_total_time="$SECONDS_PER_TARGET" -timeout="${FUZZ_TIMEOUT:-1}" \
      -rss_limit_mb=1024 -malloc_limit_mb=512 -purge_allocator_interval=-1 -max_len=16384 -artifact_prefix="$artifacts/$job/" \
      -print_final_stats=1 >"$(log_of "$target" "$job")" 2>&1 &
    pids+=($!)
  done
  local status=0 found=0 executions=0 slowest=0 log n
  for ((job = 1; job <= jobs; job++)); do
    log=$(log_of "$target" "$job")
    # A fuzzer stopped by Ctrl-C exits with 72 after printing its totals: not a failure.
    wait "${pids[job - 1]}" || { n=$?; grep -q 'libFuzzer: run interrupted' "$log" || status=$n; }
    found=$((found + $(keep_findings "$target" "$artifacts/$job" "$log")))
    n=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    executions=$((executions + ${n:-0}))
    n=$(sed -n 's/^stat::slowest_unit_time_sec: *//p' "$log" | tail -1)
    [ "${n:-0}" -gt "$slowest" ] && slowest=$n
  done
  printf '%s\t%s\t%s\t%s\t%s\n' "$(date -u +%FT%TZ)" "$target" "$executions" $((SECONDS - started)) \
    "$found" >>"$TOTALS"
  echo "fuzz: $target: $executions executions in $((SECONDS - started))s ($jobs process(es)), slowest input ${slowest}s," \
    "$found new finding(s) (log: $(log_of "$target" 1))"
  if [ "$status" -ne 0 ] || [ "$found" -ne 0 ]; then
    echo "fuzz: $target FAILED (exit $status); the report:" >&2
    for ((job = 1; job <= jobs; job++)); do
      grep -E -A40 '^==[0-9]+==ERROR|runtime error|promise broken|ALARM|deadly signal|out-of-memory' \
        "$(log_of "$target" "$job")" | head -60 >&2
    done
    return 1
  fi
  return 0
}

# Seeds from the samples of every source type, made afresh with the travune tool of BUILD_DIR.
SAMPLE_SEEDS="$BUILD_DIR/fuzz-sample-seeds"
rm -rf "$SAMPLE_SEEDS"
if ! /usr/bin/python3 "$SRC_DIR/fuzz/pack_seeds.py" "$BUILD_DIR/travune" "$SAMPLE_SEEDS"; then
  echo "fuzz: the sample seeds could not be made with $BUILD_DIR/travune" >&2
  exit 1
fi

failed=0
for target in "${TARGETS[@]}"; do
  run_target "$target" || failed=1
done
if [ "$failed" -ne 0 ]; then
  echo "fuzz: findings were kept under tests/data/fuzz/; see the logs in $BUILD_DIR/fuzz-logs" >&2
  exit 1
fi
echo "fuzz: no findings"
