"""Reading: every form answers the same, and a plain file is never copied."""

import gc
import os
import pickle
import shutil
from multiprocessing import get_context

import numpy as np
import pytest
from conftest import FORMS, example_bytes
from numpy.testing import assert_allclose, assert_array_equal

import ptc


@pytest.mark.parametrize("form", FORMS)
def test_every_form_has_the_points_that_were_written(files, arrays, form):
    exact = form in ("binary", "gzip")  # the text form has seven digits
    same = assert_array_equal if exact else lambda a, b: assert_allclose(a, b, rtol=1e-6)
    cloud = ptc.open(files[form])
    assert (cloud.form, len(cloud), cloud.points, cloud.nodes) == (form, 20_000, 20_000, 0)
    assert cloud.variables == {
        "_radiosity": "color", "_area": "float", "_frame": "matrix", "_weights": "float[5]"
    }  # fmt: skip
    some = [(None, None, None), (17, 19_000, 7), (None, None, -3), (5, 5, None), (-2, None, 1 << 70)]
    for runs in (slice(*run) for run in some):
        points = cloud[runs]
        same(points.position, arrays.position[runs])
        same(points.radius, arrays.radius[runs])
        assert_allclose(points.normal, arrays.normal[runs], atol=0.01)  # coarse at the poles
        for declared, values in arrays.variables.items():
            found = points[declared.split()[1]]
            assert found.dtype == np.float32
            same(found, values[runs])
    for size in (1000, 65536, 999):
        chunks = list(cloud[3:].chunks(size))
        assert [len(chunk) for chunk in chunks[:-1]] == [size] * (len(chunks) - 1)
        assert_array_equal(np.concatenate([chunk.codes for chunk in chunks]), cloud.codes[3:])
        same(np.concatenate([c["_frame"] for c in chunks]), arrays.variables["matrix _frame"][3:])
    backwards = [chunk.codes for chunk in cloud[::-3].chunks(1000)]
    assert_array_equal(np.concatenate(backwards), cloud[::-3].codes)
    assert_array_equal(chunks[1][::-2].position, cloud.position[3 + 999 : 3 + 2 * 999][::-2])


def test_the_header_is_that_of_the_page(tmp_path):
    (tmp_path / "page.ptc").write_bytes(example_bytes())
    cloud = ptc.open(bytes(tmp_path / "page.ptc"))
    assert_array_equal(cloud.box, [[-1.25, -0.25, 2.5], [1.5, 2.5, 4.25]])
    assert_array_equal(cloud.world_to_eye[3], [0, 0, 5, 1])
    assert_array_equal(cloud.world_to_ndc, np.eye(4))
    assert (cloud.largest_radius, cloud.format) == (0.5, (640, 480, 1))
    assert_array_equal(cloud.codes, [[32767, 65534], [49151, 32767]])
    assert_array_equal(cloud["glow"], [[1, 0.5, 0], [0, 0, 2]])
    shown = repr(cloud)
    for part in ("2 of 36 bytes", "float _area, color glow", "-1.25 -0.25 2.5", "640 x 480"):
        assert part in shown


def test_positions_of_the_camera(tmp_path):
    eye = np.array([[2, 0, 0, 0], [0, 3, 0, 0], [0, 0, 1, 1], [0, 0, -1, 4]])
    ptc.write(tmp_path / "a.ptc", [[1, 2, 4], [1, 1, 0]], (0, 0, 1), world_to_ndc=eye)
    seen = ptc.open(tmp_path / "a.ptc").ndc
    assert_allclose(seen, [[2 / 8, 6 / 8, 3 / 8], [2 / 4, 3 / 4, -1 / 4]])


def _mapped(address, name):
    """Whether the address lies in a mapping of the file."""
    for line in open("/proc/self/maps"):
        first, end = (int(word, 16) for word in line.split()[0].split("-"))
        if first <= address < end:
            return line.rstrip().endswith(str(name))
    return False


def _resident():
    for line in open("/proc/self/status"):
        if line.startswith("RssAnon"):
            return int(line.split()[1])


def test_arrays_of_a_plain_file_are_views_that_outlive_the_cloud(files, arrays):
    before = _resident()
    with ptc.open(files["binary"]) as cloud:
        views = [cloud.position, cloud["_frame"], cloud[100:200].radius, cloud[::-1]["_radiosity"]]
        views += [next(iter(cloud)).codes]
    for view in views:
        assert _mapped(view.__array_interface__["data"][0], files["binary"])
        assert not view.flags.writeable and not view.flags.owndata
        with pytest.raises(ValueError):
            view[0] = 1
    assert _resident() - before < 1000  # KB; the file has 2500
    del cloud
    gc.collect()
    assert_array_equal(views[0], arrays.position)
    address = views[0].__array_interface__["data"][0]
    views.clear()
    del view
    assert not _mapped(address, files["binary"])


def test_plain_files_hold_no_descriptors(files):
    before = len(os.listdir("/proc/self/fd"))
    held = [ptc.open(files["binary"]) for _ in range(1000)]
    assert len(os.listdir("/proc/self/fd")) == before
    for form in FORMS:
        for _ in range(250):
            ptc.open(files[form]).close()
    assert len(os.listdir("/proc/self/fd")) == before
    assert len(held[999].position) == 20_000


def test_a_replaced_file_is_seen_by_whoever_opens_it_anew(files, arrays, tmp_path):
    name = shutil.copy(files["binary"], tmp_path / "a.ptc")
    older = ptc.open(name)
    ptc.write(name, arrays.position[:5], (0, 0, 1))
    assert (len(older), len(ptc.open(name))) == (20_000, 5)
    assert_array_equal(older.position, arrays.position)


@pytest.mark.parametrize("form", FORMS)
def test_closed_clouds_and_empty_ones(files, form, tmp_path):
    cloud = ptc.open(files[form])
    points = cloud[:10]
    cloud.close()
    assert cloud.closed and "closed" in repr(cloud) and len(cloud) == 20_000
    for use in (lambda: cloud.position, lambda: cloud["_area"], lambda: cloud[:3],
                lambda: points.normal, lambda: list(cloud), lambda: pickle.dumps(cloud),
                cloud.__enter__):  # fmt: skip
        with pytest.raises(ValueError, match="closed"):
            use()
    nothing = {"variables": {"matrix m": np.eye(4)}}
    ptc.write(tmp_path / "none.ptc", np.empty((0, 3)), (0, 0, 1), **nothing)
    none = ptc.open(tmp_path / "none.ptc")
    assert (none["m"].shape, none.normal.shape, list(none)) == ((0, 4, 4), (0, 3), [])


def _sum_of(points):
    return len(points), float(points["_area"].sum(dtype=np.float64))


def test_pickles_go_by_name_and_spawned_processes_read_them(files, monkeypatch):
    monkeypatch.chdir(files["binary"].parent)
    cloud = ptc.open("binary.ptc")
    monkeypatch.chdir("/")
    again = pickle.loads(pickle.dumps(cloud))
    assert again.name == str(files["binary"]) and len(again) == len(cloud)
    parts = [cloud[::2], cloud, ptc.open(files["gzip"])[100:0:-1]]
    with get_context("spawn").Pool(2) as pool:
        assert pool.map(_sum_of, parts) == [_sum_of(part) for part in parts]


def test_a_forked_child_reads_what_it_inherits(files, tmp_path):
    clouds = {}
    for form in FORMS:
        clouds[form] = ptc.open(shutil.copy(files[form], tmp_path / "gone"))
        os.unlink(tmp_path / "gone")
    starts = {form: iter(cloud.chunks(7000)) for form, cloud in clouds.items()}
    for start in starts.values():
        next(start)
    _inherited.update(clouds)
    with get_context("fork").Pool(1) as pool:
        theirs = pool.map(_area_of_inherited, FORMS)
    for form, area in zip(FORMS, theirs):
        # The child's reading has not moved the parent's place.
        rest = np.concatenate([chunk["_area"] for chunk in starts[form]])
        assert_array_equal(rest, clouds[form]["_area"][7000:])
        assert area == float(clouds[form]["_area"].sum())


_inherited = {}  # pickles would open the clouds anew


def _area_of_inherited(form):
    return float(_inherited[form]["_area"].sum())
