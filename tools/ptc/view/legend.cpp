// The legend: its parts from the top: a gap, the name, the bar, the numbers, a gap.

#include "tools/ptc/view/legend.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/ptc/view/colour_map.h"
#include "tools/ptc/view/lettering.h"

namespace view {

namespace {

// In dots of the lettering.
constexpr int kGap = 4;  ///< above, below and between
constexpr int kBarHeight = 8;
constexpr int kTickHeight = 2;
constexpr int kNameTop = kGap;
constexpr int kBarTop = kNameTop + kLetterHeight + kGap;
constexpr int kNumbersTop = kBarTop + kBarHeight + kTickHeight + 2;
constexpr int kHeight = kNumbersTop + kLetterHeight + kGap;
constexpr int kSide = 2 * kGap;  ///< between the bar's ends and the picture's

/// A number in as few letters as distinguish it from its neighbours.
std::string NumberText(double value, const ValueRange& range) {
    // A value that is tiny beside the range is the rounding of a tick's place.
    const double step = (range.high - range.low) * 1e-9;
    return fmt::format("{:.4g}", value > -step && value < step ? 0.0 : value);
}

/// The text at tick `tick` of `ticks`, counted from the low end.
std::string TickText(int tick, int ticks, const ValueRange& range) {
    const double share = static_cast<double>(tick) / (ticks - 1);
    return NumberText(range.low * (1 - share) + range.high * share, range);
}

/// As many numbers as fit side by side with a gap between them; at least both ends.
int TickCount(const ValueRange& range, int bar_width, int scale) {
    for (const int ticks : {5, 3}) {
        int widest = 0;
        for (int tick = 0; tick < ticks; ++tick)
            widest = std::max(widest, TextWidth(TickText(tick, ticks, range), scale));
        if ((widest + 2 * kGap * scale) * (ticks - 1) <= bar_width) return ticks;
    }
    return 2;
}

}  // namespace

int LegendScale(int picture_width) {
    return std::clamp(picture_width / 400, 1, 16);
}

int LegendHeight(int picture_width) {
    return kHeight * LegendScale(picture_width);
}

void DrawLegend(const std::string& name, const ValueRange& range, Rgb ink, Picture* picture) {
    const int scale = LegendScale(picture->Width());
    const int top = picture->Height() - LegendHeight(picture->Width());
    const Rectangle bar = {kSide * scale, top + kBarTop * scale,
                           std::max(picture->Width() - 2 * kSide * scale, 2), kBarHeight * scale};

    DrawText(name, bar.x, top + kNameTop * scale, scale, ink, picture);
    for (int i = 0; i < bar.width; ++i)
        picture->Fill({bar.x + i, bar.y, 1, bar.height},
                      MapColour(static_cast<double>(i) / (bar.width - 1)));

    const int ticks = TickCount(range, bar.width, scale);
    for (int tick = 0; tick < ticks; ++tick) {
        const int x = bar.x + (bar.width - scale) * tick / (ticks - 1);
        picture->Fill({x, bar.y + bar.height, scale, kTickHeight * scale}, ink);
        const std::string text = TickText(tick, ticks, range);
        const int width = TextWidth(text, scale);
        // The outer numbers end with the bar, so that none is cut off.
        const int left =
            std::clamp(x - (width - scale) / 2, bar.x, std::max(bar.x, bar.x + bar.width - width));
        DrawText(text, left, top + kNumbersTop * scale, scale, ink, picture);
    }
}

}  // namespace view
