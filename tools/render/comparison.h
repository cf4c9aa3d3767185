// Comparison: how far two pictures are from each other.

#pragma once

#include <cstdint>
#include <string>

#include "tools/picture/linear_picture.h"

namespace render {

/// Figures over all colours of all pixels, of linear values.
struct Comparison {
    double mean = 0;  ///< of the differences without their signs
    double bias = 0;  ///< of the differences, the first picture minus the second
    double root_mean_square = 0;
    double largest = 0;         ///< without its sign
    int x = 0, y = 0;           ///< the pixel that has it
    std::uint64_t strange = 0;  ///< values that are not finite in one picture, and left out
};

/// Fills `*difference` with the differences without their signs. The pictures are of one size.
Comparison Compare(const LinearPicture& picture, const LinearPicture& other,
                   LinearPicture* difference);

/// Lines for the user about the comparison with the file `name`.
std::string Text(const Comparison& comparison, const std::string& name);

}  // namespace render
