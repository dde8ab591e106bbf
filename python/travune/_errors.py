"""The errors travune raises: one class per kind of failure, each carrying the library's status
number and its text."""

# Status numbers of the library's handle API (tvnStatus in travune.h).
OK = 0
ARGUMENT = 1
NO_MEMORY = 2
DESC_OPEN = 3
DATA_OPEN = 4
DESC_READ = 5
DESC_INVALID = 6
UNKNOWN_TYPE = 7
DATA_READ = 8
OUTPUT_CREATE = 9
OUTPUT_WRITE = 10
DISK_SPACE = 11
WRITER = 12
CANCELLED = 13
NO_TIMES = 14
FAILED = 15


class Error(Exception):
    """A failure of the travune library: .status is its status number, .text its words."""

    def __init__(self, status, text):
        super().__init__(status, text)
        self.status = status
        self.text = text

    def __str__(self):
        return f"{self.text} (status {self.status})"

    def __reduce__(self):
        # Rebuilt from status and text, so errors travel between processes (Dask workers).
        return (type(self), (self.status, self.text))


class ArgumentError(Error, ValueError):
    """A channel, scan range, format or type that does not exist."""


class OpenError(Error):
    """The description or data file cannot be opened."""


class DescriptionError(Error):
    """The description cannot be read, is not valid, or no source type recognises it."""


class ReadError(Error):
    """Reading the data file failed or came short."""


class OutputError(Error):
    """An output file cannot be created or written, or the disk is too full."""


class WriterError(Error):
    """The target format cannot be written from this acquisition."""


class Cancelled(Error):
    """The conversion was cancelled by its progress callable."""


class NoTimesError(Error):
    """The acquisition has no times for these scans."""


_CLASSES = {
    ARGUMENT: ArgumentError,
    DESC_OPEN: OpenError,
    DATA_OPEN: OpenError,
    DESC_READ: DescriptionError,
    DESC_INVALID: DescriptionError,
    UNKNOWN_TYPE: DescriptionError,
    DATA_READ: ReadError,
    OUTPUT_CREATE: OutputError,
    OUTPUT_WRITE: OutputError,
    DISK_SPACE: OutputError,
    WRITER: WriterError,
    CANCELLED: Cancelled,
    NO_TIMES: NoTimesError,
}


def error_for(status, text):
    """The error instance for a status (the compiled module raises what this returns)."""
    return _CLASSES.get(status, Error)(status, text)
