// ErrorLaw: how the error of rays falls with their number, error = factor * rays^-power.
//
// Errors     none.
// Threads    any.

#pragma once

#include <cmath>
#include <vector>

namespace accuracy {

/// The error that was measured with a number of rays.
struct MeasuredError {
    int rays;
    double error;
};

struct ErrorLaw {
    double factor = 0;
    double power = 0;

    double RaysFor(double error) const { return std::pow(factor / error, 1 / power); }
};

/// The straight line through the logarithms, by least squares. Caller: has at least two numbers of
/// rays, with errors above 0.
inline ErrorLaw LawOf(const std::vector<MeasuredError>& measured) {
    double x = 0, y = 0, xx = 0, xy = 0;
    for (const MeasuredError& one : measured) {
        const double rays = std::log(one.rays);
        const double error = std::log(one.error);
        x += rays;
        y += error;
        xx += rays * rays;
        xy += rays * error;
    }
    const auto count = static_cast<double>(measured.size());
    const double slope = (count * xy - x * y) / (count * xx - x * x);
    return {std::exp((y - slope * x) / count), -slope};
}

}  // namespace accuracy
