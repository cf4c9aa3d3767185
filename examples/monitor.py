#!/usr/bin/env python3
"""A table of the runs that report here: pcbake, pcrender and ptc with --report HOST:PORT.

usage: monitor.py [--once] [HOST:]PORT     (any address of this machine unless HOST says otherwise)

Needs nothing but Python. On a terminal the table is drawn anew twice a second; elsewhere it is
printed once, at the end. --once ends when as many runs have ended as have begun, and at least one.
docs/report.md describes the events.
"""

import argparse
import json
import selectors
import socket
import sys
import time

MOST_LINE = 1 << 16  # a longer one is no report
COLUMNS = ("host", "pid", "tool", "task", "state", "done", "seconds", "output")


class Runs:
    """The latest of each run, by host and process."""

    def __init__(self) -> None:
        self.rows: dict[tuple, dict] = {}

    def take(self, connection: socket.socket, line: bytes) -> None:
        try:
            event = json.loads(line)
            key = (str(event["host"]), int(event["pid"]))
            state = str(event["event"])
        except (ValueError, KeyError, TypeError, RecursionError):
            return  # whatever it was, it is no report
        if state == "start":
            self.rows.pop(key, None)  # another run with the number of an earlier one
        row = self.rows.setdefault(key, {})
        row.update(event, connection=connection)
        row["state"] = {"start": "runs", "progress": "runs", "end": "done"}.get(state, state)
        if state == "end":
            row["done"] = 1

    def lose(self, connection: socket.socket) -> None:
        """A run whose connection ends before it does was killed, or its network is down."""
        for row in self.rows.values():
            if row["connection"] is connection and row["state"] == "runs":
                row["state"] = "lost"

    def have_ended(self) -> bool:
        return bool(self.rows) and all(row["state"] != "runs" for row in self.rows.values())

    def table(self) -> str:
        def cell(row: dict, name: str) -> str:
            value = row.get(name, "")
            if name == "done" and isinstance(value, (int, float)):
                value = f"{100 * value:.0f} %"
            if name == "output" and row["state"] == "failed":
                value = row.get("reason", "")
            # A name may hold what moves a terminal's cursor.
            return "".join(c if c.isprintable() else "?" for c in str(value))

        lines = [COLUMNS] + [[cell(row, name) for name in COLUMNS] for row in self.rows.values()]
        widths = [max(map(len, column)) for column in zip(*lines)]
        return "".join("  ".join(map(str.ljust, line, widths)).rstrip() + "\n" for line in lines)


def read(connection: socket.socket, rest: bytes, runs: Runs) -> bytes | None:
    """What is left of an unfinished line; None when the connection has ended."""
    try:
        got = connection.recv(1 << 16)
    except OSError:
        return None
    *lines, rest = (rest + got).split(b"\n")
    for line in lines:
        runs.take(connection, line)
    return rest if got and len(rest) <= MOST_LINE else None


def serve(listening: socket.socket, once: bool) -> None:
    runs = Runs()
    drawn = 0.0
    is_terminal = sys.stdout.isatty()
    selector = selectors.DefaultSelector()
    selector.register(listening, selectors.EVENT_READ)
    try:
        while not (once and runs.have_ended()):
            for key, _ in selector.select(0.5):
                if key.fileobj is listening:
                    selector.register(listening.accept()[0], selectors.EVENT_READ, b"")
                    continue
                rest = read(key.fileobj, key.data, runs)
                if rest is not None:
                    selector.modify(key.fileobj, selectors.EVENT_READ, rest)
                    continue
                runs.lose(key.fileobj)
                selector.unregister(key.fileobj)
                key.fileobj.close()
            if is_terminal and time.monotonic() - drawn > 0.5:
                drawn = time.monotonic()
                print("\x1b[H\x1b[2J" + runs.table(), end="", flush=True)
    except KeyboardInterrupt:
        pass
    print(("\x1b[H\x1b[2J" if is_terminal else "") + runs.table(), end="")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--once", action="store_true", help="end when all runs have ended")
    parser.add_argument("place", metavar="[HOST:]PORT")
    arguments = parser.parse_args()
    host, _, port = arguments.place.rpartition(":")
    family = socket.AF_INET6 if ":" in host else socket.AF_INET
    with socket.create_server((host.strip("[]"), int(port)), family=family) as listening:
        print("listens on port", listening.getsockname()[1], file=sys.stderr, flush=True)
        serve(listening, arguments.once)


if __name__ == "__main__":
    main()
