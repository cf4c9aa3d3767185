// FrameValues: the texts of a job with values in place of names in braces, for one frame.
//
// Units      none.
// Errors     a Failure that names what is unknown.
// Ownership  borrows the job's series.
// Threads    any number may read.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace farm {

/// A value that grows by the same step from frame to frame.
struct Steps {
    double first = 0;
    double step = 0;

    bool operator==(const Steps&) const = default;
};

/// A value's name, and what it is for each frame: steps, or a text for each.
using Series = std::map<std::string, std::variant<Steps, std::vector<std::string>>>;

class FrameValues {
public:
    /// `index`: that of `frame` among the job's frames.
    FrameValues(const Series& series, int frame, std::size_t index)
        : series_(series), frame_(frame), index_(index) {}

    /// `text` with {frame} replaced by the frame as FrameName() writes it, {number} by the plain
    /// number, and {NAME} by that series' value. "{{" and "}}" are single braces.
    std::string FillIn(std::string_view text) const;

private:
    std::string ValueOf(std::string_view name) const;

    const Series& series_;
    const int frame_;
    const std::size_t index_;
};

}  // namespace farm
