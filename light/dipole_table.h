// DipoleTable: the dipoles of a material's three colours, out of tables, and their means over
// discs.
//
// R and B of light/dipole.h are parabolas over steps of a 32nd of an octave of r^2 + z^2, with the
// least z_r as z: within 1e-4 of the formulas, relative, where these are not below 1e-9 of what
// they are at the place. A step is computed when it is first used; it depends on nothing but the
// material, so no answer depends on those before it.
//
// Units      those of ptc/light.h. Distances are squared.
// Errors     Set() throws std::bad_alloc.
// Ownership  owns its tables, which stay for the next material.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <vector>

#include "light/dipole.h"

/// A disc as it is seen from a place.
struct DiscFromPlace {
    double squared_radius;
    double squared_distance;  ///< of its centre
    double squared_height;    ///< of the place above its plane; at most `squared_distance`
};

class DipoleTable {
public:
    using Colours = std::array<double, 3>;

    /// Caller: the material is sound.
    void Set(const PtcSubsurface& material);

    Colours At(double squared_distance) { return Look(&at_, squared_distance, &Dipole::At); }

    /// The means of R over a disc of a radius above 0: within 0.5 % or 1e-5 of what the plane's
    /// total would be on the disc. A disc so small or far away that R hardly changes counts as its
    /// centre.
    Colours Over(const DiscFromPlace& disc);

private:
    using Formula = double (Dipole::*)(double) const;

    static constexpr int kBits = 5;  ///< 32 steps an octave
    static constexpr std::size_t kSteps = std::size_t{20} << kBits;

    /// Of each colour f = a + t (b + t c) with t from 0 to 1 in the step.
    struct Step {
        Colours a, b, c;
    };
    struct Table {
        std::vector<Step> steps;
        std::vector<bool> is_made;
    };

    Colours Look(Table* table, double squared_distance, Formula formula);
    Step Make(std::uint64_t begin, Formula formula) const;
    double SquaredFalloff(const DiscFromPlace& disc) const;
    Colours Integral(const DiscFromPlace& disc);

    std::array<Dipole, 3> dipoles_;
    std::array<float, 7> values_{};  ///< of the material
    double squared_depth_ = 1;       ///< the least z_r^2
    double scale_ = 1;               ///< 1 / squared_depth_
    Table at_, beyond_;
};

inline DipoleTable::Colours DipoleTable::Look(Table* table, double squared_distance,
                                              Formula formula) {
    constexpr int kRest = 52 - kBits;
    constexpr std::uint64_t kOne = std::bit_cast<std::uint64_t>(1.0);
    constexpr std::uint64_t kMantissa = (std::uint64_t{1} << 52) - 1;
    const auto bits = std::bit_cast<std::uint64_t>(1 + squared_distance * scale_);
    const std::uint64_t number = (bits - kOne) >> kRest;
    if (number >= kSteps) [[unlikely]]
        return {(dipoles_[0].*formula)(squared_distance), (dipoles_[1].*formula)(squared_distance),
                (dipoles_[2].*formula)(squared_distance)};
    Step& step = table->steps[number];
    if (!table->is_made[number]) [[unlikely]] {
        step = Make(kOne + (number << kRest), formula);
        table->is_made[number] = true;
    }
    // The bits below those of the number, as a fraction.
    const double t = std::bit_cast<double>(((bits << kBits) & kMantissa) | kOne) - 1;
    Colours values;
    for (std::size_t i = 0; i < 3; ++i) values[i] = step.a[i] + t * (step.b[i] + t * step.c[i]);
    return values;
}
