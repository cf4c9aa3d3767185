// The dipole: its formula, its integrals, the material that has a given colour.

#include "light/dipole_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using std::numbers::pi;

struct Material {
    const char* name;
    double scattering, absorption, refraction;
};
constexpr Material kMaterials[] = {
    {"clear", 2.55, 0.0011, 1.3}, {"usual", 3.77, 0.014, 1.3}, {"absorbs nothing", 1, 0, 1.5},
    {"dark", 0.5, 2, 1.1},        {"at once", 300, 10, 1},     {"scatters nothing", 0, 1, 2},
};

/// R(r) as the paper has it, with the values of the C library.
double PlainR(const Material& m, double r) {
    const double extinction = m.scattering + m.absorption, e = m.refraction;
    const double f = e == 1 ? 0 : -1.44 / (e * e) + 0.71 / e + 0.668 + 0.0636 * e;
    const double s = std::sqrt(3 * m.absorption * extinction);
    const double boundary = (1 + f) / (1 - f), diffusion = 1 / (3 * extinction);
    const double z[] = {1 / extinction, 1 / extinction + 4 * boundary * diffusion};
    double sum = 0;
    for (const double depth : z) {
        const double d = std::hypot(r, depth);
        sum += depth * (s + 1 / d) * std::exp(-s * d) / (d * d);
    }
    return m.scattering / extinction / (4 * pi) * sum;
}

/// The integral of R over a disc that is seen from a distance `flat` along its plane and `height`
/// above it, in rings around its middle.
double PlainIntegral(const Material& m, double radius, double flat, double height) {
    constexpr int kRings = 250, kSteps = 150;
    double sum = 0;
    for (int i = 0; i < kRings; ++i) {
        const double from_middle = radius * (i + 0.5) / kRings;
        for (int k = 0; k < kSteps; ++k) {
            const double angle = pi * (k + 0.5) / kSteps;
            const double x = flat - from_middle * std::cos(angle);
            sum += from_middle * PlainR(m, std::hypot(x, from_middle * std::sin(angle), height));
        }
    }
    return sum * radius / kRings * 2 * pi / kSteps;
}

class Dipoles : public testing::TestWithParam<Material> {
protected:
    const Material& m = GetParam();
    const Dipole dipole{m.scattering, m.absorption, m.refraction};
    const double path = 1 / (m.scattering + m.absorption);
};
INSTANTIATE_TEST_SUITE_P(Light, Dipoles, testing::ValuesIn(kMaterials),
                         [](const auto& of) { return std::to_string(of.index); });

TEST_P(Dipoles, HaveTheFormulaAndItsTotal) {
    for (const double r : {0.0, 0.1, 1.0, 10.0, 300.0})
        EXPECT_NEAR(dipole.At(r * path * r * path), PlainR(m, r * path),
                    1e-12 * PlainR(m, r * path));
    // Rings that grow by 1 % each; what is beyond them is 2 z / r of a material that absorbs
    // nothing.
    double sum = 0;
    double inner = 0;
    for (double outer = 1e-3 * path; outer < 1e6 * path; inner = outer, outer *= 1.01) {
        const double middle = 0.5 * (inner + outer);
        sum += pi * (outer * outer - inner * inner) * PlainR(m, middle);
    }
    EXPECT_NEAR(sum, dipole.Total(), 1e-4 * dipole.Total());
}

TEST_P(Dipoles, HaveTablesAndMeansOverDiscsAnywhere) {
    PtcSubsurface material{.refraction = static_cast<float>(m.refraction)};
    std::fill_n(material.scattering, 3, static_cast<float>(m.scattering));
    std::fill_n(material.absorption, 3, static_cast<float>(m.absorption));
    DipoleTable table;
    table.Set({});  // of another material
    (void)table.At(path);
    table.Set(material);
    for (double r = 1e-3; r < 1e6; r *= 1.1) {
        const double exact = dipole.At(r * path * r * path);
        EXPECT_NEAR(table.At(r * path * r * path)[2], exact, 1e-4 * exact + 1e-9 * dipole.At(0))
            << r;
    }
    for (const double radius : {0.02, 0.2, 1.0, 4.0, 30.0})
        for (const double flat : {0.0, 0.3, 0.9, 1.0, 1.1, 1.7, 3.0, 8.0})
            for (const double height : {0.0, 0.7}) {
                const double a = radius * path, q = flat * a, h = height * path;
                const double exact = PlainIntegral(m, a, q, h) / (pi * a * a);
                const double value = table.Over({a * a, q * q + h * h, h * h})[1];
                EXPECT_NEAR(value, exact, 5e-3 * exact + 1e-5 * dipole.Total() / (pi * a * a))
                    << m.name << ": radius " << radius << ", at " << flat << " radii, height "
                    << height;
            }
}

// A slab of the material that is made of an albedo has that albedo.
TEST(LightDipole, MaterialsHaveTheAlbedoAskedFor) {
    for (const float refraction : {1.0f, 1.3f, 3.0f})
        for (const float albedo : {0.0f, 0.001f, 0.3f, 0.9f, 0.999f, 0.999999f})
            for (const float path : {1e-30f, 0.2f, 1e30f}) {
                const float albedos[] = {albedo, 0.5f, albedo}, paths[] = {path, 1, path};
                PtcSubsurface made;
                ASSERT_TRUE(PtcSubsurfaceOf(albedos, paths, refraction, &made));
                EXPECT_EQ(WhyUnsound(made), nullptr);
                const Dipole dipole(made.scattering[2], made.absorption[2], made.refraction);
                EXPECT_NEAR(dipole.Total(), albedo, 1e-6 * albedo + 1e-16)
                    << path << ", " << refraction;
                EXPECT_NEAR((made.scattering[0] + made.absorption[0]) * path, 1, 1e-6);
                EXPECT_EQ(made.solid_angle, PtcSubsurface().solid_angle);
            }
}

TEST(LightDipole, MaterialsOutOfRangeAreRefusedAndNothingIsWritten) {
    struct Case {
        float albedo, path, refraction;
    };
    for (const Case& bad : {Case{-0.1f, 1, 1.3f},
                            {1, 1, 1.3f},
                            {NAN, 1, 1.3f},
                            {0.5f, 0, 1.3f},
                            {0.5f, 1e-40f, 1.3f},
                            {0.5f, INFINITY, 1.3f},
                            {0.5f, NAN, 1.3f},
                            {0.5f, 1, 0.99f},
                            {0.5f, 1, 3.01f},
                            {0.5f, 1, NAN}}) {
        const float albedos[] = {0.5f, 0.5f, bad.albedo}, paths[] = {1, 1, bad.path};
        PtcSubsurface made;
        EXPECT_FALSE(PtcSubsurfaceOf(albedos, paths, bad.refraction, &made));
        EXPECT_EQ(made.scattering[0], PtcSubsurface().scattering[0]);
        EXPECT_EQ(made.refraction, PtcSubsurface().refraction);
    }
}

}  // namespace
