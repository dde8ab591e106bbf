"""Batches on a Dask cluster of two local worker processes: every file a row (a bad one too),
outputs equal to read(), and lazy arrays over several recordings."""

import os

import numpy as np
import pytest

import travune
import travune.dask
from conftest import SOURCES, write_sample

distributed = pytest.importorskip("distributed")


@pytest.fixture(scope="module")
def client():
    cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None)
    with distributed.Client(cluster) as c:
        yield c
    cluster.close()


def _rows(table):
    return table.to_dict("records") if hasattr(table, "to_dict") else list(table)


def test_convert_many_reports_every_file_and_one_bad_file_as_a_row(client, tmp_path):
    source_dir = tmp_path / "in"
    source_dir.mkdir()
    paths = [write_sample(str(source_dir), name, scans, pretrig, stamps) for name, scans, pretrig, stamps in SOURCES
             if name not in ("vexmoor", "threnix")]  # the two variants are told by --type only
    bad = source_dir / "broken.DSC"
    bad.write_bytes(b"not a description")
    (source_dir / "broken.bin").write_bytes(b"\0" * 100)
    rows = _rows(travune.dask.convert_many(paths + [str(bad)], "Float32", tmp_path / "out", client=client))

    assert [r["file"] for r in rows] == paths + [str(bad)]
    failed = [r for r in rows if r["status"] != "ok"]
    assert [r["file"] for r in failed] == [str(bad)] and "Error" in failed[0]["error"]
    for row in rows[:-1]:
        with travune.open(row["file"]) as acq:
            expected = acq.read()
        written = np.fromfile(row["output"], dtype="<f4")
        assert row["bytes"] == os.path.getsize(row["output"]) == expected.nbytes
        assert np.array_equal(written, expected.ravel()) and row["seconds"] > 0


def test_dask_read_concatenates_recordings_by_scans(client, tmp_path):
    paths = [write_sample(str(tmp_path), "morvane", scans, prefix=f"run{i}") for i, scans in enumerate((300, 1, 513))]
    lazy = travune.dask.read(paths, channels=["Sine", 0], chunk_scans=128)
    assert lazy.shape[0] == 814 and lazy.chunks[0] == (128, 128, 44, 1, 128, 128, 128, 128, 1)
    expected = []
    for path in paths:
        with travune.open(path) as acq:
            expected.append(acq.read(channels=["Sine", 0]))
    assert np.array_equal(client.compute(lazy).result(), np.concatenate(expected))


def test_dask_read_refuses_different_channel_layouts(tmp_path):
    paths = [write_sample(str(tmp_path), "morvane", 10), write_sample(str(tmp_path), "tarquil", 10)]
    with pytest.raises(travune.ArgumentError):
        travune.dask.read(paths)
