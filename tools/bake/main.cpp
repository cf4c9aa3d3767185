// pcbake: a small renderer that bakes a scene through any display driver.

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "tools/bake/bake.h"
#include "tools/bake/camera.h"
#include "tools/bake/options.h"
#include "tools/bake/outcome.h"
#include "tools/bake/particles.h"
#include "tools/bake/stopwatch.h"
#include "tools/common/failure.h"
#include "tools/common/standard_streams.h"
#include "util/text/printable_text.h"

namespace bake {

namespace {

/// The room, the things in it and the dust. The dust comes last, so that it does not change the
/// numbers, and so the seeds, of the other grids.
Scene MakeScene(const Options& options, const Dicing& dicing, MeshReport* mesh) {
    Scene scene = options.mesh.empty()
                      ? MakeCornellBox(dicing)
                      : MakeMeshScene({options.mesh, options.turn, options.sides}, dicing, mesh);
    if (options.particles > 0)
        scene.Add(std::make_unique<Particles>(static_cast<std::uint32_t>(options.particles),
                                              dicing.size, scene.Light().At(0.5f, 0.5f)));
    return scene;
}

void PrintMesh(const MeshReport& mesh) {
    fmt::print("mesh       {} triangles, {}\n", mesh.triangles, mesh.is_closed ? "closed" : "open");
    if (mesh.broken_faces + mesh.without_area > 0)
        fmt::print("left out   {} broken faces, {} without area\n", mesh.broken_faces,
                   mesh.without_area);
    if (mesh.complaints > 0)
        fmt::print("importer   {} mended, first: {}\n", mesh.complaints,
                   Printable(mesh.first_complaint));
}

/// The summary on standard output, with figures in columns.
void PrintSummary(const Options& options, const BakeTotals& totals, const DriverImage& image,
                  const std::string& file) {
    fmt::print("delivered  {} grids, {} samples\n", totals.grids, totals.samples);
    fmt::print("repeats    {} grids, {} samples of these\n", totals.repeated_grids,
               totals.repeated_samples);
    fmt::print("shading    {:.2f} s in {} threads\n", totals.shading_seconds, options.threads);
    fmt::print("driver     {:.2f} s\n", image.Seconds());
    fmt::print("output     {}, {}\n", Printable(options.output), file);
}

/// Loads the driver first and opens the image before the shading, so that their faults appear
/// before the long part begins.
void Run(const Options& options) {
    const Camera camera(options.width, options.height);
    const DriverLibrary library(options.driver);
    const Dicing dicing = {2.0f / static_cast<float>(options.density), options.grid};
    MeshReport mesh;
    const Scene scene = MakeScene(options, dicing, &mesh);
    const RayTracer tracer(scene);
    const Shader shader(scene, tracer, options.quality);
    const std::vector<Delivery> plan = PlanDeliveries(scene, camera, options.threads);

    // The driver reads the environment when it opens an image.
    if (options.ascii && setenv("LUMR_ASCIIPOINTCLOUD", "1", 1) != 0)
        throw Failure("cannot set LUMR_ASCIIPOINTCLOUD");
    ImageRequest request(camera, options.settings);
    Tally tally(dicing.size);
    DriverImage image(library, options.output, request, tally);
    BakeTotals totals;
    {  // the bar is removed before anything else is printed
        Progress progress(CountSamples(plan), !options.quiet);
        totals = Bake(scene, shader, plan, options.threads, &image, &progress);
    }
    image.Close();
    const std::string file = RequireOutcome(options.output, tally, options.settings);
    if (options.quiet) return;
    if (!options.mesh.empty()) PrintMesh(mesh);
    PrintSummary(options, totals, image, file);
}

int RunCommandLine(int argc, char** argv) {
    Options options;
    const std::optional<int> status = ParseOptions(argc, argv, &options);
    if (!status) Run(options);
    // If standard output is a file on a full disk, only the last write fails.
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
