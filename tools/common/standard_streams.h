// Standard input, output and error of the command-line programs.
//
// Units      texts are whole lines.
// Errors     a Failure, once for the whole run, when standard output cannot be written;
//            what standard error does not take is lost.
// Ownership  borrows the three descriptors and the C library's streams.
// Threads    the main thread only.

#pragma once

#include <exception>
#include <string_view>

/// Opens those of the descriptors 0 to 2 that are closed, for neither reading nor writing. No file
/// then gets such a number, so that messages never go into a file, and the use of a closed stream
/// fails. Caller: the start of the program. False: the system refused.
[[nodiscard]] bool HoldStandardDescriptors();

/// Appends to standard output, through the C library's buffer.
void WriteOut(std::string_view text);

/// Writes what is buffered to the system. Does nothing after a failure, which was reported.
void FlushOut();

/// Whether a Failure was thrown for standard output: further output is useless.
bool OutHasFailed();

/// A line "PROGRAM: TEXT" on standard error; `text` may hold anything. For notes and failures.
void Tell(const char* program, std::string_view text) noexcept;

/// Why a command ended: the reason, or that memory ran out. Valid as long as `failure` is.
const char* FailureText(const std::exception& failure) noexcept;

/// Tell() for what ended a command.
void TellFailure(const char* program, const std::exception& failure) noexcept;
