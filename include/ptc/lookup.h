// Looking up: the nearest points of up to 100 clouds at once, and values filtered out of them.
//
//   const PtcFile file("a.ptc");
//   PtcManagedFile* const files[] = {file.Get()};
//   const char* const names[] = {"_radiosity"};
//   const PtcLookup lookup({.files = files, .file_count = 1, .variables = names, .variable_count =
//   1});
//
//   std::int64_t indexes[8];
//   std::int32_t found;
//   lookup.Nearest({.position = place}, {.most = 8}, {.indexes = indexes}, &found);
//
//   float radiosity[3], weight;
//   lookup.Sample({.position = place, .normal = up}, {.radius = 0.1f}, radiosity, &weight);
//
// examples/look_up.cpp looks up 100 clouds from four threads.
//
// Units      positions, distances and radii in world space; dot products of unit normals.
// Errors     false, and PtcLastFailure() (ptc/failure.h) says why. A file that cannot be read takes
//            no other with it: what the others have is answered. Nothing is thrown. Messages:
//              T43053  more than 100 files: the first 100 are used
//              T43054  a file without an octree is too large for one in memory, and is left out
//            and those of ptc/access.h.
// Ownership  a lookup borrows its files; answers go to the caller's arrays.
// Threads    any number of threads use one lookup at once. Each has scratch memory of its own,
// which
//            is made by its first call and grows with the counts asked for.
//
// Organised binary files are read through the caches of ptc/access.h, block by block. The points of
// a file without an octree, which may be text, gzip or transient, are read once and kept in memory
// with an octree of their own, from the first lookup that is made of the file until PtcShutdown(),
// for all threads and lookups. The option "/lumrd/pointcloudmemory" limits the sum of that memory,
// in KB, by default to 1048576.

#pragma once

#include <cstdint>
#include <limits>
#include <memory>

#include "ptc/api.h"
#include "ptc/failure.h"

class PtcManagedFile;

constexpr int kPtcMostLookupFiles = 100;

/// What a lookup is made of.
struct PtcLookupClouds {
    /// Open for reading while the lookup lives. One that is opened anew then, and has changed on
    /// disk, cannot be read through this lookup any more.
    PtcManagedFile* const* files = nullptr;
    int file_count = 0;
    const char* const* variables = nullptr;  ///< of points, by name: the data that answers have
    int variable_count = 0;
};

/// One place.
struct PtcPlace {
    const float* position = nullptr;  ///< 3 floats; one that is not finite finds nothing
    const float* normal = nullptr;    ///< 3 floats, of length 1; null: normals do not count
};

/// Many places: arrays of `count` positions and, unless null, as many normals.
struct PtcPlaces {
    std::int64_t count = 0;
    const float* positions = nullptr;
    const float* normals = nullptr;
};

/// Which points a search wants.
struct PtcNearest {
    std::int32_t most = 8;                                  ///< points a place, 1 to 65536
    float within = std::numeric_limits<float>::infinity();  ///< greatest distance
    float least_dot = -1;  ///< of the place's normal and the point's; no test at -1 or less
};

/// The caller's arrays for what a search finds: `most` places for each place that is searched, of
/// which the first are filled. Null for what is not wanted.
struct PtcNearestArrays {
    std::int32_t* files = nullptr;    ///< indexes of PtcLookupClouds::files
    std::int64_t* indexes = nullptr;  ///< of the point in its file
    float* squared_distances = nullptr;
    float* positions = nullptr;  ///< 3 floats a point
    float* normals = nullptr;    ///< 3 floats a point
    float* radii = nullptr;
    float* data = nullptr;  ///< PtcLookup::FloatsPerPoint() floats a point
};

/// How values are filtered: as the mean of the points' values, each with the weight
///
///   (1 - d^2 / h^2)^2 * a    at a distance d below h, otherwise 0
///
/// h is the filter's radius or the point's own, whichever is greater, so there are no gaps between
/// points whose discs meet; a radius that is not finite counts as 0. a = (n - l) / (1 - l), but not
/// below 0, with the dot product n of the place's normal and the point's, and l the filter's least
/// dot product; it is 1 when the place or the point has no normal. The value is the sum of weight
/// times value over the sum of weights, in double precision, so a constant comes back as it is, and
/// the value is continuous wherever points are near. A point whose value is not finite does not
/// count for that variable.
///
/// In an organised file a point is found by the boxes of the nodes. Where these enclose positions,
/// but not spheres as those of PtcOrganise() do, a point farther away than the filter's radius may
/// be left out although its own radius reaches the place.
///
/// Source: normalised weights, D. Shepard, "A two-dimensional interpolation function for
/// irregularly-spaced data", 1968; the biweight kernel of kernel regression.
struct PtcFilter {
    /// 1.5 to 2 times the distance between neighbours is best. Squared in single precision.
    float radius = 0;
    float least_dot = 0;  ///< below 1
};

class PtcLookup {
public:
    /// Makes a lookup; builds what octrees it needs in memory. Files that are null, that are not
    /// open for reading or that have no usable octree are left out.
    PTC_API explicit PtcLookup(const PtcLookupClouds& clouds) noexcept;
    PTC_API ~PtcLookup();
    PTC_API PtcLookup(PtcLookup&& other) noexcept;
    PTC_API PtcLookup& operator=(PtcLookup&& other) noexcept;

    /// Whether every file is used. If not, PtcLastFailure() in the thread that made the lookup
    /// names the last one that is left out; the others are used.
    PTC_API explicit operator bool() const;

    PTC_API bool UsesFile(int file) const;
    PTC_API int FloatsPerPoint() const;  ///< of all variables together
    PTC_API int VariableCount() const;
    /// How many floats `variable` takes: as many as in the first file that has it; 0: none has it.
    /// Files that lack it, or have it in another size, answer zeros for it.
    PTC_API int VariableSize(int variable) const;

    /// Finds the points that are nearest to `place`, at most `wanted.within` away, and stores them
    /// sorted by squared distance, then by file, then by index. `*found`: how many. False: an
    /// argument is refused, memory ran out, or part of a file could not be read.
    ///
    /// The squared distance is (dx * dx + dy * dy) + dz * dz in single precision, each operation
    /// rounded by itself, with dx = point - place. A point is near enough while that is not above
    /// within * within. The dot product is (x * x' + y * y') + z * z'. Points whose positions are
    /// not finite are never found.
    PTC_API bool Nearest(const PtcPlace& place, const PtcNearest& wanted,
                         const PtcNearestArrays& arrays, std::int32_t* found) const noexcept;

    /// The same for many places, in whichever order is fastest; answers stand in the order asked.
    /// `found`: one count a place.
    PTC_API bool NearestOfMany(const PtcPlaces& places, const PtcNearest& wanted,
                               const PtcNearestArrays& arrays, std::int32_t* found) const noexcept;

    /// Filters the variables' values at `place`. `values`: FloatsPerPoint() floats; `weights`: the
    /// sum of the weights for each variable, 0 where there is nothing and the values are 0. The
    /// sums run over the files in their order, in each over the points in the order of its octree.
    PTC_API bool Sample(const PtcPlace& place, const PtcFilter& filter, float* values,
                        float* weights) const noexcept;

    /// The same for many places: arrays of that many floats a place.
    PTC_API bool SampleMany(const PtcPlaces& places, const PtcFilter& filter, float* values,
                            float* weights) const noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;  ///< null: memory ran out
};
