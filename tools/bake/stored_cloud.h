// Stored clouds: the file that a driver has made, read without the driver.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace bake {

/// A point cloud file: what its header says and what is in it.
struct StoredCloud {
    std::uint64_t promised = 0;  ///< points, as the header says
    std::uint64_t found = 0;     ///< of these, points that are there and whole
    bool has_more = false;       ///< behind the points, where the header knows of nothing
    double area = 0;             ///< the sum of the first variable over the points found
    bool has_area = false;       ///< that variable is `_area`
};

/// Reads all of `file`, binary or text; nothing when it is not a point cloud file. Throws Failure
/// when it cannot be read, or when its header breaks off or makes no sense.
std::optional<StoredCloud> ReadStoredCloud(const std::string& file);

}  // namespace bake
