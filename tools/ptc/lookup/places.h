// Places to look up: in batches, from a file of any form.
//
// Units      world space; normals of length 1.
// Errors     a Failure that names the file.
// Ownership  a source owns its open file; a batch owns its floats.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/common/input_file.h"
#include "tools/ptc/convert/point_stream.h"

struct PlaceBatch {
    std::vector<float> positions;  ///< 3 a place
    std::vector<float> normals;    ///< 3 a place, zeros where there is none; empty: none anywhere

    std::int64_t Count() const { return static_cast<std::int64_t>(positions.size() / 3); }

    const float* Position(std::int64_t place) const {
        return &positions[static_cast<std::size_t>(3 * place)];
    }

    /// Null: the place has none.
    const float* Normal(std::int64_t place) const {
        if (normals.empty()) return nullptr;
        const float* const normal = &normals[static_cast<std::size_t>(3 * place)];
        return normal[0] == 0 && normal[1] == 0 && normal[2] == 0 ? nullptr : normal;
    }
};

/// Makes `*batch` the places of `records`, which are those of a binary file.
void DecodePlaces(std::span<const std::byte> records, std::size_t record_bytes, bool with_normals,
                  PlaceBatch* batch);

/// The points of a file, batch by batch.
class PlaceSource {
public:
    /// `file`: a point cloud, or PLY or CSV when its extension says so.
    PlaceSource(const std::string& file, bool with_normals);

    /// Reads up to `most` places. False: there is none left.
    bool Next(std::int64_t most, PlaceBatch* batch);

    double Share() const { return points_->Share(); }  ///< of the file that is read, 0 to 1

private:
    const InputFile file_;
    const bool with_normals_;
    std::unique_ptr<convert::PointSource> points_;
    std::vector<std::byte> records_;
};
