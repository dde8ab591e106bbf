#!/usr/bin/env bash
# Checks the export tables of the Windows build (BUILD_DIR holds the DLLs): travune.dll exports
# every conversion, binary-descriptor and Data File Access function and the handle API under its
# own name, qulix.dll its four entries at their ordinals only, wrtblk32.dll its entries by name,
# and travune.dll imports the driver's entries by ordinal.
set -euo pipefail
build=${1:?usage: check-exports.sh BUILD_DIR}
root=$(cd "$(dirname "$0")/../.." && pwd)
objdump=x86_64-w64-mingw32-objdump
failures=0

fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

# Names in a module's export name table, one a line.
export_names() {
  "$objdump" -p "$1" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | sed -n 's/^[[:space:]]*\[ *[0-9]*\] \([A-Za-z0-9_]*\)$/\1/p'
}
# Ordinals a module exports, one a line.
export_ordinals() { "$objdump" -p "$1" | sed -n 's/^[[:space:]]*\[ *[0-9]*\] +base\[ *\([0-9]*\)\].*/\1/p'; }
# Names the public headers declare with their export macros: "TRAVUNE_API(type) name(" in
# travune.h, "WRTBLK32_API type name(" in wrtblk32.h (less the failure injection, which only the
# test build of the block writer has).
library_functions() { sed -n 's/^TRAVUNE_API([^)]*) \([A-Za-z0-9_]*\)(.*/\1/p' "$root/include/travune/travune.h"; }
writer_functions() {
  sed -n 's/^WRTBLK32_API [a-z0-9_]* \([A-Z0-9_]*\)(.*/\1/p' "$root/drivers/wrtblk32/wrtblk32.h" | grep -v INJECTFAILURE
}

expect_names() {
  local module=$1; shift
  local have; have=$(export_names "$build/$module")
  for name in "$@"; do grep -qx "$name" <<<"$have" || fail "$module does not export $name"; done
}

# The functions of the published interface, then everything the header declares.
expect_names travune.dll cvtReadBinDescFile cvtInitDataFile cvtInitDataFileEx cvtSetBinDataBlock \
  cvtConvertBinData cvtCloseDataFile cvtReleaseResources cvtGetNumChansUser cvtGetScanSize cvtGetNumScans \
  cvtGetVersion cvtGetMaxFormats cvtGetFormatById cvtGetFormatByIndex cvtGetFmtFileName \
  cvtSetBinDesc cvtSetScanDesc cvtCvtBinData cvtEndBinDesc cvtCvtBinToUser cvtCvtUserToBin cvtVbAllocBdc \
  cvtVbBuildBdc dfaOpen dfaClose dfaGetAcqInfo dfaGetChanInfo dfaGetData dfaGetLastErrorCode
mapfile -t header_names < <(library_functions)
[ "${#header_names[@]}" -gt 40 ] || fail "travune.h: only ${#header_names[@]} declarations found"
expect_names travune.dll "${header_names[@]}"
mapfile -t writer_names < <(writer_functions)
[ "${#writer_names[@]}" -gt 15 ] || fail "wrtblk32.h: only ${#writer_names[@]} declarations found"
expect_names wrtblk32.dll "${writer_names[@]}"

[ "$(export_ordinals "$build/qulix.dll" | sort -n | tr '\n' ' ')" = "5 170 173 190 " ] ||
  fail "qulix.dll exports ordinals $(export_ordinals "$build/qulix.dll" | tr '\n' ' ')instead of 5 170 173 190"
[ -z "$(export_names "$build/qulix.dll")" ] || fail "qulix.dll exports names: $(export_names "$build/qulix.dll" | tr '\n' ' ')"
imported=$("$objdump" -p "$build/travune.dll" | sed -n '/DLL Name: qulix.dll/,/^$/p' |
  sed -n 's/^[[:space:]]*8000000000000\([0-9a-f]*\)[[:space:]].*/\1/p' | while read -r hex; do echo $((16#$hex)); done |
  sort -n | tr '\n' ' ')
[ "$imported" = "5 170 173 190 " ] || fail "travune.dll imports from qulix.dll: '$imported' instead of ordinals 5 170 173 190"

echo "export tables: travune.dll ${#header_names[@]} declared functions, wrtblk32.dll ${#writer_names[@]}," \
  "qulix.dll ordinals 5 170 173 190; $failures failures"
[ "$failures" -eq 0 ]
