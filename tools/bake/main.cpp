// pcbake: a small renderer that bakes a scene through any display driver.

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <system_error>

#include "tools/bake/bake.h"
#include "tools/bake/camera.h"
#include "tools/bake/failure.h"
#include "tools/bake/options.h"
#include "tools/bake/particles.h"
#include "tools/bake/stopwatch.h"
#include "tools/common/standard_streams.h"

namespace bake {

namespace {

/// The room, what stands in it and the dust. The dust comes last: its grids' numbers do not move
/// the seeds of the others.
Scene MakeScene(const Options& options) {
    const Dicing dicing = {2.0f / static_cast<float>(options.density), options.grid};
    Scene scene = options.mesh.empty() ? MakeCornellBox(dicing)
                                       : MakeMeshScene({options.mesh, options.turn}, dicing);
    if (options.particles > 0)
        scene.Add(std::make_unique<Particles>(static_cast<std::uint32_t>(options.particles),
                                              dicing.size, scene.Light().At(0.5f, 0.5f)));
    return scene;
}

/// The size of the file that the driver was asked for, which must be there by now.
std::string FileSize(const std::string& file) {
    struct stat status;
    if (stat(file.c_str(), &status) != 0)
        throw Failure(fmt::format("the driver made no file {}: {}", file,
                                  std::generic_category().message(errno)));
    if (!S_ISREG(status.st_mode)) return "not a regular file";
    return fmt::format("{} bytes", status.st_size);
}

/// The last word on standard output; figures in columns.
void PrintSummary(const Options& options, const BakeTotals& totals, const DriverImage& image,
                  const std::string& size) {
    fmt::print("delivered  {} grids, {} samples\n", totals.grids, totals.samples);
    fmt::print("repeats    {} grids, {} samples of these\n", totals.repeated_grids,
               totals.repeated_samples);
    fmt::print("shading    {:.2f} s in {} threads\n", totals.shading_seconds, options.threads);
    fmt::print("driver     {:.2f} s\n", image.Seconds());
    fmt::print("output     {}, {}\n", options.output, size);
}

/// The driver is loaded first and the image opened before the shading: what is wrong with them
/// shows before the long part begins.
void Run(const Options& options) {
    const Camera camera(options.width, options.height);
    const DriverLibrary library(options.driver);
    const Scene scene = MakeScene(options);
    const RayTracer tracer(scene);
    const Shader shader(scene, tracer, options.quality);
    const std::vector<Delivery> plan = PlanDeliveries(scene, camera, options.threads);

    // The driver reads the environment when it opens an image.
    if (options.ascii && setenv("LUMR_ASCIIPOINTCLOUD", "1", 1) != 0)
        throw Failure("cannot set LUMR_ASCIIPOINTCLOUD");
    ImageRequest request(camera, options.settings);
    DriverImage image(library, options.output, request);
    BakeTotals totals;
    {  // the bar is gone before anything else is printed
        Progress progress(CountSamples(plan), !options.quiet);
        totals = Bake(scene, shader, plan, options.threads, &image, &progress);
    }
    image.Close();
    const std::string size = FileSize(options.output);
    if (!options.quiet) PrintSummary(options, totals, image, size);
}

}  // namespace

}  // namespace bake

int main(int argc, char** argv) {
    if (!HoldStandardDescriptors()) return 1;
    try {
        bake::Options options;
        if (const auto status = bake::ParseOptions(argc, argv, &options)) return *status;
        bake::Run(options);
        return 0;
    } catch (const std::exception& failure) {
        TellFailure("pcbake", failure);
    }
    return 1;
}
