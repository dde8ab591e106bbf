"""travune: data-acquisition recordings as numpy arrays, and their conversion into analysis
formats (HDF5 among them), through the travune library's handle API."""

import collections
import os

import numpy as np

from . import _travune
from ._errors import (ArgumentError, Cancelled, DescriptionError, Error, NoTimesError, OpenError, OutputError,
                      ReadError, WriterError)
from . import _errors

__all__ = ["open", "formats", "sources", "Acquisition", "Channel", "Format", "Error", "ArgumentError", "OpenError",
           "DescriptionError", "ReadError", "OutputError", "WriterError", "Cancelled", "NoTimesError"]

TIME_UNTIMED = 0
TIME_RELATIVE = 1
TIME_ABSOLUTE = 2

# Absolute scan times count days from this moment.
_EPOCH = np.datetime64("1899-12-30T00:00:00", "us")
_MICROSECONDS_PER_DAY = 86400e6

Channel = collections.namedtuple("Channel", "label units range precision")
Format = collections.namedtuple("Format", "id name display_name extension second_extension kind")


def formats():
    """The target formats: Format(id, name, display_name, extension, second_extension, kind)."""
    return [Format(*row) for row in _travune.formats(False)]


def sources():
    """The source types: Format(id, name, display_name, extension, second_extension, kind)."""
    return [Format(*row) for row in _travune.formats(True)]


def _argument_error(text):
    return ArgumentError(_errors.ARGUMENT, text)


def _format_id(value, source):
    """The id of a format (source: a source type) given by name, display name or id."""
    ident = _travune.format_id(str(value), source)
    if ident < 0:
        kind = "source type" if source else "target format"
        names = ", ".join(f.name for f in (sources() if source else formats()))
        raise _argument_error(f"no {kind} is called {value!r} (known: {names})")
    return ident


def _progress_function(progress):
    """A function (done, total) -> cancel for the library from a callable or a counting bar."""
    if progress is None or not hasattr(progress, "update"):
        return progress
    # A tqdm bar (or anything with update(n)): told the total once, then advanced by each step.
    last = 0

    def advance(done, total):
        nonlocal last
        if getattr(progress, "total", None) is None:
            progress.total = total
        progress.update(done - last)
        last = done
        return False

    return advance


def _remove_quietly(path):
    try:
        os.remove(path)
    except OSError:
        pass


class Acquisition:
    """An open recording (a description file and its data file). Use it as a context manager
    or call close(); reads and conversions need it open."""

    def __init__(self, path, type=None, data=None):
        type_id = 0 if type is None else _format_id(type, True)
        self.path = os.fspath(path)
        self._acq = _travune.Acq(self.path, None if data is None else os.fspath(data), type_id)
        self._info = self._acq.info()
        self._channels = [Channel(**self._acq.channel(c)) for c in range(self._info["channels"])]

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __repr__(self):
        return (f"<travune.Acquisition {self.path!r}: {self.type}, {self.scan_count} scans x "
                f"{self.channel_count} channels>")

    def close(self):
        self._acq.close()

    @property
    def type(self):
        """The source type's name ("morvane", "celdrin", ...)."""
        return next(s.name for s in sources() if s.id == self._info["source_type"])

    @property
    def type_id(self):
        return self._info["source_type"]

    @property
    def scan_count(self):
        return self._info["scans"]

    @property
    def channel_count(self):
        return self._info["channels"]

    @property
    def channels(self):
        """Channel(label, units, range=(lower, upper), precision) of every channel."""
        return list(self._channels)

    @property
    def rates(self):
        """Scans per second before and after the trigger."""
        return (self._info["pre_trigger_rate"], self._info["post_trigger_rate"])

    @property
    def trigger(self):
        """The index of the trigger scan."""
        return self._info["trigger"]

    @property
    def time_kind(self):
        """TIME_UNTIMED, TIME_RELATIVE or TIME_ABSOLUTE."""
        return self._info["time_kind"]

    @property
    def info(self):
        """Every fact the library reports about the acquisition, as a dict."""
        return dict(self._info)

    def _channel_numbers(self, channels):
        """Channel numbers from numbers and labels; [] for every channel."""
        if channels is None:
            return []
        if isinstance(channels, (int, str, np.integer)):
            channels = [channels]
        labels = [c.label for c in self._channels]
        numbers = []
        for chan in channels:
            if isinstance(chan, str):
                if chan not in labels:
                    raise _argument_error(f"no channel is labelled {chan!r}")
                numbers.append(labels.index(chan))
            else:
                numbers.append(int(chan))
        if not numbers:
            raise _argument_error("an empty channel list")
        return numbers

    def _count(self, start, count):
        return self.scan_count - start if count is None else count

    def read(self, start=0, count=None, channels=None, dtype="float32"):
        """Scaled values of count scans from start (to the end when None) of the channels (numbers
        or labels; None: all) as a scans x channels array of float32 or float64. The float32
        values are bit for bit those of the raw-float conversion."""
        kind = np.dtype(dtype)
        if kind not in (np.float32, np.float64):
            raise _argument_error(f"dtype must be float32 or float64, not {kind}")
        return self._acq.read(start, self._count(start, count), self._channel_numbers(channels),
                              kind == np.float64)

    def times(self, start=0, count=None):
        """Times of count scans from start: float64 seconds from the trigger scan for relative
        sources (scan counts from it for untimed ones), numpy.datetime64 for absolute ones."""
        raw = self._acq.times(start, self._count(start, count))
        if self.time_kind != TIME_ABSOLUTE:
            return raw
        return _EPOCH + np.rint(raw * _MICROSECONDS_PER_DAY).astype("timedelta64[us]")

    def convert(self, path, to, channels=None, start=0, count=None, time=False, stamps=False, compress=False,
                progress=None):
        """Converts count scans from start of the channels into path in the format to (a name such
        as "HDF5" or "Float32", or an id). time adds scan times, stamps reads every scan's own
        stamp, compress gzips HDF5 datasets. progress is called as progress(done, total) after
        each block (a true result cancels), or advanced like a tqdm bar. Cancelling, Ctrl-C and
        failures remove the unfinished output when this call created it. Returns path."""
        path = os.fspath(path)
        flags = ((_travune.FLAG_SCAN_TIMES if time else 0) | (_travune.FLAG_OWN_STAMPS if stamps else 0) |
                 (_travune.FLAG_COMPRESS if compress else 0))
        count = -1 if count is None else count
        format_id = _format_id(to, False)
        chans = self._channel_numbers(channels)
        existed = os.path.lexists(path)
        try:
            self._acq.convert(path, format_id, chans, start, count, flags, _progress_function(progress))
        except BaseException:
            # A file this call made is removed; one that was there before is left for the user
            # (the library refuses bad arguments before it opens any output).
            if not existed:
                _remove_quietly(path)
            raise
        return path


def open(path, type=None, data=None):  # noqa: A001 - the package's own open, like gzip.open
    """Opens the acquisition described by path (its data file is found beside it unless data
    names it). type is the source type's name or id; None guesses it from the file."""
    return Acquisition(path, type=type, data=data)
