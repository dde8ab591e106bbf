"""HDF5 output read back with h5py: every value equal to read(), times, and the attributes of
the channels and the file."""

import os
import subprocess

import h5py
import numpy as np
import pytest

import travune
from conftest import SOURCES


@pytest.mark.parametrize("name,scans,pretrig,stamps", SOURCES)
def test_hdf5_reads_back_equal_in_h5py(sample, tmp_path, name, scans, pretrig, stamps):
    compress = name in ("tarquil", "quillon", "celdrin")
    path = sample(name, scans, pretrig, stamps)
    with travune.open(path, type=name) as acq:
        values = acq.read()
        raw_times = acq._acq.times(0, scans)
        channels = acq.channels
        absolute = acq.time_kind == travune.TIME_ABSOLUTE
        trigger_time = acq.times(pretrig, 1)[0] if absolute else None
        out = acq.convert(tmp_path / "run.h5", "HDF5", time=True, compress=compress)
    with h5py.File(out, "r") as f:
        data = f["data"]
        assert data.dtype == np.dtype("<f4") and data.chunks is not None and data.maxshape == data.shape
        assert (data.compression == "gzip") == compress
        assert np.array_equal(data[...].view(np.uint32), values.view(np.uint32))
        assert np.array_equal(f["time"][...], raw_times)
        assert list(data.attrs["label"]) == [c.label for c in channels]
        assert list(data.attrs["units"]) == [c.units for c in channels]
        assert data.attrs["range"].tolist() == [list(c.range) for c in channels]
        assert data.attrs["precision"].tolist() == [c.precision for c in channels]
        assert f.attrs["pre_trigger_scans"] == pretrig
        assert f.attrs["description_file"] == os.path.basename(path)
        if absolute:
            assert np.datetime64(f.attrs["trigger_time"]) == trigger_time
        else:
            assert "trigger_time" not in f.attrs


def test_an_empty_scan_range_gives_empty_datasets(sample, tmp_path):
    with travune.open(sample("brenlow", 50)) as acq:
        out = acq.convert(tmp_path / "empty.h5", "HDF5", start=50, count=0, time=True)
        channels = acq.channel_count
    with h5py.File(out, "r") as f:
        assert f["data"].shape == (0, channels) and f["time"].shape == (0,)


def test_the_tool_writes_hdf5_with_compress_and_time(sample, tmp_path):
    from conftest import cli_path
    path = sample("quillon", 200, pretrig=10)
    out = tmp_path / "tool.h5"
    subprocess.run([cli_path(), "convert", path, "--to", "hdf5", "--compress", "--time", "-o", str(out), "-q"],
                   check=True)
    with travune.open(path) as acq, h5py.File(out, "r") as f:
        assert f["data"].compression == "gzip" and np.array_equal(f["data"][...], acq.read())
        assert np.array_equal(f["time"][...], acq._acq.times(0, 200))
    warned = subprocess.run([cli_path(), "convert", path, "--to", "Float32", "--compress", "-o",
                             str(tmp_path / "x.f32")], capture_output=True, text=True)
    assert warned.returncode == 0 and "--compress has no effect" in warned.stderr
