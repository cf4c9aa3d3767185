"""Looking up: the nearest points of clouds, and values filtered out of them, at many places."""

import math
import os
from types import TracebackType
from typing import Any, Dict, Iterable, List, Optional, Sequence, Tuple, Type, Union

import numpy as np

from ptc import _ptc
from ptc._arrays import dense, places, rows
from ptc._names import PathLike, decode_text, encode_paths, encode_text
from ptc._variables import shape_of, split
from ptc.errors import no_variable
from ptc.progress import Progress, reporting

_MOST_COUNT = 65536


class Nearest:
    """What Lookup.nearest() has found: arrays with `count` places for each of m points asked for.

    Of each row the first `found` are there, the nearest first. The others have the file and the
    index -1, an infinite distance, and NaN for the rest. For a single point the first axis is
    missing.
    """

    found: Union[np.ndarray, int]
    """How many points were found: (m,) int32."""
    files: np.ndarray
    """Which of the lookup's files each one is in: (m, count) int32."""
    indexes: np.ndarray
    """Of the point in its file: (m, count) int64."""
    distances: np.ndarray
    """In world space: (m, count)."""
    positions: Optional[np.ndarray]
    """In world space: (m, count, 3). None unless "positions" was wanted."""
    normals: Optional[np.ndarray]
    """Of length 1, or 0: (m, count, 3). None unless "normals" was wanted."""
    radii: Optional[np.ndarray]
    """In world space: (m, count). None unless "radii" was wanted."""
    data: Dict[str, np.ndarray]
    """The wanted variables by name: (m, count) for a float, (m, count, 3) for a color, ..."""

    def __init__(self, arrays: Dict[str, Any], data: Dict[str, np.ndarray]) -> None:
        self.found = arrays["found"]
        self.files = arrays["files"]
        self.indexes = arrays["indexes"]
        self.distances = arrays["distances"]
        self.positions = arrays.get("positions")
        self.normals = arrays.get("normals")
        self.radii = arrays.get("radii")
        self.data = data

    def __getitem__(self, name: str) -> np.ndarray:
        """A wanted variable's values."""
        if name not in self.data:
            raise no_variable(name, "the answer", self.data)
        return self.data[name]

    def __repr__(self) -> str:
        return f"<ptc.Nearest {int(np.sum(self.found))} points found>"


class Lookup:
    """Up to 100 clouds that are asked together what is near a place.

    Files with an octree (ptc.organize) are read block by block, through caches (ptc.configure);
    those without are read once and kept in memory with an octree of their own. A lookup sees the
    files that have the names when it is made. Any number of Python threads may use one lookup.
    Answers do not depend on the number of threads.
    """

    def __init__(
        self,
        files: Union[PathLike, Sequence[PathLike]],
        variables: Union[None, str, Sequence[str]] = None,
        threads: int = 0,
    ) -> None:
        """Opens `files`, one name or several.

        `variables`: the ones that answers may have; None: all of all files. Files that lack one
        answer zeros for it. `threads`: that calls use unless they say otherwise; 0: all processors.
        """
        paths = encode_paths(files, "files")
        if len(paths) > _ptc.most_files:
            raise ValueError(f"{len(paths)} files, expected at most {_ptc.most_files}")
        self._paths = [os.path.abspath(path) for path in paths]
        self._names = [os.fsdecode(path) for path in paths]
        self._threads = _sound_threads(threads, 0)
        self._lookups: Dict[Tuple[str, ...], Tuple[_ptc.Lookup, List[int]]] = {}
        self._clouds: Optional[_ptc.Clouds] = _ptc.Clouds(paths)
        self._types: Dict[str, str] = {}
        for declared in self._clouds.variables():
            for type_, name, _ in declared:
                self._types.setdefault(decode_text(name), decode_text(type_))
        if variables is not None:
            chosen = [variables] if isinstance(variables, str) else list(variables)
            self._types = {name: self._types[self._known(name)] for name in chosen}
        self._of(())  # so that a file that cannot be looked up is told now

    @property
    def files(self) -> List[str]:
        """The files' names as they were given."""
        return list(self._names)

    @property
    def variables(self) -> Dict[str, str]:
        """The types of the variables that answers may have, by name."""
        return dict(self._types)

    def nearest(
        self,
        points: Any,
        count: int = 8,
        within: float = math.inf,
        normals: Any = None,
        *,
        least_dot: float = -1.0,
        want: Union[str, Iterable[str]] = (),
        threads: Optional[int] = None,
        progress: Progress = None,
    ) -> Nearest:
        """Finds the points that are nearest to each of `points`, which are (m, 3) or (3,).

        `count`: how many, 1 to 65536. `within`: the greatest distance. `normals` and `least_dot`:
        with normals of length 1, (m, 3) or (3,) for all, only points whose normals have at least
        this dot product with them are found. `want`: what the answer has beside counts, files,
        indexes and distances: "positions", "normals", "radii", and variables by name.
        """
        if not 1 <= count <= _MOST_COUNT:
            raise ValueError(f"count is {count}, expected 1 to {_MOST_COUNT}")
        asked, is_single = places("points", points)
        sides = _normals(normals, len(asked))
        wanted = [want] if isinstance(want, str) else list(want)
        heads = [name in wanted for name in ("positions", "normals", "radii")]
        names = tuple(
            self._known(name) for name in wanted if name not in ("positions", "normals", "radii")
        )
        lookup, sizes = self._of(names)
        with reporting(progress, "looking up") as report:
            arrays = lookup.nearest(
                asked,
                sides,
                _ptc.Wanted(count, within, least_dot),
                _ptc.Wants(*heads, bool(names)),
                self._threads_of(threads),
                report,
            )
        for name in ("files", "indexes", "distances", "radii"):
            if name in arrays:
                arrays[name] = arrays[name][..., 0]
        if is_single:
            arrays = {name: array[0] for name, array in arrays.items()}
            arrays["found"] = int(arrays["found"])
        return Nearest(arrays, self._split(arrays.get("data"), names, sizes))

    def sample(
        self,
        points: Any,
        normals: Any = None,
        *names: str,
        radius: float,
        least_dot: float = 0.0,
        weights: bool = False,
        threads: Optional[int] = None,
        progress: Progress = None,
    ) -> Any:
        """Filters variables' values at each of `points`, which are (m, 3) or (3,).

            light = lookup.sample(points, normals, "_radiosity", radius=0.1)

        A value is the mean of those of the points within `radius`, or within their own radii, the
        near ones weighing more; 1.5 to 2 times the distance between neighbours is best. `normals`,
        of length 1, (m, 3), (3,) for all, or None: points that face away count less, and those
        whose dot product with them is `least_dot` or less do not count. Where there is nothing the
        value is 0.

        Answers an array for one name, or a dictionary of arrays for several or none, which means
        all variables. With `weights`, answers a pair of that and the sums of the weights, (m,) for
        each name; 0 where there is nothing.
        """
        if isinstance(normals, str):
            names, normals = (normals, *names), None
        asked, is_single = places("points", points)
        sides = _normals(normals, len(asked))
        known = tuple(self._known(name) for name in names) or tuple(self._types)
        lookup, sizes = self._of(known)
        with reporting(progress, "sampling") as report:
            values, sums = lookup.sample(
                asked, sides, _ptc.Filter(radius, least_dot), self._threads_of(threads), report
            )
        if is_single:
            values, sums = values[0], sums[0]
        by_name = self._split(values, known, sizes)
        sums_by_name = {name: sums[..., i] for i, name in enumerate(known)}
        if len(names) == 1:
            return (by_name[names[0]], sums_by_name[names[0]]) if weights else by_name[names[0]]
        return (by_name, sums_by_name) if weights else by_name

    # --- the end ---

    def close(self) -> None:
        """Ends the use of the files, once calls in other threads have ended."""
        self._clouds = None
        self._lookups.clear()

    def __enter__(self) -> "Lookup":
        self._open_clouds()
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        state = ", closed" if self._clouds is None else ""
        return f"<ptc.Lookup {self._names}: {', '.join(self._types) or 'no variables'}{state}>"

    def __reduce__(self) -> Tuple[object, ...]:
        """Pickles the absolute paths; the files are opened anew where they arrive."""
        self._open_clouds()
        return Lookup, (self._paths, list(self._types), self._threads)

    # --- inner ---

    def _open_clouds(self) -> "_ptc.Clouds":
        clouds = self._clouds
        if clouds is None:
            raise ValueError("the lookup is closed")
        return clouds

    def _of(self, names: Tuple[str, ...]) -> Tuple["_ptc.Lookup", List[int]]:
        """The library's lookup whose answers have these variables, and their sizes."""
        clouds = self._open_clouds()
        made = self._lookups.get(names)
        if made is None:
            lookup = _ptc.Lookup(clouds, [encode_text(name) for name in names])
            made = self._lookups[names] = lookup, lookup.sizes()
        return made

    def _known(self, name: str) -> str:
        if name not in self._types:
            raise no_variable(name, "the lookup", self._types)
        return name

    def _threads_of(self, threads: Optional[int]) -> int:
        return _sound_threads(threads, self._threads)

    def _split(
        self, values: Optional[np.ndarray], names: Tuple[str, ...], sizes: List[int]
    ) -> Dict[str, np.ndarray]:
        """The values of each variable, out of rows of data floats."""
        parts: Dict[str, np.ndarray] = {}
        first = 0
        for name, size in zip(names, sizes):
            if values is not None:
                parts[name] = split(values, first, size, shape_of(self._types[name], size))
            first += size
        return parts


def _sound_threads(threads: Optional[int], otherwise: int) -> int:
    number = otherwise if threads is None else threads
    if number < 0:
        raise ValueError(f"threads is {number}, expected 0 or more")
    return number


def _normals(normals: Any, count: int) -> Optional[np.ndarray]:
    return None if normals is None else dense(rows("normals", normals, count, (3,)))
