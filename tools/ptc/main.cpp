// ptc: one program for point cloud files, a sub-command for each intention.

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>
#include <vector>

#include "tools/ptc/commands.h"
#include "tools/ptc/nearest_name.h"
#include "tools/ptc/run_guarded.h"

namespace {

constexpr const char* kAbout =
    "Looks at, prints, checks, repairs, converts, measures and draws point cloud files.\n"
    "Exit status: 0 done, 1 failed or faulty, 2 wrong usage.";

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
    app.set_version_flag("--version", "ptc " VERSION);
    int status = 0;
    AddInfo(app, &status);
    AddPrint(app, &status);
    AddCheck(app, &status);
    AddRepair(app, &status);
    AddConvert(app, &status);
    AddStats(app, &status);
    AddView(app, &status);
    try {
        RefuseUnknownCommand(app, argc, argv);
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        // CLI11 has a number for each kind of mistake; here they are all wrong usage.
        return app.exit(stop) == 0 ? 0 : 2;
    }
    // A full disk behind standard output shows up only when the last of it is written.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "ptc: standard output: %s\n",
                     std::generic_category().message(errno).c_str());
        return 1;
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    return RunGuarded([&] { return RunCommandLine(argc, argv); });
}
