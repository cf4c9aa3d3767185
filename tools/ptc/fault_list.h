// FaultList: the faults of one file, reported as they are found, the first ones of each kind only.
//
// Units      offsets in bytes from the file's start; of the inflated bytes, for a gzip file.
// Errors     none.
// Ownership  owns the function that the faults are reported to.
// Threads    one caller at a time.

#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>

class FaultList {
public:
    using Teller = std::function<void(std::int64_t offset, const std::string& what)>;

    /// Counts faults without reporting them.
    FaultList() = default;

    /// Reports the first `most` faults to `teller`, and no more than `most_of_kind` of each kind,
    /// so that a fault of every point does not hide the other faults.
    FaultList(std::int64_t most, Teller teller,
              std::int64_t most_of_kind = std::numeric_limits<std::int64_t>::max())
        : most_(most), most_of_kind_(most_of_kind), teller_(std::move(teller)) {}

    /// Adds a fault at `offset`. Each `text` is a kind of its own. A file may have millions of
    /// faults, so the text is formatted only for those that are reported.
    template <class... Values>
    void Add(std::int64_t offset, fmt::format_string<Values...> text, Values&&... values) {
        ++total_;
        if (told_ == most_) return;
        const fmt::string_view kind = text;
        if (++kinds_[std::string_view(kind.data(), kind.size())] > most_of_kind_) return;
        ++told_;
        teller_(offset, fmt::format(text, std::forward<Values>(values)...));
    }

    std::int64_t Total() const { return total_; }
    std::int64_t Told() const { return told_; }

private:
    std::int64_t most_ = 0;
    std::int64_t most_of_kind_ = 0;
    std::int64_t total_ = 0;
    std::int64_t told_ = 0;
    std::map<std::string_view, std::int64_t>
        kinds_;  ///< how many of each, as long as faults are reported
    Teller teller_;
};
