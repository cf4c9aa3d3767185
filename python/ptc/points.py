"""Points: a run of a file's points, as arrays."""

from typing import Iterator, Optional, Tuple, Union

import numpy as np

from ptc import _ptc
from ptc._file import File
from ptc.errors import no_variable

CHUNK = 65536
"""How many points a chunk has unless another size is asked for."""


class Points:
    """Points of a file, in its order: those of a cloud, of a slice of it, or of a chunk.

    In a plain binary file arrays are views: they are read-only, nothing is copied, and the file's
    bytes stay mapped while any of them is in use, also after the cloud was closed. In a text or
    gzip file each access reads the values anew, piece by piece, into an array of the caller's own;
    take chunks there to read several kinds of values in one pass.
    """

    def __init__(
        self,
        file: File,
        indexes: range,
        records: Optional[object] = None,
        rows: Optional[range] = None,
    ) -> None:
        """For the package: `records` in memory, of which point i of these has number rows[i]."""
        self._file = file
        self._indexes = indexes
        self._records = records
        self._rows = rows

    # --- values ---

    @property
    def position(self) -> np.ndarray:
        """Positions in world space: (n, 3) float32."""
        return self._values(self._file.POSITION, np.dtype("<f4"), (3,))

    @property
    def radius(self) -> np.ndarray:
        """Radii in world space: (n,) float32."""
        return self._values(self._file.RADIUS, np.dtype("<f4"), ())

    @property
    def codes(self) -> np.ndarray:
        """The codes of the normals as they are stored, azimuth and height: (n, 2) uint16."""
        return self._values(self._file.CODES, np.dtype("<u2"), (2,))

    @property
    def normal(self) -> np.ndarray:
        """Normals of length 1, or 0 for a point without one: (n, 3) float32, decoded anew."""
        normals = np.empty((len(self), 3), np.float32)
        _ptc.decode_normals(self.codes, normals)
        return normals

    @property
    def ndc(self) -> np.ndarray:
        """Positions as the file's camera sees them, through world_to_ndc: (n, 3) float32, new.

        x and y from -1 to 1 are in the picture, y upwards; z grows with the depth of what is in
        front of the camera. What is behind it means nothing, as in any projection.
        """
        matrix = self._file.header["world_to_ndc"].reshape(4, 4)
        seen = np.empty((len(self), 3), np.float32)
        with np.errstate(all="ignore"):
            for first in range(0, len(self), CHUNK):
                here = slice(first, first + CHUNK)
                projected = self[here].position @ matrix[:3] + matrix[3]
                seen[here] = projected[:, :3] / projected[:, 3:]
        return seen

    def __getitem__(self, key: Union[str, slice]) -> "Union[np.ndarray, Points]":
        """A variable's values by name, or the points of a slice.

        Values are float32: (n,) for a float, (n, 3) for a color, point, vector or normal, (n, 4, 4)
        for a matrix, (n, k) for any other size k. KeyError: there is no such variable.
        """
        self._file.check_open()
        if isinstance(key, slice):
            rows = None if self._rows is None else self._rows[key]
            return Points(self._file, self._indexes[key], self._records, rows)
        if not isinstance(key, str):
            raise TypeError(f"points have variables by name, and slices, but no {key!r}")
        variable = self._file.variables.get(key)
        if variable is None:
            raise no_variable(key, self._file.name, self._file.variables)
        first = self._file.DATA + 4 * variable.first
        return self._values(first, np.dtype("<f4"), variable.shape)

    def __contains__(self, name: object) -> bool:
        """Whether the points have a variable of this name."""
        return name in self._file.variables

    # --- runs ---

    def __len__(self) -> int:
        return len(self._indexes)

    def __iter__(self) -> "Iterator[Points]":
        """The points in chunks of 65536, the last one shorter."""
        return self.chunks()

    def chunks(self, size: int = CHUNK) -> "Iterator[Points]":
        """The points in chunks of `size`, the last one shorter. Each file is read once."""
        if size < 1:
            raise ValueError(f"a chunk cannot have {size} points")
        return self._chunks(size)

    def _chunks(self, size: int) -> "Iterator[Points]":
        for first in range(0, len(self), size):
            part = self[first : first + size]
            if part._records is None:
                indexes = part._indexes
                ascending = indexes if indexes.step > 0 else indexes[::-1]
                record = (self._file.record_bytes,)
                records = self._file.gather(ascending, 0, np.dtype("u1"), record)
                rows = range(len(records))
                part = Points(self._file, indexes, records, rows if indexes.step > 0 else rows[::-1])
            yield part

    def __repr__(self) -> str:
        return f"<ptc.Points {self._indexes!r} of {self._file.name!r}>"

    def __reduce__(self) -> Tuple[object, ...]:
        """Pickles the file's path and which points; the file is opened anew where that arrives."""
        return _points_of, (self._file.path, self._indexes)

    def _values(self, offset: int, dtype: np.dtype, shape: Tuple[int, ...]) -> np.ndarray:
        self._file.check_open()
        records = self._records  # once: another thread may close the cloud
        if records is None or self._rows is None:
            return self._file.gather(self._indexes, offset, dtype, shape)
        return self._file.view(records, self._rows, offset, dtype, shape)


def _points_of(path: str, indexes: range) -> Points:
    """The points that were pickled."""
    from ptc.cloud import open as open_cloud  # a cloud is made of points, so not at the top

    cloud = open_cloud(path)
    if indexes and max(indexes[0], indexes[-1]) >= len(cloud):
        raise ValueError(f"{path} has fewer points than when they were pickled")
    file = cloud._file
    rows = None if file.records is None else indexes
    return Points(file, indexes, file.records, rows)
