"""The exceptions of the package, and how failures of the library become exceptions."""

import difflib
import os
from typing import Iterable, Optional


class FormatError(ValueError):
    """A file is not a point cloud, or is damaged. `filename` is its name, if that is known."""

    def __init__(self, message: str, filename: Optional[str] = None) -> None:
        super().__init__(message)
        self.filename = filename

    def __reduce__(self):
        return type(self), (self.args[0], self.filename)


class VariableError(KeyError):
    """There is no variable of this name. The text says which ones there are."""

    def __str__(self) -> str:  # that of a KeyError would be in quotes
        return str(self.args[0])


def no_variable(name: str, where: str, names: Iterable[str]) -> VariableError:
    """The exception for a `name` that is not among `names`, with the nearest one of these."""
    known = list(names)
    near = difflib.get_close_matches(name, known, n=1, cutoff=0.5)
    hint = f"; did you mean {near[0]!r}?" if near else ""
    there = f"it has {', '.join(known)}" if known else "it has none"
    return VariableError(f"{where} has no variable {name!r}{hint} ({there})")


# The library's codes (PtcFailureCode) that need a word here.
_BAD_ARGUMENT, _NO_SUCH_RECORD, _NO_MEMORY, _SHUT_DOWN = 1, 4, 7, 8
_CANNOT_OPEN, _CANNOT_WRITE = 2, 6


def exception_of(code: int, system_error: int, text: bytes, what: bytes) -> Exception:
    """The exception for a failure of the library. `what`: the end of `text` behind the file."""
    message = os.fsdecode(text)
    reason = os.fsdecode(what)
    filename = os.fsdecode(text[: -len(what) - 2]) if 0 < len(what) < len(text) - 2 else None
    if code == _NO_MEMORY:
        return MemoryError(message or "memory ran out")
    if system_error:
        if code in (_CANNOT_OPEN, _CANNOT_WRITE):
            reason = os.strerror(system_error)
        return OSError(system_error, reason, filename)
    if code in (_CANNOT_OPEN, _CANNOT_WRITE):
        return OSError(message)  # with a file name and no number its text would be "None"
    if code in (_BAD_ARGUMENT, _NO_SUCH_RECORD, _SHUT_DOWN):
        return ValueError(message)
    return FormatError(message, filename)
