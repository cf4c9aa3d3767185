"""Farm: a job of pcfarm in a folder of its own, and the same work done by hand.

Needs the paths PCFARM, PCBAKE, PTC and DSPY_DRIVER in the environment.
"""

import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import tempfile

PCFARM, PCBAKE, PTC, DRIVER = (os.path.abspath(os.environ[name])
                               for name in ("PCFARM", "PCBAKE", "PTC", "DSPY_DRIVER"))
BAKE = ["--driver", DRIVER, "--rays", "8", "--density", "60", "--threads", "1", "--quiet"]
STOP = 120  # seconds that no step takes, even on a busy machine with sanitizers
STAGES = ["merge", "organize", "picture"]


def digest(path: pathlib.Path) -> str:
    return hashlib.sha256(path.read_bytes()).hexdigest()


class Farm:
    """A job in a folder of its own."""

    def __init__(self, frames: int, parts: int, **keys: object) -> None:
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="farm_test."))
        self.temporary = self.root / "tmp"
        self.temporary.mkdir()
        self.folder = self.root / "job.farm"
        self.frames = frames
        self.parts = parts
        self.job: dict[str, object] = {
            "frames": f"1-{frames}", "parts": parts, "bake": BAKE, "organize": True,
            "picture": ["--size", "64x64"], "output": "clouds/{frame}.ptc",
            "pictures": "pictures/{frame}.png",
            "programs": [str(pathlib.Path(one).parent) for one in (PCBAKE, PTC)]}
        self.job |= keys
        self.write()

    def write(self, **keys: object) -> None:
        self.job |= keys
        (self.root / "job.json").write_text(json.dumps(self.job))

    def command(self, *words: object) -> list[str]:
        return [PCFARM, *map(str, words)]

    def run(self, *words: object) -> subprocess.CompletedProcess:
        return subprocess.run(self.command(*words), cwd=self.root, capture_output=True, text=True,
                              timeout=STOP, env=self.environment(), check=False)

    def environment(self) -> dict[str, str]:
        return os.environ | {"TMPDIR": str(self.temporary)}

    def record(self, kind: str, task: str) -> dict | None:
        try:
            return json.loads((self.folder / kind / task).read_text())
        except (OSError, ValueError):
            return None

    def tasks(self) -> list[str]:
        stages = [f"bake.{part + 1}" for part in range(self.parts)] + STAGES
        return [f"{frame + 1:04}.{stage}" for frame in range(self.frames) for stage in stages]

    def output(self, task: str) -> pathlib.Path:
        frame, stage = task.split(".", 1)
        wanted = {"organize": f"clouds/{frame}.ptc", "picture": f"pictures/{frame}.png"}
        return self.root / wanted.get(stage, f"job.farm/work/{task}.ptc")

    def whole(self) -> dict[str, tuple]:
        """The identity of every output that is done: another inode or time means made again."""
        found = {}
        for task in self.tasks():
            if (record := self.record("done", task)) and self.output(task).exists():
                info = self.output(task).stat()
                if info.st_mtime_ns == record["output_written"]:
                    found[task] = (info.st_ino, info.st_mtime_ns)
        return found

    def begun(self) -> dict[str, float]:
        records = {task: self.record("done", task) for task in self.tasks()}
        return {task: record["begun"] for task, record in records.items() if record}

    def left_over(self) -> list[str]:
        strange = [str(path) for pattern in (".pcfarm-*", ".ptc-*", "*.part", "*.tmp")
                   for path in self.root.rglob(pattern)]
        return strange + [str(path) for path in [*self.temporary.iterdir(),
                                                 *(self.folder / "running").iterdir()]]

    def processes(self) -> list[int]:
        """Wrappers and commands of the job, wherever they run."""
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            if entry.name.isdigit():
                try:
                    words = (entry / "cmdline").read_bytes()
                except OSError:
                    continue
                if f"{self.root}/".encode() in words:
                    found.append(int(entry.name))
        return found

    def by_hand(self) -> dict[str, str]:
        """Digests of what the same commands make without a farm."""
        place = self.root / "by_hand"
        place.mkdir()
        digests = {}

        def run(*words: object) -> None:
            subprocess.run([str(word) for word in words], cwd=self.root, check=True, timeout=STOP,
                           capture_output=True)
        for number in range(1, self.frames + 1):
            turn = str(10 * number)
            bake = [turn if word == "{turn}" else word for word in self.job["bake"]]
            parts = [place / f"{part + 1}.ptc" for part in range(self.parts)]
            for part, file in enumerate(parts):
                run(PCBAKE, *bake, "--part", f"{part + 1}/{self.parts}", "--output", file)
            merged, cloud, picture = (place / name for name in ("merged.ptc", "cloud.ptc", "p.png"))
            run(PTC, "merge", "-o", merged, "--", *parts)
            run(PTC, "organize", "-o", cloud, "--", merged)
            run(PTC, "view", *self.job["picture"], "-o", picture, "--", cloud)
            names = [f"bake.{part + 1}" for part in range(self.parts)] + STAGES
            for name, file in zip(names, [*parts, merged, cloud, picture]):
                digests[f"{number:04}.{name}"] = digest(file)
        shutil.rmtree(place)
        return digests

    def made(self) -> dict[str, str]:
        return {task: digest(self.output(task)) for task in self.tasks()
                if self.output(task).exists()}

    @staticmethod
    def failures(status: str) -> dict[str, str]:
        """What `pcfarm status --json` says of each task that has failed, its host first."""
        return dict(line.split(" ", 1) for line in json.loads(status)["failures"])

    def is_done(self, status: str) -> bool:
        stages = json.loads(status)["stages"].values()
        return sum(stage["done"] for stage in stages) == len(self.tasks())

    def begin_again(self) -> dict[str, tuple]:
        """Removes what all tasks have made. Answers what is whole: nothing."""
        for task in self.tasks():
            self.output(task).unlink(missing_ok=True)
        return {}

    def remove(self) -> None:
        shutil.rmtree(self.root)


def mesh(path: pathlib.Path) -> None:
    path.write_text("v -1 -1 0\nv 1 -1 0\nv 0 1 0.5\nf 1 2 3\n")


def sixty_tasks() -> Farm:
    farm = Farm(6, 7, bake=[*BAKE, "--mesh", "shape.obj", "--turn", "{turn}"],
                values={"turn": {"first": 10, "step": 10}})
    mesh(farm.root / "shape.obj")
    return farm
