#!/usr/bin/env python3
"""Fails when a file includes something that its room may not."""

import pathlib
import re
import sys

UTIL = {f"util/{room}" for room in ("base", "io", "text", "host", "stats", "math")}
FORMAT = UTIL | {"ptc/format"}
CLOUD = FORMAT | {"ptc/cloud"}
FILES = CLOUD | {"ptc/files"}
CACHE = CLOUD | {"ptc/cache"}
ACCESS = FILES | CACHE | {"ptc/access"}
DRIVER = CLOUD | {"driver"}
PTC_TOOL = ACCESS | {"tools/common", "tools/ptc"}

# What each room may include, itself among it. A folder's room is the longest name it begins with.
MAY_INCLUDE = {
    "util/base": {"util/base"},
    "util/io": {"util/base", "util/io"},
    "util/text": {"util/base", "util/text"},
    "util/math": {"util/base", "util/math"},
    "util/stats": {"util/base", "util/stats", "util/text"},
    "util/host": {"util/base", "util/host", "util/io", "util/text"},
    "ptc/format": FORMAT,
    "ptc/cloud": CLOUD,
    "ptc/files": FILES,
    "ptc/cache": CACHE,
    "ptc/access": ACCESS,
    "driver": DRIVER,
    "tools/common": UTIL | {"tools/common"},
    "tools/bake": UTIL | {"tools/bake", "tools/common", "driver"},
    "tools/ptc": PTC_TOOL,
    "tools/ptc/inspect": PTC_TOOL | {"tools/ptc/inspect"},
    "tools/ptc/convert": PTC_TOOL | {"tools/ptc/convert"},
    "tools/ptc/view": PTC_TOOL | {"tools/ptc/view"},
    "tools/ptc/stats": PTC_TOOL | {"tools/ptc/stats"},
    "examples": {"ptc/access"},
}
# Headers that a room may include of another room, where it may not include all of them.
ONLY = {
    ("ptc/format", "util/io"): {"bytes"},  # the format opens no file: it has sinks and sources
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([a-z_/]+)/([a-z0-9_]+)\.h"')


def room_of(folder: str) -> str:
    rooms = [room for room in MAY_INCLUDE if (folder + "/").startswith(room + "/")]
    return max(rooms, key=len, default=folder)


def may_include(room: str, other: str, header: str) -> bool:
    return other in MAY_INCLUDE.get(room, set()) and header in ONLY.get((room, other), {header})


def main() -> int:
    faults = 0
    for top in sorted({room.split("/")[0] for room in MAY_INCLUDE}):
        for path in sorted(pathlib.Path(top).glob("**/*.[hc]*")):
            room = room_of(str(path.parent))
            for number, line in enumerate(path.read_text().splitlines(), 1):
                match = INCLUDE.match(line)
                if match and not may_include(room, room_of(match[1]), match[2]):
                    print(f"{path}:{number}: {room} may not include {match[1]}/{match[2]}.h")
                    faults += 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
