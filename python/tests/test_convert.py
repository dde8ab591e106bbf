"""Conversions from Python: progress reports, cancelling by the callable or Ctrl-C, tqdm bars,
and outputs left as they were when the arguments are bad."""

import io
import signal

import numpy as np
import pytest
import tqdm

import travune


def test_progress_reaches_the_total(sample, tmp_path):
    calls = []
    with travune.open(sample("quillon", 500)) as acq:
        acq.convert(tmp_path / "out.txt", "ASCII", progress=lambda done, total: calls.append((done, total)))
    assert calls and calls[-1] == (500, 500)
    assert all(a[0] <= b[0] for a, b in zip(calls, calls[1:]))


def test_a_tqdm_bar_counts_the_scans(sample, tmp_path):
    bar = tqdm.tqdm(file=io.StringIO())
    with travune.open(sample("tarquil", 420)) as acq:
        acq.convert(tmp_path / "out.f32", "Float32", progress=bar)
    assert (bar.n, bar.total) == (420, 420)


def _cancel(done, total):
    return True


def _interrupt(done, total):
    raise KeyboardInterrupt


def _signal(done, total):
    # raise() delivers to this thread; a kill() of the process may land on a helper thread first.
    signal.raise_signal(signal.SIGINT)


@pytest.fixture
def ctrl_c_raises():
    """Python's own Ctrl-C handler for the test: a shell that starts the suite in the background
    without job control leaves SIGINT ignored, and Python then installs no handler of its own."""
    previous = signal.signal(signal.SIGINT, signal.default_int_handler)
    yield
    signal.signal(signal.SIGINT, previous)


@pytest.mark.parametrize("progress,raised", [
    (_cancel, travune.Cancelled),
    (_interrupt, KeyboardInterrupt),
    (_signal, KeyboardInterrupt),
])
def test_cancelling_removes_the_output_and_keeps_the_acquisition_usable(sample, tmp_path, progress, raised,
                                                                         ctrl_c_raises):
    out = tmp_path / "out.h5"
    with travune.open(sample("morvane", 300)) as acq:
        with pytest.raises(raised):
            acq.convert(out, "HDF5", progress=progress)
        assert not out.exists()
        assert acq.read(count=2).shape == (2, acq.channel_count)
        acq.convert(out, "HDF5")
    assert out.exists()


@pytest.mark.parametrize("options", [
    {"channels": [99]},
    {"start": 10_000},
    {"count": 0, "start": -1},
])
def test_bad_arguments_leave_an_existing_output_alone(sample, tmp_path, options):
    out = tmp_path / "keep.f32"
    out.write_bytes(b"precious")
    with travune.open(sample("morvane", 100)) as acq:
        with pytest.raises(travune.ArgumentError):
            acq.convert(out, "Float32", **options)
    assert out.read_bytes() == b"precious"


def test_channel_subset_and_range_of_a_conversion(sample, tmp_path):
    with travune.open(sample("celdrin", 300, pretrig=30, stamps=True)) as acq:
        expected = acq.read(start=20, count=200, channels=[2, 0])
        out = acq.convert(tmp_path / "part.f32", "Float32", start=20, count=200, channels=[2, 0])
    assert np.array_equal(np.fromfile(out, dtype="<f4").reshape(200, 2), expected)
