// The sub-command `transfer`.

#include <CLI/App.hpp>
#include <memory>

#include "tools/common/option_values.h"
#include "tools/common/thread_option.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/lookup/filter_options.h"
#include "tools/ptc/lookup/transfer.h"
#include "tools/ptc/run_guarded.h"

void AddTransfer(CLI::App& app, int* status) {
    const auto options = std::make_shared<TransferOptions>();
    CLI::App* const command =
        app.add_subcommand("transfer", "add variables of clouds to the points of another");
    NamesFile(
        command->add_option("FROM", options->from, "up to 100 point cloud files, looked up as one"))
        ->required();
    command->add_option("--onto", options->onto, "the points: a point cloud, PLY or CSV file")
        ->required()
        ->type_name("TO")
        ->transform(FileName());
    command->add_option("-o,--output", options->output, "the file to make, - for standard output")
        ->type_name("FILE")
        ->transform(FileName())
        ->required();
    command
        ->add_option("--variables", options->variables,
                     "only these, separated by commas; without it all that TO lacks")
        ->type_name("A,B,...");
    command->add_flag("--replace", options->replace, "write over variables that TO has");
    AddFilterOption(*command, &options->filter)
        ->description("filter radius; without it twice the distance between neighbours");
    AddLeastDotOption(*command, &options->least_dot);
    AddThreadOption(*command, &options->threads);
    command->callback([options, status] {
        *status = RunGuarded([&] {
            RunTransfer(*options);
            return 0;
        });
    });
}
