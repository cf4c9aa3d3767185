// PointPass: every point of a cloud once, in pieces.
//
// Units      floats of data as the cloud declares them.
// Errors     a Failure that names the file, when a point cannot be read.
// Ownership  borrows the cloud and the progress bar.
// Threads    one caller at a time.

#pragma once

#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "ptc/cloud/reader.h"
#include "tools/common/progress.h"
#include "tools/ptc/point_scan.h"

/// Point records as they are stored, one behind the other; the places in them are PointScan's.
class PointPiece {
public:
    PointPiece(std::span<const float> floats, std::size_t stride)
        : floats_(floats), stride_(stride) {}

    std::size_t Count() const { return floats_.size() / stride_; }

    /// Float `source` of point `i`; in the place of the codes there is none.
    float Value(std::size_t i, std::size_t source) const { return At(i)[source]; }

    /// Whether a disc can be made of the point: all numbers are finite, the radius is not negative.
    /// A normal that comes from codes is always finite.
    bool IsDrawable(std::size_t i) const {
        const float* const position = Position(i);
        const float radius = Radius(i);
        return std::isfinite(position[0]) && std::isfinite(position[1]) &&
               std::isfinite(position[2]) && std::isfinite(radius) && radius >= 0;
    }

    /// Caller: `i` is below Count(), here and in what follows.
    const float* Position(std::size_t i) const { return At(i) + PointScan::kPosition; }
    float Radius(std::size_t i) const { return At(i)[PointScan::kRadius]; }
    NormalCode Code(std::size_t i) const {
        NormalCode code;
        std::memcpy(&code, At(i) + PointScan::kCodes, sizeof code);
        return code;
    }
    std::span<const float> Data(std::size_t i) const {
        return floats_.subspan(i * stride_, stride_).subspan(PointScan::kData);
    }

    /// All but the data. Without `has_normal` the normal is null: it takes two look-ups in large
    /// tables.
    PointHead Head(std::size_t i, bool has_normal) const;

private:
    const float* At(std::size_t i) const { return floats_.data() + i * stride_; }

    std::span<const float> floats_;
    std::size_t stride_;
};

class PointPass {
public:
    /// `name`: what messages call the file.
    PointPass(CloudReader& cloud, std::string name) : cloud_(cloud), name_(std::move(name)) {}

    using Visit = std::function<void(const PointPiece& piece)>;

    /// Shows all points to `visit`, in the file's order. `done`: the steps that the bar shows
    /// before; every point is one more.
    void Run(Progress& progress, std::uint64_t done, const Visit& visit);

private:
    CloudReader& cloud_;
    std::string name_;
};
