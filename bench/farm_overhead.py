#!/usr/bin/env python3
"""What a farm costs: `pcfarm --local 2` beside the same commands by hand, two at a time.

usage: bench/farm_overhead.py [BUILD_FOLDER [ROUNDS]]    (build/release, 5)

Both sides take turns. Wall time is what a user waits, and wanders with what else the machine does;
processor time is that of all processes together, and hardly does. By hand nothing is claimed,
recorded, logged or synchronised with the disk.
"""

import json
import os
import pathlib
import resource
import shlex
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

TASKS = 60
PROCESSES = 2


def measure(command: list[str], place: pathlib.Path, text: str = "") -> tuple[float, float]:
    """Seconds of wall and processor time."""
    def processor() -> float:
        used = resource.getrusage(resource.RUSAGE_CHILDREN)
        return used.ru_utime + used.ru_stime
    begin, used = time.monotonic(), processor()
    subprocess.run(command, cwd=place, input=text, text=True, check=True, capture_output=True)
    return time.monotonic() - begin, processor() - used


def main() -> None:
    tree = pathlib.Path(__file__).resolve().parents[1]
    build = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else tree / "build/release").resolve()
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    pcfarm, pcbake = build / "tools/farm/pcfarm", build / "tools/bake/pcbake"
    bake = ["--driver", str(build / "driver/d_pointcloud.so"), "--rays", "32", "--density", "60",
            "--threads", "1", "--quiet"]
    job = {"frames": f"1-{TASKS}", "bake": bake, "output": "farm/{frame}.ptc",
           "programs": [str(pcbake.parent)]}
    by_hand = "".join(shlex.join([str(pcbake), *bake, "--output", f"hand/{number}.ptc"]) + "\n"
                      for number in range(TASKS))
    times: dict[str, list[tuple[float, float]]] = {"hand": [], "farm": []}
    place = pathlib.Path(tempfile.mkdtemp(prefix="farm_overhead.", dir=os.environ.get("TMPDIR")))
    try:
        (place / "job.json").write_text(json.dumps(job))
        for _ in range(rounds):
            for made in ("hand", "farm", "job.farm"):
                shutil.rmtree(place / made, ignore_errors=True)
            (place / "hand").mkdir()
            xargs = ["xargs", "-P", str(PROCESSES), "-L", "1", "env"]
            times["hand"].append(measure(xargs, place, by_hand))
            words = [str(pcfarm), "job.json", "--local", str(PROCESSES), "--quiet"]
            times["farm"].append(measure(words, place))
    finally:
        shutil.rmtree(place)
    for index, name in enumerate(("wall", "processor")):
        pairs = [(hand[index], farm[index]) for hand, farm in zip(times["hand"], times["farm"])]
        hand = statistics.median(hand for hand, _ in pairs)
        ratio = statistics.median(farm / hand for hand, farm in pairs)
        more = statistics.median(farm - hand for hand, farm in pairs)
        tasks_at_once = PROCESSES if name == "wall" else 1
        print(f"{name:<10} by hand {hand:6.2f} s, farm / hand {ratio:.3f}, "
              f"{1000 * more * tasks_at_once / TASKS:+.1f} ms a task")


if __name__ == "__main__":
    main()
