// PointTransform: moves points by an affine matrix, and the camera with them.
//
// Units      16 values, row by row, for row vectors: p becomes p x M, and the translation is in the
//            last row.
// Errors     false from Make().
// Threads    any, once it is made.
//
// With A the upper left 3 x 3 of M:
//   position   p x M
//   normal     n x the inverse transpose of A, brought to length 1
//   radius     r x the cube root of |det A|, the mean scale
//   matrix of the camera, world to eye or to NDC   the inverse of M x the matrix: a point then gets
//              the same place in the picture as before
// All of it is computed in double and stored as float.

#pragma once

#include <array>
#include <optional>

#include "tools/ptc/edit/record_batch.h"

namespace edit {

class PointTransform {
public:
    using Matrix = std::array<double, 16>;

    /// Nothing, and why: `matrix` is not finite, not affine, or has no inverse.
    static std::optional<PointTransform> Make(const Matrix& matrix, const char** why);

    bool IsIdentity() const;

    /// Whether directions change: not by translation and uniform scale.
    bool TurnsNormals() const;

    /// Caller: has decoded the normals, if it turns them.
    void Apply(RecordBatch* batch) const;

    /// The camera's matrix for the points that were moved.
    std::array<float, 16> Camera(const std::array<float, 16>& before) const;

    /// The factor of the radii.
    double Scale() const { return scale_; }

private:
    PointTransform() = default;

    void Turn(float* normal) const;

    Matrix matrix_{};
    Matrix inverse_{};
    double scale_ = 1;
};

/// The real cube root of a finite number above 0. The C library's differs between machines.
double CubeRoot(double value);

}  // namespace edit
