// ptc info: headers at a glance.

#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/option_values.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/inspect/info_json.h"
#include "tools/ptc/inspect/info_text.h"
#include "tools/ptc/open_input.h"
#include "tools/ptc/read_error.h"
#include "tools/ptc/run_guarded.h"

namespace {

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
};

int Info(const InfoOptions& options) {
    std::string list;
    int status = 0;
    for (const std::string& name : options.files) {
        std::string shown;
        const auto show = [&] {
            const InputFile file(name);
            const auto cloud = OpenInput(file).cloud;
            const HeaderFacts facts = FactsOf(file.Name(), *cloud);
            // An octree that cannot be read has no known size, but an error must not pass for one.
            FailIfUnread(*cloud, file.Name());
            shown = options.json ? InfoJson(facts) : InfoText(facts);
            return 0;
        };
        // A file that fails must not keep the others from being shown.
        if (RunGuarded(show) != 0)
            status = 1;
        else if (options.json)
            list += (list.empty() ? "\n" : ",\n") + shown;
        else
            WriteOut(shown);
    }
    if (options.json) WriteOut(list.empty() ? "[]\n" : "[" + list + "\n]\n");
    return status;
}

}  // namespace

void AddInfo(CLI::App& app, int* status) {
    const auto options = std::make_shared<InfoOptions>();
    CLI::App* const command = app.add_subcommand("info", "show what headers say");
    NamesFile(
        command->add_option("FILE", options->files, "point cloud files, - for standard input"))
        ->required();
    command->add_flag("--json", options->json, "as one JSON array, an object for each file");
    command->callback([options, status] { *status = RunGuarded([&] { return Info(*options); }); });
}
