// Dipole: its formula, and its integral over discs anywhere.

#include "light/dipole.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <numbers>

#include "ptc/access/last_failure.h"
#include "util/math/exponential.h"

namespace {

using std::numbers::pi;

bool IsFrom0(float value) {
    return value >= 0 && std::isfinite(value);
}

/// b: how much farther away the image is because light is reflected at the surface from within.
double BoundaryOf(double refraction) {
    // The fit of the reflected part does not quite vanish where nothing is reflected.
    if (refraction == 1) return 1;
    const double reflected =
        -1.440 / (refraction * refraction) + 0.710 / refraction + 0.668 + 0.0636 * refraction;
    return (1 + reflected) / (1 - reflected);
}

/// The total divided by A, of a material whose s z_r is `falloff`.
double TotalOf(double falloff, double boundary) {
    return 0.5 * exponential::Exp(-falloff) *
           (1 + exponential::Exp(-4.0 / 3.0 * boundary * falloff));
}

/// Points of a rule for a half-turn: the cosines of (k + 1/2) pi / 16.
constexpr double kCosines[] = {
    0.99518472667219693,   0.95694033573220882,  0.88192126434835505,  0.77301045336273699,
    0.63439328416364549,   0.47139673682599764,  0.29028467725446233,  0.098017140329560604,
    -0.098017140329560604, -0.29028467725446233, -0.47139673682599764, -0.63439328416364549,
    -0.77301045336273699,  -0.88192126434835505, -0.95694033573220882, -0.99518472667219693};

}  // namespace

const char* WhyUnsound(const PtcSubsurface& material) {
    for (int i = 0; i < 3; ++i) {
        if (!IsFrom0(material.scattering[i])) return "the scattering is not a number from 0 on";
        if (!IsFrom0(material.absorption[i])) return "the absorption is not a number from 0 on";
        if (material.scattering[i] == 0 && material.absorption[i] == 0)
            return "the material neither scatters nor absorbs";
    }
    if (!(material.refraction >= 1 && material.refraction <= 3))
        return "the index of refraction is not from 1 to 3";
    if (!(material.solid_angle >= 0.001f && material.solid_angle <= 2))
        return "the solid angle is not from 0.001 to 2";
    return nullptr;
}

Dipole::Dipole(double scattering, double absorption, double refraction) {
    const double extinction = scattering + absorption;
    albedo_ = scattering / extinction;
    falloff_ = std::sqrt(3 * absorption * extinction);
    real_.depth = 1 / extinction;
    real_.squared_depth = real_.depth * real_.depth;
    image_.depth = real_.depth * (1 + 4.0 / 3.0 * BoundaryOf(refraction));
    image_.squared_depth = image_.depth * image_.depth;
}

double Dipole::Source::At(double squared_distance, double falloff) const {
    const double squared = squared_distance + squared_depth;
    const double distance = std::sqrt(squared);
    const double exponent = falloff * distance;
    return depth * (1 + exponent) * exponential::Exp(-exponent) / (squared * distance);
}

double Dipole::Source::Beyond(double squared_distance, double falloff) const {
    const double distance = std::sqrt(squared_distance + squared_depth);
    return depth / distance * exponential::Exp(-falloff * distance);
}

double Dipole::At(double squared_distance) const {
    return albedo_ / (4 * pi) *
           (real_.At(squared_distance, falloff_) + image_.At(squared_distance, falloff_));
}

double Dipole::Total() const {
    return 0.5 * albedo_ * (real_.Beyond(0, falloff_) + image_.Beyond(0, falloff_));
}

double Dipole::Over(const DiscFromPlace& disc) const {
    const double radius = disc.squared_radius;
    const double squared = disc.squared_distance;
    const double ratio = radius / (squared + real_.squared_depth);
    const double exponent = radius * falloff_ * falloff_;
    constexpr double kPoint = 0.01;
    if (ratio <= kPoint && exponent <= 4 * kPoint) return At(squared);
    constexpr double kFar = 0.15;
    if (ratio > kFar || exponent > 1) return Integral(disc) / (pi * radius);

    // The rule of degree 5 for discs: the centre, and six points around it, of which those that
    // mirror each other are at the same distance from the place.
    const double flat = std::max(0.0, squared - disc.squared_height);
    const double around = squared + 2.0 / 3.0 * radius;
    const double aside = std::numbers::sqrt2 * std::sqrt(radius * flat);
    return 0.25 *
           (At(squared) + At(around) + At(std::max(0.0, around - aside)) + At(around + aside));
}

/// The integral as that of D(r) over the turns of the disc's edge around the place,
///
///   1 / (2 pi) * integral from 0 to 2 pi of D(r) a (a - q cos f) / r^2 df
///
/// with the radius a, the distance q along the plane, the angle f at the disc's centre and
/// r^2 = a^2 + q^2 - 2 a q cos f. It holds for places inside and outside of the disc. Where these
/// are close to the edge, D(r) changes only near f = 0: the poles of R are at tan(f / 2) = i p,
/// with p^2 = ((a - q)^2 + z^2) / ((a + q)^2 + z^2). So the angles are spaced evenly in g, with
/// tan(f / 2) = k tan(g / 2): k^2 = p moves these poles as far away as those that it brings.
double Dipole::Integral(const DiscFromPlace& disc) const {
    const double a = std::sqrt(disc.squared_radius);
    const double flat = std::max(0.0, disc.squared_distance - disc.squared_height);
    const double height = disc.squared_height;
    const double q = std::sqrt(flat);
    const double nearest = (a - q) * (a - q);
    const double depth = real_.squared_depth + height;
    const double squared_k = std::sqrt((nearest + depth) / ((a + q) * (a + q) + depth));
    const double k = std::sqrt(squared_k);

    const double middle = real_.Beyond(height, falloff_) + image_.Beyond(height, falloff_);
    // D(r) / r^2 where the place is on the edge: the difference of nearly equal numbers would be
    // nothing but rounding.
    const double squared_small = 1e-9 * depth;
    const double near_middle = 0.5 * (real_.At(height, falloff_) + image_.At(height, falloff_));
    double sum = 0;
    for (const double cosine : kCosines) {
        const double slow = 0.5 * (1 + cosine);
        const double fast = 0.5 * (1 - cosine) * squared_k;
        // 1 - cos f, which as a difference would lose its digits near the edge.
        const double turned = 2 * fast / (slow + fast);
        const double squared = nearest + 2 * a * q * turned;
        const double share = squared < squared_small
                                 ? near_middle
                                 : (middle - real_.Beyond(height + squared, falloff_) -
                                    image_.Beyond(height + squared, falloff_)) /
                                       squared;
        sum += share * a * (a - q + q * turned) * k / (slow + fast);
    }
    return std::max(0.0, 0.5 * albedo_ * sum / static_cast<double>(std::size(kCosines)));
}

bool PtcSubsurfaceOf(const float albedo[3], const float mean_free_path[3], float refraction,
                     PtcSubsurface* material) noexcept {
    const auto refuse = [](const char* why) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, why);
        return false;
    };
    if (!albedo || !mean_free_path || !material) return refuse("an argument is null");
    if (!(refraction >= 1 && refraction <= 3))
        return refuse("the index of refraction is not from 1 to 3");
    PtcSubsurface made = *material;
    made.refraction = refraction;
    const double boundary = BoundaryOf(refraction);
    for (int i = 0; i < 3; ++i) {
        if (!(albedo[i] >= 0 && albedo[i] < 1)) return refuse("an albedo is not from 0 to below 1");
        if (!(mean_free_path[i] > 0) || !std::isfinite(mean_free_path[i]))
            return refuse("a mean free path is not above 0");
        // x = s z_r, of which x^2 / 3 is the part that is absorbed. The total falls as x grows.
        double low = 0, high = std::numbers::sqrt3;
        for (int round = 0; round < 100; ++round) {
            const double x = 0.5 * (low + high);
            const double total = (1 - x * x / 3) * TotalOf(x, boundary);
            (total > albedo[i] ? low : high) = x;
        }
        const double absorbed = std::min(1.0, low * low / 3);
        const double path = mean_free_path[i];
        if (1 / path > std::numeric_limits<float>::max())
            return refuse("a mean free path is too short for its inverse");
        made.scattering[i] = static_cast<float>((1 - absorbed) / path);
        made.absorption[i] = static_cast<float>(absorbed / path);
    }
    *material = made;
    return true;
}
