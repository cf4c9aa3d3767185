// ptc info: headers at a glance, and statistics of the points.

#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/common/option_values.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/inspect/info_json.h"
#include "tools/ptc/inspect/info_text.h"
#include "tools/ptc/measure/measurement.h"
#include "tools/ptc/measure/measurement_text.h"
#include "tools/ptc/open_input.h"
#include "tools/ptc/read_error.h"
#include "tools/ptc/run_guarded.h"

namespace {

constexpr int kMostBins = 1000;

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
    measure::MeasureOptions measure;
};

int Info(const InfoOptions& options) {
    std::vector<std::string> objects;
    int status = 0;
    for (const std::string& name : options.files) {
        std::string shown;
        const auto show = [&] {
            const InputFile file(name);
            const auto cloud = OpenInput(file).cloud;
            const HeaderFacts facts = FactsOf(file.Name(), *cloud);
            // An octree that cannot be read has no known size, but an error must not pass for one.
            FailIfUnread(*cloud, file.Name());
            measure::Measurement measured;
            if (options.measure.IsAny()) measured = Measure(*cloud, file.Name(), options.measure);
            shown = options.json ? InfoJson(facts, measured)
                                 : InfoText(facts) + MeasurementText(measured);
            return 0;
        };
        // A file that fails must not keep the others from being shown.
        if (RunGuarded(show) != 0)
            status = 1;
        else if (options.json)
            objects.push_back(std::move(shown));
        else
            WriteOut(shown);
    }
    if (options.json) WriteOut(InfoJsonList(objects));
    return status;
}

}  // namespace

void AddInfo(CLI::App& app, int* status) {
    const auto options = std::make_shared<InfoOptions>();
    CLI::App* const command =
        app.add_subcommand("info", "show what headers say, and statistics of the points");
    NamesFile(
        command->add_option("FILE", options->files, "point cloud files, - for standard input"))
        ->required();
    command->add_flag("--json", options->json, "as one JSON array, an object for each file");
    command->add_flag("--stats", options->measure.statistics,
                      "statistics of all channels, and the spacing of the points");
    CLI::Option* const histogram =
        command
            ->add_option("--histogram", options->measure.histograms,
                         "how the values of CHANNEL are spread, one float of the points such as x "
                         "or _radiosity_r; may be given several times")
            ->type_name("CHANNEL")
            ->allow_extra_args(false);
    command->add_option("--bins", options->measure.bins, "bars of a histogram; default: 20")
        ->check(Count(1, kMostBins))
        ->type_name("N")
        ->needs(histogram);
    command->callback([options, status] { *status = RunGuarded([&] { return Info(*options); }); });
}
