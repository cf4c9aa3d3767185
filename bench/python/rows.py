#!/usr/bin/env python3
"""The Python package beside numpy over the same file, and beside the library called from C.

usage: PYTHONPATH=build/release/python bench/python/rows.py LIBPTC [ROUNDS]
LIBPTC: libptc.so of the same build. Files lie in $TMPDIR, or in memory (/dev/shm). Both sides of a
row take turns in one process; a row has the columns of scripts/bench.
"""

import ctypes
import os
import pathlib
import statistics
import sys
import tempfile
import threading
import time

import numpy as np
import ptc

POINTS = 10_000_000  # of the file that is summed
QUERIES = 1_000_000  # over as many points
COUNT = 8


def row(name, limit_name, items, limit, ours, goal):
    """Lets both take turns and prints nanoseconds an item and the ratios of times, limit / ours."""
    times = {limit: [], ours: []}
    for _ in range(ROUNDS):
        for side, taken in times.items():
            begin = time.perf_counter()
            side()
            taken.append(time.perf_counter() - begin)
    ratios = [a / b for a, b in zip(times[limit], times[ours])]
    best = min(times[limit]) / min(times[ours])
    nanoseconds = " | ".join(f"{min(taken) / items * 1e9:.2f}" for taken in times.values())
    print(f"| {name} | {limit_name} | {nanoseconds} | {best:.2f} | {statistics.median(ratios):.2f} "
          f"| {goal} |", flush=True)


def resident_kb():
    """Memory of the process that no file backs, and all of it."""
    lines = pathlib.Path("/proc/self/status").read_text().splitlines()
    return [int(line.split()[1]) for line in lines if line.startswith(("RssAnon", "VmRSS"))]


def write_random(name):
    random = np.random.default_rng(1)
    some = POINTS // 10
    with ptc.Writer(name, ["float _area", "color _radiosity"]) as cloud:
        for _ in range(10):
            cloud.write(random.random((some, 3), np.float32), (0, 0, 1), 0.01,
                        {"_area": random.random(some, np.float32),
                         "_radiosity": random.random((some, 3), np.float32)})


def sums(folder):
    name = os.path.join(folder, "random.ptc")
    write_random(name)
    before = resident_kb()
    cloud = ptc.open(name)
    area, light, part = cloud["_area"], cloud["_radiosity"], cloud[1000:9_000_000:3].position
    growth = [now - then for now, then in zip(resident_kb(), before)]
    print(f"opening and slicing {len(cloud)} points: {growth} KB more memory, {len(part)} in a slice")

    record = 20 + 4 * 4
    mapped = np.memmap(name, np.uint8, "r")
    start = len(mapped) - POINTS * record
    for what, ours, offset in (("float", area, 20), ("color", light, 24)):
        plain = np.ndarray(ours.shape, "<f4", mapped, start + offset,
                           (record, 4)[: ours.ndim])
        assert np.array_equal(plain[:1000], ours[:1000])
        row(f"sum of a {what}, {POINTS} points", "numpy, memmap", POINTS,
            lambda: np.sum(plain, axis=0), lambda: np.sum(ours, axis=0), "0.77")


def nearest(folder, library):
    """A million places around a sphere of a million points, against the library called from C."""
    random = np.random.default_rng(2)

    def sphere(radius):
        place = random.normal(size=(QUERIES, 3))
        return (radius * place / np.linalg.norm(place, axis=1)[:, None]).astype("f4")

    name = os.path.join(folder, "sphere.ptc")
    points, places = sphere(1), sphere(1.001)
    ptc.write(name, points, points, 0.001, {"color _radiosity": abs(points)})
    ptc.organize(name, name)
    lookup = ptc.Lookup(name)
    cloud = ctypes.c_void_p()
    assert library.ptc_open(os.fsencode(name), ctypes.byref(cloud)) == 0

    answers = {}

    def from_c(threads):
        found = np.empty(QUERIES, np.int32)
        indexes = np.empty((QUERIES, COUNT), np.int64)
        distances = np.empty((QUERIES, COUNT), np.float32)

        def part(first, end):
            at = [ctypes.c_void_p(array[first:].ctypes.data)
                  for array in (places, indexes, distances, found)]
            assert library.ptc_nearest(cloud, ctypes.c_int64(end - first), at[0], COUNT,
                                       ctypes.c_float(np.inf), *at[1:]) == 0

        cuts = [QUERIES * i // threads for i in range(threads + 1)]
        crew = [threading.Thread(target=part, args=cut) for cut in zip(cuts, cuts[1:])]
        for thread in crew:
            thread.start()
        for thread in crew:
            thread.join()
        answers["C"] = indexes

    def from_python(threads):
        answers["Python"] = lookup.nearest(places, COUNT, threads=threads).indexes

    for threads in (1, 2):
        row(f"nearest {COUNT} of {QUERIES} places, {threads} threads", "C interface", QUERIES,
            lambda: from_c(threads), lambda: from_python(threads), "0.9")
    assert np.array_equal(answers["C"], answers["Python"])
    library.ptc_close(cloud)


if __name__ == "__main__":
    LIBRARY = ctypes.CDLL(sys.argv[1])
    ROUNDS = int(sys.argv[2]) if len(sys.argv) > 2 else 7
    print("| what | limit | limit ns | ours ns | best | median | goal |\n|---|---|---:|---:|---:|---:|---:|")
    with tempfile.TemporaryDirectory(dir=os.environ.get("TMPDIR", "/dev/shm")) as scratch:
        sums(scratch)
        nearest(scratch, LIBRARY)
