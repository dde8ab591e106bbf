#!/usr/bin/python3
"""Writes the seeds of the acquisition fuzz targets (conversion, dfa, tvn, bindesc) from the
samples of `travune sample` for every source type, in the layout of fuzz/AcquisitionImage.h:
16 control bytes, the description's length (32-bit little-endian), the description, the data.

usage: fuzz/pack_seeds.py TRAVUNE_TOOL CORPUS_ROOT    (seeds go to CORPUS_ROOT/<target>/)
"""
import os
import struct
import subprocess
import sys
import tempfile

# (source type id, sample options); small, so that the fuzzer mutates them quickly.
SAMPLES = [
    (3, ["--type", "morvane"]),
    (4, ["--type", "tarquil"]),
    (4, ["--type", "tarquil", "--packed"]),
    (2, ["--type", "brenlow"]),
    (2, ["--type", "brenlow", "--stamps"]),
    (7, ["--type", "vexmoor", "--stamps"]),
    (8, ["--type", "threnix"]),
    (5, ["--type", "quillon", "--pretrig", "3"]),
    (6, ["--type", "celdrin"]),
    (6, ["--type", "celdrin", "--stamps"]),
]
SIZE_OPTIONS = ["--scans", "12", "--chans", "6"]
FORMATS = 15  # the fourteen exported formats and HDF5, which only the handle API writes
CONTROL_BYTES = 16


def word(value):
    return struct.pack("<I", value & 0xFFFFFFFF)


def control(*parts):
    data = b"".join(bytes([p]) if isinstance(p, int) else p for p in parts)
    return data.ljust(CONTROL_BYTES, b"\0")[:CONTROL_BYTES]


def seed(ctrl, desc, data):
    return ctrl + word(len(desc)) + desc + data


def controls_per_target(source_type):
    """The control bytes of each target's seeds for one sample (see each target's ReadChoices)."""
    type_byte = source_type - 2
    conversion = [control(type_byte, fmt, fmt & 1, word(0), word(0), 0) for fmt in range(FORMATS)]
    conversion.append(control(type_byte, 0, 1 | 8, word(2), word(5), 0b101))
    conversion.append(control(type_byte, FORMATS - 1, 1, word(0), word(0), 0))  # HDF5 through the handle API
    dfa = [control(type_byte, 1, 1, 65, word(1), word(0), word(8), 0),
           control(type_byte, source_type if source_type <= 6 else 2, 2, 17, word(3), word(5), word(100), 1)]
    tvn = [control(type_byte, 0, 0, 0, word(4), 3, 0),
           control(type_byte, 3, 1, 2, word(6), 8, 3, 2, 0, 2)]
    targets = {"conversion": conversion, "dfa": dfa, "tvn": tvn}
    if source_type in (3, 4):
        kind = 0 if source_type == 3 else 1
        targets["bindesc"] = [control(kind, mode, 6, 6, 4, word(0x1234)) for mode in (0, 1, 2, 4 | 2)]
    return targets


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    tool, root = sys.argv[1], sys.argv[2]
    env = dict(os.environ, ASAN_OPTIONS="detect_leaks=0")
    with tempfile.TemporaryDirectory() as work:
        for number, (source_type, options) in enumerate(SAMPLES):
            prefix = os.path.join(work, "s%d" % number)
            out = subprocess.run([tool, "sample", *options, *SIZE_OPTIONS, prefix], env=env, check=True,
                                 stdout=subprocess.PIPE, text=True).stdout.split()
            desc, data = (open(path, "rb").read() for path in out)
            for target, controls in controls_per_target(source_type).items():
                os.makedirs(os.path.join(root, target), exist_ok=True)
                for index, ctrl in enumerate(controls):
                    name = "sample-%s-%d" % ("-".join(o.lstrip("-") for o in options[1:]), index)
                    with open(os.path.join(root, target, name), "wb") as f:
                        f.write(seed(ctrl, desc, data))


if __name__ == "__main__":
    main()
