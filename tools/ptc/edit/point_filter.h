// PointFilter: which points stay.
//
// Units      numbers of points count from 0 in the input.
// Errors     ExpressionError, when it is made.
// Ownership  owns everything.
// Threads    one caller at a time.

#pragma once

#include <optional>

#include "tools/ptc/edit/edit_options.h"
#include "tools/ptc/edit/record_batch.h"

namespace edit {

class PointFilter {
public:
    PointFilter(const Options& options, const expression::PointFields& fields);

    /// Leaves in `batch`, whose points are those of the input from `first` on, those that stay, and
    /// stores their numbers. Caller: goes through the input from its start.
    void Apply(std::int64_t first, RecordBatch* batch);

    /// Whether no point behind those that were seen can stay.
    bool IsDone() const { return kept_ >= limit_; }

private:
    bool Passes(const std::byte* record, std::int64_t number);

    const std::optional<std::array<double, 6>> box_;
    const std::optional<std::array<double, 4>> sphere_;
    const double share_;
    const std::uint64_t seed_;
    const std::int64_t every_;
    const std::int64_t limit_;
    std::optional<expression::Condition> where_;
    std::int64_t until_next_ = 0;  ///< points that pass and go, before one that stays
    std::int64_t kept_ = 0;
};

}  // namespace edit
