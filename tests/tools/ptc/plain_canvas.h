// PlainCanvas: what DiscCanvas draws, sample by sample and disc by disc.

#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "tools/ptc/view/discs.h"

namespace view {

class PlainCanvas {
public:
    PlainCanvas(int width, int height)
        : width_(width * kPixelSide),
          height_(height * kPixelSide),
          samples_(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_)) {}

    void Draw(const ViewCamera& camera, const Disc& disc, Rgb colour) {
        RasterDisc seen;
        if (!seen.See(camera, disc)) return;
        const double half_width = std::max(seen.half_width, kDotRadius);
        const double half_height = std::max(seen.half_height, kDotRadius);
        const double left = seen.x - half_width, right = seen.x + half_width;
        const double top = seen.y - half_height, bottom = seen.y + half_height;
        if (!(left < width_ && right > 0 && top < height_ && bottom > 0)) return;
        const bool is_dot = std::max(seen.half_width, seen.half_height) < kDotRadius;
        const int last_x = static_cast<int>(std::min(right, width_ - 1.0));
        const int last_y = static_cast<int>(std::min(bottom, height_ - 1.0));
        for (int y = static_cast<int>(std::max(top, 0.0)); y <= last_y; ++y)
            for (int x = static_cast<int>(std::max(left, 0.0)); x <= last_x; ++x) {
                const double dx = x + 0.5 - seen.x, dy = y + 0.5 - seen.y;
                double nearness = seen.c_near / seen.cw;
                if (is_dot ? dx * dx + dy * dy <= kDotRadius * kDotRadius
                           : IsOnFace(seen, dx, dy, &nearness))
                    Cover(x, y, static_cast<float>(nearness), colour);
            }
    }

    void PutOnto(Picture* picture, const Srgb& srgb) const {
        for (int y = 0; y < height_ / kPixelSide; ++y)
            for (int x = 0; x < width_ / kPixelSide; ++x) {
                LinearRgb sum;
                for (int i = 0; i < kPixelSide * kPixelSide; ++i) {
                    const Sample& sample = samples_[Index(x * kPixelSide + i % kPixelSide,
                                                          y * kPixelSide + i / kPixelSide)];
                    const bool is_covered = sample.nearness > kNowhere;
                    const LinearRgb light =
                        srgb.Decode(is_covered ? sample.colour : picture->At(x, y));
                    sum = {sum.r + light.r, sum.g + light.g, sum.b + light.b};
                }
                constexpr float kShare = 1.0f / (kPixelSide * kPixelSide);
                picture->Set(
                    x, y, srgb.Encode(LinearRgb{sum.r * kShare, sum.g * kShare, sum.b * kShare}));
            }
    }

private:
    static constexpr float kNowhere = -std::numeric_limits<float>::infinity();

    struct Sample {
        float nearness = kNowhere;
        Rgb colour;
    };

    static bool IsOnFace(const RasterDisc& disc, double dx, double dy, double* nearness) {
        const double scale = 1 / (disc.ax * disc.by - disc.ay * disc.bx);
        const double u = (dx * disc.by - dy * disc.bx) * scale;
        const double v = (dy * disc.ax - dx * disc.ay) * scale;
        const double t = (1 - disc.aw * u - disc.bw * v) / disc.cw;
        const double square = u * u + v * v;
        *nearness =
            disc.a_near * u + disc.b_near * v + disc.c_near * t - disc.bend * square / (t * t);
        return t > 0 && square <= t * t;
    }

    void Cover(int x, int y, float nearness, Rgb colour) {
        Sample& sample = samples_[Index(x, y)];
        if (nearness > sample.nearness) sample = {nearness, colour};
    }

    std::size_t Index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
               static_cast<std::size_t>(x);
    }

    int width_, height_;
    std::vector<Sample> samples_;
};

}  // namespace view
