"""An open file: what it says of itself, and its records as views or read piece by piece."""

import os
from typing import Iterator, Optional, Tuple

import numpy as np

from ptc import _ptc
from ptc._names import PathLike, encode_path
from ptc._variables import from_library

_PIECE = 1 << 22  # bytes of records that are read at a time


class File:
    """One file of points. A plain binary one is mapped and holds no descriptor."""

    # Where the values of a point stand in its record, in bytes.
    POSITION, CODES, RADIUS, DATA = 0, 12, 16, 20

    def __init__(self, name: PathLike) -> None:
        self.name = os.fsdecode(name)
        self.path = os.path.abspath(self.name)
        self._reader: Optional[_ptc.Reader] = _ptc.Reader(encode_path(name))
        self.header = self._reader.header()
        self.form = ("binary", "text", "gzip", "gzip text")[self.header["form"]]
        self.points: int = self.header["points"]
        self.record_bytes: int = self.header["record_bytes"]
        self.variables = from_library(self.header["variables"])
        self.node_variables = from_library(self.header["node_variables"])
        self.is_closed = False
        self.records: Optional[object] = None  # all of them, if they are in memory
        if self.points == 0:
            self.records = b""
        elif self.form == "binary":
            # What cannot be mapped, such as on a file system without it, is read instead.
            self.records = self._reader.map()
        if self.records is not None:
            self._reader = None

    def check_open(self) -> None:
        """ValueError: the cloud was closed."""
        if self.is_closed:
            raise self._closed()

    def _closed(self) -> ValueError:
        return ValueError(f"{self.name}: the cloud is closed")

    def close(self) -> None:
        """Lets go of the file and of its mapping, which stays while arrays look at it."""
        self.is_closed = True
        self._reader = None
        self.records = None

    def view(
        self, records: object, rows: range, offset: int, dtype: np.dtype, shape: Tuple[int, ...]
    ) -> np.ndarray:
        """Values at byte `offset` of some of the `records`, which are an object with a buffer."""
        if not rows:
            return np.empty((0,) + shape, dtype)
        record = self.record_bytes
        strides = [dtype.itemsize]
        for length in shape[:0:-1]:
            strides.insert(0, strides[0] * length)
        strides = strides[len(strides) - len(shape) :]
        # From the first row of memory on; numpy takes no offset for a view that runs backwards.
        ascending = rows if rows.step > 0 else rows[::-1]
        step = ascending.step if len(rows) > 1 else 1  # else it may be any number
        array = np.ndarray(
            (len(rows),) + shape,
            dtype,
            records,
            ascending[0] * record + offset,
            (step * record, *strides),
        )
        return array if rows.step > 0 else array[::-1]

    def gather(
        self, indexes: range, offset: int, dtype: np.dtype, shape: Tuple[int, ...]
    ) -> np.ndarray:
        """The same values of points that are not in memory, read piece by piece."""
        values = np.empty((len(indexes),) + shape, dtype)
        if not indexes:
            return values
        ascending = indexes if indexes.step > 0 else indexes[::-1]
        at = 0
        for first, records in self._pieces(ascending[0], ascending[-1] + 1):
            end = (first + len(records) - ascending[0] + ascending.step - 1) // ascending.step
            wanted = ascending[at : min(end, len(ascending))]
            rows = range(0)
            if wanted:
                rows = range(wanted[0] - first, wanted[-1] - first + 1, ascending.step)
            values[at : at + len(wanted)] = self.view(records, rows, offset, dtype, shape)
            at += len(wanted)
        return values if indexes.step > 0 else values[::-1]

    def _pieces(self, first: int, end: int) -> Iterator[Tuple[int, np.ndarray]]:
        """The records from `first` to `end`: the number of the first one, and an array of bytes."""
        most = max(1, _PIECE // self.record_bytes)
        room = np.empty((min(most, end - first), self.record_bytes), np.uint8)
        while first < end:
            reader = self._reader
            if reader is None:
                raise self._closed()
            records = room[: min(most, end - first)]
            reader.read_records(first, records)
            yield first, records
            first += len(records)
