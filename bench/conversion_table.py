#!/usr/bin/python3
"""The conversion table of `make bench`: every target format from every benchmark source through
`travune convert`, against cp, cat, dd and numpy in the same run, written to bench/RESULTS.md.

usage: conversion_table.py BUILD_DIR [--linearity]

Environment: BENCH_MB (raw MB of the binary-target acquisitions, default 1024), BENCH_TEXT_MB
(of the text-target ones, default 64), BENCH_RUNS (best of, default 3), BENCH_MAX_RUNS (rounds taken
at most while a measure's best has not been met twice, default 6), TRAVUNE_BENCH_DIR
(where the acquisitions go, default BUILD_DIR/bench-data), BENCH_OUT_DIR (where outputs and
copies go, default a directory in /dev/shm: on tmpfs no writer is slowed down by the disk
writing back what an earlier one wrote), BENCH_RESULTS (the Markdown file written, default
bench/RESULTS.md beside this script).
"""
import os
import platform
import re
import shutil
import subprocess
import sys
import time

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
CHANNELS = 16
# Text targets; every other target format is binary (so one added later is measured as binary).
TEXT_FORMATS = {"ASCII", "Text", "Halvard", "UnvASCII"}
# Written through the block-writer library, which holds the whole block in memory until it
# writes its text file: measured on the text-sized acquisitions, with no target.
LIBRARY_FORMATS = {"MEscope"}
# A format that writes no data file of its own has nothing to compare with a copy.
SKIPPED_FORMATS = {"Pernix"}
# (name, travune sample options, data-file extension, description extension)
SOURCES = [
    ("Morvane", ["--type", "morvane"], "bin", "DSC"),
    ("Tarquil packed", ["--type", "tarquil", "--packed"], "bin", "DSC"),
    ("Brenlow", ["--type", "brenlow"], "bin", "DSC"),
    ("Celdrin", ["--type", "celdrin"], "hxt", "HX$"),
]
MB = 1e6


def run_measured(argv):
    """Runs argv under /usr/bin/time; returns (seconds, peak RSS in KiB) of the child, failing
    loudly on an error. (A child forked from this process would count its pages in its peak.)"""
    report = os.path.join(os.environ.get("TMPDIR", "/tmp"), f"bench-rss-{os.getpid()}")
    start = time.perf_counter()
    child = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", report, *argv], stdout=subprocess.DEVNULL,
                           stderr=subprocess.PIPE)
    seconds = time.perf_counter() - start
    if child.returncode != 0:
        sys.exit(f"bench: {' '.join(argv)} failed: {child.stderr.decode(errors='replace')}")
    with open(report) as f:
        rss = int(f.read().split()[-1])
    os.remove(report)
    return seconds, rss


def best_of(runs, measure):
    """The fastest of runs measurements: (seconds, peak RSS KiB)."""
    return min((measure() for _ in range(runs)), key=lambda r: r[0])


def warm(path):
    with open(path, "rb") as f:
        while f.read(1 << 24):
            pass


def remove_dir_contents(path):
    shutil.rmtree(path, ignore_errors=True)
    os.makedirs(path)


def dir_bytes(path):
    return sum(os.path.getsize(os.path.join(path, n)) for n in os.listdir(path))


def largest_file(path):
    return max((os.path.join(path, n) for n in os.listdir(path)), key=os.path.getsize)


class Tool:
    def __init__(self, build_dir):
        self.path = os.path.join(build_dir, "travune")
        if not os.access(self.path, os.X_OK):
            sys.exit(f"bench: {self.path} is missing; build first (make bench)")

    def target_formats(self):
        """Short names of the target formats the tool's registry lists, in its order."""
        listing = subprocess.run([self.path, "formats"], check=True, capture_output=True, text=True).stdout
        targets = listing.split("Target formats", 1)[1]
        return [m.group(1) for m in re.finditer(r"^\s+\d+\s+(\S+)\s.*target", targets, re.M)]

    def sample(self, options, prefix, scans):
        subprocess.run([self.path, "sample", *options, "--chans", str(CHANNELS), "--scans", str(scans), "--force",
                        prefix], check=True, stdout=subprocess.DEVNULL)

    def convert(self, desc, fmt, out_dir, extra=()):
        return run_measured([self.path, "convert", desc, "--to", fmt, "-d", out_dir, "-q", *extra])


class Acquisition:
    """A benchmark acquisition of about raw_mb MB written by the tool (kept for later runs)."""

    def __init__(self, tool, data_dir, source, raw_mb):
        self.name, options, data_ext, desc_ext = source
        stem = self.name.split()[0].lower() + ("-packed" if "--packed" in options else "")
        probe = os.path.join(data_dir, f"{stem}-probe")
        tool.sample(options, probe, 1000)
        self.scan_bytes = os.path.getsize(f"{probe}.{data_ext}") / 1000
        self.scans = int(raw_mb * MB / self.scan_bytes)
        prefix = os.path.join(data_dir, f"{stem}-{self.scans}")
        self.desc, self.data = f"{prefix}.{desc_ext}", f"{prefix}.{data_ext}"
        if not (os.path.exists(self.desc) and os.path.getsize(self.data) == int(self.scans * self.scan_bytes)):
            print(f"bench: writing {self.name}, {self.scans} scans", flush=True)
            tool.sample(options, prefix, self.scans)
        self.raw_bytes = os.path.getsize(self.data)

    def samples(self):
        return self.scans * CHANNELS


# numpy equivalents: read the raw data in chunks, scale (m * x + b), write in the target's size.
CHUNK_SCANS = 1 << 18


def raw_chunks(acq):
    """Raw samples of acq as numbers, CHUNK_SCANS scans at a time, CHANNELS columns each."""
    scan_bytes = int(round(acq.scan_bytes))
    with open(acq.data, "rb") as f:
        while True:
            raw = np.fromfile(f, dtype=np.uint8, count=CHUNK_SCANS * scan_bytes)
            if raw.size == 0:
                return
            raw = raw[: raw.size - raw.size % scan_bytes].reshape(-1, scan_bytes)
            if scan_bytes == 2 * CHANNELS * 3 // 4:  # 12-bit samples, two in three bytes
                b = raw.reshape(-1, 3).astype(np.uint16)
                words = np.empty((b.shape[0], 2), np.uint16)
                words[:, 0] = b[:, 0] | ((b[:, 1] & 0xF) << 8)
                words[:, 1] = (b[:, 1] >> 4) | (b[:, 2] << 4)
                yield words.reshape(-1, CHANNELS)
            elif scan_bytes >= 4 * CHANNELS:
                yield raw[:, : 4 * CHANNELS].copy().view("<f4")
            else:
                yield raw[:, : 2 * CHANNELS].copy().view("<u2")


def numpy_binary(acq, dtype, out_path):
    m = np.linspace(0.5, 2.0, CHANNELS)
    b = np.linspace(-1.0, 1.0, CHANNELS)
    with open(out_path, "wb") as out:
        for x in raw_chunks(acq):
            (x * m + b).astype(dtype).tofile(out)


def numpy_text(acq, out_path):
    m = np.linspace(0.5, 2.0, CHANNELS)
    b = np.linspace(-1.0, 1.0, CHANNELS)
    with open(out_path, "wb") as out:
        for x in raw_chunks(acq):
            np.savetxt(out, x * m + b, fmt="% .4e", delimiter="\t", newline="\r\n")


def timed(fn, *args):
    start = time.perf_counter()
    fn(*args)
    return time.perf_counter() - start


def timed_and_removed(target, nbytes, fn, *args):
    prime_pages(target, nbytes)
    seconds = timed(fn, *args)
    os.remove(target)
    return seconds


def copy_commands(reference, scratch):
    """cp, cat and dd of reference into scratch: (argv, through the shell)."""
    return (
        (["cp", reference, scratch], False),
        (f"cat '{reference}' > '{scratch}'", True),
        (["dd", f"if={reference}", f"of={scratch}", "bs=1M", "status=none"], False),
    )


def prime_pages(scratch, nbytes):
    """Writes and removes nbytes of zeros at scratch, untimed, just before a measure that writes
    a fresh file of about that size. On a virtual machine that hands freed pages back to its host
    (see page_reporting), a fresh page may first have to be faulted in by the host, which made
    one cat of the same 2.7 GB file take 0.6 s or 8.6 s. Pages just freed again are still backed,
    so the measure that follows meets the same page supply as every other: 8 primed cats of a
    1.8 GB file took 0.41-0.62 s, 8 unprimed ones between them 0.40-2.63 s."""
    chunk = bytes(16 << 20)
    with open(scratch, "wb") as f:
        for _ in range(max(1, nbytes // len(chunk))):
            f.write(chunk)
    os.remove(scratch)


def timed_copy(argv, shell, scratch, nbytes):
    prime_pages(scratch, nbytes)
    start = time.perf_counter()
    subprocess.run(argv, shell=shell, check=True)
    seconds = time.perf_counter() - start
    os.remove(scratch)
    return seconds


def settled(times):
    """Whether the best of times has been met twice (the two fastest within 15 %): a single fast
    run may be luck, a single slow best the machine's."""
    fastest = sorted(times)[:2]
    return len(fastest) == 2 and fastest[1] <= 1.15 * fastest[0]


def measured_rounds(runs, max_runs, convert, out_dir, scratch, first_guess):
    """Rounds of a conversion followed by cp, cat and dd of its largest output (warm in the page
    cache) into a fresh scratch file, each measure the best of its rounds. Taken in turns, the
    conversion and the copies it is held to meet the same state of a shared machine. A fresh file
    of several GB comes from pages the kernel may first have to get back from the hypervisor, so
    one copy can take ten times as long as the next: after runs rounds, more are taken, up to
    max_runs, until every measure's best has been met twice. Before each measure as many pages
    as it will write are primed (for the conversion's first round, first_guess bytes). Returns
    (conversion seconds, its peak RSS KiB, output bytes, [cp, cat, dd seconds], rounds taken)."""
    conversions = []
    copies = [[], [], []]
    rounds = 0
    while rounds < runs or (rounds < max_runs and not all(map(settled, [[c for c, _ in conversions], *copies]))):
        prime_pages(scratch, dir_bytes(out_dir) if conversions else first_guess)
        conversions.append(convert())
        reference = largest_file(out_dir)
        warm(reference)
        for i, (argv, shell) in enumerate(copy_commands(reference, scratch)):
            copies[i].append(timed_copy(argv, shell, scratch, os.path.getsize(reference)))
        rounds += 1
    best = min(conversions, key=lambda r: r[0])
    return best[0], best[1], dir_bytes(out_dir), [min(c) for c in copies], rounds


def measure_source(tool, acq, formats, runs, max_runs, work_dir, kind_of_format):
    """Rows of the table for one acquisition and its formats."""
    rows = []
    numpy_seconds = {}
    out_dir = os.path.join(work_dir, "out")
    scratch = os.path.join(work_dir, "copy")
    for fmt in formats:
        extra = ()
        label = fmt
        if isinstance(fmt, tuple):
            fmt, extra, label = fmt

        def convert():
            remove_dir_contents(out_dir)
            warm(acq.data)
            return tool.convert(acq.desc, fmt, out_dir, extra)

        # No output is larger than 4 bytes per raw byte: doubles from 16-bit words (MATLAB).
        seconds, rss, out_bytes, (cp, cat, dd), rounds = measured_rounds(runs, max_runs, convert, out_dir, scratch,
                                                                         4 * acq.raw_bytes)
        remove_dir_contents(out_dir)
        per_value = out_bytes / acq.samples()
        text = kind_of_format != "binary"
        kind = "text" if text else ("f8" if per_value > 6 else "i2" if per_value < 3 else "f4")
        if kind not in numpy_seconds:
            target = os.path.join(work_dir, "numpy.out")
            warm(acq.data)
            job = (numpy_text, acq, target) if text else (numpy_binary, acq, np.dtype("<" + kind), target)
            # Best of BENCH_RUNS, each primed as the conversions are: its output needs fresh pages too.
            numpy_seconds[kind] = min(timed_and_removed(target, out_bytes, *job) for _ in range(runs))
        rows.append({
            "source": acq.name, "format": label, "in": acq.raw_bytes / MB / seconds,
            "out": out_bytes / MB / seconds, "cp": cp / seconds, "cat": cat / seconds, "dd": dd / seconds,
            "numpy": numpy_seconds[kind] / seconds, "rss": rss / 1024, "seconds": seconds, "kind": kind_of_format,
            "rounds": rounds,
        })
        r = rows[-1]
        print(f"  {acq.name:15} {label:18} {r['in']:8.0f} MB/s in {r['out']:8.0f} MB/s out  x cp {r['cp']:5.2f}"
              f"  x numpy {r['numpy']:6.1f}  {r['rss']:6.1f} MiB  {rounds} rounds", flush=True)
    return rows


def linearity(tool, data_dir, work_dir, runs):
    """Brenlow to Float32 at 64 MB, 1 GiB and 6 GiB of raw data held in sparse files (zeros)."""
    rows = []
    probe = os.path.join(data_dir, "linear-probe")
    tool.sample(["--type", "brenlow"], probe, 1000)
    scan_bytes = os.path.getsize(probe + ".bin") // 1000
    out_dir = os.path.join(work_dir, "out")
    for raw_bytes in (64 << 20, 1 << 30, 6 << 30):
        prefix = os.path.join(data_dir, f"linear-{raw_bytes >> 20}")
        shutil.copyfile(probe + ".DSC", prefix + ".DSC")
        with open(prefix + ".bin", "wb") as f:
            f.truncate(raw_bytes - raw_bytes % scan_bytes)

        def convert():
            remove_dir_contents(out_dir)
            prime_pages(os.path.join(work_dir, "prime"), raw_bytes)  # raw floats: as many bytes out as in
            return tool.convert(prefix + ".DSC", "Float32", out_dir)

        seconds, rss = best_of(runs if raw_bytes < (6 << 30) else 1, convert)
        out_bytes = dir_bytes(out_dir)
        remove_dir_contents(out_dir)
        os.remove(prefix + ".bin")
        rows.append((raw_bytes, out_bytes, seconds, rss / 1024))
        print(f"  linearity {raw_bytes / 2**20:8.0f} MiB  {seconds:7.2f} s  {out_bytes / MB / seconds:7.0f} MB/s out"
              f"  {rss / 1024:6.1f} MiB", flush=True)
    return rows


def machine():
    cpu = "unknown"
    with open("/proc/cpuinfo") as f:
        for line in f:
            if line.startswith("model name"):
                cpu = line.split(":", 1)[1].strip()
                break
    mem = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return (f"{cpu}, {os.cpu_count()} cores, {mem:.0f} GiB RAM, Linux {platform.release()}, "
            f"numpy {np.__version__}, Python {platform.python_version()}{page_reporting()}")


def page_reporting():
    """A virtual machine that hands freed pages back to its host makes every fresh page of an
    output cost a fault in the host, which is what makes single copies of large files unsteady."""
    reported = "/sys/module/page_reporting/parameters/reported_kib"
    if not os.path.exists(reported):
        return ""
    with open(reported) as f:
        kib = int(f.read().split()[0] or 0)
    return f"; freed memory is reported to the hypervisor ({kib / 2**20:.0f} GiB so far)"


def table(rows):
    lines = ["| source | format | MB/s in | MB/s out | × cp | × cat | × dd | × numpy | peak RSS MiB | rounds | target met |",
             "|---|---|---:|---:|---:|---:|---:|---:|---:|---:|---|"]
    for r in rows:
        met = {"text": lambda: "yes" if r["numpy"] >= 10 else "no",
               "binary": lambda: "yes" if r["cp"] >= 0.5 and r["numpy"] > 1 else "no",
               "library": lambda: "none set"}[r["kind"]]()
        lines.append(f"| {r['source']} | {r['format']} | {r['in']:.0f} | {r['out']:.0f} | {r['cp']:.2f} | "
                     f"{r['cat']:.2f} | {r['dd']:.2f} | {r['numpy']:.1f} | {r['rss']:.1f} | {r['rounds']} | {met} |")
    return "\n".join(lines)


def write_results(path, rows, linear, settings):
    text = [
        "# Conversion benchmark results",
        "",
        "Written by `bench/conversion_table.py` (`make bench`); the analysis below the generated part is",
        "kept by hand. Conversions run `travune convert` (the handle API) into a fresh directory;",
        "after each, cp, cat and dd copy its largest output file (warm in the page cache) into a fresh",
        "file. Each is the best of its rounds: at least BENCH_RUNS, more (up to BENCH_MAX_RUNS, the",
        "rounds column) until every measure's best has been met twice within 15 %; before each, as many",
        "fresh pages as it writes are written and freed untimed (see the analysis). numpy, best of",
        "BENCH_RUNS, reads the raw data in chunks of 2^18 scans, scales each column (m·x + b) and",
        "writes the same number of values (float32, float64 or int16, as the format's bytes per",
        "value) with `tofile`, or `savetxt` with `% .4e` for text. × cp = cp's seconds over",
        "the conversion's (above 1: faster than cp). Targets: binary ≥ 0.5 × cp and > 1 × numpy; text",
        "≥ 10 × numpy. Inputs are read warm from the page cache, outputs go to tmpfs, so nothing waits",
        "for the disk. The machine may be shared with other work: ratios taken in the same run are",
        "what counts, not the absolute figures.",
        "",
        f"Machine: {machine()}.",
        f"Settings: {settings}.",
        "",
        table(rows),
        "",
    ]
    if linear:
        text += ["Linearity (Brenlow → Float32, sparse data files of zeros, through `travune convert`):", "",
                 "| raw MiB | output MB | seconds | MB/s out | peak RSS MiB |", "|---:|---:|---:|---:|---:|"]
        text += [f"| {raw / 2**20:.0f} | {out / MB:.0f} | {s:.2f} | {out / MB / s:.0f} | {rss:.1f} |"
                 for raw, out, s, rss in linear]
        text.append("")
    marker = "<!-- analysis -->"
    kept = ""
    if os.path.exists(path):
        old = open(path).read()
        if marker in old:
            kept = old[old.index(marker):]
    with open(path, "w") as f:
        f.write("\n".join(text) + "\n" + (kept or marker + "\n"))


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    build_dir = os.path.abspath(sys.argv[1])
    tool = Tool(build_dir)
    data_dir = os.environ.get("TRAVUNE_BENCH_DIR", os.path.join(build_dir, "bench-data"))
    shm = "/dev/shm" if os.path.isdir("/dev/shm") else data_dir
    work_dir = os.environ.get("BENCH_OUT_DIR", os.path.join(shm, f"travune-bench-{os.getpid()}"))
    os.makedirs(work_dir, exist_ok=True)
    os.makedirs(data_dir, exist_ok=True)
    bench_mb = float(os.environ.get("BENCH_MB", "1024"))
    text_mb = float(os.environ.get("BENCH_TEXT_MB", "64"))
    runs = int(os.environ.get("BENCH_RUNS", "3"))
    max_runs = max(runs, int(os.environ.get("BENCH_MAX_RUNS", "6")))
    results = os.environ.get("BENCH_RESULTS", os.path.join(HERE, "RESULTS.md"))
    formats = [f for f in tool.target_formats() if f not in SKIPPED_FORMATS]
    binary = [f for f in formats if f not in TEXT_FORMATS | LIBRARY_FORMATS]
    text = [f for f in formats if f in TEXT_FORMATS] + [("ASCII", ("--time",), "ASCII --time")]
    library = [f for f in formats if f in LIBRARY_FORMATS]
    rows = []
    for source in SOURCES:
        rows += measure_source(tool, Acquisition(tool, data_dir, source, bench_mb), binary, runs, max_runs, work_dir,
                               "binary")
        small = Acquisition(tool, data_dir, source, text_mb)
        rows += measure_source(tool, small, text, runs, max_runs, work_dir, "text")
        rows += measure_source(tool, small, library, runs, max_runs, work_dir, "library")
    linear = linearity(tool, data_dir, work_dir, runs) if "--linearity" in sys.argv else []
    shutil.rmtree(work_dir, ignore_errors=True)
    settings = (f"BENCH_MB={bench_mb:g}, BENCH_TEXT_MB={text_mb:g}, best of {runs} to {max_runs} rounds, "
                f"outputs in {os.path.dirname(work_dir)}")
    write_results(results, rows, linear, settings)
    print(table(rows))
    print(f"bench: wrote {results}")


if __name__ == "__main__":
    main()
