// The second render as its user meets it: pictures, comparisons, messages.

#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "tests/tools/run_tool.h"
#include "tools/picture/picture_file.h"

namespace {

/// A folder with a small baked room, plain and organised, which all tests share.
class Render : public testing::Test {
protected:
    static void SetUpTestSuite() {
        folder_ = new ToolFolder;
        const ToolRun run =
            folder_->Shell(BAKE " --output room.ptc --density 64 --rays 64 && " PTC
                                " organize room.ptc -o lit.ptc --light --color _reflected");
        ASSERT_EQ(run.status, 0) << run.err;
    }
    static void TearDownTestSuite() {
        delete folder_;
        folder_ = nullptr;
    }

    static const ToolFolder& Folder() { return *folder_; }

    static ToolRun Draw(const std::string& arguments) {
        ToolRun run = Folder().Run("--size 32x24 --samples 4 --quiet " + arguments);
        EXPECT_EQ(run.status, 0) << arguments << ": " << run.err;
        return run;
    }

    /// Of the files that this build writes; those without loss are the last.
    static std::vector<std::string> Extensions() {
        if (HasPictureForm(PictureForm::kExr)) return {".png", ".exr"};
        return {".png"};
    }

private:
    inline static const ToolFolder* folder_ = nullptr;
};

TEST_F(Render, MakesTheSameBytesWithAnyNumberOfThreads) {
    const char* const modes[] = {
        "--light direct",
        "--light radiosity --cloud room.ptc",
        "--light occlusion --cloud lit.ptc",
        "--light indirect --cloud lit.ptc",
        "--light subsurface --cloud lit.ptc",
        "--light indirect --truth --rays 4",
    };
    for (const std::string mode : modes) {
        const std::string extension = mode == modes[0] ? Extensions().back() : ".png";
        Draw(mode + " --size 16x12 --threads 1 -o one" + extension);
        Draw(mode + " --size 16x12 --threads 3 -o three" + extension);
        EXPECT_EQ(Folder().Content("one" + extension), Folder().Content("three" + extension))
            << mode;
    }
}

TEST_F(Render, StoresWhatItComparesWith) {
    for (const std::string& extension : Extensions()) {
        const std::string name = "stored" + extension;
        Draw("--cloud room.ptc -o " + name);
        const ToolRun same = Draw("--cloud room.ptc -o again.png --compare " + name +
                                  " --difference difference" + extension);
        EXPECT_EQ(same.out,
                  "error      mean 0, root mean square 0, largest 0 at pixel 0,0\n"
                  "bias       0, from " +
                      name + "\n");
        const LinearPicture difference =
            ReadPicture(Folder().Path("difference" + extension), 32, 24);
        for (const LinearRgb& pixel : difference.Pixels())
            EXPECT_EQ(pixel.r + pixel.g + pixel.b, 0);

        const LinearPicture picture = ReadPicture(Folder().Path(name), 32, 24);
        const LinearRgb left = picture.At(6, 12), right = picture.At(26, 12);
        EXPECT_GT(left.r, 2 * left.g) << "the red wall is at the left";
        EXPECT_GT(right.g, 2 * right.r) << "the green one at the right";
        EXPECT_GE(picture.At(16, 3).r, 1) << "the lamp is above";
    }
}

TEST_F(Render, AgreesWithTracedRays) {
    const struct {
        const char* light;
        const char* cloud;
        double bound;  ///< of the root mean square error, of a picture that reaches up to 19
    } modes[] = {
        {"radiosity", "room.ptc --variable _reflected", 0.008},
        {"occlusion", "lit.ptc", 0.014},
        {"indirect", "lit.ptc", 0.009},
    };
    for (const auto& [light, cloud, bound] : modes) {
        const std::string mode = std::string("--light ") + light;
        const std::string truth = std::string("truth") + Extensions().back();
        Draw(mode + " --truth --rays 128 -o " + truth);
        const ToolRun run = Draw(mode + " --cloud " + cloud + " -o a.png --compare " + truth);
        const std::string_view mark = "root mean square ";
        const std::size_t at = run.out.find(mark);
        ASSERT_NE(at, run.out.npos);
        const double error = std::atof(run.out.c_str() + at + mark.size());
        EXPECT_LT(error, bound) << light;
        EXPECT_GT(error, 0) << light << ": both are not the same picture";
    }
}

TEST_F(Render, SaysWhatFailedOrIsWrongUsage) {
    Draw("--light direct -o stored.png");
    Folder().Write("cut.png", Folder().Content("stored.png").substr(0, 200));
    Folder().Write("not.png", "a text");
    Folder().Write("not.ptc", "a text");
    ASSERT_EQ(Folder().Shell(PTC " edit room.ptc -o poor.ptc --keep _area").status, 0);
    ASSERT_EQ(Folder().Shell(PTC " organize poor.ptc -o dark.ptc --light").status, 0);
    std::filesystem::create_symlink("/dev/full", Folder().Path("full.png"));
    setenv("OPTIONS", "--size 32x24 --samples 1 --quiet", 1);
    const std::set<std::string> before = Folder().Names();
    Folder().ExpectTranscript("render_failures.txt",
                              [&] { EXPECT_EQ(Folder().Names(), before) << "no picture appears"; });
}

TEST_F(Render, ReportsOpenExrFilesThatItCannotUse) {
    if (!HasPictureForm(PictureForm::kExr)) {
        const ToolRun run = Folder().Run("--light direct -o a.exr");
        EXPECT_EQ(run.err, std::string("pcrender: a.exr: ") + kNoExr + "\n");
        return;
    }
    Draw("--light direct -o whole.exr");
    const std::string whole = Folder().Content("whole.exr");
    for (std::size_t length = 0; length < whole.size(); length += whole.size() / 16 + 1) {
        Folder().Write("cut.exr", whole.substr(0, length));
        const ToolRun run =
            Folder().Run("--size 32x24 --samples 1 --light direct -o a.png --compare cut.exr");
        EXPECT_EQ(run.status, 1) << length;
        EXPECT_TRUE(run.err.starts_with("pcrender: cut.exr: is not a whole OpenEXR file"))
            << run.err;
    }
    const ToolRun run = Folder().Run("--size 8x8 --light direct -o a.png --compare whole.exr");
    EXPECT_EQ(run.err, "pcrender: whole.exr: is 32x24 pixels, not 8x8\n");
}

}  // namespace
