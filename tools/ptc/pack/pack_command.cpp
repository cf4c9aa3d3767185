// The sub-command `pack`: its options and help.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "tools/common/option_values.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/pack/pack.h"
#include "tools/ptc/run_guarded.h"

namespace {

/// A name without the ending would make the first file that is to be packed the archive, where the
/// archive was forgotten.
CLI::Validator ArchiveName() {
    return CLI::Validator(
        [](const std::string& name) -> std::string {
            return name == "-" || name.ends_with(".zip")
                       ? ""
                       : fmt::format("{} does not end in .zip", name);
        },
        "");
}

/// A file whose bytes stay, with a name for the archive.
CLI::Validator NamedFile() {
    return CLI::Validator(
        [](const std::string& name) -> std::string {
            if (name == "-") return "standard input has no name in an archive";
            if (!pack::MemberNameOf(name).empty()) return "";
            return fmt::format("\"{}\" has no name in an archive", name);
        },
        "");
}

}  // namespace

void AddPack(CLI::App& app, int* status) {
    const auto options = std::make_shared<pack::PackOptions>();
    CLI::App* const command = app.add_subcommand(
        "pack", "put files into a zip archive, clouds with their headers and pictures");
    NamesFile(command->add_option("OUT", options->output,
                                  "the archive to make, whose name ends in .zip; - for standard "
                                  "output"))
        ->check(ArchiveName())
        ->required();
    NamesFile(command->add_option("FILE", options->files, "the files, of any kind"))
        ->check(NamedFile())
        ->required();
    command->add_flag("--store", options->stores, "compress nothing");
    command->add_flag("--no-header", options->leaves_out_headers,
                      "leave out FILE.json, the header of a cloud as ptc info --json prints it");
    command->add_flag("--no-picture", options->leaves_out_pictures,
                      "leave out FILE.png, the picture of a cloud as ptc view draws it");
    command->callback([options, status] {
        *status = RunGuarded([&] {
            pack::Pack(*options);
            return 0;
        });
    });
}
