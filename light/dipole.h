// Dipole: light of one colour that leaves a material some way from where it enters.
//
//   R(r) = A / (4 pi) * (z_r (1 + s d_r) e^(-s d_r) / d_r^3 + z_v (1 + s d_v) e^(-s d_v) / d_v^3)
//
// with the names of ptc/light.h. What enters a plane farther than r from the place, the integral of
// R over it, is
//
//   B(r) = A / 2 * (z_r / d_r e^(-s d_r) + z_v / d_v e^(-s d_v))
//
// because z e^(-s d) / d falls by z (1 + s d) e^(-s d) / d^2 as d grows, and r dr = d dd. So a disc
// of radius r around the place has B(0) - B(r). Both hold for a place above the plane, too, with
// the distance from it to the points of the plane as r: the disc then has B(h) - B(sqrt(r^2 +
// h^2)).
//
// Units      those of ptc/light.h.
// Errors     none. Finite for what WhyUnsound() accepts, at any finite distance.
// Ownership  none.
// Threads    immutable.

#pragma once

#include "ptc/light.h"

/// Why a material is refused; null: it is sound.
const char* WhyUnsound(const PtcSubsurface& material);

class Dipole {
public:
    /// A material that no light leaves.
    Dipole() = default;
    /// Caller: the values are in the ranges of PtcSubsurface.
    Dipole(double scattering, double absorption, double refraction);

    double At(double squared_distance) const;      ///< R
    double Beyond(double squared_distance) const;  ///< B
    double Total() const { return Beyond(0); }     ///< of the plane

    double SquaredDepth() const { return real_.squared_depth; }  ///< z_r^2
    double Falloff() const { return falloff_; }                  ///< s

private:
    /// One of the two sources.
    struct Source {
        double depth = 1;  ///< z
        double squared_depth = 1;

        double At(double squared_distance, double falloff) const;
        double Beyond(double squared_distance, double falloff) const;
    };

    double albedo_ = 0;  ///< A
    double falloff_ = 0;
    Source real_, image_;
};
