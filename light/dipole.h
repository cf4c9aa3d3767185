// Dipole: light of one colour that leaves a material some way from where it enters.
//
//   R(r) = A / (4 pi) * (z_r (1 + s d_r) e^(-s d_r) / d_r^3 + z_v (1 + s d_v) e^(-s d_v) / d_v^3)
//
// with the names of ptc/light.h. The integral of R over a disc of radius r around the place is
//
//   D(r) = A / 2 * (e^(-s z_r) - z_r / d_r e^(-s d_r) + e^(-s z_v) - z_v / d_v e^(-s d_v))
//
// because z e^(-s d) / d falls by z (1 + s d) e^(-s d) / d^2 as d grows, and r dr = d dd. Above the
// middle of a disc, at a height h, the first and third term have sqrt(z^2 + h^2) for z in the
// exponent, and are multiplied by z over that.
//
// Units      those of ptc/light.h. Distances are squared where that is what is known.
// Errors     none. Finite and not below 0 for what IsSound() accepts.
// Ownership  none.
// Threads    immutable.

#pragma once

#include "ptc/light.h"

/// Why a material is refused; null: it is sound.
const char* WhyUnsound(const PtcSubsurface& material);

/// A disc as it is seen from a place.
struct DiscFromPlace {
    double squared_radius;
    double squared_distance;  ///< of its centre
    double squared_height;    ///< of the place above its plane; at most `squared_distance`
};

class Dipole {
public:
    /// A material that no light leaves.
    Dipole() = default;
    /// Caller: the values are in the ranges of PtcSubsurface.
    Dipole(double scattering, double absorption, double refraction);

    /// R(r).
    double At(double squared_distance) const;

    /// The mean of R over a disc of a radius above 0, within 0.5 % of it or 1e-7 of what the
    /// plane's total would be on the disc. A disc so small or far away that R hardly changes counts
    /// as its centre.
    double Over(const DiscFromPlace& disc) const;

    /// The integral of R over the plane.
    double Total() const;

private:
    /// One of the two sources.
    struct Source {
        double depth = 0;  ///< z
        double squared_depth = 1;

        double At(double squared_distance, double falloff) const;
        /// z / d e^(-s d): what of the light enters farther away.
        double Beyond(double squared_distance, double falloff) const;
    };

    double Integral(const DiscFromPlace& disc) const;

    double albedo_ = 0;   ///< A
    double falloff_ = 0;  ///< s
    Source real_, image_;
};
