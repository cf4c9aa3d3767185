// Who lives in a process group besides its leader.
//
// Units      none.
// Errors     where /proc cannot be read, nobody is found.
// Ownership  none.
// Threads    any.

#pragma once

#include <sys/types.h>

/// Whether a process other than `leader` lives in the group of that number. One that has ended and
/// that nobody has waited for does not live.
///
/// kill(2) cannot tell: it counts the leader until it is waited for, and after that the number may
/// belong to a stranger.
bool GroupHasOthers(pid_t leader);
