// DiscCanvas: dots, a row of samples at a time.
//
// A sample is covered when the square of its distance from the dot's centre, rounded as DrawDot()
// rounds it, is not above that of the radius; four samples are compared and stored together.

#include "tools/ptc/view/discs.h"

namespace view {

namespace {

/// The corner of the square that holds all samples of a dot: less than two samples from the centre,
/// by a wide margin, are the middles of four at most.
int DotCorner(double centre) {
    return static_cast<int>(centre - 1.5);
}

}  // namespace

/// Asks for the samples of a dot, so that they are there when it is drawn. Without it points in no
/// order take twice the time.
void DiscCanvas::Fetch(const DiscBatch& batch, std::size_t i) const {
    if (i >= batch.Count() || batch.Kind(i) != DiscKind::kDot) return;
    std::size_t sample = Index(DotCorner(batch.RasterX(i)), DotCorner(batch.RasterY(i)));
    for (int row = 0; row < kDotSide; ++row, sample += static_cast<std::size_t>(width_)) {
        __builtin_prefetch(&nearness_[sample]);
        __builtin_prefetch(&colours_[sample]);
    }
}

/// False: the dot is hidden.
bool DiscCanvas::FindCover(double x, double y, float nearness, DotCover* cover) const {
    using namespace lanes;
    constexpr double kMost = kDotRadius * kDotRadius;
    const int x0 = DotCorner(x), y0 = DotCorner(y);
    const Two left = Two{x0 + 0.5, x0 + 1.5} - x, right = Two{x0 + 2.5, x0 + 3.5} - x;
    const Two left_square = left * left, right_square = right * right;
    std::size_t sample = cover->first = Index(x0, y0);
    Mask any{};
    for (int row = 0; row < kDotSide; ++row, sample += static_cast<std::size_t>(width_)) {
        const double dy = y0 + row + 0.5 - y;
        const Mask inside = Narrow(left_square + dy * dy <= kMost, right_square + dy * dy <= kMost);
        cover->rows[row] = inside & (Load<Four>(&nearness_[sample]) < nearness);
        any |= cover->rows[row];
    }
    return IsAny(any);
}

void DiscCanvas::PutDot(const DotCover& cover, float nearness, std::uint32_t colour) {
    std::size_t sample = cover.first;
    for (const lanes::Mask& mask : cover.rows) {
        Put(sample, mask, lanes::Four{} + nearness, colour);
        sample += static_cast<std::size_t>(width_);
    }
}

/// A round dot of fixed size, as near everywhere as the disc's centre.
void DiscCanvas::DrawDot(const RasterDisc& disc, const Box& box, std::uint32_t colour) {
    const double nearness = disc.c_near / disc.cw;
    if (HoldsDot(disc.x, disc.y, width_, height_)) {
        const auto rounded = static_cast<float>(nearness);
        DotCover cover;
        if (FindCover(disc.x, disc.y, rounded, &cover)) PutDot(cover, rounded, colour);
        return;
    }
    for (int y = box.y0; y <= box.y1; ++y) {
        for (int x = box.x0; x <= box.x1; ++x) {
            const double dx = x + 0.5 - disc.x;
            const double dy = y + 0.5 - disc.y;
            if (dx * dx + dy * dy <= kDotRadius * kDotRadius) Cover(x, y, nearness, colour);
        }
    }
}

}  // namespace view
