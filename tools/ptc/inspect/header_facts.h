// What there is to say about a file's header: the one description that all forms of `ptc info`
// print.
//
// Units      bytes and points.
// Errors     none; an octree that cannot be read has no known end. The cloud's input keeps a read
//            error.
// Ownership  borrows the header.
// Threads    one caller at a time for one cloud.

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ptc/cloud/reader.h"
#include "tools/ptc/variable_list.h"

/// Whether a file is as long as its header says, without reading the points.
struct CloudSize {
    std::optional<std::int64_t> stored_bytes;  ///< of the file on disk; nothing: not known

    /// Bytes that the header and its counts take; nothing when only reading on would show it: in
    /// text form, or compressed, or among nodes that cannot be read.
    std::optional<std::int64_t> expected_bytes;

    /// Whole point records in the file, of which the header may count more or fewer; nothing where
    /// expected_bytes is not known for lack of arithmetic, and where nodes follow the points.
    std::optional<std::int64_t> whole_points;

    /// Whether the two lengths are the same; nothing when one is not known.
    std::optional<bool> Agrees() const {
        if (!expected_bytes) return std::nullopt;
        return expected_bytes == stored_bytes;
    }
};

struct HeaderFacts {
    std::string file;  ///< what messages call it
    const StoredHeader& header;
    bool is_text = false;
    bool is_compressed = false;
    std::optional<std::size_t> point_bytes;  ///< nothing in text form
    std::vector<Variable> point_variables;
    std::vector<Variable> node_variables;

    /// What a reader uses in place of the stored format: x and y resolution, pixel aspect ratio.
    std::array<float, 3> format{};
    CloudSize size;
};

/// Caller: needs the cloud's place no more; the root node is read to find its end.
HeaderFacts FactsOf(const std::string& file, CloudReader& cloud);
