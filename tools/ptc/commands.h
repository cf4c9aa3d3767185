// The sub-commands of `ptc`: each adds itself to the program's command line.
//
// Units      exit statuses: 0 done, 1 failed, 2 wrong usage; a command may say otherwise.
// Errors     a command that fails says why in one line on standard error.
// Ownership  each command's options live as long as the program.
// Threads    the main thread only.

#pragma once

#include <CLI/App.hpp>

/// Each adds its sub-command to `app`. Parsing a command line that names it runs it, and stores
/// its exit status at `*status`; the caller handles wrong usage.
void AddInfo(CLI::App& app, int* status);
void AddPrint(CLI::App& app, int* status);
void AddFind(CLI::App& app, int* status);
void AddCheck(CLI::App& app, int* status);
void AddRepair(CLI::App& app, int* status);
void AddDiff(CLI::App& app, int* status);
void AddEdit(CLI::App& app, int* status);
void AddConvert(CLI::App& app, int* status);
void AddOrganise(CLI::App& app, int* status);
void AddMerge(CLI::App& app, int* status);
void AddQuery(CLI::App& app, int* status);
void AddTransfer(CLI::App& app, int* status);
void AddLight(CLI::App& app, int* status);
void AddStats(CLI::App& app, int* status);
void AddView(CLI::App& app, int* status);
void AddPack(CLI::App& app, int* status);
