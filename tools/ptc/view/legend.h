// The legend: the colour map as a bar with numbers, in a strip along a picture's lower edge.

#pragma once

#include <string>

#include "tools/picture/picture.h"

namespace view {

/// The values that the two ends of the colour map stand for.
struct ValueRange {
    double low = 0;
    double high = 1;

    /// Where `value` lies, 0 to 1 between the two ends.
    double Share(double value) const { return (value - low) / (high - low); }
};

/// How large letters and bar are drawn: how many pixels a dot of a letter takes.
int LegendScale(int picture_width);

/// Pixels that the strip takes of a picture `picture_width` wide.
int LegendHeight(int picture_width);

/// Draws the strip into the lowest LegendHeight() rows, which show the background: the name above
/// the bar, numbers below it. `ink`: of letters and frame.
void DrawLegend(const std::string& name, const ValueRange& range, Rgb ink, Picture* picture);

}  // namespace view
