"""Many acquisitions on a Dask cluster: convert_many converts each as one task and reports every
file as a row; read gives a lazy dask.array over recordings with the same channel layout."""

import os
import time as _time

import dask
import dask.array as da
import numpy as np

import travune

RESULT_COLUMNS = ["file", "output", "status", "error", "bytes", "seconds"]


def _output_name(path, outdir, to):
    """outdir/<description's stem>.<the format's extension in lower case>."""
    extension = next((f.extension for f in travune.formats() if f.id == travune._format_id(to, False)), "out")
    stem = os.path.splitext(os.path.basename(os.fspath(path)))[0]
    return os.path.join(os.fspath(outdir), f"{stem}.{extension.lower()}")


def convert_one(path, to, outdir, **options):
    """Converts one acquisition (the task convert_many runs on a worker) and returns its row:
    status "ok" or "failed", the error's text, the output's size and the seconds it took."""
    started = _time.perf_counter()
    output = _output_name(path, outdir, to)
    row = {"file": os.fspath(path), "output": output, "status": "ok", "error": "", "bytes": 0, "seconds": 0.0}
    try:
        os.makedirs(os.fspath(outdir), exist_ok=True)
        with travune.open(path, type=options.pop("type", None), data=options.pop("data", None)) as acq:
            acq.convert(output, to, **options)
        row["bytes"] = os.path.getsize(output)
    except Exception as error:  # a failed file is a row of the table, never a lost batch
        row.update(status="failed", error=f"{type(error).__name__}: {error}")
    row["seconds"] = _time.perf_counter() - started
    return row


def _table(rows):
    """The rows as a pandas DataFrame when pandas is there, else as the list of dicts."""
    try:
        import pandas
    except ImportError:
        return rows
    return pandas.DataFrame(rows, columns=RESULT_COLUMNS)


def convert_many(paths, to, outdir, client=None, **options):
    """Converts every acquisition in paths into outdir in the format to, one task each, on the
    Dask client given (or the current one; without any, on Dask's local scheduler). options
    are those of Acquisition.convert (channels, start, count, time, stamps, compress) and
    open's type and data. Returns a table with one row per file: file, output, status, error,
    bytes, seconds."""
    paths = [os.fspath(p) for p in paths]
    outdir = os.fspath(outdir)
    if client is None:
        client = _current_client()
    if client is not None:
        futures = client.map(convert_one, paths, to=to, outdir=outdir, pure=False, **options)
        return _table(client.gather(futures))
    tasks = [dask.delayed(convert_one, pure=False)(p, to, outdir, **options) for p in paths]
    return _table(list(dask.compute(*tasks)))


def _current_client():
    try:
        from distributed import get_client
        return get_client()
    except (ImportError, ValueError):
        return None


# The library holds an open recording's files exclusively, so chunks of one recording read by
# two workers at once take turns: an open of a file that exists but is held is tried again.
HELD_RETRY_SECONDS = 0.02
HELD_TIMEOUT_SECONDS = 120.0


def _open_when_free(path, type_id):
    deadline = _time.monotonic() + HELD_TIMEOUT_SECONDS
    while True:
        try:
            return travune.open(path, type=type_id)
        except travune.OpenError:
            if not os.path.exists(path) or _time.monotonic() > deadline:
                raise
            _time.sleep(HELD_RETRY_SECONDS)


def _read_block(path, type_id, start, count, channels, dtype):
    with _open_when_free(path, type_id) as acq:
        return acq.read(start, count, channels, dtype)


def _layout(acq, channels):
    chosen = acq.channels if channels is None else [acq.channels[n] for n in acq._channel_numbers(channels)]
    return [(c.label, c.units) for c in chosen]


def read(paths, channels=None, chunk_scans=1 << 18, dtype="float32"):
    """A lazy dask.array of the recordings in paths one after the other (scans x channels),
    chunked by at most chunk_scans scans, each chunk read by the library when computed. Every
    recording must have the same channel layout (labels and units of the chosen channels)."""
    if chunk_scans < 1:
        raise travune.ArgumentError(travune._errors.ARGUMENT, "chunk_scans must be at least 1")
    pieces = []
    layout = None
    for path in (os.fspath(p) for p in paths):
        with travune.open(path) as acq:
            this_layout = _layout(acq, channels)
            scans, type_id = acq.scan_count, acq.type_id
            numbers = acq._channel_numbers(channels)
        if layout is None:
            layout = this_layout
        elif this_layout != layout:
            raise travune.ArgumentError(travune._errors.ARGUMENT, f"{path} has another channel layout than {paths[0]}")
        width = len(layout)
        for start in range(0, scans, chunk_scans):
            count = min(chunk_scans, scans - start)
            block = dask.delayed(_read_block, pure=True)(path, type_id, start, count, numbers or None, dtype)
            pieces.append(da.from_delayed(block, shape=(count, width), dtype=np.dtype(dtype)))
    if not pieces:
        raise travune.ArgumentError(travune._errors.ARGUMENT, "no recordings to read")
    return da.concatenate(pieces, axis=0)
