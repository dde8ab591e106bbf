"""Opening recordings and reading them as numpy arrays: values, subsets, times, errors."""

import os

import numpy as np
import pytest

import travune
from conftest import SOURCES


@pytest.mark.parametrize("name,scans,pretrig,stamps", SOURCES)
def test_read_equals_the_raw_float_conversion(sample, tmp_path, name, scans, pretrig, stamps):
    with travune.open(sample(name, scans, pretrig, stamps), type=name) as acq:
        assert (acq.type, acq.scan_count, acq.trigger) == (name, scans, pretrig)
        values = acq.read()
        converted = acq.convert(tmp_path / "all.f32", "Float32")
    assert values.shape == (scans, acq.channel_count) and values.dtype == np.float32
    expected = np.fromfile(converted, dtype="<f4").reshape(scans, -1)
    assert np.array_equal(values.view(np.uint32), expected.view(np.uint32))


def test_subsets_by_number_and_label_pick_their_columns(sample):
    with travune.open(sample("morvane", 400)) as acq:
        everything = acq.read()
        labels = [c.label for c in acq.channels]
        picked = acq.read(start=100, count=50, channels=[labels[-1], 0])
        wide = acq.read(dtype="float64")
        assert acq.read(start=399).shape == (1, acq.channel_count)
    assert np.array_equal(picked, everything[100:150, [-1, 0]])
    assert wide.dtype == np.float64 and np.array_equal(wide.astype(np.float32), everything)


def test_relative_times_are_seconds_from_the_trigger(sample):
    with travune.open(sample("morvane", 200, pretrig=50)) as acq:
        pre, post = acq.rates
        times = acq.times()
        assert acq.time_kind == travune.TIME_RELATIVE
    assert times[50] == 0.0
    assert times[49] == pytest.approx(-1.0 / pre) and times[51] == pytest.approx(1.0 / post)


def test_absolute_times_are_datetimes(sample):
    with travune.open(sample("brenlow", 300, pretrig=20, stamps=True)) as acq:
        assert acq.time_kind == travune.TIME_ABSOLUTE
        times = acq.times(0, 3)
        rate = acq.rates[1]
    assert times.dtype == np.dtype("datetime64[us]")
    # The tool's samples start at noon on 15 March 2024; scans follow each other at the rate.
    assert times[0] == np.datetime64("2024-03-15T12:00:00")
    steps = np.diff(times).astype(np.int64)
    assert np.all(np.abs(steps - 1e6 / rate) <= 1)


def test_facts_of_every_channel(sample):
    with travune.open(sample("brenlow", 100)) as acq:
        first = acq.channels[0]
    assert first.label == "Sine" and first.units == "V" and first.range == (-10.0, 10.0) and first.precision == 4


def _missing(tmp_path, _):
    travune.open(tmp_path / "missing.DSC")


def _garbage(tmp_path, _):
    (tmp_path / "junk.DSC").write_bytes(b"\x01" * 37)
    (tmp_path / "junk.bin").write_bytes(b"\x00" * 64)
    travune.open(tmp_path / "junk.DSC")


def _bad_type(_, path):
    travune.open(path, type="nosuchtype")


def _bad_channel(_, path):
    with travune.open(path) as acq:
        acq.read(channels=[acq.channel_count])


def _bad_label(_, path):
    with travune.open(path) as acq:
        acq.read(channels=["no such label"])


def _past_the_end(_, path):
    with travune.open(path) as acq:
        acq.read(start=acq.scan_count - 1, count=2)


def _bad_format(tmp_path, path):
    with travune.open(path) as acq:
        acq.convert(tmp_path / "x.out", "NoSuchFormat")


def _closed(_, path):
    acq = travune.open(path)
    acq.close()
    acq.read()


@pytest.mark.parametrize("action,error,status", [
    (_missing, travune.OpenError, 3),
    (_garbage, travune.DescriptionError, None),
    (_bad_type, travune.ArgumentError, 1),
    (_bad_channel, travune.ArgumentError, 1),
    (_bad_label, travune.ArgumentError, 1),
    (_past_the_end, travune.ArgumentError, 1),
    (_bad_format, travune.ArgumentError, 1),
    (_closed, travune.ArgumentError, 1),
])
def test_failures_raise_their_error_class_with_status_and_text(sample, tmp_path, action, error, status):
    path = sample("morvane", 50)
    with pytest.raises(error) as caught:
        action(tmp_path, path)
    assert isinstance(caught.value, travune.Error) and caught.value.text
    if status is not None:
        assert caught.value.status == status
    assert caught.value.text in str(caught.value)


def test_registry_lists_hdf5_beyond_the_fourteen_exported_formats():
    names = [f.name for f in travune.formats()]
    assert len(names) == 15 and names[-1] == "HDF5" and "Float32" in names
    assert {s.name for s in travune.sources()} == {name for name, *_ in SOURCES}
