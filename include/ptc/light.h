// Light out of point clouds: occlusion, indirect diffuse light and subsurface scattering.
//
//   const PtcFile file("room.ptc");  // organised with light: PtcOrganiseRequest::light
//   PtcManagedFile* const files[] = {file.Get()};
//   const PtcLight light({.files = files, .file_count = 1});
//
//   PtcGathered gathered;
//   light.Gather({.position = place, .normal = normal}, {}, &gathered);
//   // what a matt surface there reflects: albedo * gathered.indirect
//
// examples/gather_light.cpp gathers from four threads and prints the times.
//
// Occlusion and indirect light
//
// Both are means over the directions w above a place, weighted by the cosine of their angle to its
// normal:
//
//   occlusion = 1/C * integral of H(w) (n.w) dw      indirect = 1/C * integral of c(w) (n.w) dw
//
// over the directions within the cone, where C is the integral of n.w alone: pi for the whole
// hemisphere. H is what the nearest surface in that direction hides, c its colour. The points of a
// cloud are discs, matt on their front; seen from behind they hide, and are black. Points that are
// far away count in groups, as the nodes of the octree that hold them: those that are seen under at
// most a given solid angle. All that is seen is drawn into a map of the hemisphere, the nearest
// first.
//
// With the radiosity of a cloud as its colour (the colour that an eye sees of a matt surface),
// `indirect` times the albedo of the surface at the place is the colour that it has by that light.
//
// Source: the cosine-weighted map is the unit disc of W. Nusselt, "Graphische Bestimmung des
// Winkelverhaeltnisses bei der Waermestrahlung", 1928; areas by direction as polynomials of order 2
// follow R. Ramamoorthi, P. Hanrahan, "An efficient representation for irradiance environment
// maps", 2001.
//
// Subsurface scattering
//
// The light that falls on the points enters the material, is scattered in it and leaves it at the
// place. A point of area a and colour c, at a distance r, adds a * c * R(r) for each colour, with
//
//   R(r) = A / (4 pi) * (z_r (1 + s d_r) e^(-s d_r) / d_r^3 + z_v (1 + s d_v) e^(-s d_v) / d_v^3)
//
// where A = S / (S + K) of the reduced scattering S and the absorption K, s = sqrt(3 K (K + S)),
// z_r = 1 / (K + S), z_v = z_r (1 + 4/3 b), d = sqrt(r^2 + z^2), b = (1 + f) / (1 - f),
// f = -1.440 / e^2 + 0.710 / e + 0.668 + 0.0636 e, and e is the index of refraction: a source below
// the surface and its mirror image above. f is the part of diffuse light that the surface reflects
// back into the material, a fit that holds for an e from above 1 to 3; where e is 1 nothing is
// reflected, and b is 1. The colour is that of the light that enters: irradiance over pi, times
// what the surface lets through. The sum over an evenly lit half-space is
// A/2 * (1 + e^(-4/3 b s z_r)) * e^(-s z_r) times the colour.
//
// Points that are near or large count as the mean of R over discs of 4 times their area: those of
// neighbours cover each other evenly. An evenly lit slab comes out within 1 % where neighbours are
// at most 2 z_r apart, and within 5 % at 4 z_r.
//
// Source: H. W. Jensen, S. R. Marschner, M. Levoy, P. Hanrahan, "A practical model for subsurface
// light transport", 2001; many places at once as groups: H. W. Jensen, J. Buhler, "A rapid
// hierarchical rendering technique for translucent materials", 2002.
//
// Units      positions, distances and radii in world space; angles in radians, solid angles in
//            steradians; scattering and absorption per unit of length.
// Errors     false, and PtcLastFailure() (ptc/failure.h) says why. A file that cannot be read takes
//            no other with it: what the others have is answered. Nothing is thrown.
// Ownership  borrows its files; answers go to the caller's memory.
// Threads    any number of threads use one object at once. Each has scratch memory of its own,
//            which is kept from one call to the next. An answer depends on the clouds, the place
//            and the settings alone, to the bit.
//
// Points whose position or size is not finite are left out, and colours that are not finite are
// black; so it is with the sums in a node, unless its points can be taken one by one. A place, a
// normal or settings that are not finite are refused.

#pragma once

#include <limits>
#include <memory>

#include "ptc/api.h"
#include "ptc/failure.h"
#include "ptc/lookup.h"

/// What light comes out of. Files open for reading, each organised with light.
struct PtcLightClouds {
    PtcManagedFile* const* files = nullptr;
    int file_count = 0;  ///< at most kPtcMostLookupFiles
};

/// How exact an answer is: the greatest solid angle under which points count as a group, and the
/// width of the hemisphere's map in pixels. The two belong together: pixels = 4.5 /
/// sqrt(solid_angle). A finer map alone leaves gaps between the groups.
struct PtcGatherQuality {
    float solid_angle = 0.1f;  ///< 0.001 to 2
    int pixels = 14;           ///< 4 to 64
};
inline constexpr PtcGatherQuality kPtcCoarseGather{0.3f, 8};
inline constexpr PtcGatherQuality kPtcUsualGather{0.1f, 14};
inline constexpr PtcGatherQuality kPtcFineGather{0.03f, 24};

/// Which sides of the points hide what is behind them.
enum class PtcHidingSides { kBoth, kFront, kBack };

struct PtcGathering {
    PtcGatherQuality quality{};
    float within =
        std::numeric_limits<float>::infinity();  ///< nothing farther away counts; above 0
    /// A surface at a distance d hides (1 - d / within)^falloff; 0 or more. 0: all hide alike.
    /// Without a finite `within` there is no fall-off. Colours do not fall off.
    float falloff = 0;
    /// Directions up to so far from the normal count; above 0, at most pi / 2.
    float cone = 1.5707964f;
    /// The place is moved along its normal by so much, 0 or more. 0 to a tenth of the distance
    /// between neighbouring points is best.
    float bias = 0;
    PtcHidingSides sides = PtcHidingSides::kBoth;
};

struct PtcGathered {
    float occlusion = 0;  ///< 0 open, 1 closed
    float open[3] = {};   ///< mean direction of what is open, of length 1; zero: nothing is
    float indirect[3] = {};
};

/// A material that light passes through, for red, green and blue. Each is scattered or absorbed.
struct PtcSubsurface {
    float scattering[3] = {2.55f, 3.21f, 3.77f};       ///< reduced, per unit of length; 0 or more
    float absorption[3] = {0.0011f, 0.0024f, 0.014f};  ///< per unit of length; 0 or more
    float refraction = 1.3f;                           ///< index, 1 to 3
    /// Points count as a group that is seen under at most so many steradians from the place.
    float solid_angle = 0.05f;  ///< 0.001 to 2
};

/// Sets the material of which an evenly lit, thick slab has the colour `albedo` (0 to below 1
/// each): the colour that enters it times the albedo leaves it. `mean_free_path` (above 0, each) is
/// the reduced one, 1 / (scattering + absorption): how far light gets before it has lost its
/// direction or is absorbed. The solid angle stays. False: a value is out of range, and nothing is
/// set.
PTC_API bool PtcSubsurfaceOf(const float albedo[3], const float mean_free_path[3], float refraction,
                             PtcSubsurface* material) noexcept;

class PtcLight {
public:
    /// Files that are null, not open for reading or not organised with light are left out.
    PTC_API explicit PtcLight(const PtcLightClouds& clouds) noexcept;
    PTC_API ~PtcLight();
    PTC_API PtcLight(PtcLight&& other) noexcept;
    PTC_API PtcLight& operator=(PtcLight&& other) noexcept;

    /// Whether every file is used. If not, PtcLastFailure() in the thread that made the object
    /// names the last one that is left out; the others are used.
    PTC_API explicit operator bool() const;
    PTC_API bool UsesFile(int file) const;
    /// Whether the file has a colour for indirect light and subsurface scattering; without one it
    /// is black.
    PTC_API bool HasColour(int file) const;

    // Of one place, with a normal of length 1. False: an argument is refused, memory ran out, or
    // part of a file could not be read.

    /// Occlusion and, unless null, the mean open direction (3 floats).
    PTC_API bool Occlusion(const PtcPlace& place, const PtcGathering& settings, float* occlusion,
                           float* open) const noexcept;
    /// Indirect diffuse light, 3 floats.
    PTC_API bool Indirect(const PtcPlace& place, const PtcGathering& settings,
                          float* light) const noexcept;
    /// Both, of one walk. Its time counts as indirect light's.
    PTC_API bool Gather(const PtcPlace& place, const PtcGathering& settings,
                        PtcGathered* gathered) const noexcept;
    /// Light that leaves the material at the place, 3 floats. The normal may be null.
    PTC_API bool Subsurface(const PtcPlace& place, const PtcSubsurface& material,
                            float* light) const noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;  ///< null: memory ran out
};
