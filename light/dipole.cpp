// Dipole: its formulas, and the material that has a given colour.

#include "light/dipole.h"

#include <algorithm>
#include <cmath>
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

double Dipole::Beyond(double squared_distance) const {
    return 0.5 * albedo_ *
           (real_.Beyond(squared_distance, falloff_) + image_.Beyond(squared_distance, falloff_));
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
