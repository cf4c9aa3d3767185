// ptc info: headers at a glance.

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/ptc/commands.h"
#include "tools/ptc/info_json.h"
#include "tools/ptc/info_text.h"
#include "tools/ptc/open_input.h"
#include "tools/ptc/run_guarded.h"

namespace {

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
};

int Info(const InfoOptions& options) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    int status = 0;
    for (const std::string& name : options.files) {
        const auto show = [&] {
            const InputFile file(name);
            const auto cloud = OpenInput(file).cloud;
            const CloudSize size = SizeOf(*cloud);
            if (options.json)
                list.push_back(InfoJson(file.Name(), *cloud, size));
            else
                fmt::print("{}", InfoText(file.Name(), *cloud, size));
            return 0;
        };
        // A file that fails must not keep the others from being shown.
        if (RunGuarded(show) != 0) status = 1;
    }
    // Names may be any bytes; what is no UTF-8 must not make the rest unreadable.
    if (options.json)
        fmt::print("{}\n", list.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    return status;
}

}  // namespace

void AddInfo(CLI::App& app, int* status) {
    const auto options = std::make_shared<InfoOptions>();
    CLI::App* const command = app.add_subcommand("info", "show what headers say");
    command->add_option("FILE", options->files, "point cloud files, - for standard input")
        ->required();
    command->add_flag("--json", options->json, "as one JSON array, an object for each file");
    command->callback([options, status] { *status = RunGuarded([&] { return Info(*options); }); });
}
