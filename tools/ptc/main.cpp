// ptc: one program for point cloud files, a sub-command for each intention.

#include <CLI/CLI.hpp>

#include "tools/ptc/commands.h"

int main(int argc, char** argv) {
    CLI::App app("Looks at point cloud files.", "ptc");
    app.require_subcommand(1);
    int status = 0;
    AddView(app, &status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        return app.exit(stop) == 0 ? 0 : 2;
    }
    return status;
}
