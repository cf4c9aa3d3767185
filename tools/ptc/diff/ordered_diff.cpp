// Points compared in their order.

#include "tools/ptc/diff/ordered_diff.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <vector>

#include "tools/common/progress.h"

namespace {

/// What is read at a time, of the longer records: two pieces stay within a cache.
constexpr std::size_t kPieceBytes = std::size_t{1} << 16;

/// Points whose bytes are compared at a time. Only runs with a difference are looked into.
constexpr std::size_t kRun = 64;

/// Compares two pieces of as many records, from point `first` on.
void ComparePieces(std::span<const std::byte> a, std::span<const std::byte> b, std::int64_t first,
                   PointDifferences* differences) {
    std::array<PairIndexes, kRun> indexes;
    while (!a.empty()) {
        const std::size_t count = std::min(kRun, a.size() / differences->BytesA());
        const auto run_a = a.first(count * differences->BytesA());
        const auto run_b = b.first(count * differences->BytesB());
        if (differences->SameBytesAreSame() &&
            std::memcmp(run_a.data(), run_b.data(), run_a.size()) == 0) {
            differences->AddSame(static_cast<std::int64_t>(count));
        } else {
            for (std::size_t i = 0; i < count; ++i)
                indexes[i].a = indexes[i].b = first + static_cast<std::int64_t>(i);
            differences->Add({run_a.data(), run_b.data(), std::span(indexes).first(count)});
        }
        first += static_cast<std::int64_t>(count);
        a = a.subspan(run_a.size());
        b = b.subspan(run_b.size());
    }
}

}  // namespace

void CompareInOrder(DiffInput& a, DiffInput& b, bool stops_early, PointDifferences* differences) {
    const std::int64_t points = std::min(a.Cloud().point_count, b.Cloud().point_count);
    const std::size_t longer = std::max(a.RecordBytes(), b.RecordBytes());
    const auto most = static_cast<std::int64_t>(std::max<std::size_t>(kPieceBytes / longer, 1));
    const auto room = static_cast<std::size_t>(std::min(points, most));
    std::vector<std::byte> piece_a(room * a.RecordBytes());
    std::vector<std::byte> piece_b(room * b.RecordBytes());
    Progress progress(static_cast<std::uint64_t>(points), true);
    for (std::int64_t first = 0; first < points; first += most) {
        const auto count = static_cast<std::size_t>(std::min(points - first, most));
        const auto records_a = std::span(piece_a).first(count * a.RecordBytes());
        const auto records_b = std::span(piece_b).first(count * b.RecordBytes());
        a.Read(records_a);
        b.Read(records_b);
        ComparePieces(records_a, records_b, first, differences);
        if (stops_early && differences->DifferentPairs() > 0) return;
        progress.Show(static_cast<std::uint64_t>(first));
    }
}
