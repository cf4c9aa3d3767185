// Lettering: text in a picture, in letters of 5 by 7 dots.
//
// Units      pixels; a dot is a square of `scale` pixels.
// Errors     none; a byte that is no printable ASCII character shows as a question mark.
// Threads    any.

#pragma once

#include <string_view>

#include "tools/picture/picture.h"

namespace view {

inline constexpr int kLetterHeight = 7;   ///< dots
inline constexpr int kLetterAdvance = 6;  ///< dots from one letter to the next

/// Pixels across, without the gap behind the last letter.
int TextWidth(std::string_view text, int scale);

/// Draws `text` with its upper left corner at (`x`, `y`).
void DrawText(std::string_view text, int x, int y, int scale, Rgb colour, Picture* picture);

}  // namespace view
