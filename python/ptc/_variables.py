"""Variables: which floats of a point each one takes, and the shape of its values."""

import re
from typing import Dict, Iterable, NamedTuple, Tuple

import numpy as np

from ptc import _ptc
from ptc._names import decode_text, encode_text

# A file has lines of words: the text after the name's first blank would be lost.
_DECLARATION = re.compile(r"[^ \t\r\n\v\f]+ [^ \t\r\n\v\f]+")


class Variable(NamedTuple):
    """One variable of points: `size` floats from float `first` of a point's data on."""

    type: str
    name: str
    first: int
    size: int

    @property
    def shape(self) -> Tuple[int, ...]:
        """The shape of one value: () for a float, (4, 4) for a matrix, otherwise (size,)."""
        return shape_of(self.type, self.size)


def shape_of(type_: str, size: int) -> Tuple[int, ...]:
    """The shape of one value of a type that takes `size` floats."""
    if size == 1:
        return ()
    return (4, 4) if size == 16 and type_.startswith("matrix") else (size,)


def from_library(declared: Iterable[Tuple[bytes, bytes, int]]) -> Dict[str, Variable]:
    """By name, in the order of the file. Of two with one name the first counts."""
    variables: Dict[str, Variable] = {}
    first = 0
    for type_, name, size in declared:
        text = decode_text(name)
        variables.setdefault(text, Variable(decode_text(type_), text, first, size))
        first += size
    return variables


def from_declarations(declarations: Iterable[str]) -> Dict[str, Variable]:
    """Those of a new file, from declarations such as "color _radiosity"."""
    variables: Dict[str, Variable] = {}
    first = 0
    for declaration in declarations:
        type_, _, name = declaration.partition(" ")
        size = _ptc.floats_of_type(encode_text(type_))
        if size < 1 or not _DECLARATION.fullmatch(declaration):
            raise ValueError(
                f"{declaration!r} declares no variable; write a type and a name, such as "
                "'float _area', 'color _radiosity' or 'float[4] _weights'"
            )
        if name in variables:
            raise ValueError(f"two variables have the name {name!r}")
        variables[name] = Variable(type_, name, first, size)
        first += size
    return variables


def floats_of(variables: Dict[str, Variable]) -> int:
    """How many floats the data of a point have."""
    return sum(variable.size for variable in variables.values())


def split(values: np.ndarray, first: int, size: int, shape: Tuple[int, ...]) -> np.ndarray:
    """The values of one variable, out of rows of data floats."""
    part = values[..., first : first + size]
    return part.reshape(values.shape[:-1] + shape)
