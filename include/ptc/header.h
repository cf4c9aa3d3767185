// What a point cloud file says of itself: counts, bounds, matrices, variables.
//
// Units      positions and radii in world space; matrices row-major, for row vectors.
// Errors     false for failure, and PtcLastFailure() says why. Nothing is thrown.
// Ownership  all answers are copies.
// Threads    any function from any thread that may use the handle.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ptc/api.h"

class PtcManagedFile;

struct PtcHeader {
    std::int64_t points;
    std::int64_t nodes;  ///< of the octree; 0: the file has none
    float box[6];        ///< around all points' spheres: minimum x y z, maximum x y z
    float largest_radius;
    float world_to_eye[16];
    float world_to_ndc[16];
    float format[3];  ///< x resolution, y resolution, pixel aspect ratio
    std::int32_t floats_per_point;
    std::int32_t floats_per_node;
};

/// Stores the file's header. A file that is being written answers what it holds so far.
PTC_API bool PtcGetHeader(const PtcManagedFile* file, PtcHeader* header) noexcept;

/// Stores the value that `request` names at `out`, such as "npoints" or "world2eye". docs/format.md
/// lists the requests, with the type that each one stores. Arrays and the texts in them are
/// allocated with malloc; the caller frees both.
PTC_API bool PtcGetHeaderValue(const PtcManagedFile* file, const char* request, void* out) noexcept;

// The standard library has several kinds of vectors and strings, which flags choose. A program with
// others than this library's is refused by the linker, and does not end where it reads them.
#ifdef _GLIBCXX_DEBUG
#define PTC_VECTORS [[gnu::abi_tag("debug_vectors")]]
#elif defined(_GLIBCXX_USE_CXX11_ABI) && !_GLIBCXX_USE_CXX11_ABI
#define PTC_VECTORS [[gnu::abi_tag("old_strings")]]
#else
#define PTC_VECTORS
#endif

/// Variables as a file declares them, in the order of their floats: three parallel arrays.
struct PTC_VECTORS PtcVariables {
    std::vector<std::string> types;
    std::vector<std::string> names;
    std::vector<std::int32_t> sizes;  ///< floats that each one takes
};
#undef PTC_VECTORS

/// Stores the variables of the file's points, and those of its octree's nodes. Either may be null.
PTC_API bool PtcGetVariables(const PtcManagedFile* file, PtcVariables* of_points,
                             PtcVariables* of_nodes) noexcept;

/// How many floats a variable of this type takes, such as 3 for "color" and 4 for "float[4]". 0 or
/// less: the type is not known or not one that a file may have.
PTC_API std::int32_t PtcFloatsOfType(const char* type) noexcept;

/// For each of `count` names: at which float of a point's data the variable begins, and how many
/// floats it takes. -1, and no size, for a name that is not declared; names are compared byte by
/// byte. False, and nothing stored: `file` is null or not open for reading.
PTC_API bool PtcFindVariables(const PtcManagedFile* file, int count, const char* const* names,
                              std::int32_t* offsets, std::int32_t* sizes) noexcept;

/// The same for the data of a node.
PTC_API bool PtcFindNodeVariables(const PtcManagedFile* file, int count, const char* const* names,
                                  std::int32_t* offsets, std::int32_t* sizes) noexcept;
