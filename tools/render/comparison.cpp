// Comparison: sums in the order of the pixels, in double precision.

#include "tools/render/comparison.h"

#include <fmt/format.h>

#include <cmath>

#include "util/text/printable_text.h"

namespace render {

Comparison Compare(const LinearPicture& picture, const LinearPicture& other,
                   LinearPicture* difference) {
    Comparison result;
    double sum = 0, absolute = 0, squares = 0;
    std::uint64_t count = 0;
    const auto compare = [&](float a, float b, int x, int y) {
        if (!std::isfinite(a) || !std::isfinite(b)) {
            ++result.strange;
            return 0.0f;
        }
        const double error = double{a} - double{b};
        ++count;
        sum += error;
        absolute += std::abs(error);
        squares += error * error;
        if (std::abs(error) > result.largest) {
            result.largest = std::abs(error);
            result.x = x;
            result.y = y;
        }
        return static_cast<float>(std::abs(error));
    };
    for (int y = 0; y < picture.Height(); ++y)
        for (int x = 0; x < picture.Width(); ++x) {
            const LinearRgb& a = picture.At(x, y);
            const LinearRgb& b = other.At(x, y);
            difference->At(x, y) = {compare(a.r, b.r, x, y), compare(a.g, b.g, x, y),
                                    compare(a.b, b.b, x, y)};
        }
    if (count == 0) return result;
    const auto values = static_cast<double>(count);
    result.mean = absolute / values;
    result.bias = sum / values;
    result.root_mean_square = std::sqrt(squares / values);
    return result;
}

std::string Text(const Comparison& comparison, const std::string& name) {
    std::string text = fmt::format(
        "error      mean {:.6g}, root mean square {:.6g}, largest {:.6g} at pixel {},{}\n"
        "bias       {:.6g}, from {}\n",
        comparison.mean, comparison.root_mean_square, comparison.largest, comparison.x,
        comparison.y, comparison.bias, Printable(name));
    if (comparison.strange > 0)
        text += fmt::format("left out   {} values that are not finite\n", comparison.strange);
    return text;
}

}  // namespace render
