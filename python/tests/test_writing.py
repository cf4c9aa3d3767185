"""Writing: the bytes of a file, what is taken, and what is refused."""

from multiprocessing import get_context

import numpy as np
import pytest
from conftest import Arrays, example_bytes, write_again
from numpy.testing import assert_array_equal

import ptc

EYE = np.eye(4)
EYE[3, 2] = 5


def test_the_bytes_are_those_of_the_page(tmp_path):
    name = tmp_path / "a.ptc"
    with ptc.Writer(name, ["float _area", "color glow"], world_to_eye=EYE) as cloud:
        cloud.write([[1, 2, 3]], (0, 0, 1), 0.5, {"_area": 0.25, "glow": [[1, 0.5, 0]]})
        assert not name.exists() and cloud.points == 1
        cloud.write([[-1, 0, 4]], [[0, 1, 0]], [0.25], {"glow": (0, 0, 2), "float _area": [0.5]})
    assert name.read_bytes() == example_bytes()


@pytest.mark.parametrize("form", ("binary", "text", "gzip", "gzip text"))
def test_what_was_read_is_written_with_the_same_bytes(files, form, tmp_path):
    write_again(ptc.open(files[form]), tmp_path / "again.ptc")
    with ptc.open(files["binary"]) as plain, ptc.open(tmp_path / "again.ptc") as again:
        if form in ("binary", "gzip"):
            assert (tmp_path / "again.ptc").read_bytes() == files["binary"].read_bytes()
        assert_array_equal(again.codes, plain.codes)


def test_values_of_any_kind_are_the_same_as_dense_floats(tmp_path):
    arrays = Arrays(1000)
    arrays.write(tmp_path / "floats.ptc")
    wide = {key: np.asfortranarray(value, ">f8") for key, value in arrays.variables.items()}
    wide["matrix _frame"] = arrays.variables["matrix _frame"].reshape(-1, 16).tolist()
    gappy = np.repeat(arrays.position.astype("f8"), 2, axis=0)[::2]
    listed, swapped = arrays.normal.tolist(), arrays.radius.astype(">f4")
    ptc.write(tmp_path / "others.ptc", gappy, listed, swapped, wide)
    assert (tmp_path / "others.ptc").read_bytes() == (tmp_path / "floats.ptc").read_bytes()
    ptc.write(tmp_path / "one.ptc", arrays.position, (0, 3, 0), 1, {"color c": (1, 2, 3)})
    one = ptc.open(tmp_path / "one.ptc")
    assert (np.unique(one["c"], axis=0).tolist(), one.radius.min()) == ([[1, 2, 3]], 1)
    assert np.abs(one.normal - (0, 1, 0)).max() < 1e-4


FIVE = np.zeros((5, 3))
REFUSED = {
    "normal has shape (5, 2), expected (5, 3)": (ValueError, (FIVE, np.zeros((5, 2)))),
    "position has shape (3,), expected (n, 3)": (ValueError, ((1, 2, 3), (0, 0, 1))),
    "radius has shape (4,), expected (5,)": (ValueError, (FIVE, FIVE, np.ones(4))),
    "a has shape (5, 2), expected (5, 3)": (
        ValueError, (FIVE, FIVE, 0, {"color a": np.ones((5, 2))})),
    "m has shape (5, 15), expected (5, 4, 4)": (
        ValueError, (FIVE, FIVE, 0, {"matrix m": np.ones((5, 15))})),
    "the radius of point 3 is negative: -0.5": (
        ValueError, (FIVE, FIVE, [0, 1, np.nan, -0.5, -1])),
    "position has the type <U1, expected numbers": (TypeError, ([["1", "2", "3"]], FIVE)),
    "radius has the type complex128, expected numbers": (TypeError, (FIVE, FIVE, 1j)),
    "points need either normals or codes": (ValueError, (FIVE,)),
    "'colour a' declares no variable": (ValueError, (FIVE, FIVE, 0, {"colour a": FIVE})),
    "'float a b' declares no variable": (ValueError, (FIVE, FIVE, 0, {"float a b": FIVE})),
    "'color' declares no variable": (ValueError, (FIVE, FIVE, 0, {"color": FIVE})),
    "'float[-1] a' declares no variable": (ValueError, (FIVE, FIVE, 0, {"float[-1] a": FIVE})),
    "two variables have the name 'a'": (ValueError, (FIVE, FIVE, 0, {"color a": 1, "float a": 1})),
}  # fmt: skip


@pytest.mark.parametrize("text", REFUSED)
def test_what_is_refused_leaves_the_older_file(text, tmp_path):
    (tmp_path / "a.ptc").write_bytes(b"older")
    error, arguments = REFUSED[text]
    with pytest.raises(error) as caught:
        ptc.write(tmp_path / "a.ptc", *arguments)
    assert text in str(caught.value)
    assert [(file.name, file.read_bytes()) for file in tmp_path.iterdir()] == [("a.ptc", b"older")]


def test_codes_are_sixteen_bits_and_as_many_as_points(tmp_path):
    for codes, error in ((np.zeros((5, 3), int), "expected (5, 2)"), (FIVE[:, :2], "type float64"),
                         (np.full((5, 2), 65536), "outside of 16 bits")):  # fmt: skip
        with pytest.raises((ValueError, TypeError)) as caught:
            ptc.write(tmp_path / "a.ptc", FIVE, codes=codes)
        assert error in str(caught.value)
    ptc.write(tmp_path / "a.ptc", FIVE, codes=np.full((5, 2), 65535))
    assert_array_equal(ptc.open(tmp_path / "a.ptc").normal, FIVE)


def test_a_stream_is_whole_or_nothing(tmp_path):
    name = tmp_path / "a.ptc"
    name.write_bytes(b"older")
    with pytest.raises(ZeroDivisionError), ptc.Writer(name) as cloud:
        cloud.write(FIVE, FIVE)
        1 / 0
    abandoned = ptc.Writer(name)
    abandoned.write(FIVE, FIVE)
    abandoned.abandon()
    del abandoned
    collected = ptc.Writer(name, ["float a"])
    with pytest.raises(ValueError, match="no values of a"):
        collected.write(FIVE, FIVE)
    with pytest.raises(ptc.VariableError, match="no variable 'b'"):
        collected.write(FIVE, FIVE, 0, {"a": 1, "b": 1})
    del collected
    assert [(file.name, file.read_bytes()) for file in tmp_path.iterdir()] == [("a.ptc", b"older")]
    shared = ptc.Writer(name)
    shared.write(FIVE, FIVE)
    with get_context("fork").Pool(1, _inherit, [shared]) as pool:
        with pytest.raises(ValueError, match="another process"):
            pool.apply(_finish_inherited)
    shared.write(FIVE, FIVE)
    shared.close()
    assert len(ptc.open(name)) == 10
    whole = ptc.Writer(name)
    whole.close()
    whole.close()
    whole.abandon()
    assert len(ptc.open(name)) == 0
    with pytest.raises(ValueError, match="closed"):
        whole.write(FIVE, FIVE)


_inherited = []


def _inherit(writer):
    _inherited.append(writer)


def _finish_inherited():
    writer = _inherited.pop()
    writer.close()
