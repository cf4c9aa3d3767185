// Point pieces: all points of a source once, as many at a time as threads share well.
//
// Errors     a Failure that names the file.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/common/progress.h"
#include "tools/ptc/convert/point_stream.h"

namespace lighting {

/// Bytes of records that are worked on at a time; enough points that all threads have some.
constexpr std::size_t kPieceBytes = std::size_t{1} << 24;
constexpr std::size_t kMostPieceRecords = std::size_t{1} << 16;
constexpr std::uint64_t kProgressSteps = 1000;

/// Reads all points and calls `visit(records, first)` for each piece, of which `first` is the
/// number of the first point.
template <class Visit>
void ForEachPiece(convert::PointSource& source, Visit visit) {
    Progress progress(kProgressSteps, true);
    const std::size_t record = source.Header().PointBytes();
    const std::size_t most = std::clamp<std::size_t>(kPieceBytes / record, 1, kMostPieceRecords);
    std::vector<std::byte> piece(most * record);
    std::int64_t first = 0;
    for (std::size_t read = most; read == most;) {
        read = source.Read(piece);
        visit(std::span<const std::byte>(piece).first(read * record), first);
        first += static_cast<std::int64_t>(read);
        progress.Show(static_cast<std::uint64_t>(source.Share() * kProgressSteps));
    }
}

}  // namespace lighting
