// Picture: pixels of three bytes, and drawing plain rectangles into them.
//
// Units      pixels, x to the right and y downwards from the upper left corner; colours as a screen
//            shows them (sRGB).
// Errors     none; what lies outside the picture is not drawn.
// Ownership  owns its pixels.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/picture/srgb.h"

struct Rectangle {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

class Picture {
public:
    /// Caller: both sides are at least 1.
    Picture(int width, int height, Rgb fill);

    int Width() const { return width_; }
    int Height() const { return height_; }

    /// Caller: (`x`, `y`) lies in the picture.
    Rgb At(int x, int y) const { return pixels_[Index(x, y)]; }
    void Set(int x, int y, Rgb colour) { pixels_[Index(x, y)] = colour; }

    /// The part of `area` that lies in the picture.
    void Fill(const Rectangle& area, Rgb colour);

    /// Row by row from the top, without gaps.
    const std::vector<Rgb>& Pixels() const { return pixels_; }

private:
    std::size_t Index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
               static_cast<std::size_t>(x);
    }

    int width_;
    int height_;
    std::vector<Rgb> pixels_;
};
