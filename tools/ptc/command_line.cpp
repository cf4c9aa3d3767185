// The command line: what the program says about itself, its sub-commands, and their help.

#include "tools/ptc/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/help_format.h"
#include "tools/common/nearest_name.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/run_guarded.h"

namespace {

constexpr const char* kAbout =
    "Looks at, prints, searches, checks, repairs, compares, edits, converts, organises, looks up, "
    "lights, "
    "measures, draws and packs point cloud files.";

std::vector<std::string> CommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands({}))
        names.push_back(command->get_name());
    return names;
}

/// A misspelt command is answered with the one that may be meant.
void RequireCommand(const CLI::App& app, const std::string& word) {
    const std::vector<std::string> names = CommandNames(app);
    if (std::find(names.begin(), names.end(), word) != names.end()) return;
    const std::string nearest = NearestName(word, names);
    throw CLI::ValidationError(
        word, nearest.empty() ? "is no command; there are " + CLI::detail::join(names, ", ")
                              : "is no command; the nearest is " + nearest);
}

/// `help COMMAND` shows what `COMMAND --help` does, and `help` what `--help` does.
void AddHelp(CLI::App& app, int* status) {
    const auto word = std::make_shared<std::string>();
    CLI::App* const command = app.add_subcommand("help", "show the help of a command, or of all");
    command->add_option("COMMAND", *word, "the command; without it all are listed")
        ->type_name(CLI::detail::join(CommandNames(app), "|"));
    command->callback([&app, word, status] {
        const CLI::App* asked = &app;
        std::string name = app.get_name();
        if (!word->empty()) {
            RequireCommand(app, *word);
            asked = app.get_subcommand(*word);
            name += " " + *word;
        }
        const std::string help =
            app.get_formatter()->make_help(asked, name, CLI::AppFormatMode::Normal);
        *status = RunGuarded([&] {
            WriteOut(help);
            return 0;
        });
    });
}

}  // namespace

std::unique_ptr<CLI::App> MakeCommandLine(int* status) {
    auto app = std::make_unique<CLI::App>(kAbout, "ptc");
    app->formatter(std::make_shared<HelpFormat>());
    app->require_subcommand(1);
    app->set_version_flag("--version", "ptc " TOOLS_VERSION);
    app->footer("Exit status: 0 done, 1 failed, 2 wrong usage.");  // of the commands as well
    AddInfo(*app, status);
    AddPrint(*app, status);
    AddFind(*app, status);
    AddCheck(*app, status);
    AddRepair(*app, status);
    AddDiff(*app, status);
    AddEdit(*app, status);
    AddConvert(*app, status);
    AddOrganise(*app, status);
    AddMerge(*app, status);
    AddQuery(*app, status);
    AddTransfer(*app, status);
    AddLight(*app, status);
    AddStats(*app, status);
    AddView(*app, status);
    AddPack(*app, status);
    AddHelp(*app, status);
    app->footer("Exit status: 0 done, 1 failed or faulty, 2 wrong usage.");
    return app;
}

void RefuseUnknownCommand(const CLI::App& app, int argc, const char* const* argv) {
    if (argc < 2)
        throw CLI::ValidationError("a command is required; there are " +
                                   CLI::detail::join(CommandNames(app), ", "));
    if (argv[1][0] != '-') RequireCommand(app, argv[1]);
}
