// The simplifier: thins buffered points by merging pairs of points that are near and alike.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "driver/point_buffer.h"
#include "driver/projection.h"

/// Which points may merge.
struct SimplifySettings {
    float max_distance = 1e15f;    ///< world units, or pixels with `is_raster_space`
    float min_dot = 0.5f;          ///< of two normals
    float max_difference = 1e15f;  ///< of two values of a channel; below 0 or from 1e15f on: any
    bool is_raster_space = false;

    /// One byte for each float of a point's data, 1 for an area: areas are added when points merge,
    /// and are not compared.
    std::vector<std::uint8_t> area_flags;
};

/// What a simplification may use; less than usual in tests.
struct SimplifyMeans {
    std::size_t max_nodes = SIZE_MAX;
    bool may_compute_wide = true;  ///< with instructions that only some processors have
};

/// Merges pairs of `records` until a pass over all of them finds no pair, and sets the removed
/// flag of every record that was merged away. Records change places.
///
/// Each pass visits the records in index order. A record merges with the nearest later record that
/// is alike; of two candidates, the later one wins only if its squared distance is at least 0.1 %
/// smaller.
///
/// Caller: `removed` is all 0 and as long as `records`; every radius is above 0.
/// `projection` is used only for raster distances.
///
/// Errors: without memory for the octree, prints one line and ends the process with status 1,
/// because the host chose the buffer size and half a cloud is useless.
/// Threads: any, for different records.
void Simplify(std::span<PointRecord> records, std::span<std::uint8_t> removed,
              const SimplifySettings& settings, const Projection& projection,
              const SimplifyMeans& means = {});
