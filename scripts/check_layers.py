#!/usr/bin/env python3
"""Fails when a file includes something above its own layer."""

import pathlib
import re
import sys

MAY_INCLUDE = {
    "util": {"util"},
    "ptc": {"util", "ptc"},
    "driver": {"util", "ptc", "driver"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([a-z]+)/')


def main() -> int:
    faults = 0
    for layer, allowed in MAY_INCLUDE.items():
        for path in sorted(pathlib.Path(layer).glob("**/*.[hc]*")):
            for number, line in enumerate(path.read_text().splitlines(), 1):
                match = INCLUDE.match(line)
                if match and match[1] not in allowed:
                    print(f"{path}:{number}: {layer}/ may not include {match[1]}/")
                    faults += 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
