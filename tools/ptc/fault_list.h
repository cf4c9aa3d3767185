// FaultList: the faults of one file, told as they are found, the first ones only.
//
// Units      offsets in bytes from the file's start; of the inflated bytes, for a gzip file.
// Errors     none.
// Ownership  owns the function that it tells the faults.
// Threads    one caller at a time.

#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

class FaultList {
public:
    using Teller = std::function<void(std::int64_t offset, const std::string& what)>;

    /// Counts faults without telling them.
    FaultList() = default;

    /// Tells `teller` the first `most` faults.
    FaultList(std::int64_t most, Teller teller) : most_(most), teller_(std::move(teller)) {}

    /// A fault at `offset`; a file may have millions, so the text is made only when it is told.
    template <class... Values>
    void Add(std::int64_t offset, fmt::format_string<Values...> text, Values&&... values) {
        if (total_++ < most_) teller_(offset, fmt::format(text, std::forward<Values>(values)...));
    }

    std::int64_t Total() const { return total_; }

private:
    std::int64_t most_ = 0;
    std::int64_t total_ = 0;
    Teller teller_;
};
