"""Clouds that the tests share, and scripts that run in a process of their own."""

import gzip
import os
import shutil
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

import ptc

PAGE = Path(__file__).parents[2] / "docs" / "format.md"


class Arrays:
    """What a cloud of `count` random points in a unit cube is written from."""

    def __init__(self, count, seed=1):
        random = np.random.default_rng(seed)
        self.position = random.random((count, 3), np.float32)
        normal = random.normal(size=(count, 3))
        self.normal = (normal / np.linalg.norm(normal, axis=1)[:, None]).astype("f4")
        self.radius = random.random(count, np.float32) / 100
        self.variables = {
            "color _radiosity": random.random((count, 3), np.float32),
            "float _area": random.random(count, np.float32),
            "matrix _frame": random.random((count, 4, 4), np.float32),
            "float[5] _weights": random.random((count, 5), np.float32),
        }

    def write(self, name, **options):
        ptc.write(name, self.position, self.normal, self.radius, self.variables, **options)
        return name


def write_again(cloud, name):
    """Writes what the cloud says, through its codes."""
    declared = {f"{type_} {key}": cloud[key] for key, type_ in cloud.variables.items()}
    matrices = {"world_to_eye": cloud.world_to_eye, "world_to_ndc": cloud.world_to_ndc}
    ptc.write(
        name, cloud.position, None, cloud.radius, declared,
        codes=cloud.codes, format=cloud.format, **matrices,
    )  # fmt: skip


def example_bytes():
    """The file that docs/format.md shows byte by byte."""
    shown = bytearray()
    for line in PAGE.read_text().partition("## 8 Example")[2].splitlines():
        cells = [cell.strip() for cell in line.split("|")]
        if len(cells) > 3 and cells[1].isdigit():
            assert int(cells[1]) == len(shown)
            shown += bytes.fromhex(cells[2])
    return bytes(shown)


def run_script(script, *arguments, **options):
    """Starts a Python of its own with the same package."""
    return subprocess.Popen(
        [sys.executable, "-c", script, *map(str, arguments)],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options,
    )  # fmt: skip


@pytest.fixture(scope="session")
def arrays():
    return Arrays(20_000)


@pytest.fixture(scope="session")
def files(arrays, tmp_path_factory):
    """The same points in every form, by name."""
    folder = tmp_path_factory.mktemp("files")
    names = {form: folder / f"{form.replace(' ', '_')}.ptc" for form in FORMS}
    arrays.write(names["binary"])
    os.environ["LUMR_ASCIIPOINTCLOUD"] = "1"
    arrays.write(names["text"])
    del os.environ["LUMR_ASCIIPOINTCLOUD"]
    for form, source in (("gzip", "binary"), ("gzip text", "text")):
        with open(names[source], "rb") as plain, gzip.open(names[form], "wb", 1) as packed:
            shutil.copyfileobj(plain, packed)
    return names


@pytest.fixture(scope="session")
def organised(files, tmp_path_factory):
    name = tmp_path_factory.mktemp("organised") / "o.ptc"
    assert ptc.organize(files["binary"], name).nodes > 0
    return name


FORMS = ("binary", "text", "gzip", "gzip text")
