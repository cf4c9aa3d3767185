// LinearPicture: pixels as light, before a file's form makes bytes of them.
//
// Units      pixels, from the upper left corner; linear light, where 1 is a screen's white.
// Errors     none.
// Ownership  owns its pixels.
// Threads    any number of threads set different pixels at once.

#pragma once

#include <cstddef>
#include <vector>

#include "tools/picture/srgb.h"

class LinearPicture {
public:
    /// Black. Caller: both sides are at least 1.
    LinearPicture(int width, int height)
        : width_(width),
          height_(height),
          pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

    int Width() const { return width_; }
    int Height() const { return height_; }

    /// Caller: (`x`, `y`) lies in the picture.
    const LinearRgb& At(int x, int y) const { return pixels_[Index(x, y)]; }
    LinearRgb& At(int x, int y) { return pixels_[Index(x, y)]; }

    /// Row by row from the top, without gaps.
    const std::vector<LinearRgb>& Pixels() const { return pixels_; }
    std::vector<LinearRgb>& Pixels() { return pixels_; }

private:
    std::size_t Index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
               static_cast<std::size_t>(x);
    }

    int width_;
    int height_;
    std::vector<LinearRgb> pixels_;
};
