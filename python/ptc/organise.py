"""Organising clouds: into one with an octree, out of core; and merging, without one."""

from typing import NamedTuple, Optional, Sequence, Union

from ptc import _ptc
from ptc._names import PathLike, encode_path, encode_paths, encode_text
from ptc.progress import Progress, reporting

Inputs = Union[PathLike, Sequence[PathLike]]


class OrganizeSummary(NamedTuple):
    """What organize() has written."""

    points: int
    """In the output."""
    not_finite: int
    """Of these, the last ones: their positions are not finite, and no node covers them."""
    repeats: int
    """Points that were left out."""
    nodes: int
    leaves: int
    depth: int
    """Of the deepest leaf; 0: the root is the only node."""
    bytes_in_parts: int
    """That went to unnamed files meanwhile."""


class MergeSummary(NamedTuple):
    """What merge() has written."""

    points: int


def organize(
    inputs: Inputs,
    output: PathLike,
    *,
    leaf_points: int = 0,
    drop_repeats: bool = False,
    memory: int = 1 << 30,
    threads: int = 0,
    light: bool = False,
    light_color: Optional[str] = None,
    light_area: Optional[str] = None,
    progress: Progress = None,
) -> OrganizeSummary:
    """Writes the points of `inputs` as one binary file with an octree, which lookups need.

    `inputs`: one name or several; all need the variables of the first. `output` may be one of
    them: it takes its name when it is complete, and after a failure the older file stays.
    `leaf_points`: the most points in a leaf; 0: 128. `drop_repeats`: of points with the same bytes
    only the first is kept. `memory`: bytes that the call may take; larger clouds go through unnamed
    files in TMPDIR. `threads`: 0 for all processors. Neither changes the result.
    `light`: gives the nodes the data that gathering light reads. `light_color`: a variable of three
    floats; None: `_reflected`, else the first color, if there is one; "": none. `light_area`: the area of each point, a
    variable of one float; None: `_area` or `area`, if there is one; "": areas are those of the radii.
    """
    if memory < 1:
        raise ValueError(f"memory is {memory} bytes")
    if leaf_points < 0 or threads < 0:
        raise ValueError("leaf_points and threads are 0 or more")
    if not light and (light_color is not None or light_area is not None):
        raise ValueError("light_color and light_area need light=True")
    names = encode_paths(inputs, "inputs")
    plan = _ptc.Plan(leaf_points, drop_repeats, memory, threads)
    if light:
        color = None if light_color is None else encode_text(light_color)
        area = None if light_area is None else encode_text(light_area)
        plan.add_light(color, area)
    with reporting(progress, "organizing") as report:
        summary = _ptc.organise(names, encode_path(output), plan, report)
    return OrganizeSummary(*summary)


def merge(inputs: Inputs, output: PathLike, *, progress: Progress = None) -> MergeSummary:
    """Writes the points of `inputs`, one after the other, as one binary file without an octree."""
    names = encode_paths(inputs, "inputs")
    with reporting(progress, "merging") as report:
        return MergeSummary(_ptc.merge(names, encode_path(output), report))
