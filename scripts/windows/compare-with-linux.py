#!/usr/bin/python3
"""Converts every sample acquisition into every target format twice, with the Linux travune and
with travune.exe under Wine, and compares the files byte for byte.

Both runs are given the same relative paths from a directory of their own, so the file names
that Snap-Master and UFF 58 headers carry read the same. The only bytes allowed to differ are:
- the conversion-time stamps that the DIAdem, DASYLab, Snap-Master and UFF 58 writers take from
  the clock (the runs happen seconds apart and the tool has no way to fix the clock): a differing
  run passes when, in both files, it lies inside a date or time of day written as text, or inside
  a 32-bit little-endian count of seconds since 1970 within a day of now;
- path separators inside those file names, '/' on Linux where Windows joins with '\\'.
Every such field is listed; anything else is a failure.

Usage: compare-with-linux.py LINUX_TRAVUNE WINDOWS_BUILD_DIR WORK_DIR
"""
import os
import re
import shutil
import struct
import subprocess
import sys
import time

SAMPLES = [
    ("morvane", []), ("tarquil", []), ("tarquil-packed", ["--type", "tarquil", "--packed"]),
    ("brenlow", []), ("brenlow-stamps", ["--type", "brenlow", "--stamps"]), ("vexmoor", []), ("threnix", []),
    ("quillon", []), ("celdrin", []), ("celdrin-stamps", ["--type", "celdrin", "--stamps"]),
]
FORMATS = ["DIAdem", "ASCII", "DADiSP", "DASYLab", "Matlab", "Halvard", "SM", "UnvASCII", "UnvBinary", "Wav",
           "MEscope", "Pernix", "Float32", "Text"]
CLOCK_FORMATS = {"DIAdem", "DASYLab", "SM", "UnvASCII", "UnvBinary"}
# Dates and times of day as the writers print them: 09:08:07, 03/15/24, 15-MAR-24, 2024-03-15.
CLOCK_TEXT = re.compile(rb"\d{1,2}:\d{2}:\d{2}(\.\d+)?|\d{1,4}[-/.]\d{1,2}[-/.]\d{1,4}|\d{1,2}-[A-Za-z]{3}-\d{2,4}")
SECONDS_OF_A_DAY = 86400


def run(command, cwd=None):
    result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            cwd=cwd)
    if result.returncode != 0:
        sys.exit("failed (%d): %s\n%s" % (result.returncode, " ".join(command), result.stdout.decode(errors="replace")))


def make_samples(linux_travune, directory):
    os.makedirs(directory)
    descriptions = []
    for name, options in SAMPLES:
        type_options = options if options else ["--type", name]
        run([linux_travune, "sample", "--scans", "700", *type_options, os.path.join(directory, name)])
        extension = ".HX$" if "celdrin" in name else ".DSC"
        descriptions.append(os.path.join(directory, name + extension))
    return descriptions


# Converts into OUT_ROOT/FORMAT, run from OUT_ROOT with paths relative to it.
def convert_all(descriptions, out_root, command):
    os.makedirs(out_root)
    relative = [os.path.relpath(d, out_root) for d in descriptions]
    for fmt in FORMATS:
        os.makedirs(os.path.join(out_root, fmt))
        run([*command, "convert", *relative, "--to", fmt, "-d", fmt, "-q"], cwd=out_root)


def clock_text_covers(data, start, end):
    window_start = max(0, start - 32)
    for match in CLOCK_TEXT.finditer(data, window_start, min(len(data), end + 32)):
        if match.start() <= start and end <= match.end():
            return match.group().decode()
    return None


def clock_seconds_cover(data_a, data_b, start, end):
    now = time.time()
    for first in range(max(0, end - 4), start + 1):
        if first + 4 > len(data_a):
            continue
        a, = struct.unpack_from("<I", data_a, first)
        b, = struct.unpack_from("<I", data_b, first)
        if abs(a - now) < SECONDS_OF_A_DAY and abs(b - now) < SECONDS_OF_A_DAY:
            return "seconds %d / %d" % (a, b)
    return None


def differing_runs(a, b):
    start = None
    for i in range(len(a)):
        if a[i] != b[i] and start is None:
            start = i
        elif a[i] == b[i] and start is not None:
            yield start, i
            start = None
    if start is not None:
        yield start, len(a)


def compare(fmt, name, linux_file, windows_file, clock_fields):
    with open(linux_file, "rb") as f:
        a = f.read()
    with open(windows_file, "rb") as f:
        b = f.read()
    if a == b:
        return None
    if len(a) != len(b):
        return "%s: %d bytes on Linux, %d on Windows" % (name, len(a), len(b))
    for start, end in differing_runs(a, b):
        field = None
        if set(a[start:end]) == {ord("/")} and set(b[start:end]) == {ord("\\")}:
            clock_fields.append("%s %s at byte %d: path separator" % (fmt, name, start))
            continue
        if fmt in CLOCK_FORMATS:
            text_a, text_b = clock_text_covers(a, start, end), clock_text_covers(b, start, end)
            field = "%s / %s" % (text_a, text_b) if text_a and text_b else clock_seconds_cover(a, b, start, end)
        if field is None:
            return "%s: bytes %d to %d differ (%r / %r)" % (name, start, end, a[start:end], b[start:end])
        clock_fields.append("%s %s at byte %d: clock %s" % (fmt, name, start, field))
    return None


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    linux_travune, windows_build, work = os.path.abspath(sys.argv[1]), sys.argv[2], sys.argv[3]
    shutil.rmtree(work, ignore_errors=True)
    descriptions = make_samples(linux_travune, os.path.join(work, "samples"))
    windows_travune = os.path.join(windows_build, "travune.exe")
    convert_all(descriptions, os.path.join(work, "linux"), [linux_travune])
    convert_all(descriptions, os.path.join(work, "windows"), ["wine", os.path.abspath(windows_travune)])
    failures, clock_fields, compared = [], [], 0
    for fmt in FORMATS:
        linux_dir, windows_dir = os.path.join(work, "linux", fmt), os.path.join(work, "windows", fmt)
        linux_names, windows_names = sorted(os.listdir(linux_dir)), sorted(os.listdir(windows_dir))
        if linux_names != windows_names:
            failures.append("%s: files %s on Linux, %s on Windows" % (fmt, linux_names, windows_names))
            continue
        for name in linux_names:
            compared += 1
            failure = compare(fmt, name, os.path.join(linux_dir, name), os.path.join(windows_dir, name), clock_fields)
            if failure:
                failures.append("%s %s" % (fmt, failure))
    for field in clock_fields:
        print("differs as allowed: " + field)
    for failure in failures:
        print("FAILED: " + failure)
    print("end to end: %d files of %d acquisitions in %d formats compared, %d clock or separator fields differ, "
          "%d failures"
          % (compared, len(descriptions), len(FORMATS), len(clock_fields), len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
