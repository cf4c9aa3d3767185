"""Point cloud files: reading without copies, writing, organising, and looking up.

    import ptc

    cloud = ptc.open("a.ptc")
    print(cloud)                                    # what `ptc info` shows
    glow = cloud["_radiosity"].mean(axis=0)         # (n, 3) float32, a view of the file
    lookup = ptc.Lookup("a.ptc")
    light = lookup.sample(points, normals, "_radiosity", radius=0.1)

Units: positions, radii, boxes and distances are in world space; normals have length 1, or 0 for a
point without one; matrices are for row vectors, with the translation in the last row; memory is in
bytes. All values are float32 unless a description says otherwise.

Errors: what the system refuses is an OSError with `errno` and `filename` (FileNotFoundError,
PermissionError, ...); what is no cloud or is damaged is a FormatError; refused arguments are a
ValueError; memory that runs out is a MemoryError. The library's messages go to
`logging.getLogger("ptc")`.

Threads: any function from any Python thread. Long calls let other Python threads run, and end with
KeyboardInterrupt at Ctrl-C.
"""

from ptc import _ptc
from ptc._log import install as _install
from ptc.cloud import Cloud, open
from ptc.errors import FormatError, VariableError
from ptc.lookup import Lookup, Nearest
from ptc.organise import MergeSummary, OrganizeSummary, merge, organize
from ptc.points import Points
from ptc.runtime import configure, statistics
from ptc.writer import Writer, write

__version__: str = _ptc.version

__all__ = [
    "Cloud",
    "FormatError",
    "Lookup",
    "MergeSummary",
    "Nearest",
    "OrganizeSummary",
    "Points",
    "VariableError",
    "Writer",
    "configure",
    "merge",
    "open",
    "organize",
    "statistics",
    "write",
]

_install()
