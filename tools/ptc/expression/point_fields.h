// PointFields: the floats of a point that expressions name.
//
// Units      a field is a float of the point; they are numbered: position, normal, radius, data.
// Errors     none.
// Ownership  owns the names.
// Threads    any, once it is made.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "ptc/format/cloud_header.h"
#include "ptc/format/layout.h"

namespace expression {

inline constexpr std::size_t kPositionField = 0;
inline constexpr std::size_t kNormalField = 3;
inline constexpr std::size_t kRadiusField = 6;
inline constexpr std::size_t kDataField = 7;

constexpr bool IsNormal(std::size_t field) {
    return field >= kNormalField && field < kRadiusField;
}

/// The place of a field in a record of the binary form. Caller: it is none of the normal, which a
/// record has as two codes.
constexpr std::size_t RecordOffset(std::size_t field) {
    if (field < kNormalField) return Find(ptc_layout::kPoint, "position").offset + 4 * field;
    if (field == kRadiusField) return Find(ptc_layout::kPoint, "radius").offset;
    return ptc_layout::PointBytes(field - kDataField);
}

/// Neighbouring fields with one name.
struct FieldRun {
    std::string name;
    std::size_t first = 0;
    std::size_t count = 0;
};

class PointFields {
public:
    explicit PointFields(const CloudVariables& variables);

    /// The fields called `name`; null: there are none. One of the point's own, x y z nx ny nz
    /// radius, hides a variable of its name, unless `is_variable`.
    const FieldRun* Find(std::string_view name, bool is_variable) const;

    /// The names that Find() knows.
    std::vector<std::string> Names(bool is_variable) const;

private:
    std::vector<FieldRun> own_;
    std::vector<FieldRun> variables_;
};

}  // namespace expression
