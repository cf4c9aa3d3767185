// The library's messages on their way to Python's logging.
//
// Units      severities are those of ptc/runtime.h.
// Errors     an exception of a logging handler is reported as unraisable. What ends a program, such
//            as that of Ctrl-C, is pending when Deliver() returns.
// Ownership  a bounded queue, which lives as long as the process.
// Threads    messages come from any thread, which never waits for the interpreter; Deliver() needs
//            the interpreter's lock.

#pragma once

namespace messages {

/// From here on messages are queued.
void Install();

/// Begins anew with an empty queue. Caller: is the only thread of a process that was just forked.
void BeginQueue();

/// The library prints messages again. What is queued stays until Deliver().
void Uninstall();

/// Hands what is queued to ptc._log.deliver(). Leaves a pending exception as it is.
void Deliver();

}  // namespace messages
