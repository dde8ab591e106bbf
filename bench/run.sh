#!/usr/bin/env bash
# Runs the conversion benchmarks of BUILD_DIR (built by `make bench`) and compares converting
# the large acquisition with copying its raw file. Builds nothing. The acquisition (16 Morvane
# channels, 1 GiB of raw data) is generated once by the travune tool into $TRAVUNE_BENCH_DIR
# (default BUILD_DIR/bench-data) and kept there for later runs.
set -euo pipefail

if [ $# -ne 1 ]; then
  echo "usage: bench/run.sh BUILD_DIR" >&2
  exit 2
fi
BUILD_DIR=$(cd "$1" && pwd)
TOOL="$BUILD_DIR/travune"
BENCH="$BUILD_DIR/bench/travune_bench"
DATA_DIR="${TRAVUNE_BENCH_DIR:-$BUILD_DIR/bench-data}"

# The tool's 16-channel Morvane set: 15 one-word channels and an RTD of four words per scan.
CHANNELS=16
DESC_BYTES=$((32 + 56 * CHANNELS))
SCAN_BYTES=38
SCANS=$(((1073741824 + SCAN_BYTES - 1) / SCAN_BYTES))
RAW_BYTES=$((SCANS * SCAN_BYTES))
FLOAT_BYTES=$((SCANS * CHANNELS * 4))
MARGIN_BYTES=$((64 << 20))
PREFIX="$DATA_DIR/morvane16-$SCANS"

fail() {
  echo "bench: $*" >&2
  exit 1
}

file_size() { stat -c %s "$1" 2>/dev/null || echo -1; }

acquisition_present() {
  [ "$(file_size "$PREFIX.DSC")" -eq "$DESC_BYTES" ] && [ "$(file_size "$PREFIX.bin")" -eq "$RAW_BYTES" ]
}

# Room for the raw floats and the copy, and for the acquisition when it must be written first.
check_free_space() {
  local needed=$((FLOAT_BYTES + RAW_BYTES + MARGIN_BYTES)) available
  acquisition_present || needed=$((needed + RAW_BYTES))
  available=$(df -P -B1 "$DATA_DIR" | awk 'NR == 2 { print $4 }')
  if [ "$available" -lt "$needed" ]; then
    fail "$DATA_DIR has $((available >> 20)) MiB free, the benchmark needs $((needed >> 20)) MiB" \
      "(raw data, raw floats, a copy of the raw data); set TRAVUNE_BENCH_DIR to a roomier place"
  fi
}

generate_acquisition() {
  acquisition_present && return
  echo "bench: writing $PREFIX.DSC + .bin ($SCANS scans, $((RAW_BYTES >> 20)) MiB)"
  "$TOOL" sample --type morvane --chans "$CHANNELS" --scans "$SCANS" "$PREFIX" >/dev/null
  acquisition_present || fail "the tool wrote a description of $(file_size "$PREFIX.DSC") bytes and" \
    "$(file_size "$PREFIX.bin") raw bytes, expected $DESC_BYTES and $RAW_BYTES: its 16-channel Morvane set changed"
}

# Reads the file once so that it is in the page cache (caches cannot be dropped here).
warm() { cat "$1" >/dev/null; }

# Prints the seconds cp takes to copy the raw data file within the data directory.
time_copy() {
  local copy="$DATA_DIR/copy-of-raw.bin" start end
  warm "$PREFIX.bin"
  start=$(date +%s%N)
  cp "$PREFIX.bin" "$copy"
  end=$(date +%s%N)
  rm -f "$copy"
  awk -v ns=$((end - start)) 'BEGIN { printf "%.6f\n", ns / 1e9 }'
}

summarize() {
  python3 - "$1" "$2" "$RAW_BYTES" <<'PY'
import json, sys
results, copy_seconds, raw_bytes = sys.argv[1], float(sys.argv[2]), int(sys.argv[3])
runs = [b for b in json.load(open(results))["benchmarks"] if b["name"].startswith("ConvertMorvaneToFloats/large")]
if not runs or any(b.get("error_occurred") for b in runs):
    sys.exit("bench: the large conversion failed: " + (runs[0].get("error_message", "") if runs else "no result"))
conversion_mb = runs[0]["raw_MB"]
copy_mb = raw_bytes / 1e6 / copy_seconds
print("summary (MB = 10^6 bytes; raw file read once before each measurement to warm the page cache,")
print("         caches cannot be dropped here; neither cp nor the conversion waits for the disk):")
print(f"  conversion to raw floats  {conversion_mb:10.1f} MB/s of raw data   {runs[0]['samples'] / 1e6:8.1f} M samples/s")
print(f"  cp of the raw file        {copy_mb:10.1f} MB/s")
print(f"  conversion / cp           {conversion_mb / copy_mb:10.3f}")
PY
}

[ -x "$TOOL" ] || fail "$TOOL is missing; build first (make bench)"
[ -x "$BENCH" ] || fail "$BENCH is missing; build with -DTRAVUNE_BUILD_BENCH=ON (make bench)"
command -v python3 >/dev/null || fail "python3 is needed for the summary"
mkdir -p "$DATA_DIR"
check_free_space
generate_acquisition
results="$DATA_DIR/results.json"
warm "$PREFIX.bin"
"$BENCH" --acquisition="$PREFIX" --benchmark_out="$results" --benchmark_out_format=json
copy_seconds=$(time_copy)
summarize "$results" "$copy_seconds"
