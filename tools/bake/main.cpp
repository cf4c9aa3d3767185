// pcbake: a small renderer that bakes a scene through any display driver.

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "tools/bake/bake.h"
#include "tools/bake/options.h"
#include "tools/bake/outcome.h"
#include "tools/common/failure.h"
#include "tools/common/reporter.h"
#include "tools/common/standard_streams.h"
#include "tools/common/stopwatch.h"
#include "tools/scene/camera.h"
#include "tools/scene/scene_options.h"
#include "util/text/printable_text.h"

namespace bake {

namespace {

/// The summary on standard output, with figures in columns.
void PrintSummary(const Options& options, const BakeTotals& totals, const DriverImage& image,
                  double planning_seconds, const std::string& file) {
    if (options.part.count > 1)
        fmt::print("part       {} of {}\n", options.part.number, options.part.count);
    fmt::print("delivered  {} grids, {} samples\n", totals.grids, totals.samples);
    fmt::print("repeats    {} grids, {} samples of these\n", totals.repeated_grids,
               totals.repeated_samples);
    fmt::print("planning   {:.2f} s\n", planning_seconds);
    fmt::print("shading    {:.2f} s in {} threads\n", totals.shading_seconds, options.threads);
    fmt::print("driver     {:.2f} s\n", image.Seconds());
    fmt::print("output     {}, {}\n", Printable(options.output), file);
}

std::vector<Delivery> PlanPart(const Options& options, const scene::Scene& scene,
                               const scene::Camera& camera) {
    std::vector<Delivery> plan = PlanDeliveries(scene, camera, options.threads);
    if (options.part.count == 1) return plan;
    return TakePart(plan, options.part, options.settings.eliminate_duplicates.value_or(false));
}

/// Loads the driver first and opens the image before the shading, so that their faults appear
/// before the long part begins.
void Run(const Options& options, Reporter& reporter) {
    const scene::Camera camera(options.scene.width, options.scene.height);
    const DriverLibrary library(options.driver);
    scene::MeshReport mesh;
    const scene::Scene scene = scene::MakeScene(options.scene, &mesh);
    const scene::RayTracer tracer(scene);
    const scene::Shader shader(scene, tracer, options.quality);
    const Stopwatch planning;
    const std::vector<Delivery> plan = PlanPart(options, scene, camera);
    const double planning_seconds = planning.Seconds();

    // The driver reads the environment when it opens an image.
    if (options.ascii && setenv("LUMR_ASCIIPOINTCLOUD", "1", 1) != 0)
        throw Failure("cannot set LUMR_ASCIIPOINTCLOUD");
    reporter.Start();  // no process is made and no variable set from here on
    ImageRequest request(camera, options.settings);
    Tally tally(scene::DicingOf(options.scene).size);
    DriverImage image(library, options.output, request, tally);
    BakeTotals totals;
    {  // the bar is removed before anything else is printed
        Progress progress(CountSamples(plan), !options.quiet);
        totals = Bake(scene, shader, plan, options.threads, &image, &progress);
    }
    image.Close();
    const std::string file = RequireOutcome(options.output, tally, options.settings);
    reporter.Add("grids", static_cast<std::int64_t>(totals.grids));
    reporter.Add("samples", static_cast<std::int64_t>(totals.samples));
    if (options.quiet) return;
    if (!options.scene.mesh.empty()) scene::PrintMesh(mesh);
    PrintSummary(options, totals, image, planning_seconds, file);
}

int RunCommandLine(int argc, char** argv) {
    Options options;
    const std::optional<int> status = ParseOptions(argc, argv, &options);
    if (!status)
        RunReported({"pcbake", "pcbake", options.output, options.monitor, options.quiet},
                    [&](Reporter& reporter) {
                        Run(options, reporter);
                        // If standard output is a file on a full disk, only the last write fails.
                        FlushOut();
                    });
    FlushOut();
    return status.value_or(0);
}

}  // namespace

}  // namespace bake

int main(int argc, char** argv) {
    if (!HoldStandardDescriptors()) return 1;
    try {
        return bake::RunCommandLine(argc, argv);
    } catch (const std::exception& failure) {
        TellFailure("pcbake", failure);
    }
    return 1;
}
