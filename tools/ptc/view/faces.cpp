// DiscCanvas: faces of discs, four samples of a row at a time.

#include <cmath>
#include <limits>

#include "tools/ptc/view/discs.h"

namespace view {

namespace {

/// What a disc makes of samples of one row, from their distances to its centre.
class Row {
public:
    Row(const RasterDisc& disc, int y)
        : disc_(disc),
          // Infinite for a disc seen on edge, which covers nothing.
          scale_(1 / (disc.ax * disc.by - disc.ay * disc.bx)),
          dy_(y + 0.5 - disc.y) {}

    /// `Number`: double, or a vector of them, whose comparisons are masks.
    template <class Number>
    struct Samples {
        Number u, v, t, square;
    };

    template <class Number>
    Samples<Number> At(const Number& dx) const {
        const Number u = (dx * disc_.by - dy_ * disc_.bx) * scale_;
        const Number v = (dy_ * disc_.ax - dx * disc_.ay) * scale_;
        return {u, v, (1 - disc_.aw * u - disc_.bw * v) / disc_.cw, u * u + v * v};
    }

    /// Whether the disc covers them.
    static bool Covers(const Samples<double>& at) { return at.t > 0 && at.square <= at.t * at.t; }
    static lanes::Mask Covers(const Samples<lanes::Two>& left, const Samples<lanes::Two>& right) {
        return lanes::Narrow(left.t > 0, right.t > 0) &
               lanes::Narrow(left.square <= left.t * left.t, right.square <= right.t * right.t);
    }

    /// How near it is where it does.
    template <class Number>
    Number Nearness(const Samples<Number>& at) const {
        const Number on_plane = disc_.a_near * at.u + disc_.b_near * at.v + disc_.c_near * at.t;
        return on_plane - disc_.bend * at.square / (at.t * at.t);
    }

private:
    const RasterDisc& disc_;
    const double scale_;
    const double dy_;
};

/// No sample of the disc is nearer: t is at most one over the depth of the disc's nearest point.
/// Infinite where the disc's own slope counts, which is without perspective.
float MostNearness(const RasterDisc& disc) {
    constexpr float kAny = std::numeric_limits<float>::infinity();
    if (disc.a_near != 0 || disc.b_near != 0 || !(disc.c_near > 0)) return kAny;
    // Far more than rounding, here and in Row, can add.
    constexpr double kSlack = 1 + 1e-6;
    const double reach = std::sqrt(disc.aw * disc.aw + disc.bw * disc.bw);
    return static_cast<float>(disc.c_near / (disc.cw - reach) * kSlack);
}

}  // namespace

void DiscCanvas::DrawFace(const RasterDisc& disc, const Box& box, std::uint32_t colour) {
    using namespace lanes;
    const float most = MostNearness(disc);
    for (int y = box.y0; y <= box.y1; ++y) {
        const Row row(disc, y);
        int x = box.x0;
        for (; x <= box.x1 && x + 4 <= width_; x += 4) {
            const std::size_t sample = Index(x, y);
            const Four there = Load<Four>(&nearness_[sample]);
            if (!IsAny(there < most)) continue;
            const auto left = row.At(Two{x + 0.5, x + 1.5} - disc.x);
            const auto right = row.At(Two{x + 2.5, x + 3.5} - disc.x);
            const Mask covered =
                Row::Covers(left, right) & (Mask{x, x + 1, x + 2, x + 3} <= box.x1);
            if (!IsAny(covered)) continue;
            const Four nearness = Rounded(row.Nearness(left), row.Nearness(right));
            const Mask seen = covered & (nearness > there);
            if (IsAny(seen)) Put(sample, seen, nearness, colour);
        }
        for (; x <= box.x1; ++x) {
            const auto at = row.At(x + 0.5 - disc.x);
            if (Row::Covers(at)) Cover(x, y, row.Nearness(at), colour);
        }
    }
}

}  // namespace view
