// Standard input, output and error of the command-line programs.
//
// Units      texts are whole lines.
// Errors     a Failure, once for the whole run, when standard output does not take everything;
//            what standard error does not take is lost.
// Ownership  borrows the three descriptors and the C library's streams.
// Threads    the main thread only.

#pragma once

#include <exception>
#include <string_view>

/// Opens what is closed of the descriptors 0 to 2, for neither reading nor writing: no file of ours
/// gets such a number, so that a message never lands in it, and the use of a stream that was closed
/// fails as it should. Caller: the program's start. False: it could not.
[[nodiscard]] bool HoldStandardDescriptors();

/// Appends to standard output, through the C library's buffer.
void WriteOut(std::string_view text);

/// Hands the system what is buffered. Does nothing after a failure, which was told.
void FlushOut();

/// Whether a Failure was thrown for standard output: nothing more is worth writing.
bool OutHasFailed();

/// A line "PROGRAM: TEXT" on standard error; `text` may hold anything. For notes and failures.
void Tell(const char* program, std::string_view text) noexcept;

/// The same for what ended a command: the reason, or that memory ran out.
void TellFailure(const char* program, const std::exception& failure) noexcept;
