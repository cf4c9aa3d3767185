"""Arrays of callers as the library wants them: float32, one value behind the other."""

from typing import Any, Optional, Tuple

import numpy as np


def as_numbers(name: str, values: Any) -> np.ndarray:
    """An array of numbers, as it is. TypeError: `values` are something else."""
    array = np.asarray(values)
    if array.dtype.kind not in "biuf":
        raise TypeError(f"{name} has the type {array.dtype}, expected numbers")
    return array


def _shape_text(shape: Tuple[Any, ...]) -> str:
    return f"({', '.join(map(str, shape))}{',' if len(shape) == 1 else ''})"


def wrong_shape(name: str, array: np.ndarray, expected: Tuple[Any, ...]) -> ValueError:
    """The exception that names the array and both shapes."""
    return ValueError(f"{name} has shape {array.shape}, expected {_shape_text(expected)}")


def rows(name: str, values: Any, count: int, shape: Tuple[int, ...]) -> np.ndarray:
    """`values` with the shape (count, *shape), without a copy. One value counts for all."""
    array = as_numbers(name, values)
    expected = (count,) + shape
    if array.shape == expected:
        return array
    if array.shape == shape:
        return np.broadcast_to(array, expected)
    size = int(np.prod(shape, dtype=int))
    if array.shape == (count, size) and size > 0:  # a matrix as 16 floats, a float in brackets
        return array.reshape(expected)
    raise wrong_shape(name, array, expected)


def dense(array: np.ndarray) -> np.ndarray:
    """The values as float32, one behind the other; those too large for it become infinite."""
    with np.errstate(over="ignore"):
        return np.ascontiguousarray(array, np.float32)


def matrix(name: str, values: Any) -> Optional[np.ndarray]:
    """4 by 4 or 16 floats, or nothing. One row does not count for all."""
    if values is None:
        return None
    if np.ndim(values) == 1:
        return dense(rows(name, values, 16, ()))
    return dense(rows(name, values, 4, (4,)))


def places(name: str, values: Any) -> Tuple[np.ndarray, bool]:
    """Positions (m, 3), and whether they were a single one, (3,)."""
    array = as_numbers(name, values)
    if array.ndim not in (1, 2) or array.shape[-1] != 3:
        raise wrong_shape(name, array, ("m", 3))
    return dense(array.reshape(-1, 3)), array.ndim == 1
