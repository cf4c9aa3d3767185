#!/usr/bin/env python3
"""What a monitor hears of runs, and that it changes nothing about them.

usage: report_test.py PTC PCBAKE PCRENDER DRIVER MONITOR
"""

import json
import os
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

PTC, PCBAKE, PCRENDER, DRIVER, MONITOR = map(os.path.abspath, sys.argv[1:])
BAKE = [PCBAKE, "--driver", DRIVER, "--density", "8", "--rays", "2"]
COMMON = ["event", "tool", "host", "pid", "job", "task", "output", "time", "seconds", "dropped"]
JOB = {"PCFARM_JOB": "spot", "PCFARM_TASK": "0001.bake.3"}


class Listener:
    """Takes what one run after the other sends."""

    def __init__(self) -> None:
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.place = "localhost:%d" % self.socket.getsockname()[1]

    def __enter__(self) -> "Listener":
        return self

    def __exit__(self, *_: object) -> None:
        self.socket.close()

    def events(self) -> list[dict]:
        self.socket.settimeout(20)
        connection, _ = self.socket.accept()
        with connection, connection.makefile("rb") as lines:
            return [json.loads(line) for line in lines]


class Reports(unittest.TestCase):
    def setUp(self) -> None:
        self.scratch = tempfile.TemporaryDirectory()
        self.addCleanup(self.scratch.cleanup)
        self.folder = pathlib.Path(self.scratch.name)

    def run_in(self, *words: str, **variables: str) -> subprocess.CompletedProcess:
        return subprocess.run(words, cwd=self.folder, env=os.environ | variables, timeout=120,
                              capture_output=True, text=True, errors="surrogateescape", check=False)

    def heard(self, listener: Listener, *words: str) -> list[dict]:
        done = self.run_in(*words, "--report", listener.place, **JOB)
        events = listener.events()
        self.assertNotIn("delivered to", done.stderr)
        for event in events:
            self.assertEqual([key for key in event if key in COMMON], COMMON)
            self.assertEqual((event["job"], event["task"]), ("spot", "0001.bake.3"))
            self.assertEqual(event["host"], socket.gethostname())
            self.assertLess(abs(event["time"] - time.time()), 300)
        self.assertEqual(events[0]["event"], "start")
        self.assertEqual(events[0]["command"], [*words, "--report", listener.place])
        self.assertEqual(events[-1]["event"], "end" if done.returncode == 0 else "failed")
        return events

    def test_every_command_reports_its_end_with_its_figures(self) -> None:
        cases = [
            ("pcbake", [*BAKE, "--output", "a.ptc", "--quiet"], ["grids", "samples"]),
            ("ptc merge", [PTC, "merge", "a.ptc", "a.ptc", "-o", "b.ptc"], ["points"]),
            ("ptc organize", [PTC, "organize", "--light", "b.ptc", "-o", "c.ptc"],
             ["points", "nodes"]),
            ("ptc light", [PTC, "light", "c.ptc", "-o", "d.ptc"], ["points"]),
            ("pcrender", [PCRENDER, "--light", "direct", "-o", "e.png"], ["holes"]),
        ]
        figures = {}
        with Listener() as listener:
            for tool, words, names in cases:
                with self.subTest(tool):
                    end = self.heard(listener, *words)[-1]
                    self.assertEqual(end["tool"], tool)
                    self.assertTrue((self.folder / end["output"]).exists())
                    self.assertEqual([key for key in end if key not in COMMON], names)
                    figures[tool] = end
        self.assertEqual(figures["ptc merge"]["points"], 2 * figures["pcbake"]["samples"])
        self.assertEqual(figures["ptc light"]["points"], figures["ptc organize"]["points"])

    def test_progress_grows_at_most_twice_a_second(self) -> None:
        with Listener() as listener:
            events = self.heard(listener, *BAKE, "--density", "48", "--rays", "256",
                                "--threads", "1")
        progress = events[1:-1]
        self.assertGreater(len(progress), 0)
        shares = [event["done"] for event in progress]
        self.assertEqual(shares, sorted(shares))
        self.assertTrue(0 < shares[0] and shares[-1] <= 1, shares)
        self.assertEqual({event["event"] for event in progress}, {"progress"})
        times = [0.0] + [event["seconds"] for event in progress]
        for before, after in zip(times, times[1:]):
            self.assertGreater(after - before, 0.45)

    def test_failures_give_the_reason_whatever_is_in_it(self) -> None:
        name = b"no\xff\nfile\"" + b"\x01" * 200
        with Listener() as listener:
            words = [PTC, "merge", os.fsdecode(name), "-o", "out.ptc"]
            done = self.run_in(*words, "--report", listener.place)
            first, last = listener.events()
        self.assertEqual(done.returncode, 1)
        self.assertEqual(first["command"][2][:7], "no\ufffd\nfil")
        self.assertEqual((last["event"], last["output"]), ("failed", "out.ptc"))
        self.assertIn("No such file", last["reason"])

    def test_an_endless_command_line_is_cut(self) -> None:
        with Listener() as listener:
            self.run_in(PTC, "merge", *["\x01" * 240] * 200, "-o", "\x01" * 5000,
                        "--report", listener.place)
            first, last = listener.events()
        self.assertEqual(first["command"][-1], "...")
        self.assertEqual(len(last["output"]), 4096)

    def test_without_a_monitor_a_run_is_the_same(self) -> None:
        with socket.socket() as unused:  # bound, and nobody listens
            unused.bind(("127.0.0.1", 0))
            place = "127.0.0.1:%d" % unused.getsockname()[1]
            plain = self.run_in(*BAKE, "--output", "plain.ptc")
            loud = self.run_in(*BAKE, "--output", "loud.ptc", "--report", place)
            quiet = self.run_in(*BAKE, "--output", "quiet.ptc", "--report", place, "--quiet")
            failed = self.run_in(PTC, "merge", "absent.ptc", "-o", "b.ptc", "--report", place)
        self.assertEqual([run.returncode for run in (plain, loud, quiet, failed)], [0, 0, 0, 1])
        self.assertRegex(loud.stderr, r"\Apcbake: (\d+) of \1 reports were not delivered to "
                         + re.escape(place) + r"\n\Z")
        self.assertEqual(quiet.stdout + quiet.stderr, "")
        # The reason stays the last line: schedulers show that.
        self.assertRegex(failed.stderr, r"\Aptc: 2 of 2 .*\nptc: absent.ptc: .*\n\Z")
        whole = (self.folder / "plain.ptc").read_bytes()
        for name in ("loud.ptc", "quiet.ptc"):
            self.assertEqual((self.folder / name).read_bytes(), whole)

    def test_places_that_are_none_are_wrong_usage(self) -> None:
        for place in ("", "host", "host:0", "::1:80", "host:80:"):
            done = self.run_in(*BAKE, "--output", "a.ptc", f"--report={place}")
            self.assertEqual((done.returncode, done.stdout), (2, ""), place)
            self.assertFalse((self.folder / "a.ptc").exists())

    def test_the_example_shows_a_table(self) -> None:
        monitor = subprocess.Popen([sys.executable, MONITOR, "--once", "127.0.0.1:0"], text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        watchdog = threading.Timer(60, monitor.kill)
        watchdog.start()
        try:
            port = monitor.stderr.readline().split()[-1]
            with socket.create_connection(("127.0.0.1", int(port))) as noise:
                noise.sendall(b"garbage\n[1]\n{}\n" + b"x" * 100_000)
            self.run_in(*BAKE, "--output", "a.ptc", "--report", f"127.0.0.1:{port}", **JOB)
            table, _ = monitor.communicate(timeout=60)
        finally:
            watchdog.cancel()
            monitor.kill()
            monitor.wait()
        title, row = table.splitlines()
        self.assertEqual(title.split()[:3], ["host", "pid", "tool"])
        self.assertRegex(row, r"  pcbake  0001.bake.3  done +100 %  [\d.]+ +a.ptc\Z")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
