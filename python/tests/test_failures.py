"""Failures: each is the exception that Python has for it, and damaged files end no process."""

import errno
import logging
import os
import pickle

import numpy as np
import pytest
from conftest import FORMS
from numpy.testing import assert_array_equal

import ptc

FOLDER = "folder"
GONE = "gone.ptc"


@pytest.mark.parametrize("name, kind, number", [
    (GONE, FileNotFoundError, errno.ENOENT),
    (FOLDER, IsADirectoryError, errno.EISDIR),
    ("plain/a.ptc", NotADirectoryError, errno.ENOTDIR),
    ("x" * 300, OSError, errno.ENAMETOOLONG),
    ("\udcff.ptc", FileNotFoundError, errno.ENOENT),
    ("plain", ptc.FormatError, None),
    ("empty", ptc.FormatError, None),
    ("nul\0.ptc", ValueError, None),
])  # fmt: skip
def test_what_cannot_be_read(name, kind, number, tmp_path):
    (tmp_path / "plain").write_text("no cloud")
    (tmp_path / "empty").write_bytes(b"")
    (tmp_path / FOLDER).mkdir()
    path = str(tmp_path / name)
    uses = [ptc.open, lambda p: ptc.open(os.fsencode(p)), ptc.Lookup]
    if name != FOLDER:  # merging refuses what is no regular file, without the system's help
        uses.append(lambda p: ptc.merge([p], tmp_path / "out.ptc"))
    for use in uses:
        with pytest.raises(kind) as caught:
            use(path)
        if number is not None:
            assert (caught.value.errno, caught.value.filename) == (number, path)
        elif kind is ptc.FormatError and caught.value.filename:
            assert caught.value.filename == path
            assert str(pickle.loads(pickle.dumps(caught.value))) == str(caught.value)
    assert not (tmp_path / "out.ptc").exists()


def test_what_cannot_be_written(files, tmp_path):
    for name, kind in ((f"{GONE}/a.ptc", FileNotFoundError), ("", (OSError, ValueError))):
        path = os.path.join(tmp_path, name) if name else name
        with pytest.raises(kind):
            ptc.write(path, [[0, 0, 0]], (0, 0, 1))
        with pytest.raises(kind):
            ptc.organize(files["binary"], path)
    with pytest.raises(OSError) as caught:
        ptc.write("/dev/full", np.zeros((100_000, 3)), (0, 0, 1))
    assert (caught.value.errno, caught.value.filename) == (errno.ENOSPC, "/dev/full")


@pytest.mark.skipif(os.geteuid() == 0, reason="nothing is forbidden to root")
def test_what_is_forbidden(files, tmp_path):
    tmp_path.chmod(0o500)
    with pytest.raises(PermissionError):
        ptc.write(tmp_path / "a.ptc", [[0, 0, 0]], (0, 0, 1))


def test_unknown_variables_name_what_there_is(files):
    cloud = ptc.open(files["binary"])
    with pytest.raises(KeyError) as caught:
        cloud["_radiosty"]
    for part in ("'_radiosty'", "did you mean '_radiosity'?", "_area", "_frame", "_weights"):
        assert part in str(caught.value)
    with pytest.raises(TypeError):
        cloud[3]
    assert "_area" in cloud and "area" not in cloud


@pytest.mark.parametrize("form", FORMS)
def test_damaged_files_raise_and_nothing_else(files, form, tmp_path):
    whole = files[form].read_bytes()
    name = tmp_path / "a.ptc"
    for cut in (0, 3, 8, 40, 300, len(whole) // 2, len(whole) - 30):
        name.write_bytes(whole[:cut])
        with pytest.raises((ptc.FormatError, OSError)):
            cloud = ptc.open(name)
            for chunk in cloud:
                chunk.normal, chunk["_area"].copy()
            assert form != "binary"  # its length is checked when it is opened
            cloud.position
    random = np.random.default_rng(1)
    for _ in range(60):
        bytes_ = bytearray(whole[:20_000])
        for at in random.integers(0, 500, 3):
            bytes_[at] = random.integers(256)
        name.write_bytes(bytes_)
        try:
            cloud = ptc.open(name)
            for chunk in cloud[:100]:
                chunk.normal, chunk.position.copy()
        except (ptc.FormatError, OSError, MemoryError):
            pass


def test_a_header_that_promises_more_points_than_there_are(files, tmp_path):
    bytes_ = bytearray(files["binary"].read_bytes())
    for points in (20_001, 2.0**40, 2.0**62, -1.0, np.nan, np.inf):
        bytes_[8:16] = np.float64(points).tobytes()
        (tmp_path / "a.ptc").write_bytes(bytes_)
        with pytest.raises(ptc.FormatError):
            ptc.open(tmp_path / "a.ptc")


def test_messages_go_to_logging(files, caplog, tmp_path):
    import gzip

    organised = tmp_path / "o.ptc"
    ptc.organize(files["binary"], organised)
    (tmp_path / "o.gz").write_bytes(gzip.compress(organised.read_bytes(), 1))
    with caplog.at_level(logging.WARNING, "ptc"):
        lookup = ptc.Lookup(tmp_path / "o.gz")  # its octree is not used
    assert [record.levelno for record in caplog.records] == [logging.WARNING]
    assert str(tmp_path / "o.gz") in caplog.text
    origin = (0.0, 0.0, 0.0)
    plain = ptc.Lookup(organised).nearest(origin)
    assert_array_equal(lookup.nearest(origin).distances, plain.distances)
