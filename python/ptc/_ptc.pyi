"""The extension module. Names of files and variables are bytes; the package checks arrays."""

from typing import Any, Callable, Dict, List, Optional, Sequence, Tuple

import numpy as np

Report = Optional[Callable[[float], object]]
Declared = List[Tuple[bytes, bytes, int]]

version: str
most_files: int

class Mapping:
    """The records of a plain binary file; has a read-only buffer."""

class Reader:
    def __init__(self, name: bytes) -> None: ...
    def header(self) -> Dict[str, Any]: ...
    def map(self) -> Optional[Mapping]:
        """The mapping, after which the reader has no file; None: the file has to be read."""
    def read_records(self, first: int, records: np.ndarray) -> None: ...

class Writer:
    def __init__(
        self,
        name: bytes,
        types: Sequence[bytes],
        names: Sequence[bytes],
        world_to_eye: Optional[np.ndarray],
        world_to_ndc: Optional[np.ndarray],
        format: Sequence[float],
    ) -> None: ...
    def write_points(
        self,
        count: int,
        positions: np.ndarray,
        normals: np.ndarray,
        radii: np.ndarray,
        data: np.ndarray,
    ) -> None: ...
    def write_records(self, count: int, records: np.ndarray) -> None: ...
    def finish(self) -> None: ...
    def abandon(self) -> None: ...

class Clouds:
    def __init__(self, names: Sequence[bytes]) -> None: ...
    def variables(self) -> List[Declared]: ...

class Wanted:
    def __init__(self, most: int, within: float, least_dot: float) -> None: ...

class Wants:
    def __init__(self, positions: bool, normals: bool, radii: bool, data: bool) -> None: ...

class Filter:
    def __init__(self, radius: float, least_dot: float) -> None: ...

class Lookup:
    def __init__(self, clouds: Clouds, variables: Sequence[bytes]) -> None: ...
    def sizes(self) -> List[int]: ...
    def nearest(
        self,
        points: np.ndarray,
        normals: Optional[np.ndarray],
        wanted: Wanted,
        wants: Wants,
        threads: int,
        report: Report,
    ) -> Dict[str, np.ndarray]: ...
    def sample(
        self,
        points: np.ndarray,
        normals: Optional[np.ndarray],
        filter: Filter,
        threads: int,
        report: Report,
    ) -> Tuple[np.ndarray, np.ndarray]: ...

class Plan:
    def __init__(
        self, leaf_points: int, drop_repeats: bool, memory: int, threads: int
    ) -> None: ...
    def add_light(self, color: Optional[bytes], area: Optional[bytes]) -> None: ...

def decode_normals(codes: np.ndarray, normals: np.ndarray) -> None: ...
def floats_of_type(type: bytes) -> int: ...
def organise(
    inputs: Sequence[bytes], output: bytes, plan: Plan, report: Report
) -> Tuple[int, int, int, int, int, int, int]: ...
def merge(inputs: Sequence[bytes], output: bytes, report: Report) -> int: ...
def statistics() -> Dict[str, Any]: ...
def configure(threads: int, point_kb: int, node_kb: int) -> None: ...
def begin_messages() -> None:
    """Forgets what is queued, in a process that was just forked."""

def print_messages() -> None:
    """Has the library print its messages on standard error again."""
