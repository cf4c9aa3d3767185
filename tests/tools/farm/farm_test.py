#!/usr/bin/env python3
"""pcfarm: a farm makes the bytes that its commands make by hand, whatever happens on the way.

usage: farm_test.py [--slurm] [UNITTEST OPTION]...

Needs the environment that farm.py names. With --slurm only the tests under Slurm run, which belong
into `scripts/slurm_here run`; otherwise all others.
"""

import os
import pathlib
import random
import signal
import subprocess
import sys
import time
import unittest

from farm import BAKE, DRIVER, STOP, Farm, mesh, sixty_tasks

KILLS = 20
SLURM_HERE = pathlib.Path(__file__).resolve().parents[3] / "scripts" / "slurm_here"


class FarmTest(unittest.TestCase):
    def farm(self, farm: Farm) -> Farm:
        self.addCleanup(farm.remove)
        return farm

    def expect_whole(self, farm: Farm, by_hand: dict[str, str]) -> None:
        self.assertEqual(farm.made(), by_hand)
        self.assertEqual(farm.left_over(), [])

    def expect_kept(self, farm: Farm, whole: dict[str, tuple]) -> dict[str, tuple]:
        """Nothing that was whole has been made again. Answers what is whole now."""
        now = farm.whole()
        self.assertEqual({task: now.get(task) for task in whole}, whole)
        return now

    def kill_one(self, farm: Farm, chance: random.Random) -> bool:
        targets = sorted(farm.processes())
        if not targets:
            return False
        try:
            os.kill(chance.choice(targets), chance.choice([signal.SIGKILL, signal.SIGTERM]))
        except ProcessLookupError:
            return False
        return True


class Local(FarmTest):
    def test_killed_tasks_are_made_up_for(self) -> None:
        farm = self.farm(sixty_tasks())
        by_hand = farm.by_hand()
        chance = random.Random(7)
        whole: dict[str, tuple] = {}
        kills = 0
        words = ["job.json"]
        deadline = time.monotonic() + STOP
        while True:
            with subprocess.Popen(farm.command(*words, "--local", "3", "--quiet"), cwd=farm.root,
                                  env=farm.environment(), stderr=subprocess.DEVNULL) as runner:
                while runner.poll() is None:
                    self.assertLess(time.monotonic(), deadline)
                    time.sleep(chance.uniform(0, 0.05))
                    if kills == KILLS // 2:
                        runner.kill()
                        kills += 1
                    elif kills < KILLS:
                        kills += self.kill_one(farm, chance)
                    whole = self.expect_kept(farm, whole)
            if runner.returncode == 0 and kills == KILLS:
                break
            if runner.returncode == 0:  # on a machine that was faster than the kills
                whole = farm.begin_again()
            words = ["resume", "job.json"]
        self.expect_kept(farm, whole)
        self.expect_whole(farm, by_hand)

    def test_a_stopped_farm_says_so_and_goes_on(self) -> None:
        farm = self.farm(Farm(2, 2))
        with subprocess.Popen(farm.command("job.json", "--local", "2", "--quiet"), cwd=farm.root,
                              stderr=subprocess.PIPE, text=True) as runner:
            while not farm.processes():
                time.sleep(0.01)
            runner.terminate()
            self.assertIn("pcfarm resume", runner.communicate(timeout=STOP)[1])
        self.assertEqual(runner.returncode, 1)
        self.assertEqual(farm.processes(), [])
        self.assertEqual(farm.run("resume", "job.json", "--local", "2").returncode, 0)
        self.expect_whole(farm, farm.by_hand())

    def test_failures_stay_in_their_frame(self) -> None:
        def small_disk(folder: pathlib.Path, size: str) -> None:
            folder.mkdir(parents=True)
            mount = ["mount", "-t", "tmpfs", "-o", f"size={size}", "none", str(folder)]
            if subprocess.run(mount, check=False, capture_output=True).returncode != 0:
                self.skipTest("a full disk is not tested: only root can mount one")
            self.addCleanup(subprocess.run, ["umount", str(folder)], check=True)

        def garbage(farm: Farm) -> None:
            (farm.root / "garbage.obj").write_bytes(bytes(range(256)) * 9)

        rest = BAKE[2:]
        # name, the arguments of the bakes, a value for each frame, preparation, the tasks of
        # frame 2 that fail, and why
        rows = [
            ("driver", ["--driver", "{value}", *rest], [DRIVER, "/nowhere/d.so"], None,
             ["bake.1", "bake.2"], "/nowhere/d.so"),
            ("input", [*BAKE, "--mesh", "{value}"], ["shape.obj", "garbage.obj"], garbage,
             ["bake.1", "bake.2"], "garbage.obj"),
            ("time", [*BAKE, "--rays", "{value}"], ["8", "65536"], None,
             ["bake.1", "bake.2"], "took longer than 5 s"),
            ("disk", [*BAKE, "--density", "{value}"], ["60", "240"],
             lambda farm: small_disk(farm.folder / "work", "10m"),
             ["bake.1", "bake.2"], "No space left on device"),
            ("disk of clouds", BAKE, ["clouds", "full"],
             lambda farm: small_disk(farm.root / "full", "100k"),
             ["organize"], "102400 are free"),
        ]
        for name, bake, values, prepare, failing, why in rows:
            with self.subTest(name):
                farm = self.farm(Farm(2, 2, bake=bake, values={"value": values}, time_limit=5))
                mesh(farm.root / "shape.obj")
                if prepare:
                    prepare(farm)
                if name == "disk of clouds":
                    farm.write(output="{value}/{frame}.ptc")
                self.assertEqual(farm.run("job.json", "--local", "2").returncode, 1)
                status = farm.run("status", "job.json", "--json")
                self.assertEqual(status.returncode, 1)
                failures = farm.failures(status.stdout)
                self.assertEqual(sorted(failures), [f"0002.{task}" for task in failing])
                for reason in failures.values():
                    self.assertIn(why, reason)
                begun = farm.begun()
                self.assertTrue({task for task in farm.tasks() if task < "0002"} <= set(begun))
                self.assertFalse((farm.folder / "logs" / "0002.picture.log").exists())
                self.assertEqual(farm.left_over(), [])
                # Once it is mended, what was done stays.
                farm.write(values={"value": [values[0], values[0]]}, output="clouds/{frame}.ptc")
                self.assertEqual(farm.run("job.json", "--local", "2").returncode, 0)
                again = farm.begun()
                self.assertEqual([task for task in begun if task < "0002" and
                                  again[task] != begun[task]], [])

    def test_only_what_has_changed_runs_again(self) -> None:
        farm = self.farm(Farm(2, 2, bake=[*BAKE, "--mesh", "shape.obj"]))
        mesh(farm.root / "shape.obj")
        work, done, running = (farm.folder / name for name in ("work", "done", "running"))

        def old_claim() -> None:
            (running / "0001.merge").write_bytes(b"\0{")
            os.utime(running / "0001.merge", (0, 0))
            (work / "0001.merge.ptc").unlink()

        merged = {"0001.merge", "0001.organize", "0001.picture"}
        rows = [
            ("all at first", lambda: None, set(farm.tasks())),
            ("nothing", lambda: None, set()),
            ("touched input", lambda: mesh(farm.root / "shape.obj"), set(farm.tasks())),
            ("picture", lambda: farm.write(picture=["--size", "65x64"]),
             {"0001.picture", "0002.picture"}),
            ("bake", lambda: farm.write(bake=[*farm.job["bake"], "--two-sided"]),
             set(farm.tasks())),
            ("lost part", (work / "0001.bake.2.ptc").unlink, merged | {"0001.bake.2"}),
            ("lost cloud", (farm.root / "clouds/0002.ptc").unlink,
             {"0002.organize", "0002.picture"}),
            ("cut cloud", lambda: os.truncate(farm.root / "clouds/0002.ptc", 99),
             {"0002.organize", "0002.picture"}),
            ("lost picture", (farm.root / "pictures/0001.png").unlink, {"0001.picture"}),
            ("lost record", (done / "0001.merge").unlink, merged),
            ("cut record", lambda: os.truncate(done / "0001.merge", 99), merged),
            ("wrong kinds", lambda: (done / "0001.picture").write_text('{"task": 5}'),
             {"0001.picture"}),
            ("other record", lambda: (done / "0001.picture").write_bytes(
                (done / "0002.picture").read_bytes()), {"0001.picture"}),
            ("damaged claim", old_claim, merged),
            ("damaged failure", lambda: (farm.folder / "failed/0001.merge").write_bytes(b"x"),
             set()),
        ]
        before: dict[str, float] = {}
        for name, change, expected in rows:
            with self.subTest(name):
                change()
                ended = farm.run("job.json", "--local", "2", "--quiet")
                self.assertEqual((ended.returncode, ended.stderr), (0, ""))
                now = farm.begun()
                self.assertEqual({task for task in now if now[task] != before.get(task)}, expected)
                before = now
        self.assertEqual(farm.left_over(), [])

    def test_clouds_that_are_used_up_hide_no_change(self) -> None:
        farm = self.farm(Farm(1, 2, keep_work=False))
        before: dict[str, float] = {}
        changes = [{}, {}, {"bake": [*BAKE, "--density", "61"]}, {"parts": 3}]
        for change, expected in zip(changes, [True, False, True, True]):
            with self.subTest(change):
                farm.write(**change)
                farm.parts = change.get("parts", farm.parts)
                self.assertEqual(farm.run("job.json", "--local", "2", "--quiet").returncode, 0)
                now = farm.begun()
                self.assertEqual([now[task] != before.get(task) for task in farm.tasks()],
                                 [expected] * len(farm.tasks()))
                self.assertEqual(list((farm.folder / "work").iterdir()), [])
                before = now

    def test_one_of_many_takes_a_dead_claim_over(self) -> None:
        farm = self.farm(Farm(1, 1))
        programs = farm.root / "programs"
        programs.mkdir()
        (programs / "pcbake").write_text(
            '#!/bin/sh\necho >>runs\nsleep 0.2\n[ "$1" != --output ] || : >"$2"\n')
        (programs / "pcbake").chmod(0o755)
        farm.write(bake=[], programs=["programs"])
        farm.run("job.json", "--list")
        task = farm.command("task", farm.folder, "0001.bake.1")
        for _ in range(4):
            (farm.root / "runs").write_text("")
            (farm.folder / "done" / "0001.bake.1").unlink(missing_ok=True)
            with subprocess.Popen(task) as first:
                while not (farm.root / "runs").stat().st_size:
                    time.sleep(0.01)
                waiting = [subprocess.Popen(task) for _ in range(20)]
                first.kill()
            self.assertEqual([one.wait(STOP) for one in waiting], [0] * len(waiting))
            self.assertEqual((farm.root / "runs").read_text(), "\n\n")
        self.assertEqual(farm.left_over(), [])

    def test_listed_commands_make_the_same(self) -> None:
        farm = self.farm(Farm(2, 2))
        listed = farm.run("job.json", "--list").stdout
        self.assertEqual(len(listed.splitlines()), len(farm.tasks()))
        subprocess.run(["sh", "-eu"], input=listed, text=True, check=True, cwd="/", timeout=STOP)
        self.expect_whole(farm, farm.by_hand())
        self.assertEqual(farm.run("job.json", "--list").stdout, "")

    def test_hostile_jobs_are_refused(self) -> None:
        def keys(text: str) -> str:
            return f'{{"frames": "1-2", "output": "{{frame}}.ptc", {text}}}'

        rows = [
            ("empty", ""), ("no JSON", "frames: 1"), ("a list", "[]"), ("zero bytes", "\0" * 99),
            ("half", '{"frames": "1'), ("nothing", "{}"), ("nested", "[" * 1_000_000),
            ("nested value", keys('"bake": ' + "[" * 100_000 + "]" * 100_000)),
            ("frames", '{"frames": "1-1000000000", "output": "{frame}.ptc"}'),
            ("many frames", '{"frames": "1-9999999", "output": "{frame}.ptc"}'),
            ("backwards", '{"frames": "9-1", "output": "{frame}.ptc"}'),
            ("twice", '{"frames": "1,1", "output": "{frame}.ptc"}'),
            ("no frames", '{"output": "{frame}.ptc"}'),
            ("negative", '{"frames": -1, "output": "{frame}.ptc"}'),
            ("huge number", keys('"parts": 18446744073709551615')),
            ("infinite number", keys('"parts": 1e999')), ("fraction", keys('"parts": 1.5')),
            ("no parts", keys('"parts": 0')), ("kind", keys('"bake": "--rays 8"')),
            ("kind of an item", keys('"bake": [null]')), ("kind of a text", keys('"publish": 5')),
            ("kind of a stage", keys('"light": 1')), ("values", keys('"values": [1]')),
            ("series", keys('"values": {"a": null}')),
            ("short series", keys('"values": {"a": [1]}')),
            ("unknown key", keys('"parst": 2')),
            ("one name", '{"frames": "1-2", "output": "a.ptc"}'),
            ("colliding names", '{"frames": "1-2", "output": "x/../{frame}.ptc", "picture": true, '
             '"pictures": "./{frame}.ptc"}'),
            ("unknown brace", keys('"bake": ["{nothing}"]')), ("open brace", keys('"bake": ["{"]')),
            ("zero byte", keys('"base": "a\\u0000b"')), ("no text", b'{"output": "\xff"}'),
            ("picture", keys('"picture": true')),
        ]
        farm = self.farm(Farm(1, 1))
        hostile = farm.root / "hostile.json"
        listing = sorted(farm.root.iterdir())

        def expect_refused(name: str, status: int, *words: object) -> None:
            with self.subTest(name):
                ended = farm.run(*words)
                self.assertEqual((ended.returncode, ended.stdout), (status, ""), ended.stderr)
                hint = "Run with --help for more information.\n" if status == 2 else ""
                self.assertRegex(ended.stderr, rf"\Apcfarm: [^\n]+\n{hint}\Z")
                self.assertLess(len(ended.stderr), 600)
                hostile.unlink(missing_ok=True)
                self.assertEqual(sorted(farm.root.iterdir()), listing)
                self.assertFalse(farm.folder.exists())

        for name, text in rows:
            hostile.write_bytes(text if isinstance(text, bytes) else text.encode())
            expect_refused(name, 1, hostile)
        with hostile.open("wb") as file:
            file.truncate(100 << 20)
        expect_refused("a large file", 1, hostile)
        os.mkfifo(hostile)
        expect_refused("a pipe", 1, hostile)
        expect_refused("no file", 1, hostile)
        for words in (["--local", "0"], ["--local", "-1"], ["--parts", "x"], ["--no-such"],
                      ["--local", "2", "--slurm"]):
            expect_refused(" ".join(words), 2, "job.json", *words)
        expect_refused("no such frames", 1, "job.json", "--frames", "1-")


class Slurm(FarmTest):
    """Two nodes, here1 and here2, that share this machine's files but not their processes."""

    def node(self, *words: str) -> None:
        subprocess.run([SLURM_HERE, *words], check=True, timeout=STOP)

    def resume(self, farm: Farm) -> None:
        ended = farm.run("resume", "job.json", "--slurm", "--quiet")
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))

    def wait(self, farm: Farm) -> subprocess.CompletedProcess:
        return farm.run("status", "job.json", "--json", "--wait")

    def test_killed_tasks_and_a_lost_node_are_made_up_for(self) -> None:
        farm = self.farm(sixty_tasks())
        chance = random.Random(7)
        self.assertEqual(farm.run("job.json", "--slurm").returncode, 0)
        whole: dict[str, tuple] = {}
        kills = 0
        idle = 0.0
        while kills < KILLS:
            pause = chance.uniform(0.01, 0.15)
            time.sleep(pause)
            if self.kill_one(farm, chance):
                kills += 1
                idle = 0
                if kills == KILLS // 2:
                    self.node("down", "here2")
                    time.sleep(1)
                    self.node("up", "here2")
            elif (idle := idle + pause) > 2:  # all have ended or failed
                idle = 0
                if len(whole) == len(farm.tasks()):
                    whole = farm.begin_again()
                self.resume(farm)
            whole = self.expect_kept(farm, whole)
        # What waits for the claims of killed wrappers to become void waits beside the others.
        self.resume(farm)
        by_hand = farm.by_hand()
        while (status := self.wait(farm)).returncode != 0 or not farm.is_done(status.stdout):
            whole = self.expect_kept(farm, whole)
            self.resume(farm)
        self.expect_kept(farm, whole)
        self.expect_whole(farm, by_hand)
        nodes = {farm.record("done", task)["host"] for task in farm.tasks()}
        self.assertEqual(nodes, {"here1", "here2"})

    def test_a_node_without_the_driver_fails_alone(self) -> None:
        farm = self.farm(Farm(2, 8))
        drivers = farm.root / "drivers"
        drivers.mkdir()
        driver = drivers / "driver.so"
        driver.write_bytes(pathlib.Path(DRIVER).read_bytes())
        farm.write(bake=["--driver", str(driver), *BAKE[2:]])
        process = (pathlib.Path(os.environ["SLURM_HERE"]) / "here2.process").read_text().split()[0]
        inside = ["nsenter", "--target", process, "--mount"]
        subprocess.run([*inside, "mount", "-t", "tmpfs", "none", str(drivers)], check=True)
        self.assertEqual(farm.run("job.json", "--slurm").returncode, 0)
        failures = farm.failures(self.wait(farm).stdout)
        self.assertTrue(failures)
        for task, reason in failures.items():
            self.assertIn(".bake.", task)
            self.assertRegex(reason, f"on here2: .*{driver}")
        subprocess.run([*inside, "umount", str(drivers)], check=True)
        self.resume(farm)
        self.assertEqual(self.wait(farm).returncode, 0)
        self.expect_whole(farm, farm.by_hand())


if __name__ == "__main__":
    is_slurm = "--slurm" in sys.argv
    arguments = [word for word in sys.argv if word != "--slurm"]
    unittest.main(argv=arguments, defaultTest="Slurm" if is_slurm else "Local")
