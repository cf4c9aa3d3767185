// The command line of `ptc`: the program with all its sub-commands, for running and for describing.

#pragma once

#include <CLI/App.hpp>
#include <memory>

/// Makes the command line. Parsing one runs its sub-command, whose exit status goes to `*status`.
std::unique_ptr<CLI::App> MakeCommandLine(int* status);

/// Throws what is wrong about a missing or a misspelt sub-command: CLI11 would only say that one
/// is required, or that it did not expect the word.
void RefuseUnknownCommand(const CLI::App& app, int argc, const char* const* argv);
