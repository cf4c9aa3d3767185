"""Cloud: a point cloud file that is open for reading."""

import os
from types import TracebackType
from typing import Dict, Optional, Tuple, Type

import numpy as np

from ptc._file import File
from ptc._names import PathLike
from ptc.points import Points


class Cloud(Points):
    """A point cloud file: what it says of itself, and its points (see Points).

    Changing a file while it is open gives undefined values, and cutting it off may end the process:
    replace files, do not change them. ptc.write() and ptc.organize() replace them.
    """

    def __init__(self, name: PathLike) -> None:
        """Opens the file called `name`."""
        file = File(name)
        rows = None if file.records is None else range(file.points)
        super().__init__(file, range(file.points), file.records, rows)

    # --- what the file says of itself ---

    @property
    def name(self) -> str:
        """The file's name as it was given."""
        return self._file.name

    @property
    def form(self) -> str:
        """How the file keeps its points: "binary", "text", "gzip" or "gzip text"."""
        return self._file.form

    @property
    def points(self) -> int:
        """How many points there are; the same as len()."""
        return self._file.points

    @property
    def nodes(self) -> int:
        """How many nodes the file's octree has; 0: it has none."""
        return self._file.header["nodes"]

    @property
    def box(self) -> np.ndarray:
        """The box around all points' spheres, in world space: minimum and maximum, (2, 3).

        A file without points has the minimum 1e30 and the maximum -1e30.
        """
        return self._file.header["box"].reshape(2, 3).copy()

    @property
    def largest_radius(self) -> float:
        """The largest radius, in world space."""
        return self._file.header["largest_radius"]

    @property
    def world_to_eye(self) -> np.ndarray:
        """The matrix from world to eye space, for row vectors: (4, 4)."""
        return self._file.header["world_to_eye"].reshape(4, 4).copy()

    @property
    def world_to_ndc(self) -> np.ndarray:
        """The matrix from world space to normalised device coordinates, for row vectors: (4, 4)."""
        return self._file.header["world_to_ndc"].reshape(4, 4).copy()

    @property
    def format(self) -> Tuple[float, float, float]:
        """The picture's x and y resolution in pixels, and the aspect ratio of a pixel."""
        return self._file.header["format"]

    @property
    def variables(self) -> Dict[str, str]:
        """The types of the points' variables by name, in the order of the file."""
        return {name: variable.type for name, variable in self._file.variables.items()}

    @property
    def node_variables(self) -> Dict[str, str]:
        """The same for the nodes of the octree."""
        return {name: variable.type for name, variable in self._file.node_variables.items()}

    # --- the end ---

    def close(self) -> None:
        """Ends the use of the file. Arrays that look at it stay as they are."""
        self._file.close()
        self._records = None

    @property
    def closed(self) -> bool:
        """Whether the cloud was closed; it gives no points then, but still says what it was."""
        return self._file.is_closed

    def __enter__(self) -> "Cloud":
        self._file.check_open()
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        """The header in short."""
        low, high = self.box
        x, y, aspect = self.format

        def listed(variables: Dict[str, str]) -> str:
            # Escaped, as the name of the file: what is no UTF-8 could not be printed.
            return repr(", ".join(map(" ".join, zip(variables.values(), variables))))[1:-1] or "none"

        lines = {
            "form": self.form,
            "points": f"{self.points} of {self._file.record_bytes} bytes",
            "octree nodes": str(self.nodes or "none"),
            "box minimum": " ".join(f"{value:.6g}" for value in low),
            "box maximum": " ".join(f"{value:.6g}" for value in high),
            "largest radius": f"{self.largest_radius:.6g}",
            "variables": listed(self.variables),
            "format": f"{x:g} x {y:g}, pixel aspect {aspect:g}",
        }
        if self.closed:
            lines["closed"] = "yes"
        return f"<ptc.Cloud {self.name!r}\n" + "\n".join(
            f"  {label:<15} {text}" for label, text in lines.items()
        ) + ">"

    def __reduce__(self) -> Tuple[object, ...]:
        """Pickles the absolute path; the file is opened anew where that arrives."""
        self._file.check_open()
        return open, (self._file.path,)


def open(name: PathLike) -> Cloud:
    """Opens the file called `name` for reading: plain or gzip, binary or text.

    FileNotFoundError and other OSErrors: the system refuses. FormatError: it is not a point cloud,
    or is damaged.
    """
    return Cloud(os.fspath(name))
