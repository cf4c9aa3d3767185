// pcrender: the second render, which uses what the first one has baked.

#include <fmt/format.h>

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "tools/clouds/open_through_caches.h"
#include "tools/common/failure.h"
#include "tools/common/reporter.h"
#include "tools/common/standard_streams.h"
#include "tools/common/stopwatch.h"
#include "tools/picture/picture_file.h"
#include "tools/render/comparison.h"
#include "tools/render/options.h"
#include "tools/render/render.h"
#include "util/text/printable_text.h"

namespace render {

namespace {

/// A picture file to be. Whether it can be written is found before the long part begins.
class PictureOutput {
public:
    explicit PictureOutput(const std::string& name)
        : form_(*PictureFormOf(name)), file_(Checked(name, form_)) {}

    PictureForm Form() const { return form_; }
    void Write(const LinearPicture& picture) { WritePicture(picture, form_, &file_); }
    void Commit() { file_.Commit(); }

private:
    static const std::string& Checked(const std::string& name, PictureForm form) {
        if (!HasPictureForm(form)) throw Failure(name + ": " + kNoExr);
        return name;
    }

    const PictureForm form_;
    OutputFile file_;
};

/// The picture to compare with, and where the differences go.
struct Comparing {
    explicit Comparing(const Options& options)
        : other(ReadPicture(options.compare, options.scene.width, options.scene.height)) {
        if (!options.difference.empty()) output.emplace(options.difference);
    }

    LinearPicture other;
    std::optional<PictureOutput> output;
};

void PrintSummary(const Options& options, const Lighting& lighting, double seconds) {
    fmt::print("picture    {}, {}x{}, {} samples a pixel\n", Printable(options.output),
               options.scene.width, options.scene.height, options.samples);
    fmt::print("time       {:.2f} s in {} threads\n", seconds, options.threads);
    if (lighting.Holes() > 0)
        fmt::print("holes      {} samples had no points near them; they are black\n",
                   lighting.Holes());
}

std::unique_ptr<Lighting> MakeLighting(const Options& options, const scene::Scene& scene,
                                       const scene::Shader& shader) {
    if (options.clouds.empty()) return MakeRayLighting(options, shader);
    return MakeCloudLighting(options, scene, shader);
}

void Run(const Options& options, Reporter& reporter) {
    PictureOutput output(options.output);
    std::optional<Comparing> comparing;
    if (!options.compare.empty()) comparing.emplace(options);

    // Reading a mesh makes a process, so it comes before anything that makes threads.
    scene::MeshReport mesh;
    const scene::Scene scene = scene::MakeScene(options.scene, &mesh);
    reporter.Start();
    const scene::RayTracer tracer(scene);
    const scene::Shader shader(scene, tracer, {options.rays, true});
    const scene::Camera camera(options.scene.width, options.scene.height);
    PtcConfigure(options.threads, 0, 0, nullptr);
    const LibraryShutdown at_end;

    const Stopwatch watch;
    const std::unique_ptr<Lighting> lighting = MakeLighting(options, scene, shader);
    std::optional<LinearPicture> picture;
    {  // the bar is removed before anything else is printed
        Progress progress(static_cast<std::uint64_t>(options.scene.height), !options.quiet);
        picture = Render({camera, tracer, *lighting}, options.samples, options.threads, &progress);
    }
    const double seconds = watch.Seconds();
    reporter.Add("holes", static_cast<std::int64_t>(lighting->Holes()));

    output.Write(*picture);
    std::string errors;
    if (comparing) {
        // A picture of bytes is compared with the bytes that this one would have.
        const LinearPicture stored = AsStored(*picture, *PictureFormOf(options.compare));
        LinearPicture difference(picture->Width(), picture->Height());
        errors = Text(Compare(stored, comparing->other, &difference), options.compare);
        if (comparing->output) comparing->output->Write(difference);
    }
    if (!options.quiet && !options.scene.mesh.empty()) scene::PrintMesh(mesh);
    if (!options.quiet) PrintSummary(options, *lighting, seconds);
    WriteOut(errors);
    // If standard output takes nothing, the pictures do not appear.
    FlushOut();
    if (comparing && comparing->output) comparing->output->Commit();
    output.Commit();
}

int RunCommandLine(int argc, char** argv) {
    Options options;
    const std::optional<int> status = ParseOptions(argc, argv, &options);
    if (!status)
        RunReported({"pcrender", "pcrender", options.output, options.monitor, options.quiet},
                    [&](Reporter& reporter) { Run(options, reporter); });
    FlushOut();
    return status.value_or(0);
}

}  // namespace

}  // namespace render

int main(int argc, char** argv) {
    if (!HoldStandardDescriptors()) return 1;
    try {
        return render::RunCommandLine(argc, argv);
    } catch (const std::exception& failure) {
        TellFailure("pcrender", failure);
    }
    return 1;
}
