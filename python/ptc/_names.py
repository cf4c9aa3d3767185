"""Names of files and variables as the library has them: bytes."""

import os
from typing import List, Sequence, Union

PathLike = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


def encode_path(name: PathLike) -> bytes:
    """The bytes of a file's name."""
    path = os.fsencode(name)
    if b"\0" in path:
        raise ValueError(f"a file name holds a null byte: {name!r}")
    return path


def encode_paths(names: Union[PathLike, Sequence[PathLike]], what: str) -> List[bytes]:
    """The bytes of one name or several, at least one."""
    one = isinstance(names, (str, bytes, os.PathLike))
    paths = [encode_path(name) for name in ([names] if one else names)]
    if not paths:
        raise ValueError(f"no {what}")
    return paths


def encode_text(text: str) -> bytes:
    """The bytes of a variable's type or name."""
    encoded = text.encode("utf-8", "surrogateescape")
    if b"\0" in encoded:
        raise ValueError(f"a variable's name holds a null byte: {text!r}")
    return encoded


def decode_text(text: bytes) -> str:
    """The reverse of encode_text(), for any bytes."""
    return text.decode("utf-8", "surrogateescape")
