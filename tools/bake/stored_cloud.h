// Stored clouds: reads the file that a driver has made, without the driver.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace bake {

/// A point cloud file: its header's count, and the points that it contains.
struct StoredCloud {
    std::uint64_t promised = 0;  ///< points, as the header says
    std::uint64_t found = 0;     ///< of these, points that are there and whole
    bool has_more = false;       ///< there is data after the points that the header does not count
    double area = 0;             ///< the sum of the first variable over the points found
    bool has_area = false;       ///< whether that variable is `_area`
};

/// Reads all of `file`, binary or text; answers nothing when it is not a point cloud file. Throws
/// Failure when it cannot be read, or when its header is incomplete or invalid.
std::optional<StoredCloud> ReadStoredCloud(const std::string& file);

}  // namespace bake
