"""Writing clouds: at once, or as a stream of points."""

import weakref
from types import TracebackType
from typing import Any, Dict, Mapping, Optional, Sequence, Tuple, Type

import numpy as np

from ptc import _ptc
from ptc._arrays import as_numbers, dense, matrix, rows, wrong_shape
from ptc._names import PathLike, encode_path, encode_text
from ptc._variables import Variable, floats_of, from_declarations
from ptc.errors import no_variable

_PIECE = 1 << 23  # bytes of points that are converted at a time


class Writer:
    """A new file that takes points until it is closed.

        with ptc.Writer("a.ptc", ["color _radiosity"]) as cloud:
            cloud.write(position, normal, radius, {"_radiosity": light})

    The file gets its name when it is closed; until then, and after an exception inside the `with`,
    a file that had the name before stays. A writer that is collected unclosed is abandoned.
    """

    def __init__(
        self,
        name: PathLike,
        variables: Sequence[str] = (),
        *,
        world_to_eye: Any = None,
        world_to_ndc: Any = None,
        format: Tuple[float, float, float] = (640, 480, 1),
    ) -> None:
        """Begins the file called `name`.

        `variables`: declarations, such as "float _area", "color _radiosity", "matrix _frame" or
        "float[4] _weights". Matrices: 4 by 4, for row vectors; None: identity. `format`: the x and
        y resolution of the picture in pixels, and the aspect ratio of a pixel.
        """
        if isinstance(variables, str):
            raise TypeError("variables is a text, expected a list of declarations")
        self._name = encode_path(name)
        self._variables: Dict[str, Variable] = from_declarations(variables)
        self._floats = floats_of(self._variables)
        self._points = 0
        self._is_open = True
        self._writer = _ptc.Writer(
            self._name,
            [encode_text(variable.type) for variable in self._variables.values()],
            [encode_text(variable.name) for variable in self._variables.values()],
            matrix("world_to_eye", world_to_eye),
            matrix("world_to_ndc", world_to_ndc),
            dense(rows("format", format, 3, ())).tolist(),
        )
        # Also when the interpreter ends.
        self._finalizer = weakref.finalize(self, self._writer.abandon)

    @property
    def points(self) -> int:
        """How many points were written."""
        return self._points

    def write(
        self,
        position: Any,
        normal: Any = None,
        radius: Any = 0.0,
        variables: Optional[Mapping[str, Any]] = None,
        *,
        codes: Any = None,
    ) -> None:
        """Writes n points.

        `position`: (n, 3). `normal`: (n, 3), or (3,) for all points; any length. `radius`: (n,), or
        one for all. `variables`: values of every variable, by name or by declaration, with the
        shapes that Points has, or one value for all points. `codes`: instead of `normal`, the codes
        that Points.codes answers, (n, 2) integers, which are written as they are. Arrays may be
        anything that numpy can turn into float32. Wrong shapes and negative radii are a ValueError,
        and none of the points is written then.
        """
        self._check_open()
        positions = as_numbers("position", position)
        if positions.ndim != 2 or positions.shape[1] != 3:
            raise wrong_shape("position", positions, ("n", 3))
        count = len(positions)
        radii = rows("radius", radius, count, ())
        self._refuse_negative(radii)
        if (codes is None) == (normal is None):
            raise ValueError("points need either normals or codes")
        data = self._data(variables or {}, count)
        if codes is None:
            heads = positions, rows("normal", normal, count, (3,)), radii
            self._write(count, heads, data, self._write_points)
        else:
            heads = positions, _codes(codes, count), radii
            self._write(count, heads, data, self._write_records)

    def close(self) -> None:
        """Completes the file and gives it its name. Does nothing the second time."""
        if self._is_open:
            self._is_open = False
            self._finalizer.detach()
            self._writer.finish()

    def abandon(self) -> None:
        """Leaves nothing of the new file. Does nothing after close()."""
        if self._is_open:
            self._is_open = False
            self._finalizer()

    def __enter__(self) -> "Writer":
        self._check_open()
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        if kind is None:
            self.close()
        else:
            self.abandon()

    def _check_open(self) -> None:
        if not self._is_open:
            raise ValueError("the writer is closed")

    def _refuse_negative(self, radii: np.ndarray) -> None:
        """ValueError: one of the radii is below 0, as float32."""
        distinct = len(radii) if any(radii.strides) else min(len(radii), 1)
        for first in range(0, distinct, _PIECE):
            negative = np.flatnonzero(dense(radii[first : min(first + _PIECE, distinct)]) < 0)
            if len(negative):
                at = first + int(negative[0])
                point = self._points + at
                raise ValueError(f"the radius of point {point} is negative: {radii[at]}")

    def _data(self, values: Mapping[str, Any], count: int) -> Dict[str, np.ndarray]:
        """The values of every variable, in the order of the file."""
        given: Dict[str, np.ndarray] = {}
        declared = {f"{variable.type} {name}": name for name, variable in self._variables.items()}
        for key, array in values.items():
            name = declared.get(key, key)
            if name not in self._variables:
                raise no_variable(key, "the file", self._variables)
            given[name] = rows(name, array, count, self._variables[name].shape)
        missing = [name for name in self._variables if name not in given]
        if missing:
            raise ValueError(f"no values of {', '.join(missing)}")
        return given

    def _write(self, count: int, heads: Any, data: Dict[str, np.ndarray], write: Any) -> None:
        """Converts and writes a piece at a time, which bounds memory and lets Ctrl-C in."""
        size = max(1, _PIECE // (40 + 4 * self._floats))
        for first in range(0, count, size):
            part = slice(first, min(first + size, count))
            written = part.stop - part.start
            write(
                written,
                *(array[part] for array in heads),
                {name: array[part] for name, array in data.items()},
            )
            self._points += written

    def _fill(self, room: np.ndarray, data: Dict[str, np.ndarray]) -> None:
        with np.errstate(over="ignore"):
            for name, array in data.items():
                variable = self._variables[name]
                end = variable.first + variable.size
                room[:, variable.first : end] = array.reshape(len(array), variable.size)

    def _write_points(self, count: int, position, normal, radius, data) -> None:
        values = np.empty((count, self._floats), np.float32)
        self._fill(values, data)
        self._writer.write_points(count, dense(position), dense(normal), dense(radius), values)

    def _write_records(self, count: int, position, codes, radius, data) -> None:
        fields = [("position", "<f4", 3), ("codes", "<u2", 2), ("radius", "<f4")]
        records = np.empty(count, [*fields, ("data", "<f4", (self._floats,))])
        with np.errstate(over="ignore"):
            records["position"] = position
        records["codes"] = codes
        records["radius"] = radius
        self._fill(records["data"], data)
        self._writer.write_records(count, records.view(np.uint8))


def _codes(codes: Any, count: int) -> np.ndarray:
    array = np.asarray(codes)
    if array.dtype.kind not in "iu":
        raise TypeError(f"codes has the type {array.dtype}, expected 16-bit integers")
    if array.shape != (count, 2):
        raise wrong_shape("codes", array, (count, 2))
    if array.dtype.itemsize != 2 and count and (array.min() < 0 or array.max() > 0xFFFF):
        raise ValueError("codes has values outside of 16 bits")
    return array


def write(
    name: PathLike,
    position: Any,
    normal: Any = None,
    radius: Any = 0.0,
    variables: Optional[Mapping[str, Any]] = None,
    *,
    codes: Any = None,
    world_to_eye: Any = None,
    world_to_ndc: Any = None,
    format: Tuple[float, float, float] = (640, 480, 1),
) -> None:
    """Writes a file of points, without an octree; see Writer and its write().

        ptc.write("a.ptc", position, normal, 0.1, {"color _radiosity": light})

    `variables`: values by declaration, in the order of the file. The file gets its name when it is
    complete; after an exception, and after Ctrl-C, one that had the name before stays.
    """
    given = dict(variables or {})
    matrices = {"world_to_eye": world_to_eye, "world_to_ndc": world_to_ndc}
    with Writer(name, list(given), format=format, **matrices) as cloud:
        cloud.write(position, normal, radius, given, codes=codes)
