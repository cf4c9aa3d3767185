"""Progress of long calls: a bar on standard error, or a function of the caller's."""

import sys
from contextlib import contextmanager
from typing import Callable, Iterator, Optional, Union

Progress = Union[None, bool, str, Callable[[float], object]]
"""What long calls take as `progress`.

None or False: nothing. True: a bar, if standard error is a terminal. "always": a bar in any case.
A function: is called with shares from 0 to 1, about 20 times a second, in the calling thread; an
exception that it raises ends the call.
"""

_WIDTH = 40


class _Bar:
    """A line that is drawn again and again."""

    def __init__(self, title: str) -> None:
        self._title = title
        self._shown = ""

    def show(self, done: float) -> None:
        full = int(done * _WIDTH)
        line = f"{self._title} [{'#' * full}{'.' * (_WIDTH - full)}] {100 * done:3.0f} %"
        if line != self._shown:
            sys.stderr.write("\r" + line)
            sys.stderr.flush()
            self._shown = line

    def end(self) -> None:
        if self._shown:
            sys.stderr.write("\n")
            sys.stderr.flush()


@contextmanager
def reporting(progress: Progress, title: str) -> Iterator[Optional[Callable[[float], object]]]:
    """The function to call with shares for what a caller gave as `progress`; None: nobody."""
    if callable(progress):
        yield progress
        return
    if isinstance(progress, str) and progress != "always":
        raise ValueError(f"progress is {progress!r}, expected True, 'always' or a function")
    is_forced = progress == "always"
    if not progress or sys.stderr is None or not (is_forced or sys.stderr.isatty()):
        yield None
        return
    bar = _Bar(title)
    try:
        yield bar.show
    finally:
        bar.end()
