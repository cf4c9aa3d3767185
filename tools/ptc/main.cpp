// ptc: one program for point cloud files, a sub-command for each intention.

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/common/parse_error.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/nearest_name.h"
#include "tools/ptc/run_guarded.h"
#include "util/host/message.h"

namespace {

constexpr const char* kAbout =
    "Looks at, prints, checks, repairs, converts, organises, looks up, measures and draws point "
    "cloud files.\n"
    "Exit status: 0 done, 1 failed or faulty, 2 wrong usage.";

/// Messages of the library about files. Here the commands report failures themselves, each in one
/// line.
constexpr const char* kLibraryReports = "T43050,T43051,T43052,T43054";

/// A misspelt command is answered with the one that may be meant.
/// CLI11 would only say that it did not expect the word, or that a command is missing.
void RefuseUnknownCommand(const CLI::App& app, int argc, char** argv) {
    if (argc < 2 || argv[1][0] == '-') return;
    std::vector<std::string> names;
    std::string list;
    for (const CLI::App* const command : app.get_subcommands({})) {
        if (command->get_name() == argv[1]) return;
        names.push_back(command->get_name());
        list += (list.empty() ? "" : ", ") + names.back();
    }
    const std::string nearest = NearestName(argv[1], names);
    throw CLI::ValidationError(argv[1], nearest.empty()
                                            ? "is no command; there are " + list
                                            : "is no command; the nearest is " + nearest);
}

int RunCommandLine(int argc, char** argv) {
    CLI::App app(kAbout, "ptc");
    app.require_subcommand(1);
    app.set_version_flag("--version", "ptc " TOOLS_VERSION);
    int status = 0;
    AddInfo(app, &status);
    AddPrint(app, &status);
    AddCheck(app, &status);
    AddRepair(app, &status);
    AddConvert(app, &status);
    AddOrganise(app, &status);
    AddMerge(app, &status);
    AddQuery(app, &status);
    AddTransfer(app, &status);
    AddStats(app, &status);
    AddView(app, &status);
    try {
        RefuseUnknownCommand(app, argc, argv);
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        status = AnswerParseError("ptc", app, stop);
    }
    // A full disk behind standard output shows up only when the last of it is written.
    FlushOut();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    if (!HoldStandardDescriptors()) return 1;
    MsgSetDisabledList(kLibraryReports);
    return RunGuarded([&] { return RunCommandLine(argc, argv); });
}
