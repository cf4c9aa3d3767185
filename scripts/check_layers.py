#!/usr/bin/env python3
"""Fails if a file includes something that its room may not include."""

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

# What each room may include. A folder belongs to the room with the longest name that matches.
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
INCLUDE = re.compile(r'^\s*#\s*include\s+"([a-z_/]+)/[a-z0-9_]+\.h"')


def room_of(folder: str) -> str:
    rooms = [room for room in MAY_INCLUDE if (folder + "/").startswith(room + "/")]
    return max(rooms, key=len, default=folder)


def main() -> int:
    faults = 0
    for top in sorted({room.split("/")[0] for room in MAY_INCLUDE}):
        for path in sorted(pathlib.Path(top).glob("**/*.[hc]*")):
            room = room_of(str(path.parent))
            for number, line in enumerate(path.read_text().splitlines(), 1):
                match = INCLUDE.match(line)
                if match and room_of(match[1]) not in MAY_INCLUDE.get(room, set()):
                    print(f"{path}:{number}: {room} may not include {match[1]}")
                    faults += 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
