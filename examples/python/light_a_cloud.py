#!/usr/bin/env python3
"""Bakes a cloud, organises it, looks light up in it at places of its own, and draws a picture.

usage: light_a_cloud.py [CLOUD [PICTURE]]    by default baked, and light_a_cloud.png

Without CLOUD the sample scene is baked with the bundled host, which is found in PATH or in a build
tree around this file. CLOUD needs a variable "_radiosity". The package `ptc` needs numpy alone;
this example draws with matplotlib, too.
"""

# %% What is needed
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import matplotlib
import numpy as np

matplotlib.use("Agg")  # draws into a file, without a screen
import matplotlib.pyplot as plt

import ptc

VARIABLE = "_radiosity"


# %% A cloud: the one that was given, or the sample scene
def bake(folder: Path) -> Path:
    """Bakes the sample scene with the bundled host."""
    tree = Path(__file__).resolve().parents[2]
    found = [Path(path) for path in (shutil.which("pcbake"),) if path]
    found += sorted(tree.glob("build/*/tools/bake/pcbake"))
    for host in found:
        drivers = [
            host.parents[1] / "lib/d_pointcloud/d_pointcloud.so",  # installed
            host.parents[2] / "driver/d_pointcloud.so",  # in a build tree
            *host.parents[1].glob("lib/*/d_pointcloud/d_pointcloud.so"),
        ]
        for driver in filter(Path.exists, drivers):
            cloud = folder / "baked.ptc"
            command = [host, "--driver", driver, "--output", cloud, "--eliminate-duplicates"]
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
            return cloud
    sys.exit("light_a_cloud: no pcbake was found; name a cloud, or run ./bake first")


scratch = tempfile.TemporaryDirectory()
name = Path(sys.argv[1]) if len(sys.argv) > 1 else bake(Path(scratch.name))
picture = sys.argv[2] if len(sys.argv) > 2 else "light_a_cloud.png"

cloud = ptc.open(name)
if VARIABLE not in cloud:
    sys.exit(f"light_a_cloud: {name} has no variable {VARIABLE}, only {', '.join(cloud.variables)}")
print(cloud)

# %% An octree, so that lookups read only what is near
organised = Path(scratch.name) / "organised.ptc"
print(ptc.organize(name, organised, progress=True))

# %% Look the light up between the points: at places shifted along the surface
random = np.random.default_rng(1)
lookup = ptc.Lookup(organised, VARIABLE)
shown = cloud[:: max(1, len(cloud) // 100_000)]
normals = shown.normal
spacing = float(np.median(lookup.nearest(shown.position[::100], 2).distances[:, 1]))
sideways = np.cross(normals, random.normal(size=normals.shape)) * spacing
places = (shown.position + sideways).astype(np.float32)
light, weights = lookup.sample(
    places, normals, VARIABLE, radius=2 * spacing, weights=True, progress=True
)
print(f"{len(places)} places, {np.count_nonzero(weights)} with light, spacing {spacing:.4g}")

# %% Draw the light as it was baked, as it was looked up, and the difference
depth_first = shown.ndc[:, 2].argsort()[::-1]
x, y, _ = shown.ndc[depth_first].T
baked = shown[VARIABLE][depth_first]
found = light[depth_first]
figure, axes = plt.subplots(1, 3, figsize=(15, 5.4), layout="constrained")
for axis, title, colours in (
    (axes[0], "baked", baked),
    (axes[1], "looked up between the points", found),
    (axes[2], "difference, 4 times", 4 * np.abs(found - baked)),
):
    axis.scatter(x, y, 5, np.clip(colours, 0, 1) ** 0.45, linewidths=0)
    axis.set(title=title, xlim=(-1, 1), ylim=(-1, 1), aspect="equal", xticks=[], yticks=[])
    axis.set_facecolor("black")
figure.savefig(picture, dpi=100)
print(f"picture: {picture}")
