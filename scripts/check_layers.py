#!/usr/bin/env python3
"""Fails if a file includes something that its room may not include, or what is not a header."""

import pathlib
import re
import sys

UTIL = {f"util/{room}" for room in ("base", "io", "text", "host", "stats", "math")}
RECORDS = {"include/ptc/api.h", "include/ptc/records.h", "include/ptc/held_blocks.h"}
FORMAT = UTIL | RECORDS | {"ptc/format"}
CLOUD = FORMAT | {"ptc/cloud"}
FILES = CLOUD | {"ptc/files"}
CACHE = CLOUD | {"ptc/cache"}
ORGANISE = CLOUD | {"include/ptc/organise.h", "include/ptc/failure.h", "ptc/organise"}
ACCESS = FILES | CACHE | ORGANISE | {"include", "ptc/access"}
LOOKUP = ACCESS | {"ptc/lookup"}
DRIVER = CLOUD | {"include/ptc/dspy.h", "driver"}
PTC_TOOL = ACCESS | {"tools/clouds", "tools/common", "tools/picture", "tools/ptc"}

# What each room may include, itself among it: rooms, or single files. A file's room is the longest
# name that its path begins with. What users include lies in include/ptc and is written "ptc/x.h".
MAY_INCLUDE = {
    "include": {"include"},
    "util/base": {"util/base"},
    "util/io": {"util/base", "util/io"},
    "util/text": {"util/base", "util/text"},
    "util/math": {"util/base", "util/math"},
    "util/stats": {"util/base", "util/stats", "util/text"},
    "util/host": {"util/base", "util/host", "util/io", "util/text"},
    # The format opens no file: it has sinks and sources.
    "ptc/format": FORMAT - {"util/io"} | {"util/io/bytes.h"},
    "ptc/cloud": CLOUD,
    "ptc/files": FILES,
    "ptc/cache": CACHE,
    "ptc/organise": ORGANISE,
    "ptc/access": ACCESS,
    "ptc/lookup": LOOKUP,
    "light": ACCESS | {"light"},
    "ptc/c": {"include", "ptc/access/last_failure.h", "ptc/c"},
    "driver": DRIVER,
    "tools/common": UTIL | {"tools/common"},
    "tools/picture": UTIL | {"tools/common", "tools/picture"},
    "tools/clouds": ACCESS | {"tools/clouds", "tools/common"},
    "tools/scene": UTIL | {"tools/common", "tools/scene"},
    "tools/bake": UTIL | {"tools/bake", "tools/common", "tools/scene", "include/ptc/dspy.h"},
    "tools/render": ACCESS
    | {"tools/clouds", "tools/common", "tools/picture", "tools/render", "tools/scene"},
    "tools/farm": UTIL | {"tools/common", "tools/farm"},
    "tools/ptc": PTC_TOOL,
    "tools/ptc/inspect": PTC_TOOL | {"tools/ptc/inspect", "tools/ptc/measure"},
    "tools/ptc/measure": PTC_TOOL | {"tools/ptc/measure"},
    "tools/ptc/convert": PTC_TOOL | {"tools/ptc/convert"},
    "tools/ptc/diff": PTC_TOOL | {"tools/ptc/diff"},
    "tools/ptc/expression": PTC_TOOL | {"tools/ptc/expression"},
    # The simplifier; it knows no image.
    "tools/ptc/edit": PTC_TOOL
    | {"tools/ptc/convert", "tools/ptc/edit", "tools/ptc/expression"}
    | {"driver/point_buffer.h", "driver/projection.h", "driver/simplify.h"},
    "tools/ptc/organise": PTC_TOOL | {"tools/ptc/organise"},
    # Light through the public header alone.
    "tools/ptc/light": PTC_TOOL
    | {"tools/ptc/convert", "tools/ptc/light", "tools/ptc/lookup"}
    | {"tools/ptc/organise/library_progress.h"},
    "tools/ptc/lookup": PTC_TOOL | {"tools/ptc/convert", "tools/ptc/lookup"},
    # The command makes pictures or pages; a page is drawn with the pictures' cameras and colours.
    "tools/ptc/view": PTC_TOOL | {"tools/ptc/page/page.h", "tools/ptc/view"},
    "tools/ptc/page": PTC_TOOL | {"tools/ptc/page", "tools/ptc/view"},
    # The headers and pictures of the clouds that it packs are those of the other commands.
    "tools/ptc/pack": PTC_TOOL
    | {"tools/ptc/pack", "tools/ptc/view/view.h", "tools/ptc/inspect/header_facts.h",
       "tools/ptc/inspect/info_json.h"},
    "tools/ptc/stats": PTC_TOOL | {"tools/ptc/lookup", "tools/ptc/stats"},
    "tools/pages": UTIL
    | {"tools/common", "tools/pages", "tools/scene/scene_options.h", "tools/bake/options.h",
       "tools/farm/options.h",
       "tools/render/options.h", "tools/ptc/command_line.h"},
    "examples": {"include"},
    "python/module": {"include", "python/module"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')


def path_of(included: str) -> str:
    """The file that an include names, from the root."""
    return f"include/{included}" if re.fullmatch(r"ptc/[a-z0-9_]+\.h", included) else included


def is_allowed(path: str, allowed: set[str], room: str) -> bool:
    """Whether the most exact rule for `path` is one of the allowed ones."""
    return path in allowed or room_of(path) in allowed or room_of(path) == room


def room_of(path: str) -> str:
    rooms = [room for room in MAY_INCLUDE if path.startswith(room + "/")]
    return max(rooms, key=len, default=path)


def main() -> int:
    faults = 0
    for top in sorted({room.split("/")[0] for room in MAY_INCLUDE}):
        for path in sorted(pathlib.Path(top).glob("**/*.[hc]*")):
            room = room_of(str(path))
            for number, line in enumerate(path.read_text().splitlines(), 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                included = path_of(match[1])
                if not included.endswith(".h"):
                    print(f"{path}:{number}: {included} is not a header")
                    faults += 1
                    continue
                if not is_allowed(included, MAY_INCLUDE.get(room, set()), room):
                    print(f"{path}:{number}: {room} may not include {included}")
                    faults += 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
