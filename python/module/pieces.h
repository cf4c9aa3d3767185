// Work on many items in pieces, by several threads, while the calling thread watches for signals.
//
// Units      counts of items.
// Errors     the first failure of a piece ends the work.
// Ownership  borrows the work.
// Threads    the calling thread has given the interpreter's lock up (LongCall) and works itself
// when
//            one thread is enough.

#pragma once

#include <cstdint>
#include <functional>

#include "python/module/failure.h"
#include "python/module/long_call.h"

/// Does items [first, first + count), in any thread. False: PtcLastFailure() says why. Calls no
/// function of Python.
using Piece = std::function<bool(std::int64_t first, std::int64_t count)>;

/// Calls `work` for pieces of `total` items in `threads` threads, 0 for as many as the machine runs
/// at once. False: a piece has failed, with `*why`, or `call` has stopped the work. Pieces grow
/// until each takes about half a second: lookups of many places are the faster the more of
/// them they may put into order, but a stop waits for the pieces that are being done.
bool DoInPieces(LongCall& call, std::int64_t total, int threads, const Piece& work, Failure* why);
