"""The library's caches in this process: their sizes, and what was counted."""

from typing import Any, Dict

from ptc import _ptc


def statistics() -> Dict[str, Any]:
    """What the library has counted since the process began: lookups, reads, memory, files.

    "points" and "nodes" are dictionaries of their own, one for each of the two caches. Memory is in
    bytes; times, in seconds, are those of all threads together. All is 0 before the first lookup.
    """
    return _ptc.statistics()


def configure(threads: int = 0, point_memory: int = 0, node_memory: int = 0) -> None:
    """Sets the sizes of the caches through which organised files are looked up.

    `threads`: how many threads share them; 0: as many as the machine runs at once. `point_memory`,
    `node_memory`: bytes for each of these threads; 0: the default of 10 MB. Takes effect before the
    first lookup of the process, and never after it.
    """
    if min(threads, point_memory, node_memory) < 0:
        raise ValueError("a number of threads or bytes is below 0")
    _ptc.configure(threads, -(-point_memory // 1024), -(-node_memory // 1024))
