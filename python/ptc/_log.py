"""The library's messages on their way to `logging.getLogger("ptc")`.

The library reports in whichever thread it works; the extension queues that, and the Python threads
that call it deliver what is queued.
"""

import atexit
import logging
import os
from typing import List, Tuple

from ptc import _ptc

_LEVELS = (logging.INFO, logging.WARNING, logging.ERROR, logging.CRITICAL)


def deliver(messages: List[Tuple[int, bytes]], dropped: int) -> None:
    """Logs (severity, text) each, and how many were `dropped` because the queue was full."""
    logger = logging.getLogger("ptc")
    for severity, text in messages:
        level = _LEVELS[min(max(severity, 0), 3)]
        logger.log(level, "%s", text.decode(errors="replace").rstrip("\n"))
    if dropped:
        logger.warning("%d more messages were dropped", dropped)


def install() -> None:
    """Has the library print its messages itself once the interpreter ends."""
    atexit.register(_ptc.print_messages)
    os.register_at_fork(after_in_child=_ptc.begin_messages)
