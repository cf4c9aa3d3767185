// ptc: one program for point cloud files, a sub-command for each intention.

#include <CLI/CLI.hpp>
#include <memory>

#include "ptc/access/named_place.h"
#include "tools/common/parse_error.h"
#include "tools/common/standard_streams.h"
#include "tools/common/start.h"
#include "tools/ptc/command_line.h"
#include "tools/ptc/run_guarded.h"
#include "util/host/message.h"

namespace {

/// Messages of the library about files. Here the commands report failures themselves, each in one
/// line.
constexpr const char* kLibraryReports = "T43050,T43051,T43052,T43054";

int RunCommandLine(int argc, char** argv) {
    int status = 0;
    const std::unique_ptr<CLI::App> app = MakeCommandLine(&status);
    try {
        RefuseUnknownCommand(*app, argc, argv);
        app->parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        status = AnswerParseError("ptc", *app, stop);
    }
    // A full disk behind standard output shows up only when the last of it is written.
    FlushOut();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    // First, because a thread looks at the list when it first reports, and loading may report.
    MsgSetDisabledList(kLibraryReports);
    if (!StartProgram()) return 1;
    TakeNamesAsPlaces();
    return RunGuarded([&] { return RunCommandLine(argc, argv); });
}
