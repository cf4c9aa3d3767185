"""Looking up and organising: against plain searches in numpy."""

import pickle

import numpy as np
import pytest
from conftest import Arrays
from numpy.testing import assert_allclose, assert_array_equal

import ptc

QUERIES = np.random.default_rng(5).random((600, 3), np.float32) * 1.2 - 0.1


@pytest.fixture(scope="module")
def clouds(files, organised, tmp_path_factory):
    """An organised file and others in memory, as names and as one array of positions."""
    other = Arrays(3000, seed=9).write(tmp_path_factory.mktemp("other") / "b.ptc")
    names = [organised, other, files["gzip"]]
    return names, [ptc.open(name).position for name in names]


def _plain(positions, queries, count, within=np.inf):
    """(squared distance, file, index) of the nearest points, in the library's order."""
    answers = []
    for query in queries:
        found = []
        for number, cloud in enumerate(positions):
            x, y, z = (cloud[:, axis] - query[axis] for axis in range(3))
            squared = (x * x + y * y) + z * z
            near = np.argsort(squared, kind="stable")[:count]
            found += [(squared[i], number, i) for i in near]
        found = [item for item in sorted(found)[:count] if item[0] <= np.float32(within) ** 2]
        answers.append(found)
    return answers


@pytest.mark.parametrize("count, within", [(1, np.inf), (8, np.inf), (20, 0.08), (5, 0.0)])
def test_nearest_is_what_a_plain_search_finds(clouds, count, within):
    names, positions = clouds
    lookup = ptc.Lookup(names)
    wanted = ["positions", "normals", "radii", "_area", "_frame"]
    answer = lookup.nearest(QUERIES, count, within, want=wanted)
    readers = [ptc.open(name) for name in names]
    values = [
        {"positions": c.position, "normals": c.normal, "radii": c.radius, "_area": c["_area"],
         "_frame": c["_frame"]} for c in readers
    ]  # fmt: skip
    for row, plain in enumerate(_plain(positions, QUERIES, count, within)):
        here = slice(0, len(plain))
        assert answer.found[row] == len(plain)
        assert_array_equal(answer.distances[row, here], np.sqrt([item[0] for item in plain]))
        assert_array_equal(answer.files[row, here], [item[1] for item in plain])
        assert_array_equal(answer.indexes[row, here], [item[2] for item in plain])
        for place, (_, file, index) in enumerate(plain):
            for what in ("positions", "normals", "radii"):
                assert_array_equal(getattr(answer, what)[row, place], values[file][what][index])
            for what in ("_area", "_frame"):
                assert_array_equal(answer[what][row, place], values[file][what][index])
        rest = slice(len(plain), None)
        assert np.all(answer.indexes[row, rest] == -1) and np.all(answer.files[row, rest] == -1)
        assert np.all(np.isinf(answer.distances[row, rest]))
        assert np.all(np.isnan(answer.positions[row, rest]))
        assert np.all(np.isnan(answer["_frame"][row, rest]))
    one = lookup.nearest(QUERIES[0], count, within)
    assert one.found == answer.found[0] and one.positions is None and one.data == {}
    assert_array_equal(one.indexes, answer.indexes[0])


def test_samples_are_the_weighted_means_of_the_header(clouds):
    names, _ = clouds
    cloud = ptc.open(names[0])
    lookup = ptc.Lookup(names[0])
    up = np.array([0, 0, 1], "f4")
    values, weights = lookup.sample(QUERIES, up, "_radiosity", radius=0.1, weights=True)
    for row in range(0, len(QUERIES), 20):
        squared = ((cloud.position - QUERIES[row]).astype("f8") ** 2).sum(axis=1)
        reach = np.maximum(np.float32(0.1), cloud.radius).astype("f8") ** 2
        weight = np.where(squared < reach, (1 - squared / reach) ** 2, 0)
        weight *= np.maximum(cloud.normal @ up, 0)
        assert_allclose(weights[row], weight.sum(), rtol=1e-4, atol=1e-6)
        if weight.sum() > 1e-3:
            mean = (weight[:, None] * cloud["_radiosity"]).sum(axis=0) / weight.sum()
            assert_allclose(values[row], mean, rtol=1e-4)
    several = lookup.sample(QUERIES, up, "_radiosity", "_area", radius=0.1)
    assert_array_equal(several["_radiosity"], values)
    everything, sums = lookup.sample(QUERIES[3], radius=0.1, weights=True)
    assert {key: value.shape for key, value in everything.items()} == {
        "_radiosity": (3,), "_area": (), "_frame": (4, 4), "_weights": (5,)
    }  # fmt: skip
    assert sums["_area"].shape == ()
    assert_array_equal(lookup.sample(QUERIES, "_area", radius=0.1),
                       lookup.sample(QUERIES, None, "_area", radius=0.1))  # fmt: skip


def test_answers_do_not_depend_on_threads_or_on_company(clouds):
    names, _ = clouds
    lookup = ptc.Lookup(names, ["_area"])
    many = np.tile(QUERIES, (20, 1))
    answers = [lookup.nearest(many, 4, want="_area", threads=threads) for threads in (1, 2, 7)]
    samples = [lookup.sample(many, None, "_area", radius=0.1, threads=t) for t in (1, 2, 7)]
    for answer, sample in zip(answers, samples):
        assert_array_equal(sample, samples[0])
        for what in ("found", "files", "indexes", "distances"):
            assert_array_equal(getattr(answer, what), getattr(answers[0], what))
    alone = lookup.nearest(QUERIES[7], 4, want="_area")
    assert_array_equal(alone["_area"], answers[0]["_area"][7])
    assert pickle.loads(pickle.dumps(lookup)).variables == {"_area": "float"}


def test_arguments_and_shares(clouds, organised):
    lookup = ptc.Lookup(organised, "_area")
    shares = []
    lookup.nearest(np.tile(QUERIES, (300, 1)), 8, progress=shares.append)
    assert shares == sorted(shares) and shares[-1] == 1
    refused = {
        "points has shape (2, 2), expected (m, 3)": lambda: lookup.nearest(np.ones((2, 2))),
        "normals has shape (2, 3), expected (600, 3)": lambda: lookup.nearest(
            QUERIES, normals=np.ones((2, 3))),
        "count is 0": lambda: lookup.nearest(QUERIES, 0),
        "greatest distance": lambda: lookup.nearest(QUERIES, within=-1.0),
        "radius": lambda: lookup.sample(QUERIES, radius=-1.0),
        "threads is -1": lambda: lookup.nearest(QUERIES, threads=-1),
        "progress is 'yes'": lambda: lookup.nearest(QUERIES, progress="yes"),
        "expected at most 100": lambda: ptc.Lookup([organised] * 101),
    }  # fmt: skip
    for text, use in refused.items():
        with pytest.raises(ValueError) as caught:
            use()
        assert text in str(caught.value)
    for use in (lambda: lookup.sample(QUERIES, None, "_aera", radius=1),
                lambda: lookup.nearest(QUERIES, want=["_aera"]),
                lambda: ptc.Lookup(organised, ["_aera"])):  # fmt: skip
        with pytest.raises(KeyError, match="did you mean '_area'"):
            use()
    nowhere = lookup.nearest([[np.nan, 0, 0], [np.inf, 0, 0]])
    assert nowhere.found.tolist() == [0, 0]
    with lookup:
        assert lookup.nearest(np.empty((0, 3))).indexes.shape == (0, 8)
    with pytest.raises(ValueError, match="closed"):
        lookup.nearest(QUERIES)


def test_a_lookup_sees_what_has_the_name_when_it_is_made(arrays, tmp_path):
    name = tmp_path / "a.ptc"
    with pytest.raises(FileNotFoundError):
        ptc.Lookup(name)
    ptc.write(name, [[1, 0, 0]], (0, 0, 1))
    older = ptc.Lookup(name)
    ptc.write(name, [[2, 0, 0]], (0, 0, 1))
    origin = (0.0, 0.0, 0.0)
    assert older.nearest(origin, 1).distances == 1
    assert ptc.Lookup(name).nearest(origin, 1).distances == 2


def test_organizing_and_merging(files, arrays, tmp_path):
    inputs, both = [files["binary"], str(files["gzip"])], tmp_path / "both.ptc"
    shares = []
    assert ptc.merge(inputs, both, progress=shares.append) == (40_000,)
    assert shares[-1] == 1
    summary = ptc.organize(inputs, both, leaf_points=50, drop_repeats=True, memory=1 << 24)
    assert (summary.points, summary.repeats) == (20_000, 20_000)
    cloud = ptc.open(both)
    assert cloud.nodes == summary.nodes > summary.leaves > 400
    assert list(cloud.node_variables) == list(cloud.variables)
    order = np.lexsort(cloud.position.T), np.lexsort(arrays.position.T)
    assert_array_equal(cloud.position[order[0]], arrays.position[order[1]])
    assert_array_equal(cloud["_area"][order[0]], arrays.variables["float _area"][order[1]])
    ptc.organize(both, tmp_path / "light.ptc", light=True, light_area="")
    names = list(ptc.open(tmp_path / "light.ptc").node_variables)
    assert names[len(cloud.variables) :] == [
        "lightbox", "lightcentre", "lightnormal", "lightarea", "lightpower:_radiosity"]  # fmt: skip
    with pytest.raises(ValueError, match="no variable \"glo\""):
        ptc.organize(both, both, light=True, light_color="glo")
    with pytest.raises(ValueError, match="need light=True"):
        ptc.organize(both, both, light_area="_area")
    with pytest.raises(ValueError, match="no inputs"):
        ptc.organize([], both)
    with pytest.raises(ZeroDivisionError):
        ptc.organize(inputs, tmp_path / "no.ptc", progress=lambda done: 1 / 0)
    assert not (tmp_path / "no.ptc").exists()
