"""Fixtures of the Python package's tests: sample acquisitions written by the travune tool."""

import os
import subprocess

import pytest

# name, scans, pre-trigger scans, stamps: one of every source type.
SOURCES = [
    ("morvane", 700, 50, False),
    ("tarquil", 650, 0, False),
    ("brenlow", 600, 20, True),
    ("vexmoor", 500, 10, False),
    ("threnix", 500, 0, False),
    ("quillon", 640, 40, False),
    ("celdrin", 610, 30, True),
]


def cli_path():
    return os.environ.get("TRAVUNE_CLI", "travune")


def write_sample(directory, name, scans, pretrig=0, stamps=False, prefix=None):
    """Writes a sample acquisition with the tool; the description file's path."""
    prefix = os.path.join(directory, prefix or name)
    command = [cli_path(), "sample", "--type", name, "--scans", str(scans), "--pretrig", str(pretrig)]
    if stamps:
        command.append("--stamps")
    subprocess.run(command + [prefix], check=True, capture_output=True)
    return prefix + (".HX$" if name == "celdrin" else ".DSC")


@pytest.fixture
def sample(tmp_path):
    """sample(name, scans=..., pretrig=..., stamps=...) -> description path in a fresh directory."""
    def make(name, scans=300, pretrig=0, stamps=False, prefix=None):
        return write_sample(str(tmp_path), name, scans, pretrig, stamps, prefix)
    return make
