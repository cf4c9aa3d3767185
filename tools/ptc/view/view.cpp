// `ptc view`: the steps from a file to a picture.

#include "tools/ptc/view/view.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "tools/clouds/foreign_file.h"
#include "tools/common/failure.h"
#include "tools/common/input_file.h"
#include "tools/common/output_file.h"
#include "tools/picture/picture_file.h"
#include "tools/picture/png_file.h"
#include "tools/ptc/point_pass.h"
#include "tools/ptc/quiet_open.h"
#include "tools/ptc/view/colouring.h"
#include "tools/ptc/view/discs.h"
#include "tools/ptc/view/file_camera.h"
#include "tools/ptc/view/value_sample.h"

namespace view {

namespace {

/// Pixels of a picture whose size is not given: the file's own resolution may be a thumbnail's.
constexpr int kLongerSide = 1024;

Vec3d PositionOf(const PointPiece& piece, std::size_t i) {
    const float* const position = piece.Position(i);
    return {position[0], position[1], position[2]};
}

/// What the first reading finds.
struct Survey {
    explicit Survey(const StoredHeader& cloud) : camera(cloud) {}

    Bounds box;
    std::uint64_t points = 0;  ///< that can be drawn
    FileCamera camera;
    ValueSample values;

    /// Includes the whole sphere, however its disc is turned. The header's box would not do: a
    /// point that is not finite spoils it, and it does not have the radii's scale.
    void Include(const Vec3d& p, double radius) {
        const Vec3d reach = {radius, radius, radius};
        const Vec3d low = p - reach, high = p + reach;
        if (points == 0) box = {low, high};
        box = {Least(box.low, low), Most(box.high, high)};
        ++points;
    }
};

/// One run of the command: what its steps share.
class Viewing {
public:
    Viewing(const ViewOptions& options, CloudReader& cloud, std::string name)
        : options_(options),
          cloud_(cloud),
          name_(std::move(name)),
          colouring_(MakeColouring()),
          pass_(cloud, name_),
          progress_(2 * static_cast<std::uint64_t>(cloud.point_count), true) {
        CheckColourOptions(options, colouring_);
        colouring_.SetExposure(options.exposure.value_or(0.0));
    }

    /// The whole picture; reads the points twice.
    Picture Draw() {
        Survey survey = Look();
        if (survey.points == 0) throw Failure(fmt::format("{}: no points to draw", name_));
        ChooseRange(&survey.values);

        const bool is_fitted = Fits(survey);
        const double aspect = is_fitted ? kUsualAspect : FrameAspect(cloud_);
        const PictureSize size = options_.size ? *options_.size : UsualSize(aspect);
        Picture picture(size.width, size.height, Background());
        const bool has_legend = HasLegend(size);
        const int height = size.height - (has_legend ? LegendHeight(size.width) : 0);

        Frame frame = {static_cast<double>(size.width) * DiscCanvas::kSide,
                       static_cast<double>(height) * DiscCanvas::kSide, aspect};
        // A fitted camera has no frame of its own and fills what there is.
        if (is_fitted) frame.aspect = frame.width / frame.height;
        const ViewCamera camera =
            is_fitted ? FittedCamera(survey.box, options_.direction.value_or(Direction()), frame)
                      : *CameraOfMatrix(cloud_.stored_world_to_ndc, frame);
        DrawPoints(camera, height, &picture);
        if (has_legend) DrawLegend(colouring_.Name(), colouring_.Range(), Ink(), &picture);
        return picture;
    }

private:
    Colouring MakeColouring() const {
        try {
            return Colouring(cloud_.point_variables, options_.variable);
        } catch (const Failure& failure) {
            throw Failure(fmt::format("{}: {}", name_, failure.what()));
        }
    }

    /// The first reading. Points without a value are passed over here as they are in drawing, so
    /// that they do not move the camera.
    Survey Look() {
        Survey survey(cloud_);
        pass_.Run(progress_, 0, [&](const PointPiece& piece) {
            for (std::size_t i = 0; i < piece.Count(); ++i) {
                double value = 0;
                if (!piece.IsDrawable(i)) continue;
                if (colouring_.IsMapped()) {
                    if (!colouring_.ValueOf(piece.Head(i, false), piece.Data(i), &value)) continue;
                    survey.values.Add(value);
                }
                const Vec3d position = PositionOf(piece, i);
                survey.Include(position, piece.Radius(i) * options_.point_scale);
                survey.camera.Look(position);
            }
        });
        return survey;
    }

    /// Sets the values at the ends of the colours.
    void ChooseRange(ValueSample* values) {
        if (options_.range) {
            colouring_.SetRange(*options_.range);
        } else if (colouring_.IsMapped()) {
            colouring_.SetRange(values->RobustRange());
        }
    }

    /// Whether the camera is fitted.
    bool Fits(const Survey& survey) const {
        if (options_.camera == CameraChoice::kFit || options_.direction) return true;
        if (options_.camera == CameraChoice::kAutomatic) return !survey.camera.Sees(survey.points);
        if (!survey.camera.IsThere())
            throw Failure(fmt::format("{}: has no camera of its own", name_));
        return false;
    }

    /// The frame, with the legend below it.
    PictureSize UsualSize(double aspect) const {
        const double longer = kLongerSide;
        const int width = static_cast<int>(std::lround(aspect >= 1 ? longer : longer * aspect));
        const int height = static_cast<int>(std::lround(aspect >= 1 ? longer / aspect : longer));
        return {width, height + (colouring_.IsMapped() ? LegendHeight(width) : 0)};
    }

    /// A legend takes at most a third of the picture.
    bool HasLegend(const PictureSize& size) const {
        return colouring_.IsMapped() && LegendHeight(size.width) <= size.height / 3;
    }

    /// What discs whose tags are the places of points in `piece` look like.
    DiscCanvas::Looks LooksOf(const PointPiece& piece, const Srgb& srgb) const {
        return {[&piece](std::size_t i) {
                    const auto [x, y, z] = piece.Head(i, true).normal;
                    return Vec3d{x, y, z};
                },
                [this, &piece, &srgb](std::size_t i, Rgb* colour) {
                    return colouring_.ColourOf(piece.Head(i, colouring_.ShowsNormal()),
                                               piece.Data(i), srgb, colour);
                }};
    }

    /// The second reading, into the picture's upper `height` rows.
    void DrawPoints(const ViewCamera& camera, int height, Picture* picture) {
        const Srgb srgb;
        DiscCanvas canvas(picture->Width(), height);
        const auto batch = std::make_unique<DiscBatch>();
        pass_.Run(progress_, static_cast<std::uint64_t>(cloud_.point_count),
                  [&](const PointPiece& piece) {
                      const DiscCanvas::Looks looks = LooksOf(piece, srgb);
                      for (std::size_t i = 0; i < piece.Count();) {
                          batch->Clear();
                          for (; i < piece.Count() && !batch->IsFull(); ++i)
                              if (piece.IsDrawable(i))
                                  batch->Add(PositionOf(piece, i),
                                             piece.Radius(i) * options_.point_scale,
                                             piece.Code(i) != kNoNormal, i);
                          canvas.DrawAll(camera, batch.get(), looks);
                      }
                  });
        canvas.PutOnto(picture, srgb);
    }

    Rgb Background() const { return options_.background.value_or(kUsualBackground); }

    /// Light or black, whichever is easier to read on the background.
    Rgb Ink() const {
        const LinearRgb light = Srgb().Decode(Background());
        constexpr float kMiddleGrey = 0.18f;  // half way for the eye, in light
        const float luminance = 0.2126f * light.r + 0.7152f * light.g + 0.0722f * light.b;
        return luminance < kMiddleGrey ? Rgb{0xE8, 0xE8, 0xE8} : Rgb{0, 0, 0};
    }

    const ViewOptions& options_;
    CloudReader& cloud_;
    const std::string name_;
    Colouring colouring_;
    PointPass pass_;
    Progress progress_;
};

}  // namespace

void CheckColourOptions(const ViewOptions& options, const Colouring& colouring) {
    const std::string& name = colouring.Name();
    if (options.exposure && colouring.IsMapped())
        throw WrongUsage("--exposure",
                         fmt::format("works with a color; {} goes through the colour map, which "
                                     "--range sets",
                                     name));
    if (colouring.IsMapped() || colouring.IsLight()) return;
    if (options.exposure)
        throw WrongUsage("--exposure", fmt::format("works with a color; {} is a direction", name));
    if (options.range)
        throw WrongUsage("--range",
                         fmt::format("works with a number or a color; {} is a direction", name));
}

std::unique_ptr<CloudReader> OpenToDraw(const InputFile& input) {
    std::string why;
    auto cloud = OpenQuietly(input, CountCheck::kStrict, &why);
    if (!cloud) throw Failure(fmt::format("{}: {}{}", input.Name(), why, ConvertHint(input)));
    return cloud;
}

Picture Draw(const InputFile& input, const ViewOptions& options) {
    const auto cloud = OpenToDraw(input);
    return Viewing(options, *cloud, input.Name()).Draw();
}

void View(const ViewOptions& options) {
    // What is wrong with the two files is found before the long part begins.
    OutputFile output(options.output);
    if (output.IsStandardOutput() && isatty(STDOUT_FILENO) == 1)
        throw Failure("standard output: a terminal shows no pictures");
    const Picture picture = Draw(InputFile(options.input), options);
    WriteThrough(&output, [&](std::FILE* stream) { WritePng(picture, stream); });
    output.Commit();
}

}  // namespace view
