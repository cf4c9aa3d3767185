// DipoleTable: its steps, and means over discs anywhere.

#include "light/dipole_table.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

namespace {

using std::numbers::pi;

/// Points of a rule for a half-turn: the cosines of (k + 1/2) pi / 16.
constexpr double kCosines[] = {
    0.99518472667219693,   0.95694033573220882,  0.88192126434835505,  0.77301045336273699,
    0.63439328416364549,   0.47139673682599764,  0.29028467725446233,  0.098017140329560604,
    -0.098017140329560604, -0.29028467725446233, -0.47139673682599764, -0.63439328416364549,
    -0.77301045336273699,  -0.88192126434835505, -0.95694033573220882, -0.99518472667219693};

void Add(DipoleTable::Colours* sum, const DipoleTable::Colours& values, double weight) {
    for (std::size_t i = 0; i < 3; ++i) (*sum)[i] += weight * values[i];
}

}  // namespace

void DipoleTable::Set(const PtcSubsurface& material) {
    std::array<float, 7> values{};
    std::copy_n(material.scattering, 3, values.begin());
    std::copy_n(material.absorption, 3, values.begin() + 3);
    values[6] = material.refraction;
    if (values == values_) return;
    values_ = {};  // in case memory runs out
    for (Table* const table : {&at_, &beyond_}) {
        table->steps.resize(kSteps);
        table->is_made.assign(kSteps, false);
    }
    for (std::size_t i = 0; i < 3; ++i)
        dipoles_[i] = Dipole(material.scattering[i], material.absorption[i], material.refraction);
    squared_depth_ = dipoles_[0].SquaredDepth();
    for (const Dipole& dipole : dipoles_)
        squared_depth_ = std::min(squared_depth_, dipole.SquaredDepth());
    scale_ = 1 / squared_depth_;
    values_ = values;
}

/// `begin`: the bits of r^2 / z^2 + 1 where the step begins.
DipoleTable::Step DipoleTable::Make(std::uint64_t begin, Formula formula) const {
    /// Where r^2 is so many halves of the step behind its begin.
    const auto at = [&](std::uint64_t halves) {
        constexpr int kHalfStep = 51 - kBits;
        const double value = std::bit_cast<double>(begin + (halves << kHalfStep));
        return (value - 1) * squared_depth_;
    };
    Step step;
    for (std::size_t i = 0; i < 3; ++i) {
        const double low = (dipoles_[i].*formula)(at(0));
        const double middle = (dipoles_[i].*formula)(at(1));
        const double high = (dipoles_[i].*formula)(at(2));
        step.a[i] = low;
        step.b[i] = 4 * middle - 3 * low - high;
        step.c[i] = 2 * (low + high) - 4 * middle;
    }
    return step;
}

/// The greatest s^2 of the colours of which a millionth or more gets from the disc to the place.
double DipoleTable::SquaredFalloff(const DiscFromPlace& disc) const {
    constexpr double kGone = 14;
    const double way =
        std::max(0.0, std::sqrt(disc.squared_distance) - std::sqrt(disc.squared_radius));
    double falloff = 0;
    for (const Dipole& dipole : dipoles_)
        if (dipole.Falloff() * way < kGone) falloff = std::max(falloff, dipole.Falloff());
    return falloff * falloff;
}

DipoleTable::Colours DipoleTable::Over(const DiscFromPlace& disc) {
    const double radius = disc.squared_radius;
    const double squared = disc.squared_distance;
    const double ratio = radius / (squared + squared_depth_);
    const double exponent = radius * SquaredFalloff(disc);
    constexpr double kPoint = 0.01;
    if (ratio <= kPoint && exponent <= 4 * kPoint) return At(squared);
    constexpr double kFar = 0.15;
    if (ratio > kFar || exponent > 1) return Integral(disc);

    // The rule of degree 5 for discs: the centre, and six points around it, of which those that
    // mirror each other are at the same distance from the place.
    const double flat = std::max(0.0, squared - disc.squared_height);
    const double around = squared + 2.0 / 3.0 * radius;
    const double aside = std::numbers::sqrt2 * std::sqrt(radius * flat);
    Colours sum{};
    for (const double place : {squared, around, std::max(0.0, around - aside), around + aside})
        Add(&sum, At(place), 0.25);
    return sum;
}

/// The integral as one along the disc's edge, of what its turn around the place covers,
///
///   integral over f from 0 to 2 pi of (B(h) - B(sqrt(r^2 + h^2))) / (2 pi) * a (a - q cos f) / r^2
///
/// with the radius a, the distance q along the plane and h above it, the angle f at the disc's
/// centre and r^2 = a^2 + q^2 - 2 a q cos f. It holds for places inside and outside of the disc.
/// Where these are close to the edge, B changes only near f = 0: its poles are at tan(f / 2) = i p,
/// with p^2 = ((a - q)^2 + z^2 + h^2) / ((a + q)^2 + z^2 + h^2). So the angles are spaced evenly in
/// g, with tan(f / 2) = k tan(g / 2): k^2 = p moves these poles as far away as those that it
/// brings.
DipoleTable::Colours DipoleTable::Integral(const DiscFromPlace& disc) {
    const double a = std::sqrt(disc.squared_radius);
    const double height = disc.squared_height;
    const double q = std::sqrt(std::max(0.0, disc.squared_distance - height));
    const double nearest = (a - q) * (a - q);
    const double depth = squared_depth_ + height;
    const double squared_k = std::sqrt((nearest + depth) / ((a + q) * (a + q) + depth));
    const double k = std::sqrt(squared_k);

    // Where the place is on the edge the difference of B is nothing but the table's error. There it
    // is pi r^2 R.
    const double squared_small = 2e-3 * depth;
    const Colours near = At(height);
    Colours sum{};
    double of_middle = 0;
    for (const double cosine : kCosines) {
        const double slow = 0.5 * (1 + cosine);
        const double fast = 0.5 * (1 - cosine) * squared_k;
        // 1 - cos f, which as a difference would lose its digits near the edge.
        const double turned = 2 * fast / (slow + fast);
        const double squared = nearest + 2 * a * q * turned;
        const double weight = a * (a - q + q * turned) * k / (slow + fast);
        if (squared < squared_small) {
            Add(&sum, near, pi * weight);
        } else {
            Add(&sum, Look(&beyond_, height + squared, &Dipole::Beyond), -weight / squared);
            of_middle += weight / squared;
        }
    }
    Add(&sum, Look(&beyond_, height, &Dipole::Beyond), of_middle);
    const double scale = 1 / (pi * disc.squared_radius * static_cast<double>(std::size(kCosines)));
    for (double& value : sum) value = std::max(0.0, value * scale);
    return sum;
}
