"""Whole processes: Ctrl-C, the end of the interpreter, progress bars, statistics."""

import signal
import time

import pytest
from conftest import run_script

import ptc

BEGIN = """
import sys, threading, numpy as np, ptc
files, organised, target = sys.argv[1:]
lookup = ptc.Lookup(organised, threads=2)
print("begins", flush=True)
"""

# Each takes minutes when it is not stopped; text because it is slow to read.
ENDLESS = {
    # All points look away, so that each search looks at all of them.
    "nearest": """
lookup.nearest(np.full((20_000_000, 3), 0.5, "f4"), 1, normals=(0, 0, 1), least_dot=1.5)""",
    "nearest in one thread": """
places = np.full((20_000_000, 3), 0.5, "f4")
lookup.nearest(places, 1, normals=(0, 0, 1), least_dot=1.5, threads=1)""",
    "sample": """
lookup.sample(np.full((20_000_000, 3), 0.5, "f4"), None, "_area", radius=10.0)""",
    "organize": """
ptc.organize([files] * 2000, target, memory=1 << 24)""",
    "merge": """
ptc.merge([files] * 1000, target)""",
    "write": """
ptc.write(target, np.broadcast_to(np.float32([1, 2, 3]), (1 << 30, 3)), (0, 0, 1))""",
}


@pytest.mark.parametrize("call", ENDLESS)
def test_ctrl_c_ends_long_calls_and_leaves_nothing(call, files, organised, tmp_path):
    target = tmp_path / "target.ptc"
    target.write_bytes(b"older")
    process = run_script(BEGIN + ENDLESS[call], files["text"], organised, target)
    assert process.stdout.readline() == "begins\n"
    time.sleep(0.7)
    assert process.poll() is None, process.stderr.read()
    begin = time.monotonic()
    process.send_signal(signal.SIGINT)
    _, errors = process.communicate(timeout=120)
    assert time.monotonic() - begin < 60  # a second, and more with a sanitizer on a busy machine
    assert "KeyboardInterrupt" in errors and process.returncode == -signal.SIGINT
    assert list(tmp_path.iterdir()) == [target] and target.read_bytes() == b"older"


def test_the_interpreter_ends_with_everything_open(files, organised, tmp_path):
    script = BEGIN + """
clouds = [ptc.open(files), ptc.open(organised)]
views = [cloud["_area"] for cloud in clouds] + [next(iter(clouds[0])).position]
clouds.append(clouds)
answer = lookup.nearest(np.zeros((5000, 3)), 8, want="_area")
writer = ptc.Writer(target, ["float a"])
writer.write(np.zeros((10, 3)), (0, 0, 1), 0, {"a": 1})
def forever():
    while True: lookup.nearest(np.random.random((3000, 3)), 8)
threading.Thread(target=forever, daemon=True).start()
sys.keep = [clouds, views, lookup, answer, writer]
"""
    for _ in range(5):
        process = run_script(script, files["binary"], organised, tmp_path / "target.ptc")
        output, errors = process.communicate(timeout=120)
        assert (process.returncode, output, errors) == (0, "begins\n", "")
    assert list(tmp_path.iterdir()) == []


def test_a_bar_is_drawn_on_terminals_and_when_forced(files, organised, tmp_path, capsys):
    ptc.organize(files["binary"], tmp_path / "a.ptc", progress=True)
    assert capsys.readouterr().err == ""
    ptc.organize(files["binary"], tmp_path / "a.ptc", progress="always")
    shown = capsys.readouterr().err
    assert "organizing [" in shown and shown.endswith("100 %\n")


def test_statistics_count_and_caches_have_sizes(organised, files, tmp_path):
    script = BEGIN.replace("lookup =", "ptc.configure(2, point_memory=4 << 20); lookup =") + """
lookup.nearest(np.random.random((1000, 3)), 8)
print(ptc.statistics()["points"]["blocks"], ptc.statistics()["points"]["lookups"], ptc.__version__)
"""
    output, errors = run_script(script, files["binary"], organised, "").communicate(timeout=120)
    assert errors == ""
    blocks, lookups, version = output.splitlines()[1].split()
    assert int(lookups) > 0 and version == ptc.__version__
    assert int(blocks) < 2000  # 10 MB for each thread would be more
