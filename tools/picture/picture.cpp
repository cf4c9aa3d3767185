// Picture: its pixels.

#include "tools/picture/picture.h"

#include <algorithm>

Picture::Picture(int width, int height, Rgb fill)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), fill) {}

void Picture::Fill(const Rectangle& area, Rgb colour) {
    const int last_x = std::min(area.x + area.width, width_);
    const int last_y = std::min(area.y + area.height, height_);
    for (int y = std::max(area.y, 0); y < last_y; ++y)
        for (int x = std::max(area.x, 0); x < last_x; ++x) Set(x, y, colour);
}
