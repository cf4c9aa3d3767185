// DiscCanvas: its samples, the choice between discs and dots, and the picture made of them.

#include "tools/ptc/view/discs.h"

#include <algorithm>
#include <limits>

namespace view {

namespace {

/// Of a sample that no disc covers.
constexpr float kNowhere = -std::numeric_limits<float>::infinity();

std::uint32_t Packed(Rgb colour) {
    return colour.r | std::uint32_t{colour.g} << 8 | std::uint32_t{colour.b} << 16;
}

Rgb Unpacked(std::uint32_t colour) {
    return {static_cast<std::uint8_t>(colour & 0xFF), static_cast<std::uint8_t>(colour >> 8 & 0xFF),
            static_cast<std::uint8_t>(colour >> 16 & 0xFF)};
}

}  // namespace

DiscCanvas::DiscCanvas(int width, int height)
    : width_(width * kSide),
      height_(height * kSide),
      nearness_(Index(0, height_), kNowhere),
      colours_(nearness_.size()) {}

/// The box of samples around the disc, or around a dot in its place. False: none is on the canvas.
bool DiscCanvas::Clip(const RasterDisc& disc, Box* box) const {
    const double half_width = std::max(disc.half_width, kDotRadius);
    const double half_height = std::max(disc.half_height, kDotRadius);
    const double left = disc.x - half_width, right = disc.x + half_width;
    const double top = disc.y - half_height, bottom = disc.y + half_height;
    // Written so that a NaN is outside.
    if (!(left < width_ && right > 0 && top < height_ && bottom > 0)) return false;
    *box = {static_cast<int>(std::max(left, 0.0)), static_cast<int>(std::max(top, 0.0)),
            static_cast<int>(std::min(right, width_ - 1.0)),
            static_cast<int>(std::min(bottom, height_ - 1.0))};
    return true;
}

/// Of equally near ones the first stays, so that the file's order settles what nothing else does.
void DiscCanvas::Cover(int x, int y, double nearness, std::uint32_t colour) {
    const std::size_t sample = Index(x, y);
    const auto rounded = static_cast<float>(nearness);
    if (!(rounded > nearness_[sample])) return;
    nearness_[sample] = rounded;
    colours_[sample] = colour;
}

void DiscCanvas::DrawClipped(const RasterDisc& disc, const Box& box, std::uint32_t colour) {
    if (std::max(disc.half_width, disc.half_height) < kDotRadius) {
        DrawDot(disc, box, colour);
    } else {
        DrawFace(disc, box, colour);
    }
}

void DiscCanvas::Draw(const ViewCamera& camera, const Disc& disc, Rgb colour) {
    RasterDisc raster;
    Box box;
    if (raster.See(camera, disc) && Clip(raster, &box)) DrawClipped(raster, box, Packed(colour));
}

void DiscCanvas::DrawAll(const ViewCamera& camera, DiscBatch* batch, const Looks& looks) {
    batch->Project(camera, DotLimit(camera, width_, height_), width_, height_);
    RasterDisc raster;
    Box box;
    Rgb colour;
    DotCover cover;
    for (std::size_t i = 0; i < batch->Count(); ++i) {
        Fetch(*batch, i + kAhead);
        const std::size_t tag = batch->Tag(i);
        switch (batch->Kind(i)) {
            case DiscKind::kNothing:
                break;
            case DiscKind::kDot:
                if (FindCover(batch->RasterX(i), batch->RasterY(i), batch->Nearness(i), &cover) &&
                    looks.colour(tag, &colour))
                    PutDot(cover, batch->Nearness(i), Packed(colour));
                break;
            case DiscKind::kOther:
                if (raster.See(camera, {batch->Centre(i), looks.normal(tag), batch->Radius(i)}) &&
                    Clip(raster, &box) && looks.colour(tag, &colour))
                    DrawClipped(raster, box, Packed(colour));
                break;
        }
    }
}

/// A lens adds up light. The mean of the screen's bytes would make edges look too dark.
LinearRgb DiscCanvas::MeanLight(int x, int y, const LinearRgb& behind, const Srgb& srgb) const {
    LinearRgb sum;
    for (int row = y * kSide; row < (y + 1) * kSide; ++row) {
        const std::size_t first = Index(x * kSide, row);
        for (std::size_t sample = first; sample < first + kSide; ++sample) {
            const bool is_covered = nearness_[sample] > kNowhere;
            const LinearRgb light = is_covered ? srgb.Decode(Unpacked(colours_[sample])) : behind;
            sum = {sum.r + light.r, sum.g + light.g, sum.b + light.b};
        }
    }
    constexpr float kShare = 1.0f / (kSide * kSide);
    return {sum.r * kShare, sum.g * kShare, sum.b * kShare};
}

void DiscCanvas::PutOnto(Picture* picture, const Srgb& srgb) const {
    const int last_x = std::min(picture->Width(), width_ / kSide);
    const int last_y = std::min(picture->Height(), height_ / kSide);
    for (int y = 0; y < last_y; ++y)
        for (int x = 0; x < last_x; ++x) {
            const LinearRgb behind = srgb.Decode(picture->At(x, y));
            picture->Set(x, y, srgb.Encode(MeanLight(x, y, behind, srgb)));
        }
}

}  // namespace view
